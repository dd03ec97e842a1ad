// ByteStream.cpp: the memory and descriptor sources and sinks of the codecs.
#include "base/compress/ByteStream.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

#include "base/core/LastError.h"
#include "base/core/UpcallEvents.h"
#include "base/include/private/system/Sys.h"

namespace OrvGuiBase {

long MemorySource::Read(uint8_t* buffer, size_t size) {
  size_t n = m_size - m_pos < size ? m_size - m_pos : size;
  if (n > 0) std::memcpy(buffer, m_data + m_pos, n);
  m_pos += n;
  return static_cast<long>(n);
}

bool VectorSink::Write(const uint8_t* data, size_t size) {
  try {
    m_out.insert(m_out.end(), data, data + size);
  } catch (const std::bad_alloc&) {
    return SetOutOfMemory("output buffer");
  }
  return true;
}

long FdSource::Read(uint8_t* buffer, size_t size) {
  ssize_t n = Sys::Read(m_fd, buffer, size);
  return n < 0 ? -1 : static_cast<long>(n);
}

bool FdSink::Write(const uint8_t* data, size_t size) { return Sys::WriteAll(m_fd, data, size); }

bool SetOutOfMemory(const char* codec) {
  const OrvGuiTrace::EventField fields[] = {{"codec", AnsiStr(codec)}};
  OrvGuiTrace::ReportEvent("ORVGUI", 720, "Compression memory allocation failed", fields, 1, OrvGuiTrace::kEventError,
                           OrvGuiTrace::kCategoryInternal);
  SetLastError(ENOMEM);
  return false;
}

bool SetCodecError(const char* codec, const char* what) {
  char text[160];
  std::snprintf(text, sizeof text, "%s: %s", codec, what);
  SetErrorMessage(AnsiStr(text));
  return false;
}

bool SetLimitError(const char* codec, uint64_t limit) {
  char text[96];
  std::snprintf(text, sizeof text, "output exceeds the limit of %llu bytes", static_cast<unsigned long long>(limit));
  SetCodecError(codec, text);
  SetLastError(E2BIG);
  return false;
}

}  // namespace OrvGuiBase
