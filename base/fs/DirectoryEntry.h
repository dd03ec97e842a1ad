// DirectoryEntry.h: the common base of File and Directory: one path and what can be asked of it.
//
//   File log("/var/log/app/today.log");
//   timespec modified;
//   if (log.GetModificationTime(modified)) ...      // false plus last error when it is missing
//
// A DirectoryEntry holds one shared AnsiStr, the full path; copying shares the string. File and
// Directory add no data. Failures return false, 0 or an empty string with the last error set;
// nothing throws. Values without locks: two threads may use different objects freely.
// Time stamps are plain timespec values (seconds and nanoseconds since 1970, UTC).
// Depends on base/text and base/fs/Path.h.
#pragma once

#include <time.h>

#include <cstdint>

#include "base/core/Export.h"
#include "base/fs/Path.h"
#include "base/text/AnsiStr.h"
#include "base/text/Blob.h"

namespace OrvGuiBase {

class Directory;

// The not-supported answer of the Windows-only operations (ENOTSUP).
inline constexpr int kErrorNotSupported = 95;

class ORVGUI_API DirectoryEntry {
 public:
  // Data: one entry of a directory listing (Directory::GetContent).
  struct Data {
    AnsiStr name;
    bool isDirectory = false;
    bool isSymLink = false;
    long long size = 0;
    timespec creation{};
    timespec modification{};
    timespec access{};
  };

  DirectoryEntry() = default;
  explicit DirectoryEntry(const AnsiStr& path) : m_path(path) {}

  // GetPath: the full path; IsEmpty: no path at all.
  const AnsiStr& GetPath() const { return m_path; }
  operator const char*() const { return m_path.GetStr(); }  // NOLINT: paths pass as text
  bool IsEmpty() const { return m_path.IsEmpty(); }

  // ExistsAsFile / ExistsAsDirectory: the path names such an object (links followed).
  // ExistsAsSymLink: the path itself is a symbolic link (not followed).
  bool ExistsAsFile() const;
  bool ExistsAsDirectory() const;
  bool ExistsAsSymLink() const;

  // GetTotalSpace / GetAvailableSpace: bytes of the file system holding the entry (the space
  // available to an unprivileged user); 0 plus last error on failure.
  long long GetTotalSpace() const;
  long long GetAvailableSpace() const;

  // Time stamps. The creation time is the birth time where the file system records it, else
  // the status-change time. Setters leave the other stamp alone.
  bool GetCreationTime(timespec& time) const;
  bool GetModificationTime(timespec& time) const;
  bool GetAccessTime(timespec& time) const;
  // GetTimeStamps: any of the pointers may be null.
  bool GetTimeStamps(timespec* creation, timespec* modification, timespec* access) const;
  bool SetModificationTime(const timespec& time) const;
  bool SetAccessTime(const timespec& time) const;
  // SetTimeStamps: a null pointer leaves that stamp unchanged.
  bool SetTimeStamps(const timespec* modification, const timespec* access) const;

  // Extended attributes. A name without a namespace ("comment") lives in the "user." namespace.
  // GetExtendedAttribute fills value (false plus last error 61 when the attribute is missing).
  bool HasExtendedAttribute(const AnsiStr& name) const;
  bool GetExtendedAttribute(const AnsiStr& name, Blob& value) const;
  bool SetExtendedAttribute(const AnsiStr& name, const Blob& value) const;

  // GetIndexNumber: the inode number (0 plus last error on failure); IndexNumber2Str its text as
  // 16 upper-case hexadecimal digits.
  unsigned long long GetIndexNumber() const;
  static AnsiStr IndexNumber2Str(unsigned long long index);
  // Identify: device and inode, and the link count when linkCount is not null (links followed).
  bool Identify(unsigned long long& device, unsigned long long& index, unsigned long long* linkCount = nullptr) const;

  // Parts of the path (see Path.h). SetBasename / SetExtension rename the path held here only.
  AnsiStr GetTail() const { return GetPathTail(m_path); }
  AnsiStr GetBasename() const { return GetPathBasename(m_path); }
  AnsiStr GetExtension() const { return GetPathExtension(m_path); }
  bool SetBasename(const AnsiStr& base);
  bool SetExtension(const AnsiStr& extension);
  Directory GetDirectory() const;
  // IsEqual: the same object on disk (device and inode) when both exist, else the same path.
  bool IsEqual(const DirectoryEntry& other) const;
  // IsHidden: the tail starts with a dot.
  bool IsHidden() const;

  // Windows-only attributes. There is no such thing here: the queries answer false, the changes
  // fail with last error 95 (not supported), and the short name is the tail itself.
  bool IsSystem() const { return false; }
  bool IsArchive() const { return false; }
  bool IsProtected() const { return false; }
  bool IsEncrypted() const { return false; }
  bool SetSystem(bool on) const;
  bool SetHidden(bool on) const;
  bool SetArchive(bool on) const;
  bool AllowAccess(const AnsiStr& account) const;
  bool RestrictAccess(const AnsiStr& account) const;
  bool ResetAccess() const;
  bool SetCreationTime(const timespec& time) const;
  bool SetIntegrityLevel(unsigned level) const;
  bool Encrypt() const;
  bool Track() const;
  AnsiStr GetVersion() const;          // empty, last error 95
  AnsiStr GetFileVersion() const;      // empty, last error 95
  AnsiStr GetProductVersion() const;   // empty, last error 95
  AnsiStr GetShortName() const { return GetTail(); }

  // Access for the calling process: mode is a mask of 4 read, 2 write, 1 execute or search.
  bool GetAccess(unsigned int mode) const;
  // SetAccess: the permission bits for owner, group and others (each 0..7, rwx).
  bool SetAccess(unsigned int owner, unsigned int group, unsigned int other) const;

 protected:
  // MoveTo: the rename of File::Move and Directory::Move; on success this names destination.
  bool MoveTo(const AnsiStr& destination, bool failIfExists);

  AnsiStr m_path;
};

}  // namespace OrvGuiBase
