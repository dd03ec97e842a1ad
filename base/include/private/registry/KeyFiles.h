// KeyFiles.h: the registry's file work below a hive directory (never installed).
//
// Every name built here comes from a checked key path (RegKey) and a checked value name, and
// every open refuses symbolic links below the hive directory, so nothing done through these
// functions can reach outside the hive. Failures return false or -1 with errno set.
#pragma once

#include <sys/types.h>

#include "base/registry/RegPath.h"

namespace OrvGuiBase::RegFiles {

// ValueFileName: the file of a value name: "registry.default" for the empty name, else the
// name itself. False with EINVAL for a name holding "/" or a NUL or being "." or "..", and with
// ENAMETOOLONG past 255 bytes.
bool ValueFileName(AnsiSubStr name, AnsiStr& file);

// Open: opens hive/relative/tail (relative and tail may be empty) with flags, following no link
// below hive (O_NOFOLLOW is added for the last component).
int Open(const AnsiStr& hive, const AnsiStr& relative, AnsiSubStr tail, int flags, mode_t mode = 0);
int OpenKey(const RegKey& key, int flags);
// OpenSubDirectory: the directory name of directoryFd as an O_PATH descriptor; a link (or
// anything but a directory) is refused with ELOOP.
int OpenSubDirectory(int directoryFd, const char* name);
// MakeKey: makes the hive directory and every missing key of relative.
bool MakeKey(const AnsiStr& hive, const AnsiStr& relative);

// ReadFd: the whole content of an open descriptor, which it closes.
bool ReadFd(int fd, AnsiStr& text);
// ReadValue: the value's text; false with ENOENT when the key or value is missing.
bool ReadValue(const RegKey& key, AnsiSubStr name, AnsiStr& text);
// WriteValue: writes the value file (truncating it), making the key first when it is missing.
// With onlyIfMissing an existing value is kept (and that is success). Writers of one value
// take turns under an exclusive flock of the file: the last leaves its whole text.
bool WriteValue(const RegKey& key, AnsiSubStr name, AnsiSubStr text, bool onlyIfMissing = false);
// DeleteValue: removes the value file.
bool DeleteValue(const RegKey& key, AnsiSubStr name);
// IsRegularFile: fd (closed here; -1 passes through as false) is a regular file; ENOENT if not.
bool IsRegularFile(int fd);
// IsValue: the value file exists (a regular file, no link).
bool IsValue(const RegKey& key, AnsiSubStr name);

// List: the sub-keys (directories) and value files (regular files, named as on disk) of the
// open directory dirFd, in directory order; links and other entries are left out. Either
// store may be null; others (when given) receives the rest. dirFd stays open.
bool List(int dirFd, Store<AnsiStr>* keys, Store<AnsiStr>* values, Store<AnsiStr>* others = nullptr);
// RemoveTree: removes the entry name of parentFd; a directory with everything below it (owner
// rights are added where they are missing). Links are removed, never followed.
bool RemoveTree(int parentFd, const char* name, unsigned depth = 0);
// RemoveKey: removes the key with everything below it; a hive itself is refused with EACCES.
bool RemoveKey(const RegKey& key);

}  // namespace OrvGuiBase::RegFiles
