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
// WriteAll: writes every byte (retrying short writes); false on failure.
bool WriteAll(int fd, const void* data, size_t size);
// ReadFile: the whole content of a (small, possibly /proc) file; false on failure.
bool ReadFile(const char* path, std::string& content);
// ReadLink: the target of a symbolic link; false on failure.
bool ReadLink(const char* path, std::string& target);

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
