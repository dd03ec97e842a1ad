// FailingServer.cpp: a server library whose registration entries report failure, for the
// registration tests. It serves no class.
#include "base/com/ClassFactory.h"

extern "C" ORVGUI_EXPORT_ENTRY HRESULT DllRegisterServer() { return E_FAIL; }
extern "C" ORVGUI_EXPORT_ENTRY HRESULT DllUnregisterServer() { return E_FAIL; }
extern "C" ORVGUI_EXPORT_ENTRY HRESULT DllGetClassObject(REFCLSID, REFIID, void** object) {
  if (object != nullptr) *object = nullptr;
  return CLASS_E_CLASSNOTAVAILABLE;
}
