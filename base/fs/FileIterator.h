// FileIterator.h: the files or sub-directories of a directory whose names match a pattern.
//
//   for (FileIterator it(Directory("/var/log"), "*.log"); it; it.ToNext())
//     puts(it.GetFile().GetPath());
//
// The list is made once, when the iterator is built, in directory order ("." and ".." never
// appear; dot files do: a wildcard matches a leading dot). Patterns are fnmatch patterns
// without flags: "*", "?" and bracket classes, case-sensitive. A pattern may carry directories
// ("sub/*.txt"). An iterator is a handle on its list; copying it copies the list.
// A directory that cannot be read gives an empty list and leaves the last error; the iterator
// itself reports nothing. Depends on base/fs/File.h.
#pragma once

#include "base/fs/File.h"

namespace OrvGuiBase {

struct EntryListImp;

// EntryIterator: the list and navigation shared by FileIterator and DirectoryIterator.
class ORVGUI_API EntryIterator {
 public:
  EntryIterator(const EntryIterator& other);
  EntryIterator& operator=(const EntryIterator& other);
  EntryIterator(EntryIterator&& other) noexcept : m_imp(other.m_imp) { other.m_imp = nullptr; }
  EntryIterator& operator=(EntryIterator&& other) noexcept;
  ~EntryIterator();

  // operator bool: positioned on an entry.
  explicit operator bool() const;
  // GetCount: the number of entries found.
  unsigned GetCount() const;
  // Navigation: each returns whether the iterator is now on an entry.
  bool ToFirst();
  bool ToNext();
  bool ToLast();
  bool ToPrev();
  // Reset: back to the first entry. Clear: forget every entry.
  void Reset() { ToFirst(); }
  void Clear();
  // Sort: orders the entries by full path, case ignored; descending when the flag is set. The
  // iterator is then on the first entry.
  void Sort(bool descending = false);
  // GetPath: the full path of the current entry (empty when not on one).
  AnsiStr GetPath() const;

 protected:
  EntryIterator(const Directory& directory, const AnsiStr& pattern, bool directories);

 private:
  EntryListImp* m_imp = nullptr;
};

// FileIterator: the regular files, symbolic links (even to directories), FIFOs and sockets.
class ORVGUI_API FileIterator : public EntryIterator {
 public:
  explicit FileIterator(const Directory& directory) : EntryIterator(directory, "*", false) {}
  FileIterator(const Directory& directory, const AnsiStr& pattern) : EntryIterator(directory, pattern, false) {}
  File GetFile() const { return File(GetPath()); }
};

// DirectoryIterator: the sub-directories (a symbolic link to one is not listed).
class ORVGUI_API DirectoryIterator : public EntryIterator {
 public:
  explicit DirectoryIterator(const Directory& directory) : EntryIterator(directory, "*", true) {}
  DirectoryIterator(const Directory& directory, const AnsiStr& pattern) : EntryIterator(directory, pattern, true) {}
  Directory GetDirectory() const { return Directory(GetPath()); }
};

// AcceptEntryType: the type filter of the iterators, for an entry of type (a DT_ value of
// readdir) at path. A known type decides alone: files take DT_REG, DT_LNK, DT_FIFO and
// DT_SOCK (so a link to a directory is a file), directories take DT_DIR only (so such a link
// is not a directory). DT_UNKNOWN is settled by stat, which follows links: files take a
// regular file, FIFO or socket, directories a directory, and a failed stat takes nothing.
// That asymmetry for links to directories is deliberate and callers rely on it. The stat is
// reported to telemetry (APM_EVENT_FILE_STAT, before and after) while the library's module is
// active.
ORVGUI_API bool AcceptEntryType(unsigned char type, const char* path, bool directories);

}  // namespace OrvGuiBase
