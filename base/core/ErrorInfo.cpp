// ErrorInfo.cpp: the error object and the thread's current-error slot.
#include "base/core/ErrorInfo.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <new>

#include "base/core/LastError.h"
#include "base/core/ThreadData.h"

namespace OrvGuiBase {

// LastErrorInfo: the per-thread record holding the thread's current error object.
struct LastErrorInfo {
  IErrorInfo* info = nullptr;
  ~LastErrorInfo() {
    if (info != nullptr) info->Release();
  }
};
using LastErrorInfoCloser = ThreadData<LastErrorInfo>::Closer;

namespace {

constexpr HRESULT kNoText = static_cast<HRESULT>(0x8007000Cu);

// A malloc'ed copy of a terminated wide text; null when text is null or memory is short.
wchar_t* CopyText(const wchar_t* text) {
  if (text == nullptr) return nullptr;
  const size_t bytes = (wcslen(text) + 1) * sizeof(wchar_t);
  wchar_t* copy = static_cast<wchar_t*>(malloc(bytes));
  if (copy != nullptr) memcpy(copy, text, bytes);
  return copy;
}

HRESULT GetText(const wchar_t* text, BSTR* out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  if (text == nullptr) return kNoText;
  *out = CopyText(text);
  return *out != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT SetText(wchar_t*& field, const wchar_t* text) {
  free(field);
  field = CopyText(text);
  return S_OK;
}

}  // namespace

ErrorInfo::~ErrorInfo() {
  free(m_source);
  free(m_description);
  free(m_helpFile);
}

HRESULT ErrorInfo::QueryInterface(REFIID iid, void** object) {
  if (object == nullptr) return E_POINTER;
  if (iid == IID_IUnknown || iid == IID_IErrorInfo) *object = static_cast<IErrorInfo*>(this);
  else if (iid == IID_ICreateErrorInfo) *object = static_cast<ICreateErrorInfo*>(this);
  else {
    *object = nullptr;
    return E_NOINTERFACE;
  }
  Link();
  return S_OK;
}

ULONG ErrorInfo::AddRef() {
  Link();
  return static_cast<ULONG>(GetCount());
}

ULONG ErrorInfo::Release() {
  if (Unlink()) {
    delete this;
    return 0;
  }
  return static_cast<ULONG>(GetCount());
}

HRESULT ErrorInfo::GetGUID(GUID* guid) {
  if (guid == nullptr) return E_POINTER;
  *guid = m_guid;
  return S_OK;
}
HRESULT ErrorInfo::GetSource(BSTR* source) { return GetText(m_source, source); }
HRESULT ErrorInfo::GetDescription(BSTR* description) { return GetText(m_description, description); }
HRESULT ErrorInfo::GetHelpFile(BSTR* helpFile) { return GetText(m_helpFile, helpFile); }
HRESULT ErrorInfo::GetHelpContext(DWORD* helpContext) {
  if (helpContext == nullptr) return E_POINTER;
  *helpContext = m_helpContext;
  return S_OK;
}

HRESULT ErrorInfo::SetGUID(REFGUID guid) {
  m_guid = guid;
  return S_OK;
}
HRESULT ErrorInfo::SetSource(LPOLESTR source) { return SetText(m_source, source); }
HRESULT ErrorInfo::SetDescription(LPOLESTR description) { return SetText(m_description, description); }
HRESULT ErrorInfo::SetHelpFile(LPOLESTR helpFile) { return SetText(m_helpFile, helpFile); }
HRESULT ErrorInfo::SetHelpContext(DWORD helpContext) {
  m_helpContext = helpContext;
  return S_OK;
}

HRESULT CreateErrorInfo(ICreateErrorInfo** out) {
  if (out == nullptr) return E_POINTER;
  ErrorInfo* info = new (std::nothrow) ErrorInfo();
  *out = info;
  if (info == nullptr) {
    errno = ENOMEM;
    return E_OUTOFMEMORY;
  }
  return S_OK;
}

HRESULT SetErrorInfo(unsigned long /*reserved*/, IErrorInfo* info) {
  if (info == nullptr) return E_POINTER;  // deliberate: a null never clears the slot
  LastErrorInfo* record = ThreadData<LastErrorInfo>::Get();
  if (record == nullptr) return E_OUTOFMEMORY;
  info->AddRef();
  IErrorInfo* previous = record->info;
  record->info = info;
  if (previous != nullptr) previous->Release();
  return S_OK;
}

HRESULT GetErrorInfo(unsigned long /*reserved*/, IErrorInfo** out) {
  if (out == nullptr) return E_POINTER;
  LastErrorInfo* record = ThreadData<LastErrorInfo>::Get();
  *out = record != nullptr ? record->info : nullptr;
  if (record != nullptr) record->info = nullptr;
  return *out != nullptr ? S_OK : S_FALSE;
}

}  // namespace OrvGuiBase
