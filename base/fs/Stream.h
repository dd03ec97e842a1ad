// Stream.h: text streams over the C runtime's buffered streams, with byte-order marks.
//
//   ReadStream in(File("/etc/app/names.txt"), kReadDetect);   // a UTF-8 mark is skipped,
//   for (AnsiStr line; in.ReadLn(line);) Use(line);           // UTF-16 is read as UTF-8
//   WriteStream out(File("/tmp/out.txt"), kWriteBinary);
//   out.WriteBOM(kEncodingUTF8Mark);
//   out.WriteFmt("%s=%d\n", name, value);
//   if (!out.Close()) ...                                       // ENOSPC shows up at the latest here
//
// A Stream holds the File, the C stream and an error state: 0 good, 4 a write failed. After a
// failed write a stream refuses every further write with the first failure's error, so a
// caller may write a whole document and check once. Failures return false with the last error
// set; nothing throws. One object is used by one thread at a time.
// Depends on base/fs/File.h and base/text (AnsiChar, the formatter).
#pragma once

#include <cstdio>

#include "base/fs/File.h"
#include "base/text/AnsiChar.h"

namespace OrvGuiBase {

// StdStream: the process's standard streams.
enum StdStream : unsigned { kStdIn = 0, kStdOut = 1, kStdErr = 2 };

// TextEncoding: what a text file holds; the numbers of File::DetectTextEncoding.
enum TextEncoding : unsigned {
  kEncodingUnknown = 0,   // not known (the file could not be read)
  kEncodingPlain = 1,     // bytes
  kEncodingUTF8 = 2,      // UTF-8 without a mark
  kEncodingUTF8Mark = 3,  // UTF-8 after EF BB BF
  kEncodingUTF16BE = 4,   // UTF-16 big-endian after FE FF
  kEncodingUTF16LE = 5,   // UTF-16 little-endian after FF FE
};

class ORVGUI_API Stream {
 public:
  // kWriteFailed: the error state after a failed write.
  static constexpr int kWriteFailed = 4;

  // Stream(which): one of the process's standard streams (Close flushes it, never closes it).
  explicit Stream(StdStream which);
  // Stream(file): names the file; Open opens it. Stream(file, mode): opens it at once.
  explicit Stream(const File& file) : m_file(file) {}
  Stream(const File& file, const AnsiStr& mode) : m_file(file) { Open(mode); }
  ~Stream() { Close(); }
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  // Open: opens the file with a C runtime mode string ("rb", "wtS", "a+", ...);
  // an open stream is closed first and the error state cleared.
  bool Open(const AnsiStr& mode);
  // Close: flushes and closes (true when nothing was open). Data that cannot be written now
  // fails the close and sets error state 4.
  bool Close();
  // Flush: hands buffered data to the system; a failure sets error state 4.
  bool Flush();

  bool IsOpen() const { return m_stream != nullptr; }
  // GetError: 0, or 4 after a failed write.
  int GetError() const { return m_error; }
  FILE* GetHandle() const { return m_stream; }
  const File& GetFile() const { return m_file; }

 protected:
  // CheckWritable: false (with the last error) when the stream is not open or has failed.
  bool CheckWritable();
  // WriteFailed: records the failure of a write (keeping errno) and returns false.
  bool WriteFailed();

  File m_file;
  FILE* m_stream = nullptr;
  int m_error = 0;
  int m_failure = 0;    // the system error of the failed write
  bool m_std = false;   // a standard stream: never closed here
};

// ReadStreamMode: how a ReadStream opens its file. Modes 1 to 3 read bytes as they are; 2 and 3
// first look for a byte-order mark (3 also checks the whole file for valid UTF-8), skip a
// UTF-8 mark and read UTF-16 as text. Mode 0 opens in text mode without looking.
enum ReadStreamMode : unsigned { kReadText = 0, kReadBinary = 1, kReadDetect = 2, kReadDetectDeep = 3 };

class ORVGUI_API ReadStream : public Stream {
 public:
  // ReadStream: opens file in mode; IsOpen tells whether it worked.
  ReadStream(const File& file, ReadStreamMode mode);
  // ReadStream(file): names the file; Open opens it.
  explicit ReadStream(const File& file) : Stream(file) {}
  explicit ReadStream(StdStream which) : Stream(which) {}
  ~ReadStream();

  // Open: (re)opens the file in mode (see ReadStreamMode).
  bool Open(ReadStreamMode mode);
  // GetEncoding: what the open found (kEncodingPlain when the mode does not look).
  TextEncoding GetEncoding() const { return m_encoding; }

  // Read(char): the next byte (on a UTF-16 stream the next character when it is ASCII, else
  // false with last error 84). Read(AnsiChar): the next character. Read(AnsiStr): all that is
  // left. ReadLn: the next line without its "\n" and a "\r" before it (the last line needs no
  // "\n"). UTF-16 text arrives as UTF-8; text that is not well-formed UTF-16 (a lone
  // surrogate) fails with last error 84, consumed. Each returns false at the end with last
  // error 0, or on a read error with its error.
  bool Read(char& c);
  bool Read(AnsiChar& c);
  bool Read(AnsiStr& text);
  bool ReadLn(AnsiStr& line);

 private:
  // CheckReadable: false with last error 9 when the stream is not open. AtEnd: the false of a
  // read that found nothing: last error 0 at the end, the read's error after a failure.
  bool CheckReadable();
  bool AtEnd();
  bool IsUTF16() const { return m_encoding == kEncodingUTF16BE || m_encoding == kEncodingUTF16LE; }
  bool ReadUnits(size_t& count, bool line);
  bool TakeUnits(size_t count, AnsiStr& text);

  TextEncoding m_encoding = kEncodingPlain;
  char* m_line = nullptr;  // the line buffer: bytes (getdelim) or UTF-16 units
  size_t m_lineCapacity = 0;
};

// WriteStreamMode: how a WriteStream opens its file.
enum WriteStreamMode : unsigned {
  kWriteText = 0,     // "wtS": created or cut to nothing
  kAppendText = 1,    // "atS": created when missing, written at the end
  kWriteBinary = 2,   // "wbS"
  kAppendBinary = 3,  // "abS"
};

class ORVGUI_API WriteStream : public Stream {
 public:
  // WriteStream: opens file in mode; IsOpen tells whether it worked.
  WriteStream(const File& file, WriteStreamMode mode);
  // WriteStream(file): names the file; Open opens it.
  explicit WriteStream(const File& file) : Stream(file) {}
  explicit WriteStream(StdStream which) : Stream(which) {}

  bool Open(WriteStreamMode mode);
  // WriteBOM: the mark of encoding: FE FF for 4, FF FE for 5, EF BB BF for 3; nothing (and
  // success) for any other.
  bool WriteBOM(TextEncoding encoding);
  // Write / WriteFmt: the text (formatted with the library's formatter, base/text/Formatter.h).
  // Each fails at once when the stream is not open or has failed; a failed write sets error
  // state 4 and is sticky.
  bool Write(char c);
  bool Write(const char* text);
  bool Write(const char* data, size_t size);
  bool Write(const AnsiStr& text) { return Write(text.GetStr(), text.GetLength()); }
  bool WriteFmt(const char* format, ...);
};

}  // namespace OrvGuiBase
