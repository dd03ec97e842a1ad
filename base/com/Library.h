// Library.h: loading shared libraries by name.
//
//   void* handle = DLLLoad("libgreeter.so");              // along LD_LIBRARY_PATH, RTLD_NOW
//   auto entry = (DllGetClassObjectFunc)DLLGetSymbol(handle, "DllGetClassObject");
//
// Failures set the last error and the last error message (the loader's own text) and trace it.
#pragma once

#include "base/core/Export.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiBase {

// DLLLoad: finds name in the directories of LD_LIBRARY_PATH (FindInPath) and loads it binding
// every symbol at once (RTLD_NOW); a name not found there goes to the loader as it is (an
// absolute path, or the loader's own search). Returns the handle, or null with last error 2
// when no such file exists and 8 (ENOEXEC) when it exists but does not load; the loader's
// text becomes the last error message either way.
ORVGUI_API void* DLLLoad(const AnsiStr& name);

// DLLGetSymbol: the address of symbol in the library, or null with last error 38 (ENOSYS) and
// the loader's text as the message.
ORVGUI_API void* DLLGetSymbol(void* handle, const AnsiStr& symbol);

// DLLFree: unloads a library loaded by DLLLoad (a null handle is ignored). False with last
// error 22 when the loader refuses.
ORVGUI_API bool DLLFree(void* handle);

}  // namespace OrvGuiBase
