// RegPath.h: naming a registry key (RegPath) and opening it (RegKey).
//
//   RegPath path("HKEY_COMPANY\\Server\\Ports");    // HKEY_CURRENT_USER, Software\Quelvarn\Server\Ports
//   RegKey key;
//   if (!key.Open(path, kRegCreate)) ...            // last error says why
//   puts(key.GetDirectory().GetPath());             // <root>/users/<user>/Software/Quelvarn/Server/Ports
//
// A key is a directory below one of the four hive directories (RegistryRoot.h); its sub-path
// uses backslashes (a slash separates as well), and empty components are skipped. The registry
// never leaves its hive: a component "." or "..", or one holding a NUL byte, is refused with
// last error 22 (EINVAL); one longer than 255 bytes, or a path deeper than 512 keys, with 36
// (ENAMETOOLONG). Below the hive directory no symbolic link is followed: a link planted in the
// tree fails the operation (ELOOP or ENOTDIR) instead of leading it elsewhere.
// Values are classes without locks; two threads may use different objects freely.
// Depends on base/fs (Directory) and base/registry/RegistryRoot.h.
#pragma once

#include "base/core/Export.h"
#include "base/fs/Directory.h"
#include "base/registry/RegistryRoot.h"
#include "base/text/Array.h"

namespace OrvGuiBase {

// Store: the list of strings of the registry's interface (string-list values, key lists,
// substitution tables).
template <class T>
using Store = Array<T>;

// kRegMaxNameLength / kRegMaxDepth: the longest key or value name in bytes, the deepest key.
inline constexpr unsigned kRegMaxNameLength = 255;
inline constexpr unsigned kRegMaxDepth = 512;
// kRegDefaultValueFile: the file that holds a key's default (unnamed) value.
inline constexpr const char kRegDefaultValueFile[] = "registry.default";

class ORVGUI_API RegPath {
 public:
  RegPath() = default;
  // RegPath(root, path) / RegPath(full): see Parse. IsValid tells whether the root was known.
  RegPath(const char* root, const char* path) { Parse(root, path); }
  explicit RegPath(const char* full) { Parse(nullptr, full); }

  // Parse: the first component of root (or of path when root is null or empty) names the root
  // key. It is compared, over its own length and without regard to case, with
  // HKEY_CLASSES_ROOT, HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE, HKEY_USERS, HKEY_COMPANY,
  // HKEY_ENVIRONMENT and HKEY_APPLICATION in this order, and the first that agrees is taken
  // (so "HKEY_LOCAL" names the machine hive); the short forms HKCR, HKCU, HKLM and HKU are
  // known too. The three aliases land under HKEY_CURRENT_USER, deliberately, not under the
  // machine: HKEY_COMPANY is Software\Quelvarn, HKEY_ENVIRONMENT Software\Quelvarn\Environment
  // and HKEY_APPLICATION Software\Quelvarn\<program name>, put in front of the rest. The rest
  // of root after its first component, then path, form the sub-path. False with last error 22
  // for an empty or unknown root (the object is then not valid).
  bool Parse(const char* root, const char* path);
  bool Parse(AnsiSubStr root, AnsiSubStr path);

  bool IsValid() const { return m_valid; }
  // GetRoot: the real root's name ("HKEY_CURRENT_USER" for the aliases). GetPath: the sub-path
  // with backslashes, as given (not checked yet: RegKey::Open checks it). GetHive: the hive.
  const AnsiStr& GetRoot() const { return m_root; }
  const AnsiStr& GetPath() const { return m_path; }
  RegHive GetHive() const { return m_hive; }
  // GetFullPath: the root's name, a backslash and the sub-path (the root alone for none).
  AnsiStr GetFullPath() const;

  // Append: adds a component to the sub-path with a backslash. Reduce: removes the sub-path's
  // last component (false when there is none).
  RegPath& Append(const char* component) {
    Append(m_path, component);
    return *this;
  }
  bool Reduce() { return Reduce(m_path); }
  // Append / Reduce on any key text: one backslash between path and component; the last
  // component cut with the backslash before it.
  static void Append(AnsiStr& path, const char* component);
  static bool Reduce(AnsiStr& path);

 private:
  AnsiStr m_root;
  AnsiStr m_path;
  RegHive m_hive = RegHive::kClassesRoot;
  bool m_valid = false;
};

// RegMode: kRegRead opens an existing key only; kRegCreate makes it, with its parents.
enum RegMode : unsigned { kRegRead = 1, kRegCreate = 2 };

class ORVGUI_API RegKey {
 public:
  RegKey() = default;
  RegKey(const RegPath& path, RegMode mode) { Open(path, mode); }

  // Open: checks the sub-path, finds the hive's directory and the key's directory below it,
  // and tests that it exists (kRegRead) or makes what is missing (kRegCreate, mode 0777 before
  // the umask). True when the key's directory exists afterwards; false with last error 2 for a
  // missing key, 22 or 36 for a refused path, or the system's error.
  bool Open(const RegPath& path, RegMode mode);

  bool Exists() const { return m_exists; }
  // GetDirectory: the key's directory (its full path); empty before a successful check.
  const Directory& GetDirectory() const { return m_directory; }
  // GetHivePath / GetRelativePath: the hive's directory and the checked sub-path below it
  // ("/"-separated, "" for the hive itself). Names built from these stay inside the hive.
  const AnsiStr& GetHivePath() const { return m_hive; }
  const AnsiStr& GetRelativePath() const { return m_relative; }
  // GetName: the key's canonical full name: the real root's name and the checked components,
  // joined by backslashes ("HKEY_CURRENT_USER\\Software\\Quelvarn\\X").
  const AnsiStr& GetName() const { return m_name; }
  // IsChecked: Open got as far as a checked path (the key may still be missing).
  bool IsChecked() const { return !m_hive.IsEmpty(); }

  // Locate: the hive and checked sub-path of path without touching the disk; false with the
  // last error of Open for a refused path. The key's directory is set, Exists is false.
  bool Locate(const RegPath& path);

 private:
  Directory m_directory;
  AnsiStr m_hive;
  AnsiStr m_relative;
  AnsiStr m_name;
  bool m_exists = false;
};

}  // namespace OrvGuiBase
