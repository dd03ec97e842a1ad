// Sys.h: the platform layer under the base library (never installed).
//
// System calls that the library makes in more than one place live here, retried on EINTR in
// one spot, so that their error handling is written once and fault tests can reach them.
// Every function leaves the system error number in errno (the last error) on failure.
#pragma once

#include <sys/stat.h>
#include <sys/time.h>
#include <sys/types.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string>

namespace OrvGuiBase::Sys {

// RetryOnInterrupt: calls f until it does not fail with EINTR.
template <class F>
auto RetryOnInterrupt(F f) -> decltype(f()) {
  decltype(f()) result;
  do {
    result = f();
  } while (result == -1 && errno == EINTR);
  return result;
}

// Open / OpenAt: open(2) and openat(2) with the close-on-exec flag always added.
int Open(const char* path, int flags, mode_t mode = 0);
int OpenAt(int directoryFd, const char* path, int flags, mode_t mode = 0);
int Close(int fd);
int MakeDirectory(const char* path, mode_t mode);
int FileStatus(int fd, struct stat* status);
int ChangeMode(int fd, mode_t mode);
// Flock: flock(2); a blocking request waits again after a signal.
int Flock(int fd, int operation);
ssize_t Read(int fd, void* buffer, size_t size);
// Write: one write(2), repeated only when interrupted; the count may be short.
ssize_t Write(int fd, const void* data, size_t size);
// Seek: lseek(2). TruncateFile: ftruncate(2). Sync: fsync(2).
off_t Seek(int fd, off_t offset, int whence);
int TruncateFile(int fd, off_t size);
int Sync(int fd);
// WriteAll: writes every byte (going on after short writes); false on failure, with ENOSPC when
// a write takes nothing. The bytes written go to *written when it is not null.
bool WriteAll(int fd, const void* data, size_t size, size_t* written = nullptr);
// ReadFile: the whole content of a (small, possibly /proc) file; false on failure.
bool ReadFile(const char* path, std::string& content);
// ReadLink: the target of a symbolic link; false on failure.
bool ReadLink(const char* path, std::string& target);

// Path operations of the file layer. Each returns 0 or the count, -1 plus errno on failure.
int Rename(const char* from, const char* to);
// RenameNoReplace: renameat2(RENAME_NOREPLACE) relative to the working directory; EINVAL or
// ENOSYS when the file system or kernel does not offer it.
int RenameNoReplace(const char* from, const char* to);
// MovePath: with noReplace the no-replace rename, falling back to the plain rename where that
// is not supported (EINVAL or ENOSYS); without it the plain rename.
int MovePath(const char* from, const char* to, bool noReplace);
int Unlink(const char* path);
int RemoveDirectory(const char* path);
int PathStatus(const char* path, struct stat* status);      // stat(2): follows links
int LinkStatus(const char* path, struct stat* status);      // lstat(2)
int ChangePathMode(const char* path, mode_t mode);
int Truncate(const char* path, off_t size);
ssize_t GetXattr(const char* path, const char* name, void* value, size_t size);
int SetXattr(const char* path, const char* name, const void* value, size_t size);
// CopyData: copies fd `from` to fd `to` in blocks of blockSize bytes, asking progress (when
// given) before each block, the first included, with the total, the bytes done and context; a
// true answer stops with ECANCELED. False plus errno on failure.
bool CopyData(int from, int to, long long total, size_t blockSize,
              bool (*progress)(long long, long long, void*), void* context);

// SleepMilliseconds: sleeps for the whole time; a signal interrupts the sleep only for as long
// as its handler runs, after which the sleep goes on with the time that remained.
void SleepMilliseconds(uint32_t milliseconds);

// SetTimeOfDay: sets the wall clock (needs the privilege for it); 0 or -1 with errno.
int SetTimeOfDay(const timeval& value);

// The monotonic high-resolution clock: ticks are nanoseconds.
inline constexpr uint64_t kHighResolutionFrequency = 1000000000u;
uint64_t HighResolutionTicks();
// HighResolutionTime: ticks expressed in 1/unit seconds (unit 1000 gives milliseconds).
uint64_t HighResolutionTime(uint64_t ticks, uint64_t unit);

}  // namespace OrvGuiBase::Sys
