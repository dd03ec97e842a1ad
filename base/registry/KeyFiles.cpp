// KeyFiles.cpp: reading, writing, listing and removing below a hive directory.
//
// Opening is done in at most two steps. The first resolves the whole path with openat2 and no
// symbolic link allowed anywhere: the common case, one system call. When that meets a link it
// may be one in the hive's own path (an administrator's KRS_REGISTRY may well point through a
// link), so the hive directory is opened as it is and the rest resolved beneath it, again
// without links: a link inside the tree fails with ELOOP. Where the kernel has no openat2 the
// rest is walked one component at a time with O_NOFOLLOW.
#include "private/registry/KeyFiles.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>

#include "private/system/SysAt.h"

namespace OrvGuiBase::RegFiles {

namespace {

// CloseKeepingError: closes fd without disturbing errno.
void CloseKeepingError(int fd) {
  const int error = errno;
  Sys::Close(fd);
  errno = error;
}

// Walk: the openat2-less fallback: every component but the last as a directory without
// following links, the last with flags.
int Walk(int hiveFd, const char* sub, int flags, mode_t mode) {
  int current = Sys::OpenAt(hiveFd, ".", O_PATH | O_DIRECTORY);
  while (current >= 0) {
    const char* slash = strchr(sub, '/');
    if (slash == nullptr) {
      const int fd = Sys::OpenAt(current, sub, flags | O_NOFOLLOW, mode);
      CloseKeepingError(current);
      return fd;
    }
    const std::string component(sub, static_cast<size_t>(slash - sub));
    const int next = OpenSubDirectory(current, component.c_str());
    CloseKeepingError(current);
    current = next;
    sub = slash + 1;
  }
  return -1;
}

bool IsDot(AnsiSubStr name) {
  const std::string_view text(name.GetStr(), name.GetLength());
  return text == "." || text == "..";
}

}  // namespace

int OpenSubDirectory(int directoryFd, const char* name) {
  const int fd = Sys::OpenAt(directoryFd, name, O_PATH | O_DIRECTORY | O_NOFOLLOW);
  struct stat status;
  if (fd >= 0 && (Sys::FileStatus(fd, &status) != 0 || !S_ISDIR(status.st_mode))) {
    Sys::Close(fd);
    errno = ELOOP;
    return -1;
  }
  return fd;
}

bool ValueFileName(AnsiSubStr name, AnsiStr& file) {
  if (name.IsEmpty()) {
    file = kRegDefaultValueFile;
    return true;
  }
  if (IsDot(name) || memchr(name.GetStr(), '/', name.GetLength()) != nullptr ||
      memchr(name.GetStr(), 0, name.GetLength()) != nullptr) {
    errno = EINVAL;
    return false;
  }
  if (name.GetLength() > kRegMaxNameLength) {
    errno = ENAMETOOLONG;
    return false;
  }
  file = name;
  return true;
}

int Open(const AnsiStr& hive, const AnsiStr& relative, AnsiSubStr tail, int flags, mode_t mode) {
  AnsiStr sub(relative);
  if (!tail.IsEmpty()) {
    if (!sub.IsEmpty()) sub += '/';
    sub += tail;
  }
  if (sub.IsEmpty()) return Sys::Open(hive.GetStr(), flags, mode);
  flags |= O_NOFOLLOW;
  const AnsiStr full = AnsiStr(hive).Append('/').Append(sub);
  int fd = Sys::OpenNoLinks(AT_FDCWD, full.GetStr(), flags, mode, false);
  if (fd >= 0 || (errno != ELOOP && errno != ENOSYS)) return fd;
  const int hiveFd = Sys::Open(hive.GetStr(), O_PATH | O_DIRECTORY);
  if (hiveFd < 0) return -1;
  fd = Sys::OpenNoLinks(hiveFd, sub.GetStr(), flags, mode, true);
  if (fd < 0 && errno == ENOSYS) fd = Walk(hiveFd, sub.GetStr(), flags, mode);
  CloseKeepingError(hiveFd);
  return fd;
}

int OpenKey(const RegKey& key, int flags) {
  if (!key.IsChecked()) {
    errno = EINVAL;
    return -1;
  }
  return Open(key.GetHivePath(), key.GetRelativePath(), AnsiSubStr(), flags | O_DIRECTORY);
}

bool MakeKey(const AnsiStr& hive, const AnsiStr& relative) {
  const int existing = Open(hive, relative, AnsiSubStr(), O_PATH | O_DIRECTORY);
  if (existing >= 0) {
    Sys::Close(existing);
    return true;
  }
  if (!Directory(hive).Create(true)) return false;
  int current = Sys::Open(hive.GetStr(), O_PATH | O_DIRECTORY);
  const char* rest = relative.GetStr();
  while (current >= 0 && *rest != 0) {
    const char* slash = strchr(rest, '/');
    const size_t length = slash != nullptr ? static_cast<size_t>(slash - rest) : strlen(rest);
    const std::string component(rest, length);
    // A key that another thread or process removes between our mkdir and open is made again.
    int next = -1;
    for (int attempt = 0; attempt < 8 && next < 0; ++attempt) {
      if (Sys::MakeDirectoryAt(current, component.c_str(), 0777) != 0 && errno != EEXIST) break;
      next = OpenSubDirectory(current, component.c_str());
      if (next < 0 && errno != ENOENT) break;
    }
    CloseKeepingError(current);
    current = next;
    rest += length + (slash != nullptr ? 1 : 0);
  }
  if (current < 0) return false;
  Sys::Close(current);
  return true;
}

bool ReadFd(int fd, AnsiStr& text) {
  // Values are small: one read into the stack usually finds the whole file and its end.
  char buffer[4096];
  ssize_t got = Sys::Read(fd, buffer, sizeof buffer);
  if (got >= 0 && static_cast<size_t>(got) < sizeof buffer) {
    Sys::Close(fd);
    text = AnsiStr(buffer, static_cast<uint32_t>(got));
    return true;
  }
  std::string content;
  while (got > 0) {
    content.append(buffer, static_cast<size_t>(got));
    if (content.size() > 0xFFFFFFF0u) {
      errno = EFBIG;
      got = -1;
      break;
    }
    got = Sys::Read(fd, buffer, sizeof buffer);
  }
  if (got < 0) {
    CloseKeepingError(fd);
    return false;
  }
  Sys::Close(fd);
  text = AnsiStr(content.data(), static_cast<uint32_t>(content.size()));
  return true;
}

bool ReadValue(const RegKey& key, AnsiSubStr name, AnsiStr& text) {
  AnsiStr file;
  if (!key.IsChecked() || !ValueFileName(name, file)) {
    if (!key.IsChecked()) errno = EINVAL;
    return false;
  }
  // O_NONBLOCK: a FIFO planted in the tree reads as empty instead of hanging the reader.
  const int fd = Open(key.GetHivePath(), key.GetRelativePath(), file, O_RDONLY | O_NONBLOCK);
  return fd >= 0 && ReadFd(fd, text);
}

bool WriteValue(const RegKey& key, AnsiSubStr name, AnsiSubStr text, bool onlyIfMissing) {
  AnsiStr file;
  if (!key.IsChecked()) errno = EINVAL;
  if (!key.IsChecked() || !ValueFileName(name, file)) return false;
  const int flags = O_WRONLY | O_CREAT | O_NONBLOCK | (onlyIfMissing ? O_EXCL : 0);
  int fd = Open(key.GetHivePath(), key.GetRelativePath(), file, flags, 0666);
  // The key is missing: make it (again, should another writer remove it in between).
  for (int attempt = 0; attempt < 8 && fd < 0 && errno == ENOENT; ++attempt) {
    if (!MakeKey(key.GetHivePath(), key.GetRelativePath())) return false;
    fd = Open(key.GetHivePath(), key.GetRelativePath(), file, flags, 0666);
  }
  if (fd < 0) {
    if (onlyIfMissing && errno == EEXIST) {
      errno = 0;
      return true;
    }
    return false;
  }
  // Writers of one value take turns: the file is cut and written under an exclusive flock, so
  // the last writer leaves its whole text, never a mix with a longer text written before.
  // Readers take no lock (they may meet a value half written).
  if (Sys::Flock(fd, LOCK_EX) != 0 || Sys::TruncateFile(fd, 0) != 0 ||
      !Sys::WriteAll(fd, text.GetStr(), text.GetLength())) {
    CloseKeepingError(fd);
    return false;
  }
  return Sys::Close(fd) == 0;
}

bool DeleteValue(const RegKey& key, AnsiSubStr name) {
  AnsiStr file;
  if (!ValueFileName(name, file)) return false;
  const int keyFd = OpenKey(key, O_PATH);
  if (keyFd < 0) return false;
  struct stat status;
  int rc = Sys::StatusAt(keyFd, file.GetStr(), &status, AT_SYMLINK_NOFOLLOW);
  if (rc == 0 && S_ISDIR(status.st_mode)) {  // a sub-key of that name is not a value
    errno = ENOENT;
    rc = -1;
  }
  if (rc == 0) rc = Sys::UnlinkAt(keyFd, file.GetStr(), 0);
  CloseKeepingError(keyFd);
  return rc == 0;
}

bool IsRegularFile(int fd) {
  if (fd < 0) return false;
  struct stat status;
  const bool regular = Sys::FileStatus(fd, &status) == 0 && S_ISREG(status.st_mode);
  Sys::Close(fd);
  if (!regular) errno = ENOENT;
  return regular;
}

bool IsValue(const RegKey& key, AnsiSubStr name) {
  AnsiStr file;
  return ValueFileName(name, file) && IsRegularFile(Open(key.GetHivePath(), key.GetRelativePath(), file, O_PATH));
}

bool List(int dirFd, Store<AnsiStr>* keys, Store<AnsiStr>* values, Store<AnsiStr>* others) {
  const int fd = Sys::OpenAt(dirFd, ".", O_RDONLY | O_DIRECTORY);
  if (fd < 0) return false;
  DIR* stream = Sys::OpenDirectoryStream(fd);
  if (stream == nullptr) return false;
  errno = 0;
  while (const dirent* entry = readdir(stream)) {
    const char* name = entry->d_name;
    if (name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0))) continue;
    unsigned char type = entry->d_type;
    if (type == DT_UNKNOWN) {
      struct stat status;
      if (Sys::StatusAt(dirfd(stream), name, &status, AT_SYMLINK_NOFOLLOW) != 0) continue;
      type = S_ISDIR(status.st_mode) ? DT_DIR : S_ISREG(status.st_mode) ? DT_REG : DT_UNKNOWN;
    }
    Store<AnsiStr>* sink = type == DT_DIR ? keys : type == DT_REG ? values : others;
    if (sink != nullptr) sink->Append(AnsiStr(name));
    errno = 0;
  }
  const int error = errno;
  closedir(stream);
  errno = error;
  return error == 0;
}

