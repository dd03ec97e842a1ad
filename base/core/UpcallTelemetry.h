// UpcallTelemetry.h: what the runtime core calls upward in the telemetry layer.
//
//   if (IsTelemetryDelivered(APM_MODULE_ORVGUI))          // one load and one branch when off
//     APMEventParam(APM_MODULE_ORVGUI, APM_EVENT_FILE_STAT, 1, 1, path);
//
// The core reports lock contention and file-system calls to telemetry, which sits above it.
// These few declarations are the whole of that upward dependency; telemetry/Telemetry.h
// includes this header and defines them.
#pragma once

#include <atomic>

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

// APMModuleState: one byte per module (0..255): bit 0 while the module is switched on, bit 1
// while an event sink is installed as well. Written only by the telemetry layer; read by the
// inline checks below so that a report costs one relaxed load and one branch while it is off.
ORVGUI_C_API std::atomic<unsigned char> APMModuleState[256];

// IsTelemetryDelivered: whether events of the module reach a sink now (switched on and a sink
// installed). A report guarded by it costs nothing more while telemetry is off.
inline bool IsTelemetryDelivered(int module) noexcept {
  return static_cast<unsigned>(module) < 256u && APMModuleState[module].load(std::memory_order_relaxed) == 3;
}
// IsTelemetrySwitchedOn: whether the module is switched on (its counters count), sink or not.
inline bool IsTelemetrySwitchedOn(int module) noexcept {
  return static_cast<unsigned>(module) < 256u && APMModuleState[module].load(std::memory_order_relaxed) != 0;
}

// APMIsModuleActive: IsTelemetryDelivered as a function (nonzero when events are delivered).
ORVGUI_C_API int APMIsModuleActive(int module);
// APMEventParam: sends an event of a module with a value and paramCount text parameters
// (const char*, null read as ""); at most 16 parameters are passed on. Does nothing unless
// the module's events are delivered. Keeps errno.
ORVGUI_C_API void APMEventParam(int module, int event, int value, unsigned paramCount, ...);
