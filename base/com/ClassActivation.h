// ClassActivation.h: finding a class by its identifier and making its objects.
//
//   IGreeter* greeter = nullptr;
//   CLSID clsid;
//   if (SUCCEEDED(CLSIDFromProgID("Example.Greeter", &clsid)) &&
//       SUCCEEDED(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IGreeter, (void**)&greeter)))
//     ...
//
// A class is served by an in-process server library named by the default value of the key
// CLSID\{clsid}\InprocServer32 below HKEY_CLASSES_ROOT. The first activation of a class reads
// that value, loads the library (once per path, whatever the letter case of the path) and
// caches the library's DllGetClassObject for the class; later activations of the class go
// straight to the cached entry without touching the registry. Libraries are never unloaded.
// All functions are thread-safe; failures come back as result codes whose text GetErrorMessage
// gives, and are traced.
#pragma once

#include "base/com/ClassFactory.h"
#include "base/core/Export.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiBase {

// CoGetClassObject: the class object of clsid as interface iid into *result. context and
// serverInfo are accepted and ignored (only in-process servers exist). E_POINTER for a null
// result; REGDB_E_CLASSNOTREG when the class has no server library; the loader's failure
// (0x80070002 for a missing file, CO_E_ERRORINDLL for one that does not load); CO_E_DLLNOTFOUND
// for a library without DllGetClassObject; E_OUTOFMEMORY; otherwise what the library answers.
ORVGUI_API HRESULT CoGetClassObject(REFCLSID clsid, unsigned int context, void* serverInfo, REFIID iid, void** result);

// CoCreateInstance: a new object of clsid through its class factory (IClassFactory), with the
// outer object, as interface iid into *result.
ORVGUI_API HRESULT CoCreateInstance(REFCLSID clsid, IUnknown* outer, unsigned int context, REFIID iid, void** result);

// CLSIDFromProgID: the class identifier named by the default value of progId\CLSID below
// HKEY_CLASSES_ROOT (cached for the life of the process once found). E_POINTER for a null
// clsid, REGDB_E_CLASSNOTREG when there is no such value.
ORVGUI_API HRESULT CLSIDFromProgID(const AnsiStr& progId, GUID* clsid);

// GetClassActivationCounts: how many libraries have been loaded and how many class entries are
// cached; for diagnostics (`orvgui info`) and tests.
struct ClassActivationCounts {
  unsigned libraries;
  unsigned classes;
};
ORVGUI_API ClassActivationCounts GetClassActivationCounts();

}  // namespace OrvGuiBase
