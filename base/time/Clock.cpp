// Clock.cpp: the wall-clock ticks and the high-resolution counter.
#include "base/time/Clock.h"

#include <sys/time.h>

#include "private/system/Sys.h"

namespace OrvGuiBase {

uint64_t GetClockTicks64() {
  timeval now;
  if (gettimeofday(&now, nullptr) != 0) return 0;
  return static_cast<uint64_t>(now.tv_sec) * 1000u + (static_cast<uint64_t>(now.tv_usec) + 500u) / 1000u;
}

uint64_t GetClockTicks64(uint64_t since) { return GetClockTicks64() - since; }
uint32_t GetClockTicks() { return static_cast<uint32_t>(GetClockTicks64()); }
uint32_t GetClockTicks(uint32_t since) { return GetClockTicks() - since; }

uint64_t GetHighResolutionClockTicks() { return Sys::HighResolutionTicks(); }
uint64_t GetHighResolutionClockFrequency() { return Sys::kHighResolutionFrequency; }
uint64_t GetHighResolutionTime(uint64_t ticks, uint64_t unit) { return Sys::HighResolutionTime(ticks, unit); }

}  // namespace OrvGuiBase
