// MemoryFile.h: a file mapped into memory, or a private heap block with the same interface,
// that grows in steps of at least 512 KiB.
//
//   MemoryFile map;
//   if (map.Open(File("/data/table.bin"))) Use(map.GetData(), map.GetSize());
//   MemoryFile scratch;                               // no file: a heap block
//   scratch.Init(0, 4096);                            // 4096 bytes of room, all content
//
// The object holds the descriptor, the mapped address and the map's length (the room), and the
// logical size (the content, at most the length). A memory file without a file is a heap block
// ("temporary map"). A writable file-backed map is cut back to the logical size when it is
// closed, so room made by growth never reaches the file. Failures return false with the last
// error set to the system error; a failure to make or grow the memory is also reported as an
// event of source "ORVGUI". One object is used by one thread at a time.
// Depends on base/fs/File.h.
#pragma once

#include "base/fs/File.h"

namespace OrvGuiBase {

class ORVGUI_API MemoryFile {
 public:
  // Mode: 8 and 9 open the file read-write and map it shared for reading and writing; every
  // other mode opens it read-only and maps it read-only.
  enum Mode : unsigned {
    kRead = 0,            // read-only
    kReadSequential = 1,  // read-only, the kernel told that the pages are read in order
    kReadPreload = 2,     // read-only, every page read in when the map is made
    kWrite = 8,           // read-write, the file created when missing
    kReadWrite = 9,       // read-write, the file must exist
  };
  // kMinGrowth: the least that Extend grows the room by.
  static constexpr unsigned long kMinGrowth = 0x80000;

  MemoryFile() = default;
  ~MemoryFile() { Close(); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  // Open: opens file in mode (extra open(2) flags added) and maps all of it: the size and the
  // length are the file's size (an empty file maps nothing and succeeds). An open memory file
  // is closed first. Open(file): mode kRead.
  bool Open(const File& file, Mode mode, unsigned int flags);
  bool Open(const File& file) { return Open(file, kRead, 0); }
  // Create: a new, empty, writable memory file: on file (created or cut to nothing, mode 0777
  // before the umask), or a heap block when file has no path. With size: Init(0, size).
  bool Create(const File& file);
  bool Create(const File& file, unsigned long size);
  // OpenMap: maps the open file again, all of it, in mode (its protection and advice).
  bool OpenMap(Mode mode);
  // Init: makes the memory pos + init bytes long (the file cut or extended to that), all of it
  // content: size and length are pos + init. A heap block is allocated or resized.
  bool Init(unsigned long pos, unsigned long init);
  // Extend: grows the room to pos + amount bytes, amount raised to at least kMinGrowth (or to
  // what does not overflow). The content and the size stay; the address may change. Room that
  // is already there succeeds at once. An overflowing pos + amount fails with last error 22.
  bool Extend(unsigned long amount, unsigned long pos);
  // Flush: writes a file-backed map's changed pages to the file (msync); true for a heap block.
  bool Flush();
  // Close: unmaps (a writable file cut to the size first) or frees, and closes. True when
  // nothing was open or every step succeeded.
  bool Close();
  // Deflate: replaces the content by its compressed form, framed as the 4 bytes "OMZ1", the
  // content's size as 8 bytes little-endian, then a zlib stream (RFC 1950: deflate data with
  // an Adler-32 check) at level (0..9, -1 for 6). Inflate: the reverse; it refuses a frame whose
  // size is past limit (last error 7) and any frame that is not exactly one of the above: a
  // wrong mark, a stream that does not end where the content ends or does not give exactly the
  // size (last error 44444, message "inflate: ..."). Both need a writable memory file (last
  // error 13 otherwise) and leave the content as it was when they fail.
  bool Deflate(int level = -1);
  bool Inflate(unsigned long limit = ~0ul);

  char* GetData() { return m_data; }
  const char* GetData() const { return m_data; }
  // GetSize / SetSize: the content's size. SetSize fails (last error 22) past the length.
  unsigned long GetSize() const { return m_size; }
  bool SetSize(unsigned long size);
  // GetLength: the room: the mapped or allocated bytes.
  unsigned long GetLength() const { return m_length; }
  bool IsHeap() const { return m_heap; }
  bool IsOpen() const { return m_fd >= 0 || m_heap; }
  bool IsWritable() const { return m_heap || m_mode == kWrite || m_mode == kReadWrite; }
  Mode GetMode() const { return m_mode; }
  const File& GetFile() const { return m_file; }

 protected:
  // Map: maps length bytes of the file in mode; ReportFailure: the event of a failed step.
  bool Map(unsigned long length, Mode mode);
  void Unmap();

  int m_fd = -1;
  char* m_data = nullptr;
  unsigned long m_length = 0;
  unsigned long m_size = 0;
  bool m_heap = false;
  Mode m_mode = kRead;
  File m_file;
};

}  // namespace OrvGuiBase
