// DiskFile.cpp: the descriptor-level file: open modes, reads and writes repeated on EINTR,
// position and size.
#include "base/fs/DiskFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "private/fs/FileCall.h"
#include "private/system/Sys.h"

namespace OrvGuiBase {

int DiskFile::GetOpenFlags(unsigned mode) {
  switch (mode) {
    case kCreate:
    case kCreateTemp: return O_RDWR | O_CREAT | O_TRUNC;
    case kOpenAlways: return O_RDWR | O_CREAT;
    case kUpdate:
    case kUpdateShared: return O_RDWR;
    case kCreateNew: return O_RDWR | O_CREAT | O_EXCL;
    default: return O_RDONLY;
  }
}

bool DiskFile::Open(const File& file, Mode mode, unsigned int flags) {
  Close();
  m_file = file;
  FileCall call("open", m_file);
  m_fd = Sys::Open(m_file.GetPath().GetStr(), GetOpenFlags(mode) | static_cast<int>(flags), 0777);
  return m_fd >= 0;
}

bool DiskFile::Create(const File& file, long long size) {
  if (!Open(file, kCreate, 0)) return false;
  if (Trunc(size)) return true;
  const int error = errno;
  Close();
  errno = error;
  return false;
}

bool DiskFile::Close() {
  if (m_fd < 0) return true;
  FileCall call("close", m_file);
  const int fd = m_fd;
  m_fd = -1;
  return Sys::Close(fd) == 0;
}

bool DiskFile::Read(void* buffer, unsigned int size, unsigned int& count) {
  count = 0;
  FileCall call("read", m_file);
  const ssize_t got = Sys::Read(m_fd, buffer, size);
  if (got < 0) return false;
  count = static_cast<unsigned int>(got);
  return true;
}

bool DiskFile::Read(void* buffer, unsigned int size) {
  unsigned int have = 0;
  while (have < size) {
    unsigned int got = 0;
    if (!Read(static_cast<char*>(buffer) + have, size - have, got)) return false;
    if (got == 0) {
      errno = ENODATA;
      return false;
    }
    have += got;
  }
  return true;
}

bool DiskFile::Write(const void* data, unsigned int size, unsigned int& written) {
  written = 0;
  if (size == 0) return true;
  FileCall call("write", m_file);
  size_t done = 0;
  const bool ok = Sys::WriteAll(m_fd, data, size, &done);
  written = static_cast<unsigned int>(done);
  return ok;
}

bool DiskFile::Write(const void* data, unsigned int size) {
  unsigned int written = 0;
  return Write(data, size, written);
}

bool DiskFile::Unread(unsigned int count) {
  FileCall call("seek", m_file);
  return Sys::Seek(m_fd, -static_cast<off_t>(count), SEEK_CUR) >= 0;
}

bool DiskFile::Skip(long long count) {
  FileCall call("seek", m_file);
  return Sys::Seek(m_fd, static_cast<off_t>(count), SEEK_CUR) >= 0;
}

bool DiskFile::Reset(long long position) {
  FileCall call("seek", m_file);
  return Sys::Seek(m_fd, static_cast<off_t>(position), SEEK_SET) >= 0;
}

bool DiskFile::Flush() {
  FileCall call("sync", m_file);
  return Sys::Sync(m_fd) == 0;
}

long long DiskFile::GetPos() const {
  return Sys::Seek(m_fd, 0, SEEK_CUR);
}

long long DiskFile::GetSize() const {
  FileCall call("stat", m_file);
  struct stat status;
  if (Sys::FileStatus(m_fd, &status) != 0) return -1;
  return status.st_size;
}

bool DiskFile::Trunc(long long size) {
  if (size < 0) {
    errno = EINVAL;
    return false;
  }
  FileCall call("truncate", m_file);
  return Sys::TruncateFile(m_fd, static_cast<off_t>(size)) == 0;
}

bool DiskFile::Init(long long position, long long size) {
  if (position < 0 || size < 0 || size > __LONG_LONG_MAX__ - position) {
    errno = EINVAL;
    return false;
  }
  return Trunc(position + size) && Reset(position);
}

}  // namespace OrvGuiBase
