// FastStream.h: text reading and writing straight through a memory map: no system call and no
// copy per character.
//
//   FastReadStream in(File("/var/log/app.log"));
//   for (AnsiStr line; in.ReadLn(line);) Parse(line);        // "\n" and "\r\n" both end lines
//   FastWriteStream out(File("/tmp/report.txt"), false);      // false: start empty
//   out.WriteFmt("%d rows\n", rows);
//   if (!out.Close()) ...                                     // the first failure, if any
//
// A FastStream is a MemoryFile (base/fs/MemoryFile.h) with the file to open, a position and a
// sticky error: after the first failure the writers do nothing, and Close (or IsFailed) tells
// the caller once. A writer grows its map in steps of at least 512 KiB and cuts the file to
// what was written when it closes. A writer on a File without a path writes into a heap block
// (GetData, GetSize). One object is used by one thread at a time.
// Depends on base/fs/MemoryFile.h and base/text (AnsiChar, the formatter).
#pragma once

#include "base/fs/MemoryFile.h"
#include "base/text/AnsiChar.h"

namespace OrvGuiBase {

// FastStreamMode: the memory-file mode a reader opens with.
enum FastStreamMode : unsigned {
  kFastRead = 0,            // MemoryFile::kRead
  kFastReadSequential = 1,  // MemoryFile::kReadSequential
  kFastReadPreload = 2,     // MemoryFile::kReadPreload
};

class ORVGUI_API FastStream : public MemoryFile {
 public:
  // FastStream: opens file for reading in mode (see Open); IsOpen tells whether it worked.
  FastStream(const File& file, FastStreamMode mode);
  // Open: maps the file in the mode's memory-file mode (modes other than 1 and 2 use 0); the
  // position is 0 and the error cleared.
  bool Open(FastStreamMode mode);
  // Close: closes the memory file; false with the last error when a write failed before or
  // the close itself failed.
  bool Close();
  // IsFailed / GetError: whether a write failed, and its system error (0 when none).
  bool IsFailed() const { return m_error != 0; }
  int GetError() const { return m_error; }
  // GetPos: the reading position (a writer writes at GetSize()).
  unsigned long GetPos() const { return m_pos; }

 protected:
  explicit FastStream(const File& file) : m_streamFile(file) {}

  File m_streamFile;
  unsigned long m_pos = 0;
  int m_error = 0;
};

class ORVGUI_API FastReadStream : public FastStream {
 public:
  explicit FastReadStream(const File& file, FastStreamMode mode = kFastRead) : FastStream(file, mode) {}

  // Read(char): the next byte. Read(AnsiChar): the next UTF-8 character (false with last error
  // 84 for a byte that starts none: that byte is skipped). Read(AnsiStr): all that is left.
  // ReadLn: the next line without its "\n" and a "\r" before it; the last line needs no "\n".
  // Each returns false at the end with last error 0.
  bool Read(char& c);
  bool Read(AnsiChar& c);
  bool Read(AnsiStr& text);
  bool ReadLn(AnsiStr& line);
};

class ORVGUI_API FastWriteStream : public FastStream {
 public:
  // FastWriteStream: opens file for writing: appending to its content, or starting empty (see
  // Open). IsOpen tells whether it worked.
  FastWriteStream(const File& file, bool append);
  // Open: a file without a path becomes a heap block; otherwise the file is created when
  // missing and either kept (append) or cut to nothing.
  bool Open(bool append);

  // Put: appends; on failure the error is kept and later writes do nothing.
  void Put(char c) {
    if ((m_size < m_length && m_error == 0) || Grow(1)) m_data[m_size++] = c;
  }
  void Put(const char* text);
  void Put(const char* data, unsigned long size);
  void PutFmt(const char* format, ...);
  // Write: Put, then whether the stream is still without error (false with the last error).
  bool Write(char c);
  bool Write(const char* text);
  bool Write(const char* data, unsigned long size);
  bool WriteFmt(const char* format, ...);

 private:
  // Grow: room for size more bytes; false (error kept) when the stream failed or cannot grow.
  bool Grow(unsigned long size);
  bool Result();
};

}  // namespace OrvGuiBase
