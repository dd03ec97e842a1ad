// Sys.cpp: the platform layer's system calls.
#include "private/system/Sys.h"

#include <fcntl.h>
#include <sys/file.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <memory>

namespace OrvGuiBase::Sys {

int Open(const char* path, int flags, mode_t mode) {
  return RetryOnInterrupt([&] { return ::open(path, flags | O_CLOEXEC, mode); });
}

int OpenAt(int directoryFd, const char* path, int flags, mode_t mode) {
  return RetryOnInterrupt([&] { return ::openat(directoryFd, path, flags | O_CLOEXEC, mode); });
}

int MakeDirectory(const char* path, mode_t mode) { return ::mkdir(path, mode); }

int FileStatus(int fd, struct stat* status) { return ::fstat(fd, status); }

int ChangeMode(int fd, mode_t mode) {
  return RetryOnInterrupt([&] { return ::fchmod(fd, mode); });
}

int Flock(int fd, int operation) {
  return RetryOnInterrupt([&] { return ::flock(fd, operation); });
}

int Rename(const char* from, const char* to) {
  return RetryOnInterrupt([&] { return ::rename(from, to); });
}

int RenameNoReplace(const char* from, const char* to) {
  return RetryOnInterrupt([&] { return ::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE); });
}

int MovePath(const char* from, const char* to, bool noReplace) {
  if (noReplace) {
    const int rc = RenameNoReplace(from, to);
    if (rc == 0 || (errno != EINVAL && errno != ENOSYS)) return rc;
  }
  return Rename(from, to);
}

int Unlink(const char* path) {
  return RetryOnInterrupt([&] { return ::unlink(path); });
}

int RemoveDirectory(const char* path) {
  return RetryOnInterrupt([&] { return ::rmdir(path); });
}

int PathStatus(const char* path, struct stat* status) {
  return RetryOnInterrupt([&] { return ::stat(path, status); });
}

int LinkStatus(const char* path, struct stat* status) {
  return RetryOnInterrupt([&] { return ::lstat(path, status); });
}

int ChangePathMode(const char* path, mode_t mode) {
  return RetryOnInterrupt([&] { return ::chmod(path, mode); });
}

int Truncate(const char* path, off_t size) {
  return RetryOnInterrupt([&] { return ::truncate(path, size); });
}

ssize_t GetXattr(const char* path, const char* name, void* value, size_t size) {
  return RetryOnInterrupt([&] { return ::getxattr(path, name, value, size); });
}

int SetXattr(const char* path, const char* name, const void* value, size_t size) {
  return RetryOnInterrupt([&] { return ::setxattr(path, name, value, size, 0); });
}

bool CopyData(int from, int to, long long total, size_t blockSize,
              bool (*progress)(long long, long long, void*), void* context) {
  // Each block moves inside the kernel while both ends allow it (regular files on file systems
  // that support it); the first refusal switches to read and write through a buffer for the
  // rest. Either way the callback sees the same blocks.
  std::unique_ptr<char[]> buffer;
  bool inKernel = true;
  long long done = 0;
  for (;;) {
    if (progress != nullptr && progress(total, done, context)) {
      errno = ECANCELED;
      return false;
    }
    if (inKernel) {
      const ssize_t moved = RetryOnInterrupt([&] { return ::copy_file_range(from, nullptr, to, nullptr, blockSize, 0); });
      if (moved > 0) {
        done += moved;
        continue;
      }
      // Nothing moved at the start: some kernels answer so for pseudo files whose size reads as
      // zero, so the buffered path below has the last word on an empty source.
      if (moved == 0 && done != 0) return true;
      if (moved < 0 && errno != EXDEV && errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP && errno != EBADF &&
          errno != EPERM)
        return false;
      inKernel = false;
    }
    if (!buffer) {
      buffer.reset(new (std::nothrow) char[blockSize]);
      if (!buffer) {
        errno = ENOMEM;
        return false;
      }
    }
    const ssize_t got = Read(from, buffer.get(), blockSize);
    if (got < 0) return false;
    if (got == 0) return true;
    if (!WriteAll(to, buffer.get(), static_cast<size_t>(got))) return false;
    done += got;
  }
}

int SetTimeOfDay(const timeval& value) {
  return RetryOnInterrupt([&] { return ::settimeofday(&value, nullptr); });
}

void SleepMilliseconds(uint32_t milliseconds) {
  timespec remaining{static_cast<time_t>(milliseconds / 1000), static_cast<long>(milliseconds % 1000) * 1000000L};
  const int saved = errno;
  while (::nanosleep(&remaining, &remaining) != 0 && errno == EINTR) {
  }
  errno = saved;
}

int Close(int fd) { return ::close(fd); }  // never retried: the descriptor is gone either way

ssize_t Read(int fd, void* buffer, size_t size) {
  return RetryOnInterrupt([&] { return ::read(fd, buffer, size); });
}

ssize_t Write(int fd, const void* data, size_t size) {
  return RetryOnInterrupt([&] { return ::write(fd, data, size); });
}

off_t Seek(int fd, off_t offset, int whence) { return ::lseek(fd, offset, whence); }

int TruncateFile(int fd, off_t size) {
  return RetryOnInterrupt([&] { return ::ftruncate(fd, size); });
}

int Sync(int fd) {
  return RetryOnInterrupt([&] { return ::fsync(fd); });
}

bool WriteAll(int fd, const void* data, size_t size, size_t* written) {
  const char* at = static_cast<const char*>(data);
  size_t done = 0;
  bool ok = true;
  while (done < size) {
    const ssize_t count = Write(fd, at + done, size - done);
    if (count <= 0) {
      if (count == 0) errno = ENOSPC;  // a device that takes nothing is full
      ok = false;
      break;
    }
    done += static_cast<size_t>(count);
  }
  if (written != nullptr) *written = done;
  return ok;
}

bool ReadFile(const char* path, std::string& content) {
  content.clear();
  const int fd = Open(path, O_RDONLY);
  if (fd < 0) return false;
  char buffer[4096];
  for (;;) {
    const ssize_t got = Read(fd, buffer, sizeof buffer);
    if (got < 0) {
      const int error = errno;
      Close(fd);
      errno = error;
      return false;
    }
    if (got == 0) break;
    content.append(buffer, static_cast<size_t>(got));
  }
  Close(fd);
  return true;
}

bool ReadLink(const char* path, std::string& target) {
  char buffer[4096];
  const ssize_t length = ::readlink(path, buffer, sizeof buffer);
  if (length < 0) return false;
  target.assign(buffer, static_cast<size_t>(length));
  return true;
}

uint64_t HighResolutionTicks() {
  timespec now;
  if (clock_gettime(CLOCK_MONOTONIC, &now) != 0) return 0;
  return static_cast<uint64_t>(now.tv_sec) * kHighResolutionFrequency + static_cast<uint64_t>(now.tv_nsec);
}

uint64_t HighResolutionTime(uint64_t ticks, uint64_t unit) {
  return static_cast<uint64_t>(static_cast<unsigned __int128>(ticks) * unit / kHighResolutionFrequency);
}

}  // namespace OrvGuiBase::Sys