bool RemoveTree(int parentFd, const char* name, unsigned depth) {
  if (depth > kRegMaxDepth) {
    errno = ENAMETOOLONG;
    return false;
  }
  int fd = Sys::OpenAt(parentFd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
  if (fd < 0 && errno == EACCES) {  // by force: give the owner the rights to empty it
    struct stat status;
    if (Sys::StatusAt(parentFd, name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode) &&
        Sys::ChangeModeAt(parentFd, name, (status.st_mode & 07777) | 0700) == 0)
      fd = Sys::OpenAt(parentFd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
  }
  if (fd < 0) {
    // Not a directory (a file, a link): it goes as it is; a link is never followed.
    if (errno == ENOTDIR || errno == ELOOP) return Sys::UnlinkAt(parentFd, name, 0) == 0;
    return false;
  }
  struct stat own;
  if (Sys::FileStatus(fd, &own) == 0 && (own.st_mode & 0700) != 0700) Sys::ChangeMode(fd, (own.st_mode & 07777) | 0700);
  Store<AnsiStr> keys, values, others;
  bool ok = List(fd, &keys, &values, &others);
  for (uint32_t i = 0; ok && i < keys.GetCount(); ++i) ok = RemoveTree(fd, keys.Get(i).GetStr(), depth + 1);
  for (uint32_t i = 0; ok && i < values.GetCount(); ++i)
    ok = Sys::UnlinkAt(fd, values.Get(i).GetStr(), 0) == 0 || errno == ENOENT;
  for (uint32_t i = 0; ok && i < others.GetCount(); ++i)
    ok = Sys::UnlinkAt(fd, others.Get(i).GetStr(), 0) == 0 || errno == ENOENT;
  CloseKeepingError(fd);
  return ok && Sys::UnlinkAt(parentFd, name, AT_REMOVEDIR) == 0;
}

bool RemoveKey(const RegKey& key) {
  if (!key.IsChecked()) {
    errno = EINVAL;
    return false;
  }
  const AnsiStr& relative = key.GetRelativePath();
  if (relative.IsEmpty()) {  // a root key cannot be removed, only emptied (RemoveKeys)
    errno = EACCES;
    return false;
  }
  const int slash = relative.FindLast('/');
  const AnsiStr parent = slash < 0 ? AnsiStr() : relative.Copy(0, static_cast<uint32_t>(slash));
  const AnsiStr name = slash < 0 ? relative : relative.Copy(static_cast<uint32_t>(slash) + 1);
  const int parentFd = Open(key.GetHivePath(), parent, AnsiSubStr(), O_PATH | O_DIRECTORY);
  if (parentFd < 0) return false;
  struct stat status;
  bool ok = Sys::StatusAt(parentFd, name.GetStr(), &status, AT_SYMLINK_NOFOLLOW) == 0;
  if (ok && !S_ISDIR(status.st_mode)) {
    errno = S_ISLNK(status.st_mode) ? ELOOP : ENOTDIR;
    ok = false;
  }
  ok = ok && RemoveTree(parentFd, name.GetStr());
  CloseKeepingError(parentFd);
  return ok;
}

}  // namespace OrvGuiBase::RegFiles
