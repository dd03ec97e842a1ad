// CrashGuard.h: signal-safe jump points that turn a fault into a failed call.
//
//   size_t length = 0;
//   bool ok = CallGuarded("MeasureText", [&] { length = strlen(untrusted); });
//   if (!ok) length = 0;                          // the pointer faulted
//
// Each thread keeps a chain of armed jump points. When a fatal signal (SIGSEGV, SIGBUS, SIGFPE,
// SIGILL) arrives on a thread whose chain is not empty, the library's exception filter unlinks
// the innermost point and jumps back to it; CallGuarded then returns false. Outside any guard
// the filter writes a crash report and hands the signal on (see ExceptionFilter.h).
//
// The guarded code must not own objects with destructors: a jump skips them. Keep it to the
// probe itself (a read, a measure, a runtime-library call writing into caller storage).
//
// Arming a guard costs no system call: the jump point does not save the signal mask, and the
// filter unblocks the signal it caught before it jumps back.
#pragma once

#include <csetjmp>
#include <cstddef>

#include "base/core/Export.h"

namespace OrvGuiBase {

// CrashGuardFrame: one jump point. Lives on the stack of the guarded call.
struct CrashGuardFrame {
  sigjmp_buf jump;
  const char* name = nullptr;        // the guarded function's name, for crash diagnostics
  CrashGuardFrame* previous = nullptr;
  int signal = 0;                    // set when the filter jumped back here
  const void* address = nullptr;     // the faulting address of that signal
};

// PushCrashGuard / PopCrashGuard: arm and disarm a frame on the calling thread. A frame must be
// popped by the thread that pushed it, innermost first (the filter pops it when it jumps).
ORVGUI_API void PushCrashGuard(CrashGuardFrame* frame);
ORVGUI_API void PopCrashGuard(CrashGuardFrame* frame);
// GetCrashGuard: the calling thread's innermost armed frame, or null.
ORVGUI_API CrashGuardFrame* GetCrashGuard();

// CallGuarded: runs body under a jump point named name. True when it completed, false when a
// fatal signal interrupted it (frame details are lost; use the frame form to keep them).
template <class Body>
[[gnu::noinline]] bool CallGuarded(const char* name, Body&& body) {
  CrashGuardFrame frame;
  frame.name = name;
  if (sigsetjmp(frame.jump, 0) != 0) return false;  // no mask saved: no system call on entry
  PushCrashGuard(&frame);
  body();
  PopCrashGuard(&frame);
  return true;
}

// IsValidAddress: true when one byte at p can be read. Probes under a crash guard; never faults.
ORVGUI_API bool IsValidAddress(const void* p);
// IsValidAddress(p, size): true when every page of [p, p + size) can be read.
ORVGUI_API bool IsValidAddress(const void* p, size_t size);

}  // namespace OrvGuiBase
