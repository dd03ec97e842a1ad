// Registration.h: writing and removing the keys of component servers.
//
//   int result = 0;
//   if (!DLLRegister(result, "/opt/app/lib/libgreeter.so"))          // calls its DllRegisterServer
//     printf("%s\n", GetErrorMessage(result).GetStr());
//   FileRegister(result, File("/opt/app/setup/defaults.reg"));        // a registry text import
//
// Inside a server library, DllRegisterServer writes its classes from a table:
//
//   const ComClassDecl kClasses[] = {{&CLSID_Greeter, "Example.Greeter", "Greets by name"}};
//   extern "C" HRESULT DllRegisterServer() { return ComRegisterServer(true, kClasses, 1, (void*)&DllRegisterServer); }
//
// The keys of one class below HKEY_CLASSES_ROOT:
//   CLSID\{clsid}                       default: the description (when given)
//   CLSID\{clsid}\InprocServer32        default: the path of the server library
//   CLSID\{clsid}\ProgID                default: the programmatic identifier (when given)
//   <progid>\CLSID                      default: "{clsid}"
// A type library: TypeLib\{libid}\<version>\0\linux64, default: the path of its file.
#pragma once

#include <cstddef>

#include "base/com/ClassFactory.h"
#include "base/core/Export.h"
#include "base/fs/File.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiBase {

// DLLRegister / DLLUnRegister: load the library at path and call its "DllRegisterServer" /
// "DllUnregisterServer" (with argument, the form that passes it an extra text). result receives
// the entry's result code and the function answers whether it succeeded. When the entry could
// not be called, the answer is false, result says why and so does the last error: the library
// was not found (ENOENT, result 0x80070002) or did not load (ENOEXEC, CO_E_ERRORINDLL); the
// entry is missing (ENOSYS, CO_E_DLLNOTFOUND). A failing entry leaves last error 0.
ORVGUI_API bool DLLRegister(int& result, const AnsiStr& path);
ORVGUI_API bool DLLRegister(int& result, const AnsiStr& path, const AnsiStr& argument);
ORVGUI_API bool DLLUnRegister(int& result, const AnsiStr& path);
ORVGUI_API bool DLLUnRegister(int& result, const AnsiStr& path, const AnsiStr& argument);

// IsServerLibraryFile: whether the file's name is that of a shared library ("x.so", "x.so.1").
ORVGUI_API bool IsServerLibraryFile(const File& file);

// FileRegister / FileUnRegister: register a file by its extension. A shared library goes to DLLRegister /
// DLLUnRegister. "reg" is imported as registry text; it cannot be unregistered (a text file
// does not say which of its keys existed before), so FileUnRegister refuses it with last error
// 38 (ENOSYS). Any other extension names a file type through the default value of
// ".<extension>" below HKEY_CLASSES_ROOT, whose value "AutoRegister" (or "AutoUnRegister") is a
// shell command; "%1" in it is replaced by the file's path in single quotes, and without "%1" the
// quoted path is appended. result: S_OK, the entry's code, HRESULT_FROM_ERRNO of the failure,
// REGDB_E_CLASSNOTREG for an extension with no command, or E_FAIL for a command that exits with
// a status other than 0.
ORVGUI_API bool FileRegister(int& result, const File& file);
ORVGUI_API bool FileUnRegister(int& result, const File& file);

// CoRegisterObject: writes (add true) or removes (add false) the keys of one class: its server
// library path and, when not empty, its programmatic identifier and description. Removing
// removes CLSID\{clsid} and the ProgID's key when that still names clsid. False plus last error
// when a key cannot be written.
ORVGUI_API bool CoRegisterObject(bool add, const GUID& clsid, const AnsiStr& path, const AnsiStr& progId);
ORVGUI_API bool CoRegisterObject(bool add, const GUID& clsid, const AnsiStr& path, const AnsiStr& progId,
                                 const AnsiStr& description);

// TypeLibRegister: writes (or removes) the key of a type library file: TypeLib\{libid}\<version>.
ORVGUI_API bool TypeLibRegister(bool add, const GUID& libid, const AnsiStr& version, const AnsiStr& path);

// ComClassDecl: one class a server library serves, for ComRegisterServer.
struct ComClassDecl {
  const GUID* clsid;
  const char* progId;       // may be null
  const char* description;  // may be null
};

// ComRegisterServer: registers (add true) or unregisters every class of the table as served by
// the shared library that contains address (any function of the server itself). S_OK, or
// SELFREG_E_CLASS when a key could not be written or the library's path is unknown.
ORVGUI_API HRESULT ComRegisterServer(bool add, const ComClassDecl* classes, size_t count, const void* address);

}  // namespace OrvGuiBase
