// ClassFactory.h: what a component server library is written against.
//
//   extern "C" ORVGUI_EXPORT_ENTRY HRESULT DllGetClassObject(REFCLSID clsid, REFIID iid, void** out) {
//     if (clsid != CLSID_Greeter) return CLASS_E_CLASSNOTAVAILABLE;
//     return s_factory.QueryInterface(iid, out);
//   }
//
// A server library exports three C entry points: DllGetClassObject hands out the class object
// (an IClassFactory) of a class it serves; DllRegisterServer and DllUnregisterServer write and
// remove its keys below HKEY_CLASSES_ROOT (see base/com/Registration.h for the helpers that do
// it from a table). IUnknown, GUIDs and the general result codes are in base/core/ComTypes.h.
#pragma once

#include "base/core/ComTypes.h"

// {00000001-0000-0000-C000-000000000046}
inline constexpr IID IID_IClassFactory = {0x00000001, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

// Result codes of class activation (their texts come from GetErrorMessage).
inline constexpr HRESULT CLASS_E_NOAGGREGATION = static_cast<HRESULT>(0x80040110u);
inline constexpr HRESULT CLASS_E_CLASSNOTAVAILABLE = static_cast<HRESULT>(0x80040111u);
inline constexpr HRESULT REGDB_E_CLASSNOTREG = static_cast<HRESULT>(0x80040154u);  // no server for the class
inline constexpr HRESULT CO_E_DLLNOTFOUND = static_cast<HRESULT>(0x800401F8u);     // no entry point
inline constexpr HRESULT CO_E_ERRORINDLL = static_cast<HRESULT>(0x800401F9u);      // library did not load
inline constexpr HRESULT SELFREG_E_CLASS = static_cast<HRESULT>(0x80040201u);      // registration failed

// Class contexts; only in-process servers exist here, the value is accepted and not checked.
inline constexpr unsigned CLSCTX_INPROC_SERVER = 0x1;
inline constexpr unsigned CLSCTX_ALL = 0x17;

// IClassFactory: makes the objects of one class. Slot order after IUnknown: CreateInstance,
// LockServer.
struct IClassFactory : IUnknown {
  // CreateInstance: a new object's interface iid into *object; outer must be null unless the
  // class supports aggregation (CLASS_E_NOAGGREGATION otherwise).
  virtual HRESULT CreateInstance(IUnknown* outer, REFIID iid, void** object) = 0;
  // LockServer: keeps the server loaded while lock is true (servers are never unloaded here).
  virtual HRESULT LockServer(int lock) = 0;
};

// The entry points of a server library, as looked up by name.
typedef HRESULT (*DllGetClassObjectFunc)(REFCLSID clsid, REFIID iid, void** object);
typedef HRESULT (*DllRegisterServerFunc)();
// The form called when the caller gives an extra argument (a server that takes none ignores it).
typedef HRESULT (*DllRegisterServerArgFunc)(const char* argument);

// ORVGUI_EXPORT_ENTRY: marks a server library's entry points as exported from it.
#define ORVGUI_EXPORT_ENTRY __attribute__((visibility("default")))

#include <new>

namespace OrvGuiBase {

// ClassFactoryOf<T>: the class object of a class T whose objects start with one reference and
// answer QueryInterface. Meant as a static object of the server library (its AddRef and Release
// count nothing: it lives as long as the library). Aggregation is not supported.
template <class T>
class ClassFactoryOf final : public IClassFactory {
 public:
  HRESULT QueryInterface(REFIID iid, void** object) override {
    if (object == nullptr) return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IClassFactory) {
      *object = static_cast<IClassFactory*>(this);
      return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG AddRef() override { return 2; }
  ULONG Release() override { return 1; }
  HRESULT CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    T* made = new (std::nothrow) T();
    if (made == nullptr) return E_OUTOFMEMORY;
    const HRESULT hr = made->QueryInterface(iid, object);
    made->Release();
    return hr;
  }
  HRESULT LockServer(int) override { return S_OK; }
};

}  // namespace OrvGuiBase
