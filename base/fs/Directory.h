// Directory.h: a directory by path, the well-known directories, and the PATH-style lists.
//
//   Directory work(Directory::kTemp);
//   work.Append("myapp");
//   if (!work.Create(true)) return false;          // last error says why
//   work.Remove(true, true);                        // force, recursive
//
// Failures return false (or an empty value) with the last error set. Depends on
// base/fs/DirectoryEntry.h.
#pragma once

#include "base/fs/DirectoryEntry.h"
#include "base/text/Array.h"
#include "base/text/WideStr.h"

namespace OrvGuiBase {

// UniqueNameGenerator: the candidate name of an attempt (0, 1, 2, ...).
using UniqueNameGenerator = AnsiStr (*)(unsigned int attempt);
// UniqueNameTest: an extra test of a candidate full path; false skips it.
using UniqueNameTest = bool (*)(const AnsiStr& path, void* context);
// The number of generated names tried before giving up with last error 17 (exists).
inline constexpr unsigned kUniqueNameAttempts = 10000;

class ORVGUI_API Directory : public DirectoryEntry {
 public:
  // DirectoryType: the well-known directories. Types without a meaning here (and types above
  // kDownloads) give an empty directory.
  enum DirectoryType : unsigned {
    kNone = 0,
    kTemp = 1,          // GetTempDirectory (host, registry, TMPDIR, /tmp)
    kProgram = 2,       // the directory of the running executable
    kRoot = 3,          // "/"
    kHome = 4,          // the effective user's home directory (password database)
    kDesktop = 5,       // <home>/Desktop
    kDocuments = 6,     // <home>/Documents
    kAppData = 7,       // XDG_CONFIG_HOME, else <home>/.config
    kLocalAppData = 8,  // XDG_DATA_HOME, else <home>/.local/share
    kCache = 9,         // XDG_CACHE_HOME, else <home>/.cache
    kWindows = 21,      // no such directory here: empty
    kCurrent = 26,      // the working directory
    kDownloads = 27,    // <home>/Downloads
  };

  Directory() = default;
  explicit Directory(const AnsiStr& path) : DirectoryEntry(path) {}
  Directory(const char* path) : DirectoryEntry(AnsiStr(path)) {}  // NOLINT: paths pass as text
  Directory(const Directory& parent, const AnsiStr& tail);
  explicit Directory(DirectoryType type);

  // Exists: the path names a directory (links followed).
  bool Exists() const { return ExistsAsDirectory(); }
  // Create: makes the directory (mode 0777 before the umask); with recursive also its missing
  // parents. An existing directory is success unless failIfExists is set (last error 17).
  bool Create(bool recursive = false, bool failIfExists = false) const;
  // Remove: removes the directory. force adds owner read, write and search to every directory
  // and owner read and write to every file first; recursive removes the content first. On
  // failure what could be removed is gone.
  bool Remove(bool force = false, bool recursive = false) const;
  // Copy: copies the tree to destination (created when missing); failIfExists refuses files
  // that exist there already. A symbolic link to a file is copied as the file's content, a
  // link to a directory as a link with the same target.
  bool Copy(const Directory& destination, bool failIfExists = true) const;
  // Move: renames to destination; with failIfExists an existing destination fails (last error
  // 17). Follows File::Move.
  bool Move(const Directory& destination, bool failIfExists = true);
  // Change: makes this the working directory.
  bool Change() const;

  // Append: adds a component to the path (not on disk). AppendUnique adds the first generated
  // name that does not exist yet (and passes test); CreateUnique also makes it, atomically.
  Directory& Append(const AnsiStr& tail);
  bool AppendUnique(UniqueNameGenerator generator, UniqueNameTest test = nullptr, void* context = nullptr);
  bool CreateUnique(UniqueNameGenerator generator, UniqueNameTest test = nullptr, void* context = nullptr);
  // MoveUnique: moves this directory into parent under the first generated name free there.
  bool MoveUnique(const Directory& parent, UniqueNameGenerator generator, UniqueNameTest test = nullptr,
                  void* context = nullptr);
  // Reduce: to the parent (see SimpleReducePath).
  bool Reduce() { return SimpleReducePath(m_path); }

  // GetContent: the names (not paths) of the entries, "." and ".." left out, in directory
  // order, appended to names (UTF-8; WideStr(name) gives the wide form: a WideStr cannot be an
  // Array element). The Data form adds type, size and time stamps.
  bool GetContent(Array<AnsiStr>& names) const;
  bool GetContent(Data* entries, unsigned capacity, unsigned& count) const;

  // Access for the calling process (see DirectoryEntry::GetAccess).
  bool IsReadable() const { return GetAccess(4); }
  bool IsWritable() const { return GetAccess(2); }
  bool IsSearchable() const { return GetAccess(1); }
};

// AddPath / DelPath: add the directory to, or remove it from, the ":"-separated list held in
// the environment variable (PATH by default). Adding one already listed changes nothing.
ORVGUI_API bool AddPath(const Directory& directory, const AnsiStr& variable);
ORVGUI_API bool AddPath(const Directory& directory);
ORVGUI_API bool DelPath(const Directory& directory, const AnsiStr& variable);
ORVGUI_API bool DelPath(const Directory& directory);

// DirectoryWatcher: change notification on a directory. There is none on this platform: Init
// makes its handle once and fails with last error 38 (not implemented); Exit releases it.
class ORVGUI_API DirectoryWatcher {
 public:
  DirectoryWatcher() = default;
  ~DirectoryWatcher() { Exit(); }
  DirectoryWatcher(const DirectoryWatcher&) = delete;
  DirectoryWatcher& operator=(const DirectoryWatcher&) = delete;
  bool Init(const Directory& directory, bool subtree = false);
  void Exit();

 private:
  void* m_handle = nullptr;
};

}  // namespace OrvGuiBase
