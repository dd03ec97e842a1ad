// ClassRegistry.h: the few registry operations of the class runtime, all below
// HKEY_CLASSES_ROOT. Private to the library.
#pragma once

#include "base/fs/File.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiBase {

// ReadClassesRootValue: the value name (empty: the default value) of key, or "" when missing.
AnsiStr ReadClassesRootValue(const AnsiStr& key, const char* name);
inline AnsiStr ReadClassesRootDefault(const AnsiStr& key) { return ReadClassesRootValue(key, ""); }
// WriteClassesRootDefault: creates key as needed and writes its default value.
bool WriteClassesRootDefault(const AnsiStr& key, const AnsiStr& value);
// RemoveClassesRootKey: removes key and everything below it; a missing key is no failure.
bool RemoveClassesRootKey(const AnsiStr& key);
// ImportRegistryText: imports a registry text file.
bool ImportRegistryText(const File& file);

}  // namespace OrvGuiBase
