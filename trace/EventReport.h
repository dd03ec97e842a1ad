// EventReport.h: the library's operational log.
//
//   const EventField fields[] = {{"file", path}};
//   ReportEvent("MYAPP", 12, "Configuration not found", fields, 1, kEventWarning, kCategoryApplication);
//
// An event goes to the system log, or as one JSON object per line to standard output or
// standard error, as the environment variable LOGTYPE says ("system", the default, "stdout",
// "stderr"; any case), decided once per process. An installed observer sees every event as
// well. Reporting never throws and never changes the caller's last error.
#pragma once

#include "base/core/UpcallEvents.h"

namespace OrvGuiTrace {

// EventObserver: receives every reported event on the reporting thread, before it is written.
typedef void (*EventObserver)(const char* source, unsigned eventId, const char* message,
                              const EventField* fields, unsigned fieldCount, unsigned type,
                              unsigned category, void* context);

// SetEventObserver: installs an observer (null removes it); returns the previous one.
ORVGUI_API EventObserver SetEventObserver(EventObserver observer, void* context);

// GetLogType: 0 system log, 1 standard output, 2 standard error.
ORVGUI_API unsigned GetLogType();
// GetEventTypeWord / GetEventLevelWord / GetEventCategoryWord: the words of a type and category
// ("Error", "err", "Performance", ...).
ORVGUI_API const char* GetEventTypeWord(unsigned type);
ORVGUI_API const char* GetEventLevelWord(unsigned type);
ORVGUI_API const char* GetEventCategoryWord(unsigned category);

}  // namespace OrvGuiTrace
