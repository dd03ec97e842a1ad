// Inflate.h: the decoder of deflate streams, bare or in their zlib and gzip wrappers.
//
//   std::vector<uint8_t> text;
//   if (!Inflate(DeflateFormat::kGzip, data, size, text, 64u << 20))   // at most 64 MiB out
//     Report(GetLastErrorMessage());        // "inflate: incorrect data check", ...
//
// Inflate decodes a whole buffer; an Inflater decodes a stream of any length from a
// ByteSource into a ByteSink in bounded memory (about 500 KiB). Every decoder takes a limit on
// the bytes it writes, so that a small hostile input cannot expand without end. Failures
// return false: bad or truncated input sets the last error 44444 with the message
// "inflate: <what>"; output past the limit sets last error 7 (E2BIG) and the message
// "inflate: output exceeds the limit of N bytes"; a failing source or sink leaves its own last
// error. Input after the end of a bare or zlib stream is an error ("trailing data after the
// end of the stream"); after a gzip member it must be another member (members are decoded
// one after another, as gzip -d does). One Inflater is used by one thread at a time.
// Depends on base/compress/ByteStream.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "base/compress/ByteStream.h"

namespace OrvGuiBase {

// DeflateFormat: the wrapper around the deflate data: none, zlib (2-byte header, Adler-32) or
// gzip (10-byte header and more, CRC-32 and size).
enum class DeflateFormat { kRaw, kZlib, kGzip };

class ORVGUI_API Inflater {
 public:
  Inflater();
  ~Inflater();
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;

  // Run: decodes one stream (for gzip: all members) from source into sink, writing at most
  // limit bytes. True when the stream ended well and every check matched.
  bool Run(DeflateFormat format, ByteSource& source, ByteSink& sink, uint64_t limit = UINT64_MAX);
  // GetTotalIn / GetTotalOut: the bytes consumed and written by the last Run.
  uint64_t GetTotalIn() const;
  uint64_t GetTotalOut() const;

  struct State;

 private:
  std::unique_ptr<State> m_state;
};

// Inflate: decodes size bytes into out (replaced), at most limit bytes of output.
ORVGUI_API bool Inflate(DeflateFormat format, const void* data, size_t size, std::vector<uint8_t>& out,
                        uint64_t limit = UINT64_MAX);

}  // namespace OrvGuiBase
