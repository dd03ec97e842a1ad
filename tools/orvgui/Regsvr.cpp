// Regsvr.cpp: `orvgui regsvr`, registering component server libraries and registry texts.
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/com/Registration.h"
#include "base/core/ErrorMessage.h"
#include "base/core/LastError.h"
#include "base/text/Formatter.h"
#include "base/fs/File.h"
#include "tools/orvgui/Command.h"

namespace OrvGuiTool {

namespace {

using namespace OrvGuiBase;

const char kUsage[] =
    "usage: orvgui regsvr [/u] [/s] FILE\n"
    "\n"
    "Registers (or with /u unregisters) FILE in the registry below KRS_REGISTRY (default\n"
    "/etc/quelvarn/settings), by its extension:\n"
    "  .so   (also .so.N) a component server library: loaded (FILE without a '/' is looked up along\n"
    "        LD_LIBRARY_PATH, then by the loader) and its DllRegisterServer, or with /u its\n"
    "        DllUnregisterServer, called; the library writes or removes its own class keys.\n"
    "  .reg  a registry text file (\"Windows Registry Editor Version 5.00\"), imported. A text\n"
    "        file cannot be unregistered: /u is refused.\n"
    "  other the command in the value AutoRegister (with /u: AutoUnRegister) of the file type\n"
    "        named by HKEY_CLASSES_ROOT\\.EXT, run by /bin/sh with %1 replaced by FILE quoted.\n"
    "\n"
    "  /u    unregister instead of register\n"
    "  /s    silent: print nothing, report only through the exit status\n"
    "Switches may also be written -u and -s.\n"
    "\n"
    "On success, unless /s, one line on standard output:\n"
    "  ENTRY in FILE succeeded.\n"
    "where ENTRY is DllRegisterServer, DllUnregisterServer, Import, AutoRegister or\n"
    "AutoUnRegister. Failures, unless /s, on standard error as 'orvgui regsvr: MESSAGE'.\n"
    "\n"
    "Exit status:\n"
    "  0  success\n"
    "  1  any other failure (a .reg file with /u, a file type without a command)\n"
    "  2  usage error\n"
    "  3  the library (or the .reg file) could not be loaded\n"
    "  4  the entry point (DllRegisterServer or DllUnregisterServer) is missing\n"
    "  5  the registration call failed (the entry, or the command, reported failure)\n";

constexpr const char* kSub = "regsvr";
enum RegsvrExit { kExitNotLoaded = 3, kExitNoEntry = 4, kExitCallFailed = 5 };

bool IsSwitch(const char* arg, char letter) {
  return (arg[0] == '/' || arg[0] == '-') && (arg[1] == letter || arg[1] == letter - 'a' + 'A') && arg[2] == 0;
}

int Run(int argc, char** argv) {
  bool unregister = false, silent = false;
  const char* path = nullptr;
  for (int i = 1; i < argc; ++i) {
    if (IsSwitch(argv[i], 'u')) unregister = true;
    else if (IsSwitch(argv[i], 's')) silent = true;
    else if (path == nullptr && argv[i][0] != 0 && (argv[i][0] != '-' || argv[i][1] == 0)) path = argv[i];
    else return UsageError(kSub, "unexpected argument '%s' (see 'orvgui regsvr --help')", argv[i]);
  }
  if (path == nullptr) return UsageError(kSub, "no FILE given (see 'orvgui regsvr --help')");

  const File file(path);
  const AnsiStr extension = file.GetExtension();
  const bool library = IsServerLibraryFile(file);
  const bool text = AnsiStr::Compare(extension.GetStr(), "reg", true) == 0;
  const char* entry = library ? (unregister ? "DllUnregisterServer" : "DllRegisterServer")
                      : text  ? "Import"
                              : (unregister ? "AutoUnRegister" : "AutoRegister");
  if (text && unregister) {
    if (!silent) Fail(kSub, "%s: a registry text file cannot be unregistered", path);
    return kExitFailure;
  }

  SetLastError(0);
  int result = 0;
  const bool done = unregister ? FileUnRegister(result, file) : FileRegister(result, file);
  if (done) {
    if (!silent) printf("%s in %s succeeded.\n", entry, path);
    return kExitSuccess;
  }
  const int error = GetLastError();
  const AnsiStr reason = GetLastErrorMessage();
  int status = kExitFailure;
  AnsiStr message;
  if (library && (error == ENOENT || error == ENOEXEC)) {
    status = kExitNotLoaded;
    message = FmtArgs("%s could not be loaded: %s", path, reason.IsEmpty() ? GetErrorMessage(result).GetStr() : reason.GetStr());
  } else if (library && error == ENOSYS) {
    status = kExitNoEntry;
    message = FmtArgs("%s was loaded, but the entry point %s was not found", path, entry);
  } else if (text) {
    status = kExitNotLoaded;
    message = FmtArgs("%s could not be imported: %s", path, GetErrorMessage(result).GetStr());
  } else if (result == REGDB_E_CLASSNOTREG) {
    message = FmtArgs("%s: no %s command for files of type .%s", path, entry, extension.GetStr());
  } else {
    status = kExitCallFailed;
    message = FmtArgs("%s in %s failed: %s", entry, path, GetErrorMessage(result).GetStr());
  }
  if (!silent) Fail(kSub, "%s", message.GetStr());
  return status;
}

SubcommandRegistration g_registration({"regsvr", "register or unregister a server library or a .reg file", kUsage, &Run});

}  // namespace

}  // namespace OrvGuiTool
