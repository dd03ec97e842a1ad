// ByteStream.h: where the codecs read their input from and write their output to.
//
//   MemorySource in(data, size);
//   VectorSink out(result);
//   Inflater inflater;
//   if (!inflater.Run(DeflateFormat::kGzip, in, out, 1 << 30)) Report(GetLastErrorMessage());
//
// The streaming codecs pull their input from a ByteSource and push their output into a
// ByteSink in pieces, so a stream of any length goes through in bounded memory. The memory
// and descriptor forms here cover the usual cases; a caller derives its own for anything else.
// Depends on base/core/LastError.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <vector>

#include "base/core/Export.h"

namespace OrvGuiBase {

// ByteSource: Read fills buffer with 1..size bytes and returns the count, 0 at the end of the
// input, or -1 with the last error set.
class ORVGUI_API ByteSource {
 public:
  virtual ~ByteSource() = default;
  virtual long Read(uint8_t* buffer, size_t size) = 0;
};

// ByteSink: Write takes all size bytes, or returns false with the last error set.
class ORVGUI_API ByteSink {
 public:
  virtual ~ByteSink() = default;
  virtual bool Write(const uint8_t* data, size_t size) = 0;
};

// MemorySource: the bytes of one buffer, which must outlive the source.
class ORVGUI_API MemorySource final : public ByteSource {
 public:
  MemorySource(const void* data, size_t size) : m_data(static_cast<const uint8_t*>(data)), m_size(size) {}
  long Read(uint8_t* buffer, size_t size) override;

 private:
  const uint8_t* m_data;
  size_t m_size;
  size_t m_pos = 0;
};

// VectorSink: appends to a vector (SetOutOfMemory, codec "output buffer", when memory runs out).
class ORVGUI_API VectorSink final : public ByteSink {
 public:
  explicit VectorSink(std::vector<uint8_t>& out) : m_out(out) {}
  bool Write(const uint8_t* data, size_t size) override;

 private:
  std::vector<uint8_t>& m_out;
};

// FdSource / FdSink: a file descriptor, read and written with retries on EINTR (the
// descriptor stays open; the caller closes it).
class ORVGUI_API FdSource final : public ByteSource {
 public:
  explicit FdSource(int fd) : m_fd(fd) {}
  long Read(uint8_t* buffer, size_t size) override;

 private:
  int m_fd;
};

class ORVGUI_API FdSink final : public ByteSink {
 public:
  explicit FdSink(int fd) : m_fd(fd) {}
  bool Write(const uint8_t* data, size_t size) override;

 private:
  int m_fd;
};

// RunOnBuffer: runs a streaming codec, codec(source, sink), from size bytes at data into out
// (replaced): the one-shot form of every codec.
template <typename Codec>
bool RunOnBuffer(const void* data, size_t size, std::vector<uint8_t>& out, Codec&& codec) {
  out.clear();
  MemorySource source(data, size);
  VectorSink sink(out);
  return codec(static_cast<ByteSource&>(source), static_cast<ByteSink&>(sink));
}

// SetOutOfMemory: a codec's memory ran out: reports the event 720 "Compression memory
// allocation failed" of source "ORVGUI" with the key "codec", sets last error 12 (ENOMEM) and
// returns false.
ORVGUI_API bool SetOutOfMemory(const char* codec);
// MakeState: allocates a codec's working state on first use; false (SetOutOfMemory) when
// memory runs out.
template <typename State>
bool MakeState(std::unique_ptr<State>& state, const char* codec) {
  if (!state) state.reset(new (std::nothrow) State);
  return state != nullptr || SetOutOfMemory(codec);
}

// SetLimitError: the failure of a decoder whose output would pass limit bytes: last error 7
// (E2BIG) and the message "<codec>: output exceeds the limit of N bytes". Returns false.
ORVGUI_API bool SetLimitError(const char* codec, uint64_t limit);

// SetCodecError: the failure of a codec: the last error becomes 44444 and the thread's last
// error message "<codec>: <what>". Always returns false, so a decoder ends with
// `return SetCodecError("inflate", "invalid block type");`.
ORVGUI_API bool SetCodecError(const char* codec, const char* what);

}  // namespace OrvGuiBase
