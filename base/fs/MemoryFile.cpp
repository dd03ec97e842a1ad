// MemoryFile.cpp: mapping, growth and the failure events of memory files.
//
// Growth keeps one invariant: m_data holds m_length bytes (mapped or allocated), of which the
// first m_size are content. A file-backed memory file grows by unmapping, extending the file
// with ftruncate and mapping it again, so the file is always at least as long as the map and
// no page of the map lies past the file's end (which would fault). Close cuts a writable file
// back to m_size. Every failed step reports an event naming the step, with the sizes involved
// and the system error, and leaves that error as the last error.
#include "base/fs/MemoryFile.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <cerrno>
#include <climits>

#include "base/core/LastError.h"
#include "base/core/UpcallEvents.h"
#include "base/text/Formatter.h"
#include "private/fs/FileCall.h"
#include "private/system/Sys.h"

namespace OrvGuiBase {

namespace {

// Event ids of the memory-file failures (source "ORVGUI").
enum : unsigned { kEventCreateMap = 710, kEventWriteView = 711, kEventTemporaryMap = 712 };

const char* MessageOf(unsigned eventId) {
  switch (eventId) {
    case kEventWriteView: return "Memory mapped file operation failed (write view)";
    case kEventTemporaryMap: return "Memory mapped file operation failed (create temporary map)";
    default: return "Memory mapped file operation failed (create map)";
  }
}

// ReportFailure: the event of a failed step with two named sizes and the system error; returns
// false with that error as the last error.
bool ReportFailure(unsigned eventId, const char* name1, unsigned long value1, const char* name2,
                   unsigned long value2, int error) {
  const OrvGuiTrace::EventField fields[] = {
      {name1, FmtArgs("%lu", value1)}, {name2, FmtArgs("%lu", value2)}, {"error", FmtArgs("%d", error)}};
  OrvGuiTrace::ReportEvent("ORVGUI", eventId, MessageOf(eventId), fields, 3, OrvGuiTrace::kEventError,
                           OrvGuiTrace::kCategoryInternal);
  SetLastError(error);
  return false;
}

bool IsWritableMode(unsigned mode) { return mode == MemoryFile::kWrite || mode == MemoryFile::kReadWrite; }

int OpenFlags(unsigned mode) {
  if (mode == MemoryFile::kWrite) return O_RDWR | O_CREAT;
  if (mode == MemoryFile::kReadWrite) return O_RDWR;
  return O_RDONLY;
}

}  // namespace

bool MemoryFile::Open(const File& file, Mode mode, unsigned int flags) {
  Close();
  m_file = file;
  {
    FileCall call("open", m_file);
    m_fd = Sys::Open(m_file.GetPath().GetStr(), OpenFlags(mode) | static_cast<int>(flags), 0777);
  }
  if (m_fd < 0) return false;
  if (OpenMap(mode)) return true;
  const int error = errno;
  Close();
  errno = error;
  return false;
}

bool MemoryFile::Create(const File& file) {
  Close();
  m_file = file;
  m_mode = kWrite;
  if (file.IsEmpty()) {
    m_heap = true;
    return true;
  }
  FileCall call("open", m_file);
  m_fd = Sys::Open(m_file.GetPath().GetStr(), O_RDWR | O_CREAT | O_TRUNC, 0777);
  return m_fd >= 0;
}

bool MemoryFile::Create(const File& file, unsigned long size) {
  if (!Create(file)) return false;
  if (Init(0, size)) return true;
  const int error = errno;
  Close();
  errno = error;
  return false;
}

bool MemoryFile::OpenMap(Mode mode) {
  if (m_fd < 0) {
    errno = EBADF;
    return false;
  }
  struct stat status;
  if (Sys::FileStatus(m_fd, &status) != 0) return ReportFailure(kEventCreateMap, "mode", mode, "init", 0, errno);
  const unsigned long size = static_cast<unsigned long>(status.st_size);
  Unmap();
  m_mode = mode;
  if (!Map(size, mode)) return ReportFailure(kEventCreateMap, "mode", mode, "init", size, errno);
  m_size = size;
  return true;
}

bool MemoryFile::Map(unsigned long length, Mode mode) {
  if (length == 0) return true;  // nothing to map: an empty file is an empty memory file
  FileCall call("mmap", m_file);
  const int protection = IsWritableMode(mode) ? PROT_READ | PROT_WRITE : PROT_READ;
  const int flags = MAP_SHARED | (mode == kReadPreload ? MAP_POPULATE : 0);
  void* map = ::mmap(nullptr, length, protection, flags, m_fd, 0);
  if (map == MAP_FAILED) return false;
  if (mode == kReadSequential) ::madvise(map, length, MADV_SEQUENTIAL);
  m_data = static_cast<char*>(map);
  m_length = length;
  return true;
}

void MemoryFile::Unmap() {
  if (m_data != nullptr && !m_heap) {
    FileCall call("munmap", m_file);
    ::munmap(m_data, m_length);
    m_data = nullptr;
    m_length = 0;
  }
}

bool MemoryFile::Init(unsigned long pos, unsigned long init) {
  if (init > ULONG_MAX - pos) return ReportFailure(kEventCreateMap, "pos", pos, "init", init, EINVAL);
  const unsigned long length = pos + init;
  if (m_heap || m_fd < 0) {
    if (!m_heap) {  // a closed memory file becomes a heap block
      Close();
      m_heap = true;
      m_mode = kWrite;
    }
    void* block = ::realloc(m_data, length != 0 ? length : 1);
    if (block == nullptr) return ReportFailure(kEventTemporaryMap, "pos", pos, "init", init, ENOMEM);
    m_data = static_cast<char*>(block);
    m_length = length;
    m_size = length;
    return true;
  }
  Unmap();
  m_size = 0;
  {
    FileCall call("truncate", m_file);
    if (Sys::TruncateFile(m_fd, static_cast<off_t>(length)) != 0)
      return ReportFailure(kEventCreateMap, "pos", pos, "init", init, errno);
  }
  if (!Map(length, m_mode)) return ReportFailure(kEventWriteView, "pos", pos, "init", init, errno);
  m_size = length;
  return true;
}

bool MemoryFile::Extend(unsigned long amount, unsigned long pos) {
  if (amount > ULONG_MAX - pos) return ReportFailure(kEventCreateMap, "pos", pos, "amount_bytes", amount, EINVAL);
  if (amount < kMinGrowth) amount = ULONG_MAX - pos < kMinGrowth ? ULONG_MAX - pos : kMinGrowth;
  const unsigned long length = pos + amount;
  if (length <= m_length) return true;
  if (m_heap) {
    void* block = ::realloc(m_data, length);
    if (block == nullptr) return ReportFailure(kEventCreateMap, "pos", pos, "amount_bytes", amount, ENOMEM);
    m_data = static_cast<char*>(block);
    m_length = length;
    return true;
  }
  if (m_fd < 0) return ReportFailure(kEventCreateMap, "pos", pos, "amount_bytes", amount, EBADF);
  // The file is never cut below its content: a map made for reading may lie over a file that
  // another writer has made longer.
  Unmap();
  int error = 0;
  {
    FileCall call("truncate", m_file);
    if (Sys::TruncateFile(m_fd, static_cast<off_t>(length)) != 0) error = errno;
  }
  if (error == 0 && Map(length, kReadWrite)) return true;
  if (error == 0) error = errno;
  // Keep what there was: map the old content again so that the object stays usable.
  if (m_size != 0) Map(m_size, m_mode);
  return ReportFailure(kEventCreateMap, "pos", pos, "amount_bytes", amount, error);
}

bool MemoryFile::Flush() {
  if (m_heap || m_data == nullptr) return true;
  FileCall call("msync", m_file);
  return ::msync(m_data, m_length, MS_SYNC) == 0;
}

bool MemoryFile::SetSize(unsigned long size) {
  if (size > m_length) {
    errno = EINVAL;
    return false;
  }
  m_size = size;
  return true;
}

bool MemoryFile::Close() {
  bool ok = true;
  int error = 0;
  if (m_heap) {
    ::free(m_data);
    m_data = nullptr;
    m_length = 0;
  } else if (m_fd >= 0) {
    const bool cut = IsWritableMode(m_mode) && m_length != m_size;
    Unmap();
    if (cut) {
      FileCall call("truncate", m_file);
      if (Sys::TruncateFile(m_fd, static_cast<off_t>(m_size)) != 0) {
        ok = false;
        error = errno;
      }
    }
    FileCall call("close", m_file);
    if (Sys::Close(m_fd) != 0 && ok) {
      ok = false;
      error = errno;
    }
  }
  m_fd = -1;
  m_size = 0;
  m_heap = false;
  m_mode = kRead;
  if (!ok) errno = error;
  return ok;
}

}  // namespace OrvGuiBase
