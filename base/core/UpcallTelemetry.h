// UpcallTelemetry.h: what the runtime core calls upward in the telemetry layer.
//
// The core reports lock contention and allocation trouble to telemetry, which sits above it.
// These few declarations are the whole of that upward dependency; telemetry/Telemetry.h
// includes this header and defines them.
#pragma once

#include "base/core/Export.h"

// The library's own telemetry module, and its event numbers.
inline constexpr int APM_MODULE_ORVGUI = 100;
inline constexpr int APM_EVENT_LOCK_CONTENTION = 60;  // value 1 waiting, 2 acquired
// A stat made by directory iteration for an entry of unknown type: value 1 before, 2 after;
// the parameter is the path.
inline constexpr int APM_EVENT_FILE_STAT = 70;
// A system call of the streams on a file (open, read, write, seek, size, sync, map, close): value
// 1 before, 2 after; the parameters are the call's name and the path.
inline constexpr int APM_EVENT_FILE_CALL = 71;

// APMIsModuleActive: whether events of the module are delivered (nonzero when active).
ORVGUI_C_API int APMIsModuleActive(int module);
// APMEventParam: sends an event of a module with a value and paramCount text parameters
// (const char*, null read as "").
ORVGUI_C_API void APMEventParam(int module, int event, int value, unsigned paramCount, ...);
