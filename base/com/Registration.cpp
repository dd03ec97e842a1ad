// Registration.cpp: registering server libraries, registry texts and typed files.
#include "base/com/Registration.h"

#include <dlfcn.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "private/com/ClassRegistry.h"
#include "base/com/Guid.h"
#include "base/com/Library.h"
#include "base/core/ErrorMessage.h"
#include "base/core/LastError.h"
#include "base/core/UpcallTrace.h"
#include "base/fs/Path.h"
#include "base/text/Formatter.h"

extern char** environ;

namespace OrvGuiBase {

namespace {

// CallRegistrationEntry: loads path and calls entry (with argument when not null).
bool CallRegistrationEntry(int& result, const AnsiStr& path, const char* entry, const AnsiStr* argument) {
  void* handle = DLLLoad(path);
  if (handle == nullptr) {
    const int error = GetLastError();
    result = error == ENOENT ? HResultFromError(ENOENT) : CO_E_ERRORINDLL;
    return false;
  }
  // Deliberately never unloaded, as for activation: the library may have started threads or
  // handed out objects during registration.
  void* symbol = DLLGetSymbol(handle, entry);
  if (symbol == nullptr) {
    result = CO_E_DLLNOTFOUND;
    return false;
  }
  result = argument != nullptr ? reinterpret_cast<DllRegisterServerArgFunc>(symbol)(argument->GetStr())
                               : reinterpret_cast<DllRegisterServerFunc>(symbol)();
  if (SUCCEEDED(result)) return true;
  const AnsiStr message = FmtArgs("%s of %s failed: %s", entry, path.GetStr(), GetErrorMessage(result).GetStr());
  OrvGuiTrace::TraceMsg(OrvGuiTrace::kTraceError, 0, "linuxcom", __LINE__, message.GetStr());
  SetLastError(0);
  return false;
}

// ShellQuote: text in single quotes for /bin/sh, each ' written as '\''.
AnsiStr ShellQuote(const AnsiStr& text) {
  AnsiStr quoted("'");
  for (const char* p = text.GetStr(); *p != 0; ++p) {
    if (*p == '\'') quoted.Append("'\\''");
    else quoted.Append(AnsiSubStr(p, 1));
  }
  quoted.Append("'");
  return quoted;
}

// RunCommand: runs command through /bin/sh and waits; its exit status, or -1 with the last error.
int RunCommand(const AnsiStr& command) {
  const char* argv[] = {"sh", "-c", command.GetStr(), nullptr};
  pid_t child = 0;
  const int spawned = posix_spawn(&child, "/bin/sh", nullptr, nullptr, const_cast<char* const*>(argv), environ);
  if (spawned != 0) {
    SetLastError(spawned);
    return -1;
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + (WIFSIGNALED(status) ? WTERMSIG(status) : 0);
}

// RegisterByType: the "AutoRegister"/"AutoUnRegister" command of the file's type.
bool RegisterByType(int& result, const File& file, const AnsiStr& extension, const char* valueName) {
  const AnsiStr type = ReadClassesRootDefault(FmtArgs(".%s", extension.GetStr()));
  const AnsiStr command = type.IsEmpty() ? AnsiStr() : ReadClassesRootValue(type, valueName);
  if (command.IsEmpty()) {
    result = REGDB_E_CLASSNOTREG;
    SetLastError(ENOENT);
    return false;
  }
  const AnsiStr quoted = ShellQuote(file.GetPath());
  AnsiStr line = command;
  if (strstr(command.GetStr(), "%1") != nullptr) line.Replace("%1", quoted.GetStr());
  else line.Append(" ").Append(quoted);
  const int status = RunCommand(line);
  if (status < 0) {
    result = HResultFromLastError();
    return false;
  }
  if (status != 0) {
    const AnsiStr message = FmtArgs("%s exited with %d", line.GetStr(), status);
    OrvGuiTrace::TraceMsg(OrvGuiTrace::kTraceError, 0, "linuxcom", __LINE__, message.GetStr());
    result = E_FAIL;
    SetLastError(0);
    return false;
  }
  result = S_OK;
  return true;
}

bool FileRegistration(int& result, const File& file, bool add) {
  const AnsiStr extension = file.GetExtension();
  if (IsServerLibraryFile(file))
    return add ? DLLRegister(result, file.GetPath()) : DLLUnRegister(result, file.GetPath());
  if (AnsiStr::Compare(extension.GetStr(), "reg", true) == 0) {
    if (!add) {
      result = HResultFromError(ENOSYS);
      SetLastError(ENOSYS);
      return false;
    }
    const bool imported = ImportRegistryText(file);
    result = imported ? S_OK : HResultFromLastError();
    return imported;
  }
  return RegisterByType(result, file, extension, add ? "AutoRegister" : "AutoUnRegister");
}

}  // namespace

bool DLLRegister(int& result, const AnsiStr& path) {
  return CallRegistrationEntry(result, path, "DllRegisterServer", nullptr);
}
bool DLLRegister(int& result, const AnsiStr& path, const AnsiStr& argument) {
  return CallRegistrationEntry(result, path, "DllRegisterServer", &argument);
}
bool DLLUnRegister(int& result, const AnsiStr& path) {
  return CallRegistrationEntry(result, path, "DllUnregisterServer", nullptr);
}
bool DLLUnRegister(int& result, const AnsiStr& path, const AnsiStr& argument) {
  return CallRegistrationEntry(result, path, "DllUnregisterServer", &argument);
}

bool IsServerLibraryFile(const File& file) {
  const AnsiStr tail = GetPathTail(file.GetPath());
  const char* dot = strrchr(tail.GetStr(), '.');
  return (dot != nullptr && AnsiStr::Compare(dot, ".so", true) == 0) || strstr(tail.GetStr(), ".so.") != nullptr;
}

bool FileRegister(int& result, const File& file) { return FileRegistration(result, file, true); }
bool FileUnRegister(int& result, const File& file) { return FileRegistration(result, file, false); }

bool CoRegisterObject(bool add, const GUID& clsid, const AnsiStr& path, const AnsiStr& progId) {
  return CoRegisterObject(add, clsid, path, progId, AnsiStr());
}

bool CoRegisterObject(bool add, const GUID& clsid, const AnsiStr& path, const AnsiStr& progId,
                      const AnsiStr& description) {
  const AnsiStr clsidText = GUID2Str(clsid);
  const AnsiStr classKey = FmtArgs("CLSID\\%s", clsidText.GetStr());
  if (!add) {
    // The ProgID key goes only while it still names this class: another server may have taken
    // the name over since.
    if (!progId.IsEmpty()) {
      const AnsiStr progIdKey = FmtArgs("%s\\CLSID", progId.GetStr());
      if (Str2GUID(ReadClassesRootDefault(progIdKey).GetStr()) == clsid && !RemoveClassesRootKey(progId)) return false;
    }
    return RemoveClassesRootKey(classKey);
  }
  if (path.IsEmpty()) {
    SetLastError(EINVAL);
    return false;
  }
  if (!description.IsEmpty() && !WriteClassesRootDefault(classKey, description)) return false;
  if (!WriteClassesRootDefault(FmtArgs("%s\\InprocServer32", classKey.GetStr()), path)) return false;
  if (progId.IsEmpty()) return true;
  return WriteClassesRootDefault(FmtArgs("%s\\ProgID", classKey.GetStr()), progId) &&
         WriteClassesRootDefault(FmtArgs("%s\\CLSID", progId.GetStr()), clsidText);
}

bool TypeLibRegister(bool add, const GUID& libid, const AnsiStr& version, const AnsiStr& path) {
  if (version.IsEmpty() || strchr(version.GetStr(), '\\') != nullptr) {
    SetLastError(EINVAL);
    return false;
  }
  const AnsiStr key = FmtArgs("TypeLib\\%s\\%s", GUID2Str(libid).GetStr(), version.GetStr());
  if (!add) return RemoveClassesRootKey(key);
  if (path.IsEmpty()) {
    SetLastError(EINVAL);
    return false;
  }
  return WriteClassesRootDefault(FmtArgs("%s\\0\\linux64", key.GetStr()), path);
}

HRESULT ComRegisterServer(bool add, const ComClassDecl* classes, size_t count, const void* address) {
  Dl_info info;
  if (dladdr(address, &info) == 0 || info.dli_fname == nullptr || info.dli_fname[0] == 0) return SELFREG_E_CLASS;
  // The path as the loader was given it may be relative: the keys must name the library from
  // anywhere.
  char* resolved = realpath(info.dli_fname, nullptr);
  if (resolved == nullptr) return SELFREG_E_CLASS;
  const AnsiStr path(resolved);
  free(resolved);
  for (size_t i = 0; i < count; ++i) {
    const ComClassDecl& entry = classes[i];
    if (entry.clsid == nullptr) return SELFREG_E_CLASS;
    if (!CoRegisterObject(add, *entry.clsid, path, entry.progId != nullptr ? AnsiStr(entry.progId) : AnsiStr(),
                          entry.description != nullptr ? AnsiStr(entry.description) : AnsiStr()))
      return SELFREG_E_CLASS;
  }
  return S_OK;
}

}  // namespace OrvGuiBase
