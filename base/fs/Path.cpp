// Path.cpp: path splitting, roots and name checks.
#include "base/fs/Path.h"

#include <strings.h>
#include <sys/stat.h>

#include <cerrno>

#include "base/process/Environment.h"
#include "private/system/Sys.h"

namespace OrvGuiBase {

namespace {

// IsContinuation: a UTF-8 byte of the form 10xxxxxx, never the start of a character.
bool IsContinuation(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

// SkipComponent: past the characters up to the next separator (or the end).
const char* SkipComponent(const char* p) {
  while (*p != '\0' && (IsContinuation(*p) || !IsPathSeparator(*p))) ++p;
  return p;
}

uint32_t RootLength(const AnsiStr& path) { return static_cast<uint32_t>(SkipRoot(path.GetStr()) - path.GetStr()); }

// LastSeparator: the position of the last separator at or after from, or -1.
int LastSeparator(const AnsiStr& path, uint32_t from) {
  const char* text = path.GetStr();
  for (uint32_t i = path.GetLength(); i > from; --i)
    if (IsPathSeparator(text[i - 1])) return static_cast<int>(i - 1);
  return -1;
}

}  // namespace

// The roots recognised here, and where they end (the pointer returned):
//   ""                  -> at the start
//   "/a", "\a"          -> past the one separator
//   "//srv/share/a"     -> at "a": two separators, the server, a separator, the share, a separator
//   "\\?\UNC\srv\sh\a"  -> the same with the server starting after "\\?\UNC\"
//   "\\?\other"         -> past the first separator only: a "?" form that is not UNC
//   "a/b", "C:\a"       -> at the start: relative (drive letters are not roots here)
// Components are scanned by UTF-8 characters, so a separator is only seen at a character start.
const char* SkipRoot(const char* path) {
  if (path == nullptr || path[0] == '\0') return path;
  if (IsPathSeparator(path[0]) && IsPathSeparator(path[1])) {
    const char* server = path + 2;
    if (path[2] == '?') {
      if (!IsPathSeparator(path[3]) || strncasecmp(path + 4, "UNC", 3) != 0 || !IsPathSeparator(path[7]))
        return path + 1;
      server = path + 8;
    }
    const char* p = SkipComponent(server);
    if (*p == '\0') return p;
    p = SkipComponent(p + 1);
    return *p == '\0' ? p : p + 1;
  }
  if (IsPathSeparator(path[0])) return path + 1;
  return path;
}

bool SimpleReducePath(AnsiStr& path) {
  const uint32_t root = RootLength(path);
  if (path.GetLength() == root) return false;  // empty, or the root alone
  const int sep = LastSeparator(path, root);
  path.Trunc(sep >= 0 ? static_cast<uint32_t>(sep) : root);
  return true;
}

bool SimpleAppendPath(AnsiStr& path, const AnsiStr& component) {
  if (path.IsEmpty() || component.IsEmpty()) return false;
  const char* add = component.GetStr();
  while (IsPathSeparator(*add)) ++add;
  if (!IsPathSeparator(path[path.GetLength() - 1])) path.Append('/');
  path.Append(add);
  return true;
}

void SplitPathTail(const AnsiStr& tail, AnsiStr& base, AnsiStr& extension) {
  const int dot = tail.FindLast('.');
  if (dot <= 0) {
    base = tail;
    extension = AnsiStr();
    return;
  }
  AnsiStr whole = tail;  // tail may be base or extension itself
  base = whole.Copy(0, static_cast<uint32_t>(dot));
  extension = whole.Copy(static_cast<uint32_t>(dot) + 1);
}

bool GetPathParts(const AnsiStr& path, AnsiStr& directory, AnsiStr& tail) {
  const AnsiStr whole = path;  // path may be directory or tail itself
  const uint32_t root = RootLength(whole);
  const int sep = LastSeparator(whole, root);
  if (sep >= 0) {
    directory = whole.Copy(0, static_cast<uint32_t>(sep));
    tail = whole.Copy(static_cast<uint32_t>(sep) + 1);
  } else {
    directory = whole.Copy(0, root);
    tail = whole.Copy(root);
  }
  return !tail.IsEmpty();
}

AnsiStr GetPathHead(const AnsiStr& path) {
  AnsiStr directory, tail;
  GetPathParts(path, directory, tail);
  return directory;
}

AnsiStr GetPathTail(const AnsiStr& path) {
  AnsiStr directory, tail;
  GetPathParts(path, directory, tail);
  return tail;
}

AnsiStr GetPathBasename(const AnsiStr& path) {
  AnsiStr base, extension;
  SplitPathTail(GetPathTail(path), base, extension);
  return base;
}

AnsiStr GetPathExtension(const AnsiStr& path) {
  AnsiStr base, extension;
  SplitPathTail(GetPathTail(path), base, extension);
  return extension;
}

AnsiStr SetPathExtension(const AnsiStr& path, const AnsiStr& extension) {
  AnsiStr directory, tail, base, old;
  GetPathParts(path, directory, tail);
  SplitPathTail(tail, base, old);
  AnsiStr result = path.Copy(0, path.GetLength() - tail.GetLength());
  result.Append(base);
  if (!extension.IsEmpty()) result.Append('.').Append(extension);
  return result;
}

namespace {

// IsReservedDeviceName: con, prn, aux, nul, com[0-9], lpt[0-9] in any case.
bool IsReservedDeviceName(const AnsiStr& text) {
  const char* s = text.GetStr();
  if (text.GetLength() == 3)
    return strcasecmp(s, "con") == 0 || strcasecmp(s, "prn") == 0 || strcasecmp(s, "aux") == 0 ||
           strcasecmp(s, "nul") == 0;
  if (text.GetLength() == 4 && s[3] >= '0' && s[3] <= '9')
    return strncasecmp(s, "com", 3) == 0 || strncasecmp(s, "lpt", 3) == 0;
  return false;
}

// TestChar: the replacement of one byte of a base name.
char TestChar(char c) {
  const unsigned char u = static_cast<unsigned char>(c);
  if (u >= 1 && u <= 31) return '$';
  switch (c) {
    case '?': case '*': case '<': case '>': case '|': case '"': case ':': case '/': case '\\':
      return '-';
    default:
      return c;
  }
}

}  // namespace

AnsiStr MakeBasename(const AnsiStr& text) {
  // The Windows device names are honoured on purpose: names made here must stay valid there.
  if (IsReservedDeviceName(text)) return AnsiStr(text).Append('_');
  const char* begin = text.GetStr();
  const char* end = begin + text.GetLength();
  while (begin < end && *begin == ' ') ++begin;
  while (end > begin && end[-1] == ' ') --end;
  AnsiStr result(begin, static_cast<uint32_t>(end - begin));
  return result.Modify(TestChar);
}

bool CheckFileName(const AnsiStr& name, unsigned int maxLength) {
  if (name.IsEmpty() || name == "." || name == "..") return false;
  unsigned count = 0;
  for (const char* p = name.GetStr(); *p != '\0'; ++p) {
    if (IsContinuation(*p)) continue;
    const unsigned char u = static_cast<unsigned char>(*p);
    if (u <= 31 || IsPathSeparator(*p)) return false;
    if (++count >= maxLength) return false;
  }
  return true;
}

AnsiStr FindInPath(const AnsiStr& fileName, const AnsiStr& variable) {
  if (!fileName.IsEmpty()) {
    const AnsiStr list = GetEnv(variable.GetStr());
    const char* p = list.GetStr();
    while (true) {
      const char* end = p;
      while (*end != '\0' && *end != ':') ++end;
      if (end > p) {
        AnsiStr candidate(p, static_cast<uint32_t>(end - p));
        SimpleAppendPath(candidate, fileName);
        struct stat status;
        if (Sys::PathStatus(candidate.GetStr(), &status) == 0 && S_ISREG(status.st_mode)) return candidate;
      }
      if (*end == '\0') break;
      p = end + 1;
    }
  }
  errno = ENOENT;
  return AnsiStr();
}

AnsiStr FindInPath(const AnsiStr& fileName) { return FindInPath(fileName, "PATH"); }

}  // namespace OrvGuiBase
