// Setup.cpp: the time-zone bias from the C runtime's local time.
#include "base/process/Setup.h"

#include <cerrno>
#include <ctime>

#include "base/core/LazyStatic.h"

namespace OrvGuiBase {

namespace {
struct TimeZone {
  int bias = 0;
  TimeZone() {
    const int saved = errno;
    tzset();
    const time_t now = time(nullptr);
    tm local{};
    if (localtime_r(&now, &local) != nullptr) bias = static_cast<int>(-local.tm_gmtoff / 60);
    errno = saved;
  }
};
constinit LazyStatic<TimeZone> g_timeZone;
}  // namespace

int GetTimeZoneBias() { return g_timeZone.Get() ? g_timeZone.Get()->bias : 0; }

}  // namespace OrvGuiBase
