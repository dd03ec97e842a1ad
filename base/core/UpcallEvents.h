// UpcallEvents.h: what the runtime core calls upward in event reporting.
//
// Broken invariants, allocation failures and long lock holdings are reported as events, and
// the event writer lives in the trace layer above the core. This is the one entry point the
// lower layers use; trace/EventReport.h includes this header and defines it.
#pragma once

#include "base/core/Export.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiTrace {

// EventField: one named value of an event, already in text form.
struct EventField {
  const char* name;
  OrvGuiBase::AnsiStr value;
};

// ReportEventType and ReportEventCategory values used by the library's own events.
enum : unsigned { kEventError = 0, kEventWarning = 1, kEventInformation = 2, kEventNotice = 3 };
enum : unsigned {
  kCategoryInternal = 2,
  kCategoryTrace = 3,
  kCategoryMessage = 4,
  kCategoryApplication = 5,
  kCategoryInstallation = 6,
  kCategoryPerformance = 7,
};

// ReportEvent: the one event entry point. Writes one event of source with the numeric id, the
// message and the named fields; never changes the caller's last error and never throws.
ORVGUI_API void ReportEvent(const char* source, unsigned eventId, const char* message,
                            const EventField* fields, unsigned fieldCount, unsigned type,
                            unsigned category);

}  // namespace OrvGuiTrace
