// File.h: a file by path and what can be done with it; TempFile removes its file when done.
//
//   File source("/data/in.csv"), target(Directory("/backup"), "in.csv");
//   if (!source.Copy(target, true)) ...            // fail if it exists; last error says why
//   int encoding = source.DetectTextEncoding(true); // 1 plain, 2 UTF-8, 3 UTF-8 BOM, 4/5 UTF-16
//
// Failures return false, 0, -1 or an empty string (as each declaration says) with the last
// error set; nothing throws. Depends on base/fs/Directory.h.
#pragma once

#include "base/fs/Directory.h"

namespace OrvGuiBase {

// CopyProgress: asked before each block with the total size, the bytes copied so far and the
// caller's context; true cancels the copy (last error 125).
using CopyProgress = bool (*)(long long total, long long done, void* context);

class ORVGUI_API File : public DirectoryEntry {
 public:
  // FileType: the extension a typed constructor gives the name.
  enum FileType : unsigned {
    kPlain = 0,   // no extension
    kText = 1,    // "txt"
    kLog = 2,     // "log"
    kConfig = 3,  // "cfg"
    kTemp = 4,    // "tmp"
    kJson = 5,    // "json"
  };

  File() = default;
  explicit File(const AnsiStr& path) : DirectoryEntry(path) {}
  File(const char* path) : DirectoryEntry(AnsiStr(path)) {}  // NOLINT: paths pass as text
  File(const Directory& directory, const AnsiStr& tail);
  // File(type, directory, name[, extension]): directory / MakeTail(MakeBasename(name), ext)
  // where ext is the given extension, else the type's.
  File(FileType type, const Directory& directory, const AnsiStr& name);
  File(FileType type, const Directory& directory, const AnsiStr& name, const AnsiStr& extension);

  // Exists: the path names something that is not a directory (links followed).
  bool Exists() const;
  // Create: makes an empty file (mode 0666 before the umask). An existing file keeps its content
  // unless truncate is set; failIfExists makes an existing file fail with last error 17.
  bool Create(bool failIfExists = false, bool truncate = false) const;
  // Remove: unlinks the file; force first adds owner read and write when they are missing.
  bool Remove(bool force = false) const;
  // GetSize: the size in bytes, -1 plus last error on failure. SetSize cuts or extends.
  long long GetSize() const;
  bool SetSize(long long size) const;

  // Copy: copies the content to destination in 64 KiB blocks (created with mode 0777 before the
  // umask, truncated when it exists). failIfExists makes an existing destination fail (17).
  // progress (when given) may cancel: last error 125, the partial destination stays.
  bool Copy(const File& destination, bool failIfExists, CopyProgress progress, void* context) const;
  bool Copy(const File& destination, bool failIfExists) const;
  // Move: renames to destination and takes its name. failIfExists uses the no-replace rename
  // where the system has it and plain rename where it does not (then an existing destination
  // is replaced: the check cannot be made atomically there).
  bool Move(const File& destination, bool failIfExists);
  // CreateHardLink: makes link another name of this file.
  bool CreateHardLink(const File& link) const;
  // MoveUnique / CreateUnique: the first generated name in directory that can be moved to or
  // created without replacing anything (and passes test); this then names it.
  bool MoveUnique(const Directory& directory, UniqueNameGenerator generator, UniqueNameTest test = nullptr,
                  void* context = nullptr);
  bool CreateUnique(const Directory& directory, UniqueNameGenerator generator, UniqueNameTest test = nullptr,
                    void* context = nullptr);

  // MakeTail: base "." extension ("file" for an empty base; no dot for an empty extension).
  static AnsiStr MakeTail(const AnsiStr& base, const AnsiStr& extension);
  // MakeName: the full path of MakeTail(base, extension) in directory.
  static AnsiStr MakeName(const Directory& directory, const AnsiStr& base, const AnsiStr& extension);
  // Search: finds tail along the directories of variable (see FindInPath); on success this
  // names the file found.
  bool Search(const AnsiStr& tail, const AnsiStr& variable = "PATH");

  // Access for the calling process (see DirectoryEntry::GetAccess).
  bool IsReadable() const { return GetAccess(4); }
  bool IsWritable() const { return GetAccess(2); }
  bool IsExecutable() const { return GetAccess(1); }

  // IsEqualContent: the first maxBytes bytes (all when maxBytes < 0) of both files are equal.
  // False with last error 0 when they differ, with the error when one cannot be read.
  static bool IsEqualContent(const File& a, const File& b, long long maxBytes = -1);
  // DetectTextEncoding: 0 cannot be opened; 3 UTF-8 mark; 4 UTF-16 big-endian mark; 5 UTF-16
  // little-endian mark; 2 with deepScan when the whole file is valid UTF-8 (a fault while
  // reading it counts as not valid); 1 any other readable file.
  int DetectTextEncoding(bool deepScan = false) const;

  // CheckName: CheckFileName with the limit of 255 characters.
  static bool CheckName(const AnsiStr& name) { return CheckFileName(name, 255); }
  // CheckPathRoot: path has a root (see SkipRoot). GetPathRoot: the root of this path.
  static bool CheckPathRoot(const AnsiStr& path);
  AnsiStr GetPathRoot() const;
  // GetCanonicalName: the absolute path with links, "." and ".." resolved; empty on failure.
  AnsiStr GetCanonicalName() const;
  // GetShortNameInfo: there are no short names here: false, last error 95.
  bool GetShortNameInfo(AnsiStr& shortName) const;
};

// TempFile: a File whose file is removed when Cleanup runs or the object goes away.
class ORVGUI_API TempFile : public File {
 public:
  TempFile() = default;
  explicit TempFile(const AnsiStr& path) : File(path) {}
  ~TempFile() { Cleanup(); }
  TempFile(const TempFile&) = delete;
  TempFile& operator=(const TempFile&) = delete;
  // Create: a new empty file with a unique name in directory (the temporary directory by
  // default); false plus last error when none could be made.
  bool Create(const Directory& directory = Directory(Directory::kTemp), const AnsiStr& prefix = "tmp");
  // Cleanup: removes the file (forced), traces a failure, forgets the name in either case.
  // True when there was nothing to remove or the removal succeeded.
  bool Cleanup();
};

}  // namespace OrvGuiBase
