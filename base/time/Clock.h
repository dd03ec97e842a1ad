// Clock.h: the clocks the library reads.
//
//   uint64_t start = GetHighResolutionClockTicks();
//   ...
//   uint64_t ms = GetHighResolutionTime(GetHighResolutionClockTicks() - start, 1000);
//
// GetClockTicks is deliberately the wall clock in milliseconds (callers compare it with time
// stamps); the high-resolution counter is monotonic and is what durations are measured with.
#pragma once

#include <cstdint>

#include "base/core/Export.h"

namespace OrvGuiBase {

// GetClockTicks64: milliseconds of the wall clock: seconds * 1000 + (microseconds + 500) / 1000;
// 0 when the clock cannot be read. GetClockTicks: its 32-bit truncation. The forms with an
// argument return the current ticks minus the argument.
ORVGUI_API uint64_t GetClockTicks64();
ORVGUI_API uint64_t GetClockTicks64(uint64_t since);
ORVGUI_API uint32_t GetClockTicks();
ORVGUI_API uint32_t GetClockTicks(uint32_t since);

// GetHighResolutionClockTicks: a monotonic counter (nanoseconds on this platform).
ORVGUI_API uint64_t GetHighResolutionClockTicks();
// GetHighResolutionClockFrequency: counter ticks per second.
ORVGUI_API uint64_t GetHighResolutionClockFrequency();
// GetHighResolutionTime: ticks expressed in 1/unit seconds: unit 1000 gives milliseconds,
// 1000000 microseconds. Exact for any 64-bit tick count.
ORVGUI_API uint64_t GetHighResolutionTime(uint64_t ticks, uint64_t unit);

}  // namespace OrvGuiBase
