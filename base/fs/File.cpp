// File.cpp: files on disk: creation, removal, copy and move, access, content checks.
#include "base/fs/File.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <new>

#include "base/core/CrashGuard.h"
#include "base/core/LastError.h"
#include "base/core/UpcallTrace.h"
#include "base/text/Utf.h"
#include "private/fs/UniqueName.h"
#include "private/system/Sys.h"

namespace OrvGuiBase {

namespace {

constexpr size_t kCopyBlockSize = 65536;

const char* TypeExtension(File::FileType type) {
  switch (type) {
    case File::kText: return "txt";
    case File::kLog: return "log";
    case File::kConfig: return "cfg";
    case File::kTemp: return "tmp";
    case File::kJson: return "json";
    default: return "";
  }
}

// Descriptor: an open file descriptor, closed on every way out (keeping errno).
class Descriptor {
 public:
  explicit Descriptor(int fd) : m_fd(fd) {}
  ~Descriptor() {
    if (m_fd < 0) return;
    const int saved = errno;
    Sys::Close(m_fd);
    errno = saved;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int Get() const { return m_fd; }
  // Close: closes now; false plus errno when the close reports a failure (a late write error).
  bool Close() {
    const int fd = m_fd;
    m_fd = -1;
    return Sys::Close(fd) == 0;
  }

 private:
  int m_fd;
};

}  // namespace

File::File(const Directory& directory, const AnsiStr& tail) : DirectoryEntry(directory.GetPath()) {
  if (m_path.IsEmpty()) m_path = tail;
  else SimpleAppendPath(m_path, tail);
}

File::File(FileType type, const Directory& directory, const AnsiStr& name)
    : File(type, directory, name, TypeExtension(type)) {}

File::File(FileType, const Directory& directory, const AnsiStr& name, const AnsiStr& extension)
    : DirectoryEntry(MakeName(directory, MakeBasename(name), extension)) {}

bool File::Exists() const { return ExistsAsFile(); }

bool File::Create(bool failIfExists, bool truncate) const {
  const int flags = O_WRONLY | O_CREAT | (failIfExists ? O_EXCL : 0) | (truncate ? O_TRUNC : 0);
  Descriptor fd(Sys::Open(m_path.GetStr(), flags, 0666));
  if (fd.Get() < 0) return false;
  return fd.Close();
}

bool File::Remove(bool force) const {
  if (force) {
    struct stat status;
    if (Sys::LinkStatus(m_path.GetStr(), &status) == 0 && !S_ISLNK(status.st_mode) && (status.st_mode & 0600) != 0600)
      Sys::ChangePathMode(m_path.GetStr(), (status.st_mode & 07777) | 0600);
  }
  return Sys::Unlink(m_path.GetStr()) == 0;
}

long long File::GetSize() const {
  struct stat status;
  if (Sys::PathStatus(m_path.GetStr(), &status) != 0) return -1;
  return status.st_size;
}

bool File::SetSize(long long size) const {
  if (size < 0) {
    errno = EINVAL;
    return false;
  }
  return Sys::Truncate(m_path.GetStr(), static_cast<off_t>(size)) == 0;
}

// Copy: the source is opened first, so a missing source never creates or truncates the
// destination. The callback runs before every block, the first included, so a caller can
// cancel before anything is written.
bool File::Copy(const File& destination, bool failIfExists, CopyProgress progress, void* context) const {
  Descriptor from(Sys::Open(m_path.GetStr(), O_RDONLY));
  if (from.Get() < 0) return false;
  struct stat status;
  if (Sys::FileStatus(from.Get(), &status) != 0) return false;
  if (S_ISDIR(status.st_mode)) {
    errno = EISDIR;
    return false;
  }
  const int flags = O_WRONLY | O_CREAT | O_TRUNC | (failIfExists ? O_EXCL : 0);
  Descriptor to(Sys::Open(destination.GetPath().GetStr(), flags, 0777));
  if (to.Get() < 0) return false;
  if (!Sys::CopyData(from.Get(), to.Get(), status.st_size, kCopyBlockSize, progress, context)) return false;
  const bool closedTo = to.Close();
  const int error = errno;
  const bool closedFrom = from.Close();
  if (!closedTo) errno = error;
  return closedTo && closedFrom;
}

bool File::Copy(const File& destination, bool failIfExists) const {
  return Copy(destination, failIfExists, nullptr, nullptr);
}

bool File::Move(const File& destination, bool failIfExists) {
  return MoveTo(destination.GetPath(), failIfExists);
}

bool File::CreateHardLink(const File& link) const {
  return Sys::RetryOnInterrupt([&] { return ::link(m_path.GetStr(), link.GetPath().GetStr()); }) == 0;
}

bool File::MoveUnique(const Directory& directory, UniqueNameGenerator generator, UniqueNameTest test, void* context) {
  return CheckGenerator(generator) &&
         TryUniqueNames(directory.GetPath(), generator, test, context, [this](const AnsiStr& path) {
           struct stat status;
           if (Sys::LinkStatus(path.GetStr(), &status) == 0) {  // for the plain-rename fallback
             errno = EEXIST;
             return false;
           }
           return Move(File(path), true);
         });
}

bool File::CreateUnique(const Directory& directory, UniqueNameGenerator generator, UniqueNameTest test, void* context) {
  return CheckGenerator(generator) &&
         TryUniqueNames(directory.GetPath(), generator, test, context, [this](const AnsiStr& path) {
           if (!File(path).Create(true)) return false;
           m_path = path;
           return true;
         });
}

AnsiStr File::MakeTail(const AnsiStr& base, const AnsiStr& extension) {
  AnsiStr tail = base.IsEmpty() ? AnsiStr("file") : base;
  if (!extension.IsEmpty()) tail.Append('.').Append(extension);
  return tail;
}

AnsiStr File::MakeName(const Directory& directory, const AnsiStr& base, const AnsiStr& extension) {
  return File(directory, MakeTail(base, extension)).GetPath();
}

bool File::Search(const AnsiStr& tail, const AnsiStr& variable) {
  AnsiStr found = FindInPath(tail, variable);
  if (found.IsEmpty()) return false;
  m_path = found;
  return true;
}

bool File::IsEqualContent(const File& a, const File& b, long long maxBytes) {
  Descriptor fa(Sys::Open(a.GetPath().GetStr(), O_RDONLY));
  if (fa.Get() < 0) return false;
  Descriptor fb(Sys::Open(b.GetPath().GetStr(), O_RDONLY));
  if (fb.Get() < 0) return false;
  std::unique_ptr<char[]> buffer(new (std::nothrow) char[2 * kCopyBlockSize]);
  if (!buffer) {
    errno = ENOMEM;
    return false;
  }
  char* bufferA = buffer.get();
  char* bufferB = buffer.get() + kCopyBlockSize;
  long long left = maxBytes < 0 ? -1 : maxBytes;
  // Reads the same count from both (a read may return less: fill until full or at the end).
  auto fill = [](int fd, char* into, size_t want) -> ssize_t {
    size_t have = 0;
    while (have < want) {
      const ssize_t got = Sys::Read(fd, into + have, want - have);
      if (got < 0) return -1;
      if (got == 0) break;
      have += static_cast<size_t>(got);
    }
    return static_cast<ssize_t>(have);
  };
  while (left != 0) {
    const size_t want = left < 0 || left > static_cast<long long>(kCopyBlockSize) ? kCopyBlockSize : static_cast<size_t>(left);
    const ssize_t gotA = fill(fa.Get(), bufferA, want);
    if (gotA < 0) return false;
    const ssize_t gotB = fill(fb.Get(), bufferB, want);
    if (gotB < 0) return false;
    if (gotA != gotB || std::memcmp(bufferA, bufferB, static_cast<size_t>(gotA)) != 0) {
      errno = 0;
      return false;
    }
    if (static_cast<size_t>(gotA) < want) break;  // both ended together
    if (left > 0) left -= gotA;
  }
  return true;
}

// DetectTextEncoding: the marks come from the first three bytes. The deep scan maps the file
// and validates it in place under a crash guard: a file cut short by another process while we
// read it raises SIGBUS on the vanished pages, which counts as "not valid", not as a crash.
int File::DetectTextEncoding(bool deepScan) const {
  Descriptor fd(Sys::Open(m_path.GetStr(), O_RDONLY));
  if (fd.Get() < 0) return 0;
  unsigned char head[3] = {0, 0, 0};
  size_t have = 0;
  while (have < sizeof head) {
    const ssize_t got = Sys::Read(fd.Get(), head + have, sizeof head - have);
    if (got < 0) return 0;
    if (got == 0) break;
    have += static_cast<size_t>(got);
  }
  if (have == 3 && head[0] == 0xEF && head[1] == 0xBB && head[2] == 0xBF) return 3;
  if (have >= 2 && head[0] == 0xFE && head[1] == 0xFF) return 4;
  if (have >= 2 && head[0] == 0xFF && head[1] == 0xFE) return 5;
  if (!deepScan) return 1;
  struct stat status;
  if (Sys::FileStatus(fd.Get(), &status) != 0 || !S_ISREG(status.st_mode)) return 1;
  if (status.st_size == 0) return 2;
  const size_t size = static_cast<size_t>(status.st_size);
  void* map = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd.Get(), 0);
  if (map == MAP_FAILED) return 1;
  const char* text = static_cast<const char*>(map);
  bool valid = false;
  const bool completed = CallGuarded("DetectTextEncoding", [&] { valid = IsValidUTF8(text, size); });
  ::munmap(map, size);
  return completed && valid ? 2 : 1;
}

bool File::CheckPathRoot(const AnsiStr& path) { return SkipRoot(path.GetStr()) != path.GetStr(); }

AnsiStr File::GetPathRoot() const {
  return m_path.Copy(0, static_cast<uint32_t>(SkipRoot(m_path.GetStr()) - m_path.GetStr()));
}

AnsiStr File::GetCanonicalName() const {
  char* resolved = ::realpath(m_path.GetStr(), nullptr);
  if (resolved == nullptr) return AnsiStr();
  AnsiStr result(resolved);
  ::free(resolved);
  return result;
}

bool File::GetShortNameInfo(AnsiStr&) const {
  errno = kErrorNotSupported;
  return false;
}

namespace {

AnsiStr TempName(unsigned attempt) {
  // Random enough that parallel processes rarely collide; a collision just tries again.
  static constexpr char kDigits[] = "0123456789abcdefghijklmnopqrstuvwxyz";
  unsigned long long value = Sys::HighResolutionTicks() ^ (static_cast<unsigned long long>(::getpid()) << 32) ^
                             (attempt * 0x9E3779B97F4A7C15ull);
  char text[9];
  for (int i = 0; i < 8; ++i, value /= 36) text[i] = kDigits[value % 36];
  text[8] = '\0';
  return AnsiStr(text);
}

}  // namespace

bool TempFile::Create(const Directory& directory, const AnsiStr& prefix) {
  Cleanup();
  auto name = [&prefix](unsigned attempt) { return AnsiStr(prefix).Append(TempName(attempt)); };
  return TryUniqueNames(directory.GetPath(), name, nullptr, nullptr, [this](const AnsiStr& path) {
    if (!File(path).Create(true)) return false;
    m_path = path;
    return true;
  });
}

bool TempFile::Cleanup() {
  if (m_path.IsEmpty()) return true;
  const bool removed = Remove(true);
  if (!removed) {
    OrvGuiTrace::TraceLastError(OrvGuiTrace::kTraceTrace, 0x01, "io", __LINE__,
                                AnsiStr("Could not remove temporary file ").Append(m_path).GetStr());
  }
  m_path = AnsiStr();
  return removed;
}

}  // namespace OrvGuiBase
