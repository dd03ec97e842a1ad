// LastError.h: the thread's last error and the thread's last error message.
//
//   if (fd < 0) return false;                      // open() left its errno: the last error
//   ...
//   SetErrorMessage("disk full");                  // last error becomes 44444
//   AnsiStr text = GetErrorMessage(GetLastError());    // "disk full (0x0000AD9C/44444)"
//
// The last error is the C runtime's errno of the calling thread: there is no other storage, so
// a failed system call has already recorded it. The code 44444 (and its result-code form
// 0x8007AD9C) means "the text is the thread's last error message".
//
// This is the one place that turns a system error number into a result code and back.
#pragma once

#include <cstdint>

#include "base/core/ComTypes.h"
#include "base/core/Export.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiBase {

// The code whose text is the thread's last error message.
inline constexpr int kErrorMessageCode = 44444;

// GetLastError / SetLastError: read and write the calling thread's errno.
ORVGUI_API int GetLastError();
ORVGUI_API void SetLastError(int error);

// SetErrorMessage: stores text (shared, not copied) as the thread's last error message,
// releasing the previous one, and sets the last error to 44444.
ORVGUI_API void SetErrorMessage(const AnsiStr& text);
// GetLastErrorMessage: the thread's last error message (empty when none was set).
ORVGUI_API AnsiStr GetLastErrorMessage();

// HResultFromError: 0 for 0, otherwise facility 7 wrapping the number: 0x80070000 | (e & 0xFFFF).
ORVGUI_API HRESULT HResultFromError(int error);
// HResultFromLastError: HResultFromError(GetLastError()), E_FAIL when the last error is 0.
ORVGUI_API HRESULT HResultFromLastError();
// ErrorFromHResult: the system number wrapped in a facility-7 code, else the code itself.
ORVGUI_API int ErrorFromHResult(HRESULT hr);

// LastErrorSaver: keeps the caller's last error across a diagnostic call.
class LastErrorSaver {
 public:
  LastErrorSaver() : m_saved(GetLastError()) {}
  ~LastErrorSaver() { SetLastError(m_saved); }
  LastErrorSaver(const LastErrorSaver&) = delete;
  LastErrorSaver& operator=(const LastErrorSaver&) = delete;

 private:
  int m_saved;
};

}  // namespace OrvGuiBase
