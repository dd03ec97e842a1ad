// GreeterServer.cpp: libgreeter.so, an in-process server with one class, Greeter.
//
// What every server library provides:
//   - the objects: Greeter implements IGreeter (and IUnknown) with its own reference count;
//   - the class object: ClassFactoryOf<Greeter> makes them;
//   - DllGetClassObject, which hands the class object out for CLSID_Greeter;
//   - DllRegisterServer / DllUnregisterServer, which write and remove the class keys from the
//     table kClasses (register with `orvgui regsvr libgreeter.so`).
#include <atomic>
#include <new>

#include "examples/greeter/Greeter.h"

namespace {

using OrvGuiBase::AnsiStr;

class Greeter final : public IGreeter {
 public:
  HRESULT QueryInterface(REFIID iid, void** object) override {
    if (object == nullptr) return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IGreeter) {
      *object = static_cast<IGreeter*>(this);
      AddRef();
      return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG AddRef() override { return ++m_references; }
  ULONG Release() override {
    const ULONG left = --m_references;
    if (left == 0) delete this;
    return left;
  }
  HRESULT Greet(const AnsiStr& name, AnsiStr* greeting) override {
    if (greeting == nullptr) return E_POINTER;
    if (name.IsEmpty()) return E_INVALIDARG;
    *greeting = OrvGuiBase::FmtArgs("Hello, %s!", name.GetStr());
    ++m_count;
    return S_OK;
  }
  HRESULT GetCount(unsigned* count) override {
    if (count == nullptr) return E_POINTER;
    *count = m_count;
    return S_OK;
  }

 private:
  ~Greeter() = default;
  std::atomic<ULONG> m_references{1};
  unsigned m_count = 0;
};

OrvGuiBase::ClassFactoryOf<Greeter> s_factory;

const OrvGuiBase::ComClassDecl kClasses[] = {{&CLSID_Greeter, kGreeterProgId, "Example greeter"}};

}  // namespace

extern "C" ORVGUI_EXPORT_ENTRY HRESULT DllGetClassObject(REFCLSID clsid, REFIID iid, void** object) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  if (clsid != CLSID_Greeter) return CLASS_E_CLASSNOTAVAILABLE;
  return s_factory.QueryInterface(iid, object);
}

extern "C" ORVGUI_EXPORT_ENTRY HRESULT DllRegisterServer() {
  return OrvGuiBase::ComRegisterServer(true, kClasses, 1, reinterpret_cast<const void*>(&DllRegisterServer));
}

extern "C" ORVGUI_EXPORT_ENTRY HRESULT DllUnregisterServer() {
  return OrvGuiBase::ComRegisterServer(false, kClasses, 1, reinterpret_cast<const void*>(&DllUnregisterServer));
}
