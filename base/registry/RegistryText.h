// RegistryText.h: the registry's text form: export of keys to a file, import of a file, and
// the key copy built on both.
//
//   RegExport(File("/backup/server.reg"), RegPath("HKEY_LOCAL_MACHINE\\Server"), {});
//   RegImport(File("/usr/share/server/defaults.reg"), nullptr, nullptr, false, true);
//
// The file is the registry editor's export format in UTF-8, lines ended by "\n":
//
//   Windows Registry Editor Version 5.00
//   <empty line>
//   [HKEY_LOCAL_MACHINE\Server]
//   @="default text"
//   "Port"="8081"
//   <empty line>
//
// A key's header, its values (names and values quoted with ExtendedQuote; "@" is the default
// value), an empty line; keys depth first, the values before the sub-keys, in directory order.
// Every value is written as a quoted string, since the store keeps no type. A line break inside
// a name or value is written with a backslash in front of it, so that it reads back as part of
// the text and a multi-line value survives the round trip byte for byte.
//
// Import reads UTF-8 (a mark is skipped) or UTF-16 with a byte-order mark (what the Windows
// registry editor writes), lines ended by "\n" or "\r\n", one line at a time:
//  - a line that starts with "HKEY_" and holds "=": the key before the "=" gets the text after
//    it (trimmed, unquoted) as its default value;
//  - "[key]" opens a section (the key is made); "[-key]" removes the key with everything below;
//  - in a section, "name"=value or @=value sets a value: "-" deletes it; a quoted string is
//    stored unquoted; dword:hex-digits (any case, blanks around the colon) is stored in decimal,
//    wrapping silently past 32 bits; hex:01,02,... or hex(n):... (a lone "\" item continues the
//    list on the next line) is stored as Base16 text, and not at all past 32768 bytes;
//  - anything else (the header, comments, bad lines) is skipped.
// Names are checked as everywhere in the registry: a section or value that would leave its hive
// is skipped, so a hostile file changes nothing outside the keys it names.
// Depends on base/registry/Registry.h and the quoting of base/text/Quoting.h.
#pragma once

#include "base/core/Export.h"
#include "base/fs/File.h"
#include "base/registry/Registry.h"

namespace OrvGuiBase {

// kRegExportHeader: the first line of an export file.
inline constexpr const char kRegExportHeader[] = "Windows Registry Editor Version 5.00";
// kRegMaxBinaryValue: the most bytes a hex value may hold.
inline constexpr unsigned kRegMaxBinaryValue = 32768;

// RegExport: writes the header and then key with everything below it; when keys is not empty,
// only the listed sub-keys of key (each with everything below it) follow key's own values.
// False when the key (or a listed sub-key) does not exist (last error 2; the file is then not
// touched) or the file cannot be written (the partial file is removed).
ORVGUI_API bool RegExport(const File& file, const RegPath& key, const Store<AnsiStr>& keys);

// RegImport: applies every line of file in order. from/to (either may be null): every key path
// read, and every string value, passes through RegConvertString. With overwrite false, values
// that exist already are kept; with keepDefaults the one-line "HKEY_...=" assignment keeps an
// existing default value. False only when the file cannot be read (or is not UTF-16 where its
// mark says so: last error 84); bad lines are skipped.
ORVGUI_API bool RegImport(const File& file, const Store<AnsiStr>* from, const Store<AnsiStr>* to, bool overwrite,
                          bool keepDefaults);

// RegConvertString: text with the first entry of from that it starts with replaced by the
// entry of to at the same index (entries past the shorter store are unused). An entry matches
// the whole text, or its start when a backslash follows there, so "HKLM\A" does not match
// "HKLM\AB". Key paths (key true) compare without regard to ASCII case, values exactly.
ORVGUI_API AnsiStr RegConvertString(const AnsiStr& text, const Store<AnsiStr>* from, const Store<AnsiStr>* to,
                                    bool key);

// RegCopyKey: copies the key from below root (or a full path in from, root null) to the key
// to, with everything below it: from is exported to a temporary file "copy..." in the
// temporary directory, to is removed first when removeTarget is set, the file is imported with
// to in place of from (string values that name from or a key below it are rewritten too when
// substituteValues is set; with overwrite false existing values at the target are kept), and
// the file is removed. With removeSource the source goes afterwards (a move); a target at or
// below the source is then refused with last error 22.
ORVGUI_API bool RegCopyKey(const char* root, const char* from, const char* to, bool removeTarget, bool overwrite,
                           bool substituteValues, bool removeSource);

}  // namespace OrvGuiBase
