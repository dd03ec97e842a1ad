// ComTypes.h: the component-model basics every layer speaks: result codes (HRESULT), GUIDs and
// IUnknown. They live in the global namespace, where code written for the platform expects them.
//
//   HRESULT hr = info->GetSource(&text);
//   if (FAILED(hr)) return hr;
//
// Result codes have the usual 32-bit layout: bit 31 failure, bits 16..28 facility, low 16 bits
// the code. Facility 7 wraps a system error number: 0x80070000 | number.
#pragma once

#include <cstdint>

typedef int32_t HRESULT;
typedef uint32_t DWORD;
typedef uint32_t ULONG;
typedef wchar_t* BSTR;
typedef wchar_t* LPOLESTR;
typedef const wchar_t* LPCOLESTR;

#define SUCCEEDED(hr) (static_cast<HRESULT>(hr) >= 0)
#define FAILED(hr) (static_cast<HRESULT>(hr) < 0)

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002u);
inline constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003u);
inline constexpr HRESULT E_ABORT = static_cast<HRESULT>(0x80004004u);
inline constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005u);
inline constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFFu);
inline constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001u);
inline constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000Eu);
inline constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057u);

// The facility of a result code (bits 16..28) and the facility that wraps system errors.
inline constexpr unsigned HRESULT_FACILITY(HRESULT hr) { return (static_cast<uint32_t>(hr) >> 16) & 0x1FFF; }
inline constexpr unsigned FACILITY_SYSTEM_ERROR = 7;

// HRESULT_FROM_ERRNO: the rule that wraps a system error number: 0 stays S_OK, any other number
// e becomes 0x80070000 | (e & 0xFFFF). OrvGuiBase::HResultFromError (base/core/LastError.h)
// applies it at run time; fixed codes are made with it at compile time.
constexpr HRESULT HRESULT_FROM_ERRNO(int error) {
  return error == 0 ? 0 : static_cast<HRESULT>(0x80070000u | (static_cast<uint32_t>(error) & 0xFFFFu));
}

// tagGUID: a 128-bit class or interface identifier, laid out as on the platform.
struct tagGUID {
  uint32_t Data1;
  uint16_t Data2;
  uint16_t Data3;
  uint8_t Data4[8];
};
typedef tagGUID GUID;
typedef GUID IID;
typedef GUID CLSID;
typedef const GUID& REFGUID;
typedef const IID& REFIID;
typedef const CLSID& REFCLSID;

inline bool operator==(const GUID& a, const GUID& b) {
  const uint64_t* pa = reinterpret_cast<const uint64_t*>(&a);
  const uint64_t* pb = reinterpret_cast<const uint64_t*>(&b);
  return pa[0] == pb[0] && pa[1] == pb[1];
}
inline bool IsEqualGUID(REFGUID a, REFGUID b) { return a == b; }

// {00000000-0000-0000-C000-000000000046}
inline constexpr IID IID_IUnknown = {0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

// IUnknown: reference counting and interface discovery. The vtable order is the platform's:
// QueryInterface, AddRef, Release. There is deliberately no virtual destructor; an object is
// destroyed by its own Release.
struct IUnknown {
  virtual HRESULT QueryInterface(REFIID iid, void** object) = 0;
  virtual ULONG AddRef() = 0;
  virtual ULONG Release() = 0;
};
