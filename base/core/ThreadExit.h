// ThreadExit.h: handlers that run when a thread ends, in priority order.
//
//   static void ReleaseMyRecord() { ... }
//   SetThreadExitHandler(&ReleaseMyRecord, -1006);   // runs after handlers of higher priority
//
// Every per-thread record of the library registers its release here. The registry is a
// process-wide lazy static guarded by its own spin lock (a critical section may itself need the
// registry). The handlers of the calling thread run from a thread-specific-data destructor at
// the thread's end, or explicitly through DoThreadExitHandler (the process-exit closers do this
// for the thread that runs exit, whose thread-specific destructors never run).
#pragma once

#include <pthread.h>

#include "base/core/Export.h"

namespace OrvGuiBase {

// ThreadExitHandler: a routine with no arguments and no result, run on the ending thread.
using ThreadExitHandler = void (*)();

// SetThreadExitHandler: registers handler for the calling thread. Handlers run in descending
// order of priority; among equal priorities the earlier registration runs first. A priority of
// 0x7FFFFFFF is taken as 0 (the largest value stands for "default"). Returns 0, or 1 when the
// registry has already been destroyed at process exit (nothing is registered then).
ORVGUI_API int SetThreadExitHandler(ThreadExitHandler handler, int priority);
ORVGUI_API int SetThreadExitHandler(ThreadExitHandler handler);

// DoThreadExitHandler: runs and removes all handlers of a thread (the calling one when no id is
// given), or only the given handler. Handlers run outside the registry's lock; a handler whose
// address is not valid is skipped.
ORVGUI_API void DoThreadExitHandler(pthread_t threadId);
ORVGUI_API void DoThreadExitHandler();
ORVGUI_API void DoThreadExitHandler(pthread_t threadId, ThreadExitHandler handler);
ORVGUI_API void DoThreadExitHandler(ThreadExitHandler handler);

// IsThreadExitRegistryValid: false once the registry has been destroyed at process exit.
ORVGUI_API bool IsThreadExitRegistryValid();

namespace Internal {
// Makes sure the registry exists; called in the load-time order of the library's statics.
void PrimeThreadExitRegistry();
}  // namespace Internal

}  // namespace OrvGuiBase
