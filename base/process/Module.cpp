// Module.cpp: program and library paths.
#include "base/process/Module.h"

#include <dlfcn.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "base/core/LazyStatic.h"
#include "private/system/Sys.h"

namespace OrvGuiBase {

namespace {

struct ModulePaths {
  AnsiStr program;
  AnsiStr programName;
  AnsiStr library;

  ModulePaths() {
    const int saved = errno;
    std::string path;
    if (Sys::ReadLink("/proc/self/exe", path)) {
      program = AnsiStr(path.data(), path.size());
      const size_t slash = path.rfind('/');
      programName = path.c_str() + (slash == std::string::npos ? 0 : slash + 1);
    }
    Dl_info info;
    if (dladdr(reinterpret_cast<const void*>(&GetLibraryPath), &info) != 0 && info.dli_fname != nullptr)
      library = info.dli_fname;
    errno = saved;
  }
};

constinit LazyStatic<ModulePaths> g_paths;

}  // namespace

AnsiStr GetProgramPath() { return g_paths.Get() ? g_paths.Get()->program : AnsiStr(); }
AnsiStr GetProgramName() { return g_paths.Get() ? g_paths.Get()->programName : AnsiStr(); }
AnsiStr GetLibraryPath() { return g_paths.Get() ? g_paths.Get()->library : AnsiStr(); }

}  // namespace OrvGuiBase
