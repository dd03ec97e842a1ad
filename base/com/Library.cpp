// Library.cpp: the dynamic loader behind DLLLoad, DLLGetSymbol and DLLFree.
#include "base/com/Library.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "base/core/LastError.h"
#include "base/core/UpcallTrace.h"
#include "base/fs/Path.h"
#include "base/text/Formatter.h"

namespace OrvGuiBase {

namespace {

// Fail: records "<what> <name>: <reason>" as the last error message, traces it, and leaves
// error as the last error.
void Fail(int error, const char* what, const char* name, const char* reason) {
  const AnsiStr text = FmtArgs("%s %s: %s", what, name, reason != nullptr ? reason : "unknown reason");
  SetErrorMessage(text);
  OrvGuiTrace::TraceMsg(OrvGuiTrace::kTraceError, 0, "linuxcom", __LINE__, text.GetStr());
  SetLastError(error);
}

}  // namespace

void* DLLLoad(const AnsiStr& name) {
  if (name.IsEmpty()) {
    SetLastError(ENOENT);
    return nullptr;
  }
  const bool bare = strchr(name.GetStr(), '/') == nullptr;
  AnsiStr path = bare ? FindInPath(name, "LD_LIBRARY_PATH") : AnsiStr();
  if (path.IsEmpty()) path = name;
  void* handle = dlopen(path.GetStr(), RTLD_NOW);
  if (handle == nullptr) {
    // "No such library" and "a library that does not load" (a missing symbol, a wrong
    // architecture) are told apart: callers report the two differently.
    const char* reason = dlerror();
    struct stat status;
    const bool missing = strchr(path.GetStr(), '/') != nullptr
                             ? stat(path.GetStr(), &status) != 0
                             : reason != nullptr && strstr(reason, "No such file") != nullptr;
    Fail(missing ? ENOENT : ENOEXEC, "cannot load", path.GetStr(), reason);
  }
  return handle;
}

void* DLLGetSymbol(void* handle, const AnsiStr& symbol) {
  if (handle == nullptr || symbol.IsEmpty()) {
    SetLastError(EINVAL);
    return nullptr;
  }
  dlerror();
  void* address = dlsym(handle, symbol.GetStr());
  if (address == nullptr) Fail(ENOSYS, "no symbol", symbol.GetStr(), dlerror());
  return address;
}

bool DLLFree(void* handle) {
  if (handle == nullptr) return true;
  if (dlclose(handle) == 0) return true;
  Fail(EINVAL, "cannot unload", "library", dlerror());
  return false;
}

}  // namespace OrvGuiBase
