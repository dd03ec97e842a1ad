// Formatter.h: printf-style formatting into an AnsiStr.
//
//   AnsiStr line = FmtArgs("%s-%05u", source, id);
//
// Formatting always runs in the "C" locale and under a crash guard: a directive whose argument
// faults while it is rendered (a bad %s pointer) turns the piece into "(error)" instead of
// ending the process.
#pragma once

#include <cstdarg>

#include "base/core/Export.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiBase {

// FmtArgs: formats its variable arguments; the empty string when the format is null.
ORVGUI_API AnsiStr FmtArgs(const char* format, ...) __attribute__((format(printf, 1, 2)));
// FmtList: the same on a va_list (which it does not consume: it works on a copy).
ORVGUI_API AnsiStr FmtList(const char* format, va_list args);

// orvvsnprintf: renders one piece of at most size bytes with vsnprintf under a crash guard named
// "orvvsnprintf". A negative result or a fault makes out "(error)". Returns out's length.
ORVGUI_API unsigned orvvsnprintf(AnsiStr& out, unsigned size, const char* format, va_list args);

}  // namespace OrvGuiBase
