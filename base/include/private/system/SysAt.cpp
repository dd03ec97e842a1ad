// SysAt.cpp: directory-relative system calls.
#include "private/system/SysAt.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace OrvGuiBase::Sys {

int OpenNoLinks(int directoryFd, const char* path, int flags, mode_t mode, bool beneath) {
  open_how how{};
  how.flags = static_cast<uint64_t>(flags | O_CLOEXEC);
  how.mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? mode : 0;
  how.resolve = RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS | (beneath ? RESOLVE_BENEATH : 0);
  return static_cast<int>(
      RetryOnInterrupt([&] { return ::syscall(SYS_openat2, directoryFd, path, &how, sizeof how); }));
}

int MakeDirectoryAt(int directoryFd, const char* name, mode_t mode) { return ::mkdirat(directoryFd, name, mode); }

int UnlinkAt(int directoryFd, const char* name, int flags) {
  return RetryOnInterrupt([&] { return ::unlinkat(directoryFd, name, flags); });
}

int StatusAt(int directoryFd, const char* name, struct stat* status, int flags) {
  return ::fstatat(directoryFd, name, status, flags);
}

int ChangeModeAt(int directoryFd, const char* name, mode_t mode) {
  return RetryOnInterrupt([&] { return ::fchmodat(directoryFd, name, mode, 0); });
}

DIR* OpenDirectoryStream(int fd) {
  DIR* stream = ::fdopendir(fd);
  if (stream == nullptr) {
    const int error = errno;
    ::close(fd);
    errno = error;
  }
  return stream;
}

}  // namespace OrvGuiBase::Sys
