// Directory.cpp: directories on disk, the well-known directories and the PATH-style lists.
#include "base/fs/Directory.h"

#include <dirent.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <new>

#include "base/fs/File.h"
#include "base/fs/FileIterator.h"
#include "base/process/Environment.h"
#include "base/process/Setup.h"
#include "private/fs/UniqueName.h"
#include "private/system/Sys.h"

namespace OrvGuiBase {

namespace {

// HomeDirectory: the effective user's home from the password database.
AnsiStr HomeDirectory() {
  constexpr size_t kBufferSize = 8192;
  std::unique_ptr<char[]> buffer(new (std::nothrow) char[kBufferSize]);
  if (!buffer) {
    errno = ENOMEM;
    return AnsiStr();
  }
  passwd entry;
  passwd* found = nullptr;
  const int rc = ::getpwuid_r(::geteuid(), &entry, buffer.get(), kBufferSize, &found);
  if (found == nullptr) {
    errno = rc != 0 ? rc : ENOENT;
    return AnsiStr();
  }
  return AnsiStr(found->pw_dir);
}

AnsiStr BelowHome(const char* tail) {
  AnsiStr path = HomeDirectory();
  return SimpleAppendPath(path, tail) ? path : AnsiStr();
}

AnsiStr FromEnvOrHome(const char* variable, const char* tail) {
  AnsiStr path = GetEnv(variable);
  return path.IsEmpty() ? BelowHome(tail) : path;
}

AnsiStr ProgramDirectory() {
  std::string target;
  if (!Sys::ReadLink("/proc/self/exe", target)) return AnsiStr();
  return GetPathHead(AnsiStr(target.c_str()));
}

AnsiStr WorkingDirectory() {
  char buffer[4096];
  return ::getcwd(buffer, sizeof buffer) != nullptr ? AnsiStr(buffer) : AnsiStr();
}

bool PathTaken(const AnsiStr& path) {
  struct stat status;
  return Sys::LinkStatus(path.GetStr(), &status) == 0;
}

}  // namespace

Directory::Directory(const Directory& parent, const AnsiStr& tail) : DirectoryEntry(parent.GetPath()) {
  if (m_path.IsEmpty()) m_path = tail;
  else SimpleAppendPath(m_path, tail);
}

Directory::Directory(DirectoryType type) {
  switch (type) {
    case kTemp: m_path = GetTempDirectory(); break;
    case kProgram: m_path = ProgramDirectory(); break;
    case kRoot: m_path = "/"; break;
    case kHome: m_path = HomeDirectory(); break;
    case kDesktop: m_path = BelowHome("Desktop"); break;
    case kDocuments: m_path = BelowHome("Documents"); break;
    case kAppData: m_path = FromEnvOrHome("XDG_CONFIG_HOME", ".config"); break;
    case kLocalAppData: m_path = FromEnvOrHome("XDG_DATA_HOME", ".local/share"); break;
    case kCache: m_path = FromEnvOrHome("XDG_CACHE_HOME", ".cache"); break;
    case kCurrent: m_path = WorkingDirectory(); break;
    case kDownloads: m_path = BelowHome("Downloads"); break;
    default: break;  // kNone, kWindows, the rest and anything above kDownloads: empty
  }
}

bool Directory::Create(bool recursive, bool failIfExists) const {
  if (m_path.IsEmpty()) {
    errno = ENOENT;
    return false;
  }
  if (Sys::MakeDirectory(m_path.GetStr(), 0777) == 0) return true;
  if (errno == EEXIST) {
    if (failIfExists) return false;
    if (ExistsAsDirectory()) return true;
    errno = EEXIST;  // something else of that name
    return false;
  }
  if (errno != ENOENT || !recursive) return false;
  Directory parent(*this);
  if (!parent.Reduce() || parent.GetPath() == m_path) return false;
  if (!parent.Create(true, false)) return false;
  return Sys::MakeDirectory(m_path.GetStr(), 0777) == 0 || (errno == EEXIST && !failIfExists && ExistsAsDirectory());
}

bool Directory::Remove(bool force, bool recursive) const {
  if (m_path.IsEmpty()) {
    errno = ENOENT;
    return false;
  }
  if (force) {
    struct stat status;
    if (Sys::LinkStatus(m_path.GetStr(), &status) == 0 && S_ISDIR(status.st_mode) &&
        (status.st_mode & 0700) != 0700)
      Sys::ChangePathMode(m_path.GetStr(), (status.st_mode & 07777) | 0700);
  }
  bool ok = true;
  int error = 0;
  if (recursive) {
    for (FileIterator it(*this); it; it.ToNext())
      if (!it.GetFile().Remove(force) && ok) ok = false, error = errno;
    // Where the file system gives no entry types, a link to a directory comes back as a
    // directory: it is unlinked, never followed, so nothing outside the tree is touched.
    for (DirectoryIterator it(*this); it; it.ToNext()) {
      const Directory sub = it.GetDirectory();
      const bool removed = sub.ExistsAsSymLink() ? Sys::Unlink(sub.GetPath().GetStr()) == 0 : sub.Remove(force, true);
      if (!removed && ok) ok = false, error = errno;
    }
  }
  if (Sys::RemoveDirectory(m_path.GetStr()) != 0) return false;
  if (!ok) errno = error;
  return ok;
}

bool Directory::Copy(const Directory& destination, bool failIfExists) const {
  if (!ExistsAsDirectory()) return false;
  if (!destination.Create(true, false)) return false;
  bool ok = true;
  int error = 0;
  // The file iterator lists links too. A link to a file is copied as its content; a link to a
  // directory is made again as a link, so a link back up the tree cannot make the copy loop.
  // Where the file system gives no entry types, such a link comes from the directory iterator
  // instead: it is made again as a link there too.
  auto copyLink = [failIfExists](const DirectoryEntry& source, const File& target) {
    std::string link;
    return Sys::ReadLink(source.GetPath().GetStr(), link) &&
           (failIfExists || !target.ExistsAsSymLink() || target.Remove()) &&
           ::symlink(link.c_str(), target.GetPath().GetStr()) == 0;
  };
  for (FileIterator it(*this); it; it.ToNext()) {
    const File source = it.GetFile();
    const File target(destination, source.GetTail());
    const bool copied = source.ExistsAsSymLink() && source.ExistsAsDirectory() ? copyLink(source, target)
                                                                               : source.Copy(target, failIfExists);
    if (!copied && ok) ok = false, error = errno;
  }
  for (DirectoryIterator it(*this); it; it.ToNext()) {
    const Directory source = it.GetDirectory();
    const bool copied = source.ExistsAsSymLink() ? copyLink(source, File(destination, source.GetTail()))
                                                 : source.Copy(Directory(destination, source.GetTail()), failIfExists);
    if (!copied && ok) ok = false, error = errno;
  }
  if (!ok) errno = error;
  return ok;
}

bool Directory::Move(const Directory& destination, bool failIfExists) {
  return MoveTo(destination.GetPath(), failIfExists);
}

bool Directory::Change() const {
  if (m_path.IsEmpty()) {
    errno = ENOENT;
    return false;
  }
  return Sys::RetryOnInterrupt([&] { return ::chdir(m_path.GetStr()); }) == 0;
}

Directory& Directory::Append(const AnsiStr& tail) {
  if (m_path.IsEmpty()) m_path = tail;
  else SimpleAppendPath(m_path, tail);
  return *this;
}

bool Directory::AppendUnique(UniqueNameGenerator generator, UniqueNameTest test, void* context) {
  return CheckGenerator(generator) && TryUniqueNames(m_path, generator, test, context, [this](const AnsiStr& path) {
           if (PathTaken(path)) {
             errno = EEXIST;
             return false;
           }
           m_path = path;
           return true;
         });
}

bool Directory::CreateUnique(UniqueNameGenerator generator, UniqueNameTest test, void* context) {
  return CheckGenerator(generator) && TryUniqueNames(m_path, generator, test, context, [this](const AnsiStr& path) {
           if (Sys::MakeDirectory(path.GetStr(), 0777) != 0) return false;
           m_path = path;
           return true;
         });
}

bool Directory::MoveUnique(const Directory& parent, UniqueNameGenerator generator, UniqueNameTest test, void* context) {
  return CheckGenerator(generator) &&
         TryUniqueNames(parent.GetPath(), generator, test, context, [this](const AnsiStr& path) {
           if (PathTaken(path)) {  // the plain-rename fallback would take an empty directory's place
             errno = EEXIST;
             return false;
           }
           return Move(Directory(path), true);
         });
}

namespace {

// ForEachName: calls f(name, type) for every entry but "." and "..". False plus errno when the
// directory cannot be read.
template <class F>
bool ForEachName(const AnsiStr& path, F f) {
  DIR* dir = ::opendir(path.IsEmpty() ? "." : path.GetStr());
  if (dir == nullptr) return false;
  bool ok = true;
  for (;;) {
    errno = 0;
    const dirent* entry = ::readdir(dir);
    if (entry == nullptr) {
      if (errno == EINTR) continue;
      ok = errno == 0;
      break;
    }
    const char* name = entry->d_name;
    if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'))) continue;
    if (!f(name)) break;
  }
  const int saved = errno;
  while (::closedir(dir) != 0 && errno == EINTR) {
  }
  errno = saved;
  return ok;
}

}  // namespace

bool Directory::GetContent(Array<AnsiStr>& names) const {
  return ForEachName(m_path, [&](const char* name) {
    names.Append(AnsiStr(name));
    return true;
  });
}

bool Directory::GetContent(Data* entries, unsigned capacity, unsigned& count) const {
  count = 0;
  bool full = false;
  const bool ok = ForEachName(m_path, [&](const char* name) {
    if (count >= capacity) {
      full = true;
      return false;
    }
    Data& data = entries[count++];
    data = Data();
    data.name = name;
    const DirectoryEntry entry(Directory(*this, name).GetPath());
    struct stat status;
    if (Sys::LinkStatus(entry.GetPath().GetStr(), &status) == 0) {
      data.isSymLink = S_ISLNK(status.st_mode);
      if (data.isSymLink) Sys::PathStatus(entry.GetPath().GetStr(), &status);
      data.isDirectory = S_ISDIR(status.st_mode);
      data.size = status.st_size;
      entry.GetTimeStamps(&data.creation, &data.modification, &data.access);
    }
    return true;
  });
  if (!ok) return false;
  if (full) {
    errno = ENOBUFS;
    return false;
  }
  return true;
}

namespace {

// EditList: the ":"-separated list of variable with directory removed, and added at the end
// when add is set.
bool EditList(const Directory& directory, const AnsiStr& variable, bool add) {
  const AnsiStr& wanted = directory.GetPath();
  if (wanted.IsEmpty() || variable.IsEmpty()) {
    errno = EINVAL;
    return false;
  }
  const AnsiStr list = GetEnv(variable.GetStr());
  AnsiStr result;
  bool found = false;
  const char* p = list.GetStr();
  while (true) {
    const char* end = p;
    while (*end != '\0' && *end != ':') ++end;
    const AnsiStr item(p, static_cast<uint32_t>(end - p));
    if (item == wanted) found = true;
    if (item == wanted && !add) {
      // left out
    } else if (!item.IsEmpty()) {
      if (!result.IsEmpty()) result.Append(':');
      result.Append(item);
    }
    if (*end == '\0') break;
    p = end + 1;
  }
  if (add && found) return true;
  if (!add && !found) return true;
  if (add) {
    if (!result.IsEmpty()) result.Append(':');
    result.Append(wanted);
  }
  return SetEnv(variable.GetStr(), result.GetStr());
}

}  // namespace

bool AddPath(const Directory& directory, const AnsiStr& variable) { return EditList(directory, variable, true); }
bool AddPath(const Directory& directory) { return AddPath(directory, "PATH"); }
bool DelPath(const Directory& directory, const AnsiStr& variable) { return EditList(directory, variable, false); }
bool DelPath(const Directory& directory) { return DelPath(directory, "PATH"); }

bool DirectoryWatcher::Init(const Directory&, bool) {
  if (m_handle == nullptr) m_handle = new (std::nothrow) int(0);
  errno = 38;  // not implemented on this platform
  return false;
}

void DirectoryWatcher::Exit() {
  delete static_cast<int*>(m_handle);
  m_handle = nullptr;
}

}  // namespace OrvGuiBase
