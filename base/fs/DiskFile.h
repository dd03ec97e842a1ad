// DiskFile.h: unbuffered binary access to a file through its descriptor, with an explicit
// position.
//
//   DiskFile out;
//   if (!out.Open(File("/data/blocks.bin"), DiskFile::kOpenAlways) || !out.Write(block, size)) ...
//   unsigned got = 0;
//   in.Read(buffer, sizeof buffer, got);            // got 0 at the end of the file
//
// Every call is one or a few system calls; there is no buffer. Reads and writes are repeated
// when a signal interrupts them. Failures return false (or -1) with the last error set; nothing
// throws. One object is used by one thread at a time. Each system call is bracketed by the
// telemetry event APM_EVENT_FILE_CALL while the library's module is active.
// Depends on base/fs/File.h.
#pragma once

#include "base/fs/File.h"

namespace OrvGuiBase {

class ORVGUI_API DiskFile {
 public:
  // Mode: how Open opens the file. Files are created with mode 0777 before the umask.
  enum Mode : unsigned {
    kRead = 0,          // read-only
    kReadShared = 1,    // read-only
    kCreate = 2,        // read-write; created, or cut to nothing when it exists
    kOpenAlways = 3,    // read-write; created when missing, content kept
    kCreateTemp = 4,    // read-write; created, or cut to nothing when it exists
    kReadOnly = 5,      // read-only; the stream interfaces report read access for it
    kUpdate = 6,        // read-write; the file must exist
    kReadDirect = 7,    // read-only
    kCreateNew = 8,     // read-write; the file must not exist (last error 17)
    kUpdateShared = 9,  // read-write; the file must exist
  };
  // GetOpenFlags: the open(2) flags of a mode (read-only for any value not listed above).
  static int GetOpenFlags(unsigned mode);

  DiskFile() = default;
  ~DiskFile() { Close(); }
  DiskFile(const DiskFile&) = delete;
  DiskFile& operator=(const DiskFile&) = delete;

  // Open: opens file in mode, with extra open(2) flags added (O_APPEND, O_DIRECT, ...); an open
  // file is closed first. The position is 0.
  bool Open(const File& file, Mode mode, unsigned int flags);
  bool Open(const File& file, Mode mode) { return Open(file, mode, 0); }
  bool Open(const File& file) { return Open(file, kRead, 0); }
  // Create: opens file read-write, created or cut to nothing; with size, the file is then
  // extended to size bytes (zeros) and the position stays 0.
  bool Create(const File& file) { return Open(file, kCreate, 0); }
  bool Create(const File& file, long long size);
  // Close: closes the descriptor (true when nothing was open); false when the close reports a
  // late write error. The object can be opened again.
  bool Close();

  // Read: one read of up to size bytes at the position; count is what was read (short reads
  // happen; 0 at the end of the file). Read(buffer, size): exactly size bytes, false with last
  // error 61 when the file ends first (the bytes before the end are read and consumed).
  bool Read(void* buffer, unsigned int size, unsigned int& count);
  bool Read(void* buffer, unsigned int size);
  // Write: all size bytes at the position; written is how many went out, also on failure. A
  // device that takes nothing fails with last error 28. A zero size succeeds at once.
  bool Write(const void* data, unsigned int size, unsigned int& written);
  bool Write(const void* data, unsigned int size);

  // Unread: moves the position back by count bytes; Skip: forward by count (past the end is
  // allowed: a later write leaves a hole). Reset: to position 0, or to position.
  bool Unread(unsigned int count);
  bool Skip(long long count);
  bool Reset() { return Reset(0); }
  bool Reset(long long position);
  // Flush: the file's data to the device (fsync).
  bool Flush();
  // GetPos / GetSize: the position and the size in bytes; -1 with the last error on failure.
  long long GetPos() const;
  long long GetSize() const;
  // Trunc: cuts or extends the file to size bytes; the position stays where it is.
  bool Trunc(long long size);
  // Init: makes the file position + size bytes long and moves to position. A negative
  // position fails with last error 22.
  bool Init(long long position, long long size);

  bool IsOpen() const { return m_fd >= 0; }
  const File& GetFile() const { return m_file; }
  int GetDescriptor() const { return m_fd; }

 private:
  File m_file;
  int32_t m_fd = -1;
};

}  // namespace OrvGuiBase
