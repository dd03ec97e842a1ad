// ClassRegistry.cpp: the class runtime's view of the registry, all below HKEY_CLASSES_ROOT.
#include "private/com/ClassRegistry.h"

#include "base/registry/Registry.h"
#include "base/registry/RegistryText.h"

namespace OrvGuiBase {

namespace {
// A Registry is only its path: one made per call holds no state that could outlive the library.
Registry ClassesRoot() { return Registry(AnsiStr("HKEY_CLASSES_ROOT")); }
}  // namespace

AnsiStr ReadClassesRootValue(const AnsiStr& key, const char* name) {
  AnsiStr value;
  ClassesRoot().Read(key, name, value);
  return value;
}

bool WriteClassesRootDefault(const AnsiStr& key, const AnsiStr& value) { return ClassesRoot().Write(key, "", value); }

bool RemoveClassesRootKey(const AnsiStr& key) { return !ClassesRoot().IsKey(key) || ClassesRoot().RemoveKey(key); }

bool ImportRegistryText(const File& file) { return RegImport(file, nullptr, nullptr, true, false); }

}  // namespace OrvGuiBase
