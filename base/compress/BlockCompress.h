// BlockCompress.h: the block compressor: the Burrows-Wheeler transform of each block, a
// move-to-front pass, run lengths of the zero ranks, and adaptive binary arithmetic coding, in
// a framed format of this library.
//
//   std::vector<uint8_t> packed, back;
//   BlockCompress(data, size, packed);                // blocks of 900,000 bytes
//   if (!BlockDecompress(packed.data(), packed.size(), back, 1 << 30)) Report(GetLastErrorMessage());
//
// The stream: the bytes "OBW" and the level (1..9; blocks of level x 100,000 bytes). Then each
// block as its length (4 bytes little-endian, 1 up to the block size), the row of the
// transform that holds the end of the block (4 bytes), the length of its coded bytes (4
// bytes), the CRC-32 of the block's bytes (4 bytes) and the coded bytes. A length of 0 (four
// zero bytes) ends the stream. Failures as for Inflate: 44444 with the message "block: <what>"
// for bad or truncated input (and input after the end), last error 7 when the output would
// pass the limit, 22 for a level outside 1..9, the source's or sink's own error otherwise.
// Plain functions; each call uses its own state (about 9 bytes per byte of block).
// Depends on base/compress/ByteStream.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/compress/ByteStream.h"

namespace OrvGuiBase {

inline constexpr int kDefaultBlockLevel = 9;

// BlockCompressStream / BlockDecompressStream: everything source gives into sink.
ORVGUI_API bool BlockCompressStream(ByteSource& source, ByteSink& sink, int level = kDefaultBlockLevel);
ORVGUI_API bool BlockDecompressStream(ByteSource& source, ByteSink& sink, uint64_t limit = UINT64_MAX);

// BlockCompress / BlockDecompress: the same over buffers; out is replaced.
ORVGUI_API bool BlockCompress(const void* data, size_t size, std::vector<uint8_t>& out, int level = kDefaultBlockLevel);
ORVGUI_API bool BlockDecompress(const void* data, size_t size, std::vector<uint8_t>& out, uint64_t limit = UINT64_MAX);

// BurrowsWheeler / InverseBurrowsWheeler: the transform of n bytes (exposed for tests): out
// gets the last column without the end marker, primary the row (1..n) where the marker was.
// The inverse needs the same n and a primary in 1..n (false otherwise, last error 22).
ORVGUI_API void BurrowsWheeler(const uint8_t* in, uint32_t n, uint8_t* out, uint32_t& primary);
ORVGUI_API bool InverseBurrowsWheeler(const uint8_t* in, uint32_t n, uint32_t primary, uint8_t* out);

}  // namespace OrvGuiBase
