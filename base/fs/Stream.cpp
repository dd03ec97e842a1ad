// Stream.cpp: text streams over stdio: modes, marks, line reading, the sticky write error.
#include "base/fs/Stream.h"

#include <fcntl.h>
#include <stdlib.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>

#include "base/text/Formatter.h"
#include "base/text/Utf.h"
#include "private/fs/FileCall.h"
#include "private/text/TextBytes.h"

namespace OrvGuiBase {

Stream::Stream(StdStream which) : m_std(true) {
  m_stream = which == kStdIn ? stdin : which == kStdErr ? stderr : stdout;
}

bool Stream::Open(const AnsiStr& mode) {
  Close();
  m_error = 0;
  m_failure = 0;
  FileCall call("fopen", m_file);
  m_stream = ::fopen(m_file.GetPath().GetStr(), mode.GetStr());
  if (m_stream == nullptr) return false;
  ::fcntl(::fileno(m_stream), F_SETFD, FD_CLOEXEC);  // as every descriptor of the library
  return true;
}

bool Stream::Close() {
  if (m_stream == nullptr) return true;
  FILE* stream = m_stream;
  m_stream = nullptr;
  if (m_std) {
    m_std = false;
    return ::fflush(stream) == 0 || WriteFailed();
  }
  FileCall call("fclose", m_file);
  return ::fclose(stream) == 0 || WriteFailed();
}

bool Stream::Flush() {
  if (m_stream == nullptr) return true;
  return ::fflush(m_stream) == 0 || WriteFailed();
}

bool Stream::CheckWritable() {
  if (m_stream == nullptr) {
    errno = EBADF;
    return false;
  }
  if (m_error != 0) {
    errno = m_failure;
    return false;
  }
  return true;
}

bool Stream::WriteFailed() {
  if (m_error == 0) {
    m_error = kWriteFailed;
    m_failure = errno != 0 ? errno : EIO;
  }
  errno = m_failure;
  return false;
}

ReadStream::ReadStream(const File& file, ReadStreamMode mode) : Stream(file) { Open(mode); }

ReadStream::~ReadStream() { ::free(m_line); }

// Open: the binary modes read the bytes as they are; detection (modes 2 and 3) decides between
// bytes and UTF-16, and the mark it found is skipped by position. UTF-16 is decoded here, unit
// by unit in the byte order of the mark, rather than by the C runtime's wide streams: those
// keep a converter per stream that their close never frees, and some refuse surrogate pairs.
bool ReadStream::Open(ReadStreamMode mode) {
  m_encoding = kEncodingPlain;
  if (mode == kReadDetect || mode == kReadDetectDeep) {
    const int found = m_file.DetectTextEncoding(mode == kReadDetectDeep);
    if (found == kEncodingUnknown) {
      Close();
      return false;
    }
    m_encoding = static_cast<TextEncoding>(found);
  }
  const bool binary = mode >= kReadBinary && mode <= kReadDetectDeep;
  if (!Stream::Open(binary ? "rbS" : "rtS")) return false;
  const long mark = m_encoding == kEncodingUTF8Mark ? 3 : IsUTF16() ? 2 : 0;
  if (mark != 0 && ::fseek(m_stream, mark, SEEK_SET) != 0) {
    const int error = errno;
    Close();
    errno = error;
    return false;
  }
  return true;
}

bool ReadStream::CheckReadable() {
  if (m_stream != nullptr) return true;
  errno = EBADF;
  return false;
}

bool ReadStream::AtEnd() {
  if (m_stream != nullptr && ::ferror(m_stream)) return false;  // errno is the read's
  errno = 0;
  return false;
}

// ReadUnits: appends the next UTF-16 units to the unit buffer (m_line), up to and including a
// line feed (or one character: a unit, two for a surrogate pair); count is the buffer's fill.
// False when nothing could be added (the end, an odd last byte dropped) or memory is short.
bool ReadStream::ReadUnits(size_t& count, bool line) {
  const size_t start = count;
  const bool bigEndian = m_encoding == kEncodingUTF16BE;
  for (;;) {
    const int first = ::getc(m_stream);
    const int second = first != EOF ? ::getc(m_stream) : EOF;
    if (second == EOF) break;
    const char16_t unit = static_cast<char16_t>(bigEndian ? first << 8 | second : second << 8 | first);
    if ((count + 1) * sizeof(char16_t) > m_lineCapacity) {
      const size_t capacity = m_lineCapacity < 512 ? 1024 : 2 * m_lineCapacity;
      char* grown = static_cast<char*>(::realloc(m_line, capacity));
      if (grown == nullptr) {
        errno = ENOMEM;
        return false;
      }
      m_line = grown;
      m_lineCapacity = capacity;
    }
    reinterpret_cast<char16_t*>(m_line)[count++] = unit;
    if (line ? unit == u'\n' : unit < 0xD800 || unit > 0xDBFF || count - start == 2) break;
  }
  return count != start;
}

// TakeUnits: the first count units of the unit buffer as UTF-8 (false with last error 84 when
// they are not well-formed UTF-16, such as a lone surrogate).
bool ReadStream::TakeUnits(size_t count, AnsiStr& text) {
  const char16_t* units = reinterpret_cast<const char16_t*>(m_line);
  const uint32_t bytes = UTF16toUTF8(units, static_cast<uint32_t>(count), nullptr, 0);
  AnsiStrBuilder out(bytes);
  char* room = bytes != 0 ? out.Reserve(bytes) : nullptr;
  if (room == nullptr || UTF16toUTF8(units, static_cast<uint32_t>(count), room, bytes) != bytes) {
    text = AnsiStr();
    if (bytes != 0 && room == nullptr) errno = ENOMEM;
    return false;
  }
  out.Commit(bytes);
  text = out.Detach();
  return true;
}

bool ReadStream::Read(char& c) {
  if (!CheckReadable()) return false;
  if (IsUTF16()) {
    AnsiChar character;
    if (!Read(character)) return false;
    if (character.GetLength() != 1) {
      errno = EILSEQ;
      return false;
    }
    c = character.GetStr()[0];
    return true;
  }
  const int byte = ::getc(m_stream);
  if (byte == EOF) return AtEnd();
  c = static_cast<char>(byte);
  return true;
}

bool ReadStream::Read(AnsiChar& c) {
  c = AnsiChar();
  if (!CheckReadable()) return false;
  char bytes[8] = {};
  if (IsUTF16()) {
    size_t count = 0;
    if (!ReadUnits(count, false)) return AtEnd();
    AnsiStr text;
    if (!TakeUnits(count, text)) return false;
    c = AnsiChar(text);
    return true;
  }
  const int lead = ::getc(m_stream);
  if (lead == EOF) return AtEnd();
  bytes[0] = static_cast<char>(lead);
  const int length = static_cast<int>(Internal::SequenceLength(static_cast<unsigned char>(lead)));
  for (int i = 1; i < length; ++i) {
    const int next = ::getc(m_stream);
    if (next == EOF) break;
    if (!Internal::IsContinuation(static_cast<unsigned char>(next))) {  // leave it for the next read
      ::ungetc(next, m_stream);
      break;
    }
    bytes[i] = static_cast<char>(next);
  }
  c = AnsiChar(bytes);
  if (length == 0 || static_cast<int>(c.GetLength()) != length) {
    c = AnsiChar();
    errno = EILSEQ;
    return false;
  }
  return true;
}

bool ReadStream::Read(AnsiStr& text) {
  text = AnsiStr();
  if (!CheckReadable()) return false;
  if (IsUTF16()) {
    size_t count = 0;
    errno = 0;
    while (ReadUnits(count, true)) {
    }
    if (::ferror(m_stream) || errno == ENOMEM) return false;
    if (count == 0) return AtEnd();
    return TakeUnits(count, text);
  }
  AnsiStrBuilder out;
  for (;;) {
    char* room = out.Reserve(65536);
    if (room == nullptr) {
      errno = ENOMEM;
      return false;
    }
    const size_t got = ::fread(room, 1, 65536, m_stream);
    out.Commit(static_cast<uint32_t>(got));
    if (got < 65536) break;
  }
  if (::ferror(m_stream)) return false;
  text = out.Detach();
  if (text.IsEmpty()) return AtEnd();
  return true;
}

bool ReadStream::ReadLn(AnsiStr& line) {
  if (!CheckReadable()) {
    line = AnsiStr();
    return false;
  }
  if (IsUTF16()) {
    size_t count = 0;
    errno = 0;
    if (!ReadUnits(count, true)) {
      line = AnsiStr();
      return errno == ENOMEM ? false : AtEnd();
    }
    const char16_t* units = reinterpret_cast<const char16_t*>(m_line);
    if (units[count - 1] == u'\n') {
      --count;
      if (count != 0 && units[count - 1] == u'\r') --count;
    }
    if (count == 0) {
      line = AnsiStr();
      return true;
    }
    return TakeUnits(count, line);
  }
  const ssize_t got = ::getdelim(&m_line, &m_lineCapacity, '\n', m_stream);
  if (got < 0) {
    line = AnsiStr();
    return AtEnd();
  }
  uint32_t length = static_cast<uint32_t>(got);
  if (length != 0 && m_line[length - 1] == '\n') {
    --length;
    if (length != 0 && m_line[length - 1] == '\r') --length;
  }
  line.Set(AnsiSubStr(m_line, length));
  return true;
}

WriteStream::WriteStream(const File& file, WriteStreamMode mode) : Stream(file) { Open(mode); }

bool WriteStream::Open(WriteStreamMode mode) {
  const char* text = mode == kWriteBinary ? "wbS" : mode == kAppendBinary ? "abS" : mode == kAppendText ? "atS" : "wtS";
  return Stream::Open(text);
}

bool WriteStream::WriteBOM(TextEncoding encoding) {
  if (!CheckWritable()) return false;
  switch (encoding) {
    case kEncodingUTF16BE: return Write("\xFE\xFF", 2);
    case kEncodingUTF16LE: return Write("\xFF\xFE", 2);
    case kEncodingUTF8Mark: return Write("\xEF\xBB\xBF", 3);
    default: return true;
  }
}

bool WriteStream::Write(char c) {
  if (!CheckWritable()) return false;
  return ::putc(c, m_stream) != EOF || WriteFailed();
}

bool WriteStream::Write(const char* text) { return Write(text, text != nullptr ? std::strlen(text) : 0); }

bool WriteStream::Write(const char* data, size_t size) {
  if (!CheckWritable()) return false;
  if (size == 0) return true;
  return ::fwrite(data, 1, size, m_stream) == size || WriteFailed();
}

bool WriteStream::WriteFmt(const char* format, ...) {
  if (!CheckWritable()) return false;
  va_list args;
  va_start(args, format);
  const AnsiStr text = FmtList(format, args);
  va_end(args);
  return Write(text.GetStr(), text.GetLength());
}

}  // namespace OrvGuiBase
