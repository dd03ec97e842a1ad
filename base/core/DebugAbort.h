// DebugAbort.h: the end of the process for a broken invariant.
//
//   if (count < 0) DebugAbort("Reference::Unlink: %p: Invalid reference count (%d)", p, count);
//
// The message is formatted with the library's formatter, written to standard error followed by
// a line feed, reported as an event from the source "ORVGUI", and the process aborts.
#pragma once

#include <cstdarg>

#include "base/core/Export.h"

namespace OrvGuiBase {

// DebugAbort: never returns.
[[noreturn]] ORVGUI_API void DebugAbort(const char* format, ...) __attribute__((format(printf, 1, 2)));
// DebugAbortVA: the same over a va_list.
[[noreturn]] ORVGUI_API void DebugAbortVA(const char* format, va_list* args);

}  // namespace OrvGuiBase
