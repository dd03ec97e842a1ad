// Path.h: path strings with "/" and "\" as separators and UNC-style roots, and name checks.
//
//   AnsiStr path = "//srv/share/logs/today.txt";
//   const char* rest = SkipRoot(path);             // "logs/today.txt"
//   AnsiStr dir, tail;  GetPathParts(path, dir, tail);   // "//srv/share/logs", "today.txt"
//
// Both "/" and "\" separate components wherever a path is split; paths made here use "/".
// Names made by MakeBasename and accepted by CheckFileName stay valid on Windows as well.
// Depends on base/text (AnsiStr) and base/process (environment).
#pragma once

#include "base/core/Export.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiBase {

// IsPathSeparator: true for "/" and "\".
inline bool IsPathSeparator(char c) { return c == '/' || c == '\\'; }

// SkipRoot: a pointer past the root of path: "/" for "/a", "//srv/share/" for "//srv/share/a",
// "\\?\UNC\srv\share\" for that form, nothing for a relative path (drive letters are not roots).
// Null is treated as the empty path and returns null.
ORVGUI_API const char* SkipRoot(const char* path);

// SimpleReducePath: cuts the last component and the separator before it (back to the root when
// no separator follows the root). False when path is empty or nothing but its root.
ORVGUI_API bool SimpleReducePath(AnsiStr& path);

// SimpleAppendPath: joins component to path with one separator. False (path unchanged) when
// either is empty.
ORVGUI_API bool SimpleAppendPath(AnsiStr& path, const AnsiStr& component);

// SplitPathTail: splits tail at its last "."; a leading dot or no dot gives the whole tail as
// base and an empty extension. The extension comes without its dot.
ORVGUI_API void SplitPathTail(const AnsiStr& tail, AnsiStr& base, AnsiStr& extension);

// GetPathParts: splits path at its last separator after the root into directory and tail. When
// no separator follows the root, the directory is the root itself ("" for a bare name). True
// when the tail is not empty.
ORVGUI_API bool GetPathParts(const AnsiStr& path, AnsiStr& directory, AnsiStr& tail);
// GetPathHead / GetPathTail / GetPathBasename / GetPathExtension: single parts of GetPathParts
// and SplitPathTail.
ORVGUI_API AnsiStr GetPathHead(const AnsiStr& path);
ORVGUI_API AnsiStr GetPathTail(const AnsiStr& path);
ORVGUI_API AnsiStr GetPathBasename(const AnsiStr& path);
ORVGUI_API AnsiStr GetPathExtension(const AnsiStr& path);
// SetPathExtension: path with its extension replaced by extension (given without its dot); an
// empty extension removes it.
ORVGUI_API AnsiStr SetPathExtension(const AnsiStr& path, const AnsiStr& extension);

// MakeBasename: a safe base name for text. A reserved device name (con, prn, aux, nul, com0-9,
// lpt0-9, any case) gets "_" appended and nothing else; otherwise the blanks around the text
// go, control characters become "$" and each of ? * < > | " : / \ becomes "-".
ORVGUI_API AnsiStr MakeBasename(const AnsiStr& text);

// CheckFileName: true when name is one valid component: not empty, not "." or "..", no
// character 1..31, no separator, and fewer than maxLength UTF-8 characters.
ORVGUI_API bool CheckFileName(const AnsiStr& name, unsigned int maxLength);

// FindInPath: the full path of the regular file fileName in the first directory of the list
// held in the environment variable variable (":"-separated), or "" with last error 2.
ORVGUI_API AnsiStr FindInPath(const AnsiStr& fileName, const AnsiStr& variable);
ORVGUI_API AnsiStr FindInPath(const AnsiStr& fileName);

}  // namespace OrvGuiBase
