// Deflate.h: the deflate encoder, bare or in the zlib and gzip wrappers.
//
//   std::vector<uint8_t> packed;
//   if (!Deflate(DeflateFormat::kGzip, text, size, packed, 6)) Report(GetLastError());
//
//   Deflater deflater;                                  // a stream of any length
//   deflater.Begin(DeflateFormat::kZlib, 9, sink);
//   while (more) deflater.Write(piece, pieceSize);
//   deflater.Finish();
//
// Levels run from 0 (stored blocks only) through 1..3 (greedy matching, short hash chains) to
// 4..9 (lazy matching, ever longer chains); -1 is the default, 6. Each block is sent stored,
// with the fixed codes or with its own codes, whichever is shortest. The output is a valid
// stream for any inflater; the gzip header carries no name and no time. Failures: a level
// outside -1..9 gives last error 22; a failing sink leaves its own last error, after which the
// Deflater refuses further writes (false, the same last error). One Deflater is used by one
// thread at a time; Begin starts it over.
// Depends on base/compress/ByteStream.h and base/compress/Inflate.h (DeflateFormat).
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "base/compress/ByteStream.h"
#include "base/compress/Inflate.h"

namespace OrvGuiBase {

inline constexpr int kDefaultDeflateLevel = 6;

class ORVGUI_API Deflater {
 public:
  Deflater();
  ~Deflater();
  Deflater(const Deflater&) = delete;
  Deflater& operator=(const Deflater&) = delete;

  // Begin: starts a stream of format at level into sink (which must outlive the stream).
  bool Begin(DeflateFormat format, int level, ByteSink& sink);
  // Write: compresses size more bytes (output reaches the sink block by block).
  bool Write(const void* data, size_t size);
  // Finish: ends the stream: the last block and the wrapper's trailer reach the sink.
  bool Finish();
  // GetTotalIn / GetTotalOut: the bytes taken and the bytes handed to the sink.
  uint64_t GetTotalIn() const;
  uint64_t GetTotalOut() const;

  struct State;

 private:
  std::unique_ptr<State> m_state;
};

// Deflate: compresses size bytes into out (replaced) at level.
ORVGUI_API bool Deflate(DeflateFormat format, const void* data, size_t size, std::vector<uint8_t>& out,
                        int level = kDefaultDeflateLevel);

// DeflateStream: compresses everything source gives into sink at level.
ORVGUI_API bool DeflateStream(DeflateFormat format, int level, ByteSource& source, ByteSink& sink);

}  // namespace OrvGuiBase
