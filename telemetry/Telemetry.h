// Telemetry.h: the flat performance-monitoring interface (APM...).
//
//   APMSetEventSink(&MySink, myContext);          // observe every delivered event
//   APMSetModuleActive(APM_MODULE_ORVGUI, 1);     // the library's own events start flowing
//
// Events belong to modules (numbers 0..255). An event is delivered only while its module is
// active and a sink is installed; the sink is called on the reporting thread, so it must be
// quick and must not take the library's locks. Delivery never changes the caller's last error.
#pragma once

#include "base/core/Export.h"
#include "base/core/UpcallTelemetry.h"

// APMEventSink: receives module, event, value and the text parameters of one event.
typedef void (*APMEventSink)(int module, int event, int value, const char* const* params,
                             unsigned paramCount, void* context);

// APMSetEventSink: installs the sink (null removes it). Returns the previous sink.
ORVGUI_C_API APMEventSink APMSetEventSink(APMEventSink sink, void* context);
// APMSetModuleActive: switches a module's events on (nonzero) or off. Modules outside 0..255
// are ignored.
ORVGUI_C_API void APMSetModuleActive(int module, int active);
