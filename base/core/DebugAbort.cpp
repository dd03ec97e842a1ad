// DebugAbort.cpp: message, event, abort.
#include "base/core/DebugAbort.h"

#include <unistd.h>

#include <cstdlib>

#include "base/core/UpcallEvents.h"
#include "base/text/Formatter.h"
#include "private/system/Sys.h"

namespace OrvGuiBase {

void DebugAbortVA(const char* format, va_list* args) {
  // Anything thrown while the message is made ends the process here (noexcept boundary).
  [&]() noexcept {
    AnsiStr message = args != nullptr ? FmtList(format, *args) : AnsiStr(format);
    AnsiStr line = FmtArgs("%s\n", message.GetStr());
    Sys::WriteAll(STDERR_FILENO, line.GetStr(), line.GetLength());
    OrvGuiTrace::ReportEvent("ORVGUI", 900, message.GetStr(), nullptr, 0, OrvGuiTrace::kEventError,
                             OrvGuiTrace::kCategoryInternal);
  }();
  abort();
}

void DebugAbort(const char* format, ...) {
  va_list args;
  va_start(args, format);
  DebugAbortVA(format, &args);
}

}  // namespace OrvGuiBase
