// ExceptionFilter.h: the library's handler of fatal signals.
//
// At load the library installs one handler for SIGFPE, SIGSEGV, SIGILL and SIGBUS (in that
// order, SA_SIGINFO | SA_RESTART), saving each previous action. The handler is the exception
// filter: on a thread inside a crash guard (CrashGuard.h) it jumps back to the innermost guard;
// otherwise it writes a crash report to standard error -
//
//   orvgui: fatal signal 11 (SIGSEGV) at address 0x10 in process 4242 (/usr/bin/server)
//   call stack:
//   /usr/lib/liborvgui.so.1(...)[0x7f...]
//
// - and hands the signal on: to the saved handler when there was one, otherwise it restores
// the default action and raises the signal again, so the process ends as it would have.
#pragma once

#include <csignal>

#include "base/core/Export.h"

namespace OrvGuiBase {

// InstallFatalSignalHandlers: installs the filter for the four signals (again after a host
// replaced it); the previous action of each is kept unless it already is the filter.
ORVGUI_API void InstallFatalSignalHandlers();
// GetSavedSignalAction: the action the filter chains to for a signal; false for other signals.
ORVGUI_API bool GetSavedSignalAction(int signal, struct sigaction* action);

namespace Internal {
// HandOnSignal: from a handler of the library, passes the signal on to the action that was in
// place before it: that handler when there was one; nothing for SIG_IGN when honourIgnore;
// otherwise the default action, restored and raised again, so the process ends as it would
// have. Async-signal-safe.
ORVGUI_API void HandOnSignal(int signal, siginfo_t* info, void* context, const struct sigaction& previous,
                             bool honourIgnore);
// PrimeExceptionInformation: prepares what the crash report needs (program name, the unwinder)
// so that the handler itself never allocates.
void PrimeExceptionInformation();
}  // namespace Internal

}  // namespace OrvGuiBase
