// HResult.h: the result codes of the component interfaces and the helpers that make them.
//
//   if (buffer == nullptr) return STG_E_INVALIDPOINTER;
//   if (!file.Write(data, size)) return HResultFromLastError();   // 0x80070000 | errno
//   if (FAILED(hr)) ...
//
// HRESULT, SUCCEEDED/FAILED, the general codes and the rule that wraps a system error number
// (HRESULT_FROM_ERRNO) come from base/core/ComTypes.h; turning the thread's last error into a
// result code (HResultFromLastError) and back is in base/core/LastError.h.
// This header adds the storage codes and the system-error codes the stream interfaces return.
#pragma once

#include <cerrno>

#include "base/core/ComTypes.h"
#include "base/core/LastError.h"

// Storage codes (facility 3).
inline constexpr HRESULT STG_E_INVALIDFUNCTION = static_cast<HRESULT>(0x80030001u);  // bad seek target
inline constexpr HRESULT STG_E_INVALIDPOINTER = static_cast<HRESULT>(0x80030009u);   // null buffer or count

// System errors the stream interfaces answer with (see HRESULT_FROM_ERRNO in ComTypes.h).
inline constexpr HRESULT E_ERRNO_INVALID = HRESULT_FROM_ERRNO(EINVAL);          // 0x80070016: bad origin
inline constexpr HRESULT E_ERRNO_NOMEM = HRESULT_FROM_ERRNO(ENOMEM);            // 0x8007000C: no memory
inline constexpr HRESULT E_ERRNO_NOTSUPPORTED = HRESULT_FROM_ERRNO(ENOSYS);     // 0x80070026: not supported
