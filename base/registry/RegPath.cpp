// RegPath.cpp: parsing key names and checking and opening key directories.
#include "base/registry/RegPath.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>

#include "base/process/Module.h"
#include "private/registry/KeyFiles.h"
#include "private/system/Sys.h"

namespace OrvGuiBase {

namespace {

struct RootName {
  const char* name;
  RegHive hive;
  int alias;  // 0 a real root; 1 company, 2 environment, 3 application
};

// The order matters: a root is matched over the length the caller wrote, and the first name
// that agrees wins.
constexpr RootName kRootNames[] = {
    {"HKEY_CLASSES_ROOT", RegHive::kClassesRoot, 0}, {"HKEY_CURRENT_USER", RegHive::kCurrentUser, 0},
    {"HKEY_LOCAL_MACHINE", RegHive::kLocalMachine, 0}, {"HKEY_USERS", RegHive::kUsers, 0},
    {"HKEY_COMPANY", RegHive::kCurrentUser, 1},      {"HKEY_ENVIRONMENT", RegHive::kCurrentUser, 2},
    {"HKEY_APPLICATION", RegHive::kCurrentUser, 3},
};
constexpr struct {
  const char* name;
  RegHive hive;
} kShortRootNames[] = {
    {"HKCR", RegHive::kClassesRoot}, {"HKCU", RegHive::kCurrentUser},
    {"HKLM", RegHive::kLocalMachine}, {"HKU", RegHive::kUsers},
};
const char* const kHiveNames[] = {"HKEY_CLASSES_ROOT", "HKEY_CURRENT_USER", "HKEY_LOCAL_MACHINE", "HKEY_USERS"};

bool IsKeySeparator(char c) { return c == '\\' || c == '/'; }

// FirstComponentLength: the bytes of text before its first separator.
uint32_t FirstComponentLength(AnsiSubStr text) {
  uint32_t n = 0;
  while (n < text.GetLength() && !IsKeySeparator(text.GetStr()[n])) ++n;
  return n;
}

// CheckSubPath: the sub-path's components joined by "/", empty ones skipped; false with
// EINVAL or ENAMETOOLONG for a path that could leave the hive or is too long.
bool CheckSubPath(const AnsiStr& path, AnsiStr& relative) {
  relative = AnsiStr();
  const char* text = path.GetStr();
  const uint32_t length = path.GetLength();
  if (memchr(text, 0, length) != nullptr) {
    errno = EINVAL;
    return false;
  }
  unsigned depth = 0;
  for (uint32_t at = 0; at < length;) {
    uint32_t end = at;
    while (end < length && !IsKeySeparator(text[end])) ++end;
    const uint32_t n = end - at;
    if (n > 0) {
      if ((n == 1 && text[at] == '.') || (n == 2 && text[at] == '.' && text[at + 1] == '.')) {
        errno = EINVAL;  // deliberately refused, not resolved: a key never names its parent
        return false;
      }
      if (n > kRegMaxNameLength || ++depth > kRegMaxDepth) {
        errno = ENAMETOOLONG;
        return false;
      }
      if (!relative.IsEmpty()) relative += '/';
      relative += AnsiSubStr(text + at, n);
    }
    at = end + 1;
  }
  return true;
}

}  // namespace

bool RegPath::Parse(const char* root, const char* path) { return Parse(AnsiSubStr(root), AnsiSubStr(path)); }

bool RegPath::Parse(AnsiSubStr root, AnsiSubStr path) {
  m_valid = false;
  m_root = AnsiStr();
  m_path = AnsiStr();
  const bool rootGiven = !root.IsEmpty();
  const AnsiSubStr text = rootGiven ? root : path;
  const uint32_t n = FirstComponentLength(text);
  const char* first = text.GetStr();
  const RootName* found = nullptr;
  for (const RootName& candidate : kRootNames)
    if (n > 0 && n <= strlen(candidate.name) && strncasecmp(first, candidate.name, n) == 0) {
      found = &candidate;
      break;
    }
  RootName shortForm{};
  for (const auto& candidate : kShortRootNames)
    if (found == nullptr && n == strlen(candidate.name) && strncasecmp(first, candidate.name, n) == 0) {
      shortForm = {candidate.name, candidate.hive, 0};
      found = &shortForm;
    }
  if (found == nullptr) {
    errno = EINVAL;
    return false;
  }
  m_hive = found->hive;
  m_root = kHiveNames[static_cast<unsigned>(found->hive)];
  // The aliases land under the current user, deliberately: settings of the product are per
  // user, and callers rely on HKEY_COMPANY\X being HKEY_CURRENT_USER\Software\Quelvarn\X.
  switch (found->alias) {
    case 1: m_path = "Software\\Quelvarn"; break;
    case 2: m_path = "Software\\Quelvarn\\Environment"; break;
    case 3: m_path = AnsiStr("Software\\Quelvarn\\") += GetProgramName(); break;
    default: break;
  }
  if (n < text.GetLength()) {
    const AnsiSubStr rest(text.GetStr() + n + 1, text.GetLength() - n - 1);
    if (!rest.IsEmpty()) {
      if (!m_path.IsEmpty()) m_path += '\\';
      m_path += rest;
    }
  }
  if (rootGiven && !path.IsEmpty()) {
    if (!m_path.IsEmpty()) m_path += '\\';
    m_path += path;
  }
  m_valid = true;
  return true;
}

AnsiStr RegPath::GetFullPath() const {
  AnsiStr full(m_root);
  if (!m_path.IsEmpty()) full.Append('\\').Append(m_path);
  return full;
}

void RegPath::Append(AnsiStr& path, const char* component) {
  if (component == nullptr || *component == 0) return;
  if (!path.IsEmpty()) path += '\\';
  path += component;
}

bool RegPath::Reduce(AnsiStr& path) {
  if (path.IsEmpty()) return false;
  const int at = path.FindLast('\\');
  path.Trunc(at < 0 ? 0 : static_cast<uint32_t>(at));
  return true;
}

bool RegKey::Locate(const RegPath& path) {
  m_exists = false;
  m_hive = AnsiStr();
  m_relative = AnsiStr();
  m_name = AnsiStr();
  m_directory = Directory();
  if (!path.IsValid()) {
    errno = EINVAL;
    return false;
  }
  AnsiStr relative;
  if (!CheckSubPath(path.GetPath(), relative)) return false;
  const AnsiStr* hive = GetRegHive(path.GetHive());
  if (hive == nullptr || hive->IsEmpty()) {
    errno = ENOENT;
    return false;
  }
  m_hive = *hive;
  m_relative = relative;
  m_directory = Directory(m_hive);
  m_name = path.GetRoot();
  if (!m_relative.IsEmpty()) {
    m_directory.Append(m_relative);
    m_name.Append('\\').Append(AnsiStr(m_relative).Replace('/', '\\'));
  }
  return true;
}

bool RegKey::Open(const RegPath& path, RegMode mode) {
  if (!Locate(path)) return false;
  if (mode == kRegCreate) {
    m_exists = RegFiles::MakeKey(m_hive, m_relative);
    return m_exists;
  }
  const int fd = RegFiles::OpenKey(*this, O_PATH);
  if (fd < 0) return false;
  Sys::Close(fd);
  m_exists = true;
  return true;
}

}  // namespace OrvGuiBase
