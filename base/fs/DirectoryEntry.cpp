// DirectoryEntry.cpp: existence, space, time stamps, extended attributes and identity.
#include "base/fs/DirectoryEntry.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "base/fs/Directory.h"
#include "private/system/Sys.h"

namespace OrvGuiBase {

namespace {

bool StatIs(const AnsiStr& path, mode_t type, bool follow) {
  struct stat status;
  const int rc = follow ? Sys::PathStatus(path.GetStr(), &status) : Sys::LinkStatus(path.GetStr(), &status);
  return rc == 0 && (status.st_mode & S_IFMT) == type;
}

bool NotSupported() {
  errno = kErrorNotSupported;
  return false;
}

// AttributeName: a name without a namespace lives in "user.".
AnsiStr AttributeName(const AnsiStr& name) {
  if (name.Find('.') > 0) return name;
  return AnsiStr("user.").Append(name);
}

}  // namespace

bool DirectoryEntry::ExistsAsFile() const {
  struct stat status;
  return Sys::PathStatus(m_path.GetStr(), &status) == 0 && !S_ISDIR(status.st_mode);
}

bool DirectoryEntry::ExistsAsDirectory() const { return StatIs(m_path, S_IFDIR, true); }

bool DirectoryEntry::ExistsAsSymLink() const { return StatIs(m_path, S_IFLNK, false); }

long long DirectoryEntry::GetTotalSpace() const {
  struct statvfs info;
  if (Sys::RetryOnInterrupt([&] { return ::statvfs(m_path.GetStr(), &info); }) != 0) return 0;
  return static_cast<long long>(info.f_blocks) * static_cast<long long>(info.f_frsize);
}

long long DirectoryEntry::GetAvailableSpace() const {
  struct statvfs info;
  if (Sys::RetryOnInterrupt([&] { return ::statvfs(m_path.GetStr(), &info); }) != 0) return 0;
  return static_cast<long long>(info.f_bavail) * static_cast<long long>(info.f_frsize);
}

bool DirectoryEntry::GetTimeStamps(timespec* creation, timespec* modification, timespec* access) const {
  struct statx info;
  const unsigned mask = STATX_BTIME | STATX_MTIME | STATX_ATIME | STATX_CTIME;
  if (Sys::RetryOnInterrupt([&] { return ::statx(AT_FDCWD, m_path.GetStr(), 0, mask, &info); }) != 0) return false;
  auto convert = [](const statx_timestamp& t) { return timespec{static_cast<time_t>(t.tv_sec), static_cast<long>(t.tv_nsec)}; };
  if (creation != nullptr) *creation = convert((info.stx_mask & STATX_BTIME) != 0 ? info.stx_btime : info.stx_ctime);
  if (modification != nullptr) *modification = convert(info.stx_mtime);
  if (access != nullptr) *access = convert(info.stx_atime);
  return true;
}

bool DirectoryEntry::GetCreationTime(timespec& time) const { return GetTimeStamps(&time, nullptr, nullptr); }
bool DirectoryEntry::GetModificationTime(timespec& time) const { return GetTimeStamps(nullptr, &time, nullptr); }
bool DirectoryEntry::GetAccessTime(timespec& time) const { return GetTimeStamps(nullptr, nullptr, &time); }

bool DirectoryEntry::SetTimeStamps(const timespec* modification, const timespec* access) const {
  timespec times[2];
  times[0] = access != nullptr ? *access : timespec{0, UTIME_OMIT};
  times[1] = modification != nullptr ? *modification : timespec{0, UTIME_OMIT};
  return Sys::RetryOnInterrupt([&] { return ::utimensat(AT_FDCWD, m_path.GetStr(), times, 0); }) == 0;
}

bool DirectoryEntry::SetModificationTime(const timespec& time) const { return SetTimeStamps(&time, nullptr); }
bool DirectoryEntry::SetAccessTime(const timespec& time) const { return SetTimeStamps(nullptr, &time); }

bool DirectoryEntry::HasExtendedAttribute(const AnsiStr& name) const {
  return Sys::GetXattr(m_path.GetStr(), AttributeName(name).GetStr(), nullptr, 0) >= 0;
}

bool DirectoryEntry::GetExtendedAttribute(const AnsiStr& name, Blob& value) const {
  const AnsiStr full = AttributeName(name);
  // The size may change between the two calls: ask again while the buffer turns out short.
  for (int attempt = 0; attempt < 8; ++attempt) {
    const ssize_t size = Sys::GetXattr(m_path.GetStr(), full.GetStr(), nullptr, 0);
    if (size < 0) return false;
    Blob data;
    uint8_t* bytes = size > 0 ? data.Alloc(static_cast<uint32_t>(size)) : nullptr;
    if (size > 0 && bytes == nullptr) {
      errno = ENOMEM;
      return false;
    }
    const ssize_t got = Sys::GetXattr(m_path.GetStr(), full.GetStr(), bytes, static_cast<size_t>(size));
    if (got >= 0) {
      data.Trunc(static_cast<uint32_t>(got));
      value = data;
      return true;
    }
    if (errno != ERANGE) return false;
  }
  return false;
}

bool DirectoryEntry::SetExtendedAttribute(const AnsiStr& name, const Blob& value) const {
  return Sys::SetXattr(m_path.GetStr(), AttributeName(name).GetStr(), value.GetData(), value.GetLength()) == 0;
}

bool DirectoryEntry::Identify(unsigned long long& device, unsigned long long& index, unsigned long long* linkCount) const {
  struct stat status;
  if (Sys::PathStatus(m_path.GetStr(), &status) != 0) return false;
  device = status.st_dev;
  index = status.st_ino;
  if (linkCount != nullptr) *linkCount = status.st_nlink;
  return true;
}

unsigned long long DirectoryEntry::GetIndexNumber() const {
  unsigned long long device = 0, index = 0;
  return Identify(device, index) ? index : 0;
}

AnsiStr DirectoryEntry::IndexNumber2Str(unsigned long long index) {
  char text[24];
  std::snprintf(text, sizeof text, "%016llX", index);
  return AnsiStr(text);
}

bool DirectoryEntry::SetBasename(const AnsiStr& base) {
  if (base.IsEmpty()) {
    errno = EINVAL;
    return false;
  }
  const AnsiStr extension = GetExtension();
  AnsiStr path = m_path.Copy(0, m_path.GetLength() - GetTail().GetLength()).Append(base);
  m_path = extension.IsEmpty() ? path : path.Append('.').Append(extension);
  return true;
}

bool DirectoryEntry::SetExtension(const AnsiStr& extension) {
  if (GetTail().IsEmpty()) {
    errno = EINVAL;
    return false;
  }
  m_path = SetPathExtension(m_path, extension);
  return true;
}

bool DirectoryEntry::MoveTo(const AnsiStr& destination, bool failIfExists) {
  if (m_path.IsEmpty() || destination.IsEmpty()) {
    errno = ENOENT;
    return false;
  }
  if (Sys::MovePath(m_path.GetStr(), destination.GetStr(), failIfExists) != 0) return false;
  m_path = destination;
  return true;
}

bool DirectoryEntry::GetAccess(unsigned int mode) const {
  return ::access(m_path.GetStr(), static_cast<int>(mode & 7)) == 0;
}

bool DirectoryEntry::SetAccess(unsigned int owner, unsigned int group, unsigned int other) const {
  const mode_t mode = static_cast<mode_t>(((owner & 7) << 6) | ((group & 7) << 3) | (other & 7));
  return Sys::ChangePathMode(m_path.GetStr(), mode) == 0;
}

Directory DirectoryEntry::GetDirectory() const { return Directory(GetPathHead(m_path)); }

bool DirectoryEntry::IsEqual(const DirectoryEntry& other) const {
  unsigned long long d1 = 0, i1 = 0, d2 = 0, i2 = 0;
  const int saved = errno;
  if (Identify(d1, i1) && other.Identify(d2, i2)) return d1 == d2 && i1 == i2;
  errno = saved;
  return m_path == other.m_path;
}

bool DirectoryEntry::IsHidden() const { return GetTail()[0] == '.'; }

bool DirectoryEntry::SetSystem(bool) const { return NotSupported(); }
bool DirectoryEntry::SetHidden(bool) const { return NotSupported(); }
bool DirectoryEntry::SetArchive(bool) const { return NotSupported(); }
bool DirectoryEntry::AllowAccess(const AnsiStr&) const { return NotSupported(); }
bool DirectoryEntry::RestrictAccess(const AnsiStr&) const { return NotSupported(); }
bool DirectoryEntry::ResetAccess() const { return NotSupported(); }
bool DirectoryEntry::SetCreationTime(const timespec&) const { return NotSupported(); }
bool DirectoryEntry::SetIntegrityLevel(unsigned) const { return NotSupported(); }
bool DirectoryEntry::Encrypt() const { return NotSupported(); }
bool DirectoryEntry::Track() const { return NotSupported(); }

AnsiStr DirectoryEntry::GetVersion() const {
  NotSupported();
  return AnsiStr();
}

AnsiStr DirectoryEntry::GetFileVersion() const { return GetVersion(); }
AnsiStr DirectoryEntry::GetProductVersion() const { return GetVersion(); }

}  // namespace OrvGuiBase
