// Lzw.h: LZW compression with variable code width and a clear code, in a framed format of
// this library.
//
//   std::vector<uint8_t> packed, back;
//   LzwCompress(data, size, packed);                  // codes of up to 16 bits
//   if (!LzwDecompress(packed.data(), packed.size(), back, 1 << 28)) Report(GetLastErrorMessage());
//
// The stream: the bytes "LZW" and the largest code width (9..16), then codes packed least
// significant bit first. Codes 0..255 are bytes, 256 clears the dictionary, 257 ends the data,
// 258 and up are dictionary entries. Codes start 9 bits wide and widen by one bit as soon as
// the decoder's dictionary could hold a code that does not fit; when the dictionary is full
// the encoder sends a clear code and starts over. After the end code, padding to a whole byte,
// the CRC-32 of the data (4 bytes little-endian). Failures as for Inflate: 44444 with the
// message "lzw: <what>" for bad or truncated input (and input after the check), last error 7
// when the output would pass the limit, the source's or sink's own error otherwise.
// Plain functions; each call uses its own state.
// Depends on base/compress/ByteStream.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/compress/ByteStream.h"

namespace OrvGuiBase {

// LzwCompressStream: everything source gives into sink, codes up to maxBits (9..16, else
// last error 22) wide.
ORVGUI_API bool LzwCompressStream(ByteSource& source, ByteSink& sink, int maxBits = 16);
// LzwDecompressStream: one stream from source into sink, at most limit bytes of output.
ORVGUI_API bool LzwDecompressStream(ByteSource& source, ByteSink& sink, uint64_t limit = UINT64_MAX);

// LzwCompress / LzwDecompress: the same over buffers; out is replaced.
ORVGUI_API bool LzwCompress(const void* data, size_t size, std::vector<uint8_t>& out, int maxBits = 16);
ORVGUI_API bool LzwDecompress(const void* data, size_t size, std::vector<uint8_t>& out, uint64_t limit = UINT64_MAX);

}  // namespace OrvGuiBase
