// FastStream.cpp: readers and writers over a memory map.
#include "base/fs/FastStream.h"

#include <cerrno>
#include <cstdarg>
#include <cstring>

#include "base/text/Formatter.h"
#include "private/text/TextBytes.h"

namespace OrvGuiBase {

FastStream::FastStream(const File& file, FastStreamMode mode) : m_streamFile(file) { Open(mode); }

bool FastStream::Open(FastStreamMode mode) {
  m_pos = 0;
  m_error = 0;
  const Mode mapMode = mode == kFastReadSequential ? kReadSequential : mode == kFastReadPreload ? kReadPreload : kRead;
  return MemoryFile::Open(m_streamFile, mapMode, 0);
}

bool FastStream::Close() {
  const int failed = m_error;
  const bool closed = MemoryFile::Close();
  m_pos = 0;
  m_error = 0;
  if (failed != 0) {
    errno = failed;
    return false;
  }
  return closed;
}

bool FastReadStream::Read(char& c) {
  if (m_pos >= m_size) {
    errno = 0;
    return false;
  }
  c = m_data[m_pos++];
  return true;
}

bool FastReadStream::Read(AnsiChar& c) {
  if (m_pos >= m_size) {
    errno = 0;
    return false;
  }
  const unsigned char lead = static_cast<unsigned char>(m_data[m_pos]);
  const unsigned long length = Internal::SequenceLength(lead);
  char bytes[5] = {};
  if (length != 0 && length <= m_size - m_pos) std::memcpy(bytes, m_data + m_pos, length);
  c = AnsiChar(bytes);
  if (length == 0 || c.GetLength() != length) {
    c = AnsiChar();
    ++m_pos;
    errno = EILSEQ;
    return false;
  }
  m_pos += length;
  return true;
}

bool FastReadStream::Read(AnsiStr& text) {
  if (m_pos >= m_size) {
    text = AnsiStr();
    errno = 0;
    return false;
  }
  text.Set(AnsiSubStr(m_data + m_pos, static_cast<uint32_t>(m_size - m_pos)));
  m_pos = m_size;
  return true;
}

bool FastReadStream::ReadLn(AnsiStr& line) {
  if (m_pos >= m_size) {
    line = AnsiStr();
    errno = 0;
    return false;
  }
  const char* start = m_data + m_pos;
  const unsigned long left = m_size - m_pos;
  const char* end = static_cast<const char*>(std::memchr(start, '\n', left));
  unsigned long length;
  if (end != nullptr) {
    length = static_cast<unsigned long>(end - start);
    m_pos += length + 1;
  } else {
    length = left;
    m_pos = m_size;
  }
  if (length != 0 && start[length - 1] == '\r' && end != nullptr) --length;
  line.Set(AnsiSubStr(start, static_cast<uint32_t>(length)));
  return true;
}

FastWriteStream::FastWriteStream(const File& file, bool append) : FastStream(file) { Open(append); }

bool FastWriteStream::Open(bool append) {
  m_pos = 0;
  m_error = 0;
  if (append && !m_streamFile.IsEmpty()) return MemoryFile::Open(m_streamFile, kWrite, 0);
  return Create(m_streamFile);
}

bool FastWriteStream::Grow(unsigned long size) {
  if (m_error != 0) return false;
  if (!IsOpen()) {
    m_error = EBADF;
    return false;
  }
  if (Extend(size, m_size)) return true;
  m_error = errno;
  return false;
}

void FastWriteStream::Put(const char* data, unsigned long size) {
  if ((m_error != 0 || size > m_length - m_size) && !Grow(size)) return;
  std::memcpy(m_data + m_size, data, size);
  m_size += size;
}

void FastWriteStream::Put(const char* text) { Put(text, std::strlen(text)); }

void FastWriteStream::PutFmt(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const AnsiStr text = FmtList(format, args);
  va_end(args);
  Put(text.GetStr(), text.GetLength());
}

bool FastWriteStream::Result() {
  if (m_error == 0) return true;
  errno = m_error;
  return false;
}

bool FastWriteStream::Write(char c) {
  Put(c);
  return Result();
}

bool FastWriteStream::Write(const char* text) {
  Put(text);
  return Result();
}

bool FastWriteStream::Write(const char* data, unsigned long size) {
  Put(data, size);
  return Result();
}

bool FastWriteStream::WriteFmt(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const AnsiStr text = FmtList(format, args);
  va_end(args);
  Put(text.GetStr(), text.GetLength());
  return Result();
}

}  // namespace OrvGuiBase

