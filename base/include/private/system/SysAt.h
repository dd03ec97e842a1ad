// SysAt.h: directory-relative system calls of the platform layer (never installed).
//
// The registry resolves every key and value below its hive directory without following a
// symbolic link, so that a link planted inside the tree cannot lead a read, a write or a
// removal out of it. These are the calls it is built on, retried on EINTR like the rest of
// the layer; each leaves the system error number in errno on failure.
#pragma once

#include <dirent.h>
#include <sys/stat.h>
#include <sys/types.h>

#include "private/system/Sys.h"

namespace OrvGuiBase::Sys {

// OpenNoLinks: opens path (relative to directoryFd, or absolute) like openat(2), refusing a
// symbolic link at any component with ELOOP. With beneath, resolution must also stay below
// directoryFd (an absolute path or a ".." that climbs out fails with EXDEV). Uses openat2(2);
// ENOSYS where the kernel lacks it (callers then walk with OpenAt and O_NOFOLLOW).
int OpenNoLinks(int directoryFd, const char* path, int flags, mode_t mode, bool beneath);
// MakeDirectoryAt / UnlinkAt / StatusAt / ChangeModeAt: mkdirat, unlinkat, fstatat and
// fchmodat.
int MakeDirectoryAt(int directoryFd, const char* name, mode_t mode);
int UnlinkAt(int directoryFd, const char* name, int flags);
int StatusAt(int directoryFd, const char* name, struct stat* status, int flags);
int ChangeModeAt(int directoryFd, const char* name, mode_t mode);
// OpenDirectoryStream: fdopendir(3); the descriptor belongs to the stream from then on (also
// on failure, when it is closed here).
DIR* OpenDirectoryStream(int fd);

}  // namespace OrvGuiBase::Sys
