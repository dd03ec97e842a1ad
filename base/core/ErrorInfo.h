// ErrorInfo.h: rich error objects attached to the calling thread.
//
//   ICreateErrorInfo* create = nullptr;
//   CreateErrorInfo(&create);
//   create->SetDescription(const_cast<wchar_t*>(L"disk full"));
//   IErrorInfo* info = nullptr;
//   create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info));
//   SetErrorInfo(0, info);                  // the thread's slot takes its own reference
//   info->Release(); create->Release();
//   ...
//   GetErrorInfo(0, &info);                  // handed out once: the slot is empty afterwards
//
// Texts are wide (4-byte characters). Getters return a new malloc'ed, terminated copy that
// the caller frees with free(); with no text stored they return 0x8007000C and a null text.
#pragma once

#include <atomic>

#include "base/core/ComTypes.h"
#include "base/core/Export.h"
#include "base/core/Reference.h"

// {1CF2B120-547D-101B-8E65-08002B2BD119}
inline constexpr IID IID_IErrorInfo = {0x1CF2B120, 0x547D, 0x101B, {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};
// {22F03340-547D-101B-8E65-08002B2BD119}
inline constexpr IID IID_ICreateErrorInfo = {0x22F03340, 0x547D, 0x101B, {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};

// IErrorInfo: reading side of an error object (vtable order as on the platform).
struct IErrorInfo : IUnknown {
  virtual HRESULT GetGUID(GUID* guid) = 0;
  virtual HRESULT GetSource(BSTR* source) = 0;
  virtual HRESULT GetDescription(BSTR* description) = 0;
  virtual HRESULT GetHelpFile(BSTR* helpFile) = 0;
  virtual HRESULT GetHelpContext(DWORD* helpContext) = 0;
};

// ICreateErrorInfo: writing side of an error object.
struct ICreateErrorInfo : IUnknown {
  virtual HRESULT SetGUID(REFGUID guid) = 0;
  virtual HRESULT SetSource(LPOLESTR source) = 0;
  virtual HRESULT SetDescription(LPOLESTR description) = 0;
  virtual HRESULT SetHelpFile(LPOLESTR helpFile) = 0;
  virtual HRESULT SetHelpContext(DWORD helpContext) = 0;
};

namespace OrvGuiBase {

// ErrorInfo: the library's error object. Starts with one reference; both interfaces act on
// the same object. Thread safety: the count changes atomically; the fields are not locked.
class ORVGUI_API ErrorInfo final : public Reference, public IErrorInfo, public ICreateErrorInfo {
 public:
  ErrorInfo() = default;

  HRESULT QueryInterface(REFIID iid, void** object) override;
  ULONG AddRef() override;
  ULONG Release() override;

  HRESULT GetGUID(GUID* guid) override;
  HRESULT GetSource(BSTR* source) override;
  HRESULT GetDescription(BSTR* description) override;
  HRESULT GetHelpFile(BSTR* helpFile) override;
  HRESULT GetHelpContext(DWORD* helpContext) override;

  HRESULT SetGUID(REFGUID guid) override;
  HRESULT SetSource(LPOLESTR source) override;
  HRESULT SetDescription(LPOLESTR description) override;
  HRESULT SetHelpFile(LPOLESTR helpFile) override;
  HRESULT SetHelpContext(DWORD helpContext) override;

 private:
  ~ErrorInfo();
  GUID m_guid{};
  wchar_t* m_source = nullptr;
  wchar_t* m_description = nullptr;
  wchar_t* m_helpFile = nullptr;
  DWORD m_helpContext = 0;
};

// CreateErrorInfo: a new ErrorInfo with one reference, as its ICreateErrorInfo side.
// E_POINTER (0x80004003) for a null out pointer, E_OUTOFMEMORY when it cannot be made.
ORVGUI_API HRESULT CreateErrorInfo(ICreateErrorInfo** out);
// SetErrorInfo: makes info the thread's current error object (taking a reference, releasing
// the previous one); S_OK. A null info gives E_POINTER and deliberately leaves the current
// object in place: callers rely on a null never clearing the slot.
ORVGUI_API HRESULT SetErrorInfo(unsigned long reserved, IErrorInfo* info);
// GetErrorInfo: hands the thread's current object to the caller, whose reference it becomes,
// and empties the slot: S_OK when there was one, S_FALSE (and null) when not; E_POINTER for a
// null out pointer.
ORVGUI_API HRESULT GetErrorInfo(unsigned long reserved, IErrorInfo** out);

}  // namespace OrvGuiBase
