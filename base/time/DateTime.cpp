// DateTime.cpp: the packed forms, the conversions between the time forms, and the current time.
#include "base/time/DateTime.h"

#include <sys/time.h>

#include <cerrno>

#include "base/core/LastError.h"
#include "base/process/Setup.h"
#include "base/time/Calendar.h"
#include "private/system/Sys.h"

namespace OrvGuiBase {
namespace {

// Seconds from 1601-01-01 to 1970-01-01, and FILETIME units per second.
constexpr int64_t kFileTimeEpochSeconds = 11644473600;
constexpr int64_t kFileTimeUnits = 10000000;

struct tm ToTm(const datetime& dt) {
  struct tm out = {};
  out.tm_year = static_cast<int>(dt.d.year - 1900);
  out.tm_mon = static_cast<int>(dt.d.month - 1);
  out.tm_mday = static_cast<int>(dt.d.day);
  out.tm_hour = static_cast<int>(dt.t.hour);
  out.tm_min = static_cast<int>(dt.t.minute);
  out.tm_sec = static_cast<int>(dt.t.second);
  out.tm_isdst = -1;
  return out;
}

datetime FromTm(const struct tm& in) {
  return datetime{date{int64_t{in.tm_year} + 1900, int64_t{in.tm_mon} + 1, in.tm_mday},
                  time{in.tm_hour, in.tm_min, in.tm_sec}};
}

// FitsTm: fields that struct tm holds without wrapping its int members.
bool FitsTm(const datetime& dt) {
  return dt.d.year > -2000000000 && dt.d.year < 2000000000 && dt.d.month >= 1 && dt.d.month <= 12 &&
         dt.d.day >= 1 && dt.d.day <= 31 && IsValidTime(dt.t);
}

// ReadClock: the wall clock split into local (or UTC) fields; false with zero fields on failure.
bool ReadClock(bool universal, datetime& now, int64_t& millisecond) {
  now = datetime{};
  millisecond = 0;
  timeval tv;
  if (gettimeofday(&tv, nullptr) != 0) return false;
  struct tm broken;
  const time_t seconds = tv.tv_sec;
  if ((universal ? gmtime_r(&seconds, &broken) : localtime_r(&seconds, &broken)) == nullptr) return false;
  now = FromTm(broken);
  millisecond = tv.tv_usec / 1000;
  return true;
}

bool GetParts(bool universal, int64_t& day, int64_t& month, int64_t& year, int64_t& hour, int64_t& minute,
              int64_t& second, int64_t& millisecond) {
  datetime now;
  const bool ok = ReadClock(universal, now, millisecond);
  day = now.d.day, month = now.d.month, year = now.d.year;
  hour = now.t.hour, minute = now.t.minute, second = now.t.second;
  return ok;
}

bool SetClock(bool universal, const datetime& dt, int64_t millisecond) {
  if (!IsValidDateTime(dt) || millisecond < 0 || millisecond > 999) {
    SetLastError(EINVAL);
    return false;
  }
  struct tm broken = ToTm(dt);
  errno = 0;
  const time_t seconds = universal ? timegm(&broken) : timelocal(&broken);
  if (seconds == static_cast<time_t>(-1) && errno != 0) return false;
  timeval tv{seconds, static_cast<suseconds_t>(millisecond * 1000)};
  return Sys::SetTimeOfDay(tv) == 0;
}

// SetDatePart / SetTimePart: set one part, keeping the other part of the current value.
bool SetDatePart(bool universal, const date& d) {
  if (!IsValidDate(d)) return SetLastError(EINVAL), false;
  datetime now;
  int64_t ms = 0;
  if (!ReadClock(universal, now, ms)) return false;
  return SetClock(universal, datetime{d, now.t}, ms);
}
bool SetTimePart(bool universal, const time& t) {
  if (!IsValidTime(t)) return SetLastError(EINVAL), false;
  datetime now;
  int64_t ms = 0;
  if (!ReadClock(universal, now, ms)) return false;
  return SetClock(universal, datetime{now.d, t}, 0);
}

}  // namespace

uint64_t timestamp::Get() const {
  uint64_t v = 0;
  for (int i = 5; i >= 0; --i) v = (v << 8) | bytes[i];
  return v;
}
void timestamp::Set(uint64_t bits) {
  for (int i = 0; i < 6; ++i) bytes[i] = static_cast<uint8_t>(bits >> (8 * i));
}

int DateTime64::ZoneByte(int64_t bias) {
  if (bias < -720 || bias > 720 || bias % 15 != 0) return -1;
  return static_cast<int>((bias < 0 ? -bias : bias) / 15) | (bias < 0 ? 0x40 : 0);
}

DateTime64 DateTime64::Make(const datetime& local, int64_t millisecond, int64_t bias) {
  const int zone = ZoneByte(bias);
  const date& d = local.d;
  const time& t = local.t;
  if (zone < 0 || d.year < 1 || d.year > 4095 || d.month < 1 || d.month > 12 || d.day < 1 || d.day > 31 ||
      !IsValidTime(t) || millisecond < 0 || millisecond > 999) {
    return DateTime64();
  }
  return DateTime64(static_cast<uint64_t>(millisecond) | static_cast<uint64_t>(t.second) << 10 |
                    static_cast<uint64_t>(t.minute) << 16 | static_cast<uint64_t>(t.hour) << 22 |
                    static_cast<uint64_t>(d.day) << 27 | static_cast<uint64_t>(d.month) << 32 |
                    static_cast<uint64_t>(d.year) << 36 | static_cast<uint64_t>(zone) << 48);
}

int64_t DateTime64::GetBias() const {
  const int64_t minutes = (GetZoneByte() & 0x3F) * 15;
  return (GetZoneByte() & 0x40) ? -minutes : minutes;
}

datetime DateTime64::GetDateTime() const {
  return datetime{date{GetYear(), GetMonth(), GetDay()}, time{GetHour(), GetMinute(), GetSecond()}};
}

DateTime64 DateTime64::Get(short bias) const {
  if (m_value == 0 || ZoneByte(bias) < 0) return DateTime64();
  datetime dt = GetDateTime();
  AddMinutes(dt, GetBias() - bias);  // to UTC, then into the wanted zone
  DateTime64 result = Make(dt, GetMillisecond(), bias);
  if (result.m_value != 0) result.m_value |= m_value & (uint64_t{0x80} << 48);  // the caller's bit 7
  return result;
}

int64_t DateTime64::GetUnixTime() const {
  const DateTime64 utc = Get(0);
  const datetime dt = utc.GetDateTime();
  return CountDays(date{1970, 1, 1}, dt.d) * 86400 + dt.t.hour * 3600 + dt.t.minute * 60 + dt.t.second;
}

int64_t DateTime2SimpleTime(const datetime& dt) {
  if (!FitsTm(dt)) return 0;
  struct tm broken = ToTm(dt);
  broken.tm_isdst = 0;
  errno = 0;
  const time_t seconds = timegm(&broken);
  if (seconds == static_cast<time_t>(-1) && errno != 0) return 0;
  return seconds;
}

datetime SimpleTime2DateTime(int64_t seconds) {
  const time_t value = seconds;
  struct tm broken;
  if (gmtime_r(&value, &broken) == nullptr) return datetime{};
  return FromTm(broken);
}

bool DateTime2BrokenTime(const datetime& dt, struct tm& out) {
  out = {};
  if (!FitsTm(dt)) {
    SetLastError(EINVAL);
    return false;
  }
  out = ToTm(dt);
  out.tm_isdst = 0;
  out.tm_wday = GetDayInWeek(dt.d);
  out.tm_yday = GetDayInYear(dt.d) - 1;
  return true;
}

datetime BrokenTime2DateTime(const struct tm& in) { return FromTm(in); }

bool DateTime2SystemTime(const datetime& dt, SYSTEMTIME& out, unsigned millisecond) {
  out = {};
  if (dt.d.year < 1 || dt.d.year > 30827 || dt.d.month < 1 || dt.d.month > 12 || dt.d.day < 1 || dt.d.day > 31 ||
      !IsValidTime(dt.t) || millisecond > 999) {
    SetLastError(EINVAL);
    return false;
  }
  out.wYear = static_cast<uint16_t>(dt.d.year);
  out.wMonth = static_cast<uint16_t>(dt.d.month);
  out.wDay = static_cast<uint16_t>(dt.d.day);
  out.wDayOfWeek = static_cast<uint16_t>(GetDayInWeek(dt.d));
  out.wHour = static_cast<uint16_t>(dt.t.hour);
  out.wMinute = static_cast<uint16_t>(dt.t.minute);
  out.wSecond = static_cast<uint16_t>(dt.t.second);
  out.wMilliseconds = static_cast<uint16_t>(millisecond);
  return true;
}

datetime SystemTime2DateTime(const SYSTEMTIME& in) {
  return datetime{date{in.wYear, in.wMonth, in.wDay}, time{in.wHour, in.wMinute, in.wSecond}};
}

bool DateTime2PackedDateTime(const datetime& dt, packeddatetime& out) {
  out = {};
  if (dt.d.year < 0 || dt.d.year > 65535 || dt.d.month < 1 || dt.d.month > 12 || dt.d.day < 1 || dt.d.day > 31 ||
      !IsValidTime(dt.t)) {
    SetLastError(EINVAL);
    return false;
  }
  out.d = packeddate{static_cast<uint16_t>(dt.d.year), static_cast<uint8_t>(dt.d.month), static_cast<uint8_t>(dt.d.day)};
  out.t = packedtime{static_cast<uint8_t>(dt.t.hour), static_cast<uint8_t>(dt.t.minute), static_cast<uint8_t>(dt.t.second)};
  return true;
}

datetime PackedDateTime2DateTime(const packeddatetime& in) {
  return datetime{date{in.d.year, in.d.month, in.d.day}, time{in.t.hour, in.t.minute, in.t.second}};
}

bool DateTime2TimeStamp(const datetime& dt, int64_t millisecond, timestamp& out) {
  const DateTime64 packed = DateTime64::Make(dt, millisecond, 0);
  out.Set(packed.GetValue() & 0xFFFFFFFFFFFFull);
  if (packed.IsNull()) SetLastError(EINVAL);
  return !packed.IsNull();
}

datetime TimeStamp2DateTime(const timestamp& in, int64_t* millisecond) {
  const DateTime64 value(in.Get());
  if (millisecond != nullptr) *millisecond = value.GetMillisecond();
  return value.GetDateTime();
}

timestamp DateTime642TimeStamp(DateTime64 value) {
  timestamp out;
  out.Set(value.GetValue() & 0xFFFFFFFFFFFFull);
  return out;
}

DateTime64 TimeStamp2DateTime64(const timestamp& in, int64_t bias) {
  const int zone = DateTime64::ZoneByte(bias);
  if (zone < 0) return DateTime64();
  return DateTime64(in.Get() | static_cast<uint64_t>(zone) << 48);
}

FILETIME UHyper2FileTime(uint64_t value) {
  return FILETIME{static_cast<uint32_t>(value), static_cast<uint32_t>(value >> 32)};
}
uint64_t FileTime2UHyper(const FILETIME& ft) { return uint64_t{ft.dwHighDateTime} << 32 | ft.dwLowDateTime; }

FILETIME SimpleTime2FileTime(int64_t seconds) {
  if (seconds < -kFileTimeEpochSeconds || seconds > (INT64_MAX / kFileTimeUnits) - kFileTimeEpochSeconds) {
    return FILETIME{};
  }
  return UHyper2FileTime(static_cast<uint64_t>((seconds + kFileTimeEpochSeconds) * kFileTimeUnits));
}

int64_t FileTime2SimpleTime(const FILETIME& ft) {
  return static_cast<int64_t>(FileTime2UHyper(ft) / kFileTimeUnits) - kFileTimeEpochSeconds;
}

bool SystemTimeToFileTime(const SYSTEMTIME* in, FILETIME* out) {
  if (in == nullptr || out == nullptr || in->wMilliseconds > 999 || in->wYear < 1601) {
    SetLastError(EINVAL);
    return false;
  }
  const datetime dt = SystemTime2DateTime(*in);
  if (!FitsTm(dt) || dt.d.day > GetDaysOfMonth(dt.d.year, dt.d.month)) {
    SetLastError(EINVAL);
    return false;
  }
  const uint64_t units = FileTime2UHyper(SimpleTime2FileTime(DateTime2SimpleTime(dt)));
  *out = UHyper2FileTime(units + uint64_t{in->wMilliseconds} * 10000);
  return true;
}

bool FileTimeToSystemTime(const FILETIME* in, SYSTEMTIME* out) {
  if (in == nullptr || out == nullptr || (in->dwHighDateTime & 0x80000000u) != 0) {
    SetLastError(EINVAL);
    return false;
  }
  const uint64_t units = FileTime2UHyper(*in);
  const datetime dt = SimpleTime2DateTime(FileTime2SimpleTime(*in));
  return DateTime2SystemTime(dt, *out, static_cast<unsigned>(units % kFileTimeUnits / 10000));
}

FILETIME DateTime2FileTime(const datetime& dt) { return SimpleTime2FileTime(DateTime2SimpleTime(dt)); }
datetime FileTime2DateTime(const FILETIME& ft) { return SimpleTime2DateTime(FileTime2SimpleTime(ft)); }

int64_t DateTime2Milliseconds(const datetime& dt, int64_t millisecond) {
  int64_t ms = 0;
  if (__builtin_mul_overflow(DateTime2SimpleTime(dt), int64_t{1000}, &ms) ||
      __builtin_add_overflow(ms, millisecond, &ms)) {
    return 0;
  }
  return ms;
}

datetime Milliseconds2DateTime(int64_t milliseconds, int64_t* millisecond) {
  int64_t seconds = milliseconds / 1000, rest = milliseconds % 1000;
  if (rest < 0) rest += 1000, seconds -= 1;
  if (millisecond != nullptr) *millisecond = rest;
  return SimpleTime2DateTime(seconds);
}

int64_t DateTime2Nanoseconds(const datetime& dt, int64_t nanosecond) {
  int64_t ns = 0;
  if (__builtin_mul_overflow(DateTime2SimpleTime(dt), int64_t{1000000000}, &ns) ||
      __builtin_add_overflow(ns, nanosecond, &ns)) {
    return 0;
  }
  return ns;
}

datetime Nanoseconds2DateTime(int64_t nanoseconds, int64_t* nanosecond) {
  int64_t seconds = nanoseconds / 1000000000, rest = nanoseconds % 1000000000;
  if (rest < 0) rest += 1000000000, seconds -= 1;
  if (nanosecond != nullptr) *nanosecond = rest;
  return SimpleTime2DateTime(seconds);
}

datetime GetUniversalDateTime(const datetime& local) {
  if (Setup::IsTimeZoneBiasSet()) {
    datetime result = local;
    AddMinutes(result, Setup::GetTimeZoneBias());
    return result;
  }
  if (!FitsTm(local)) return local;
  struct tm broken = ToTm(local);
  errno = 0;
  const time_t seconds = mktime(&broken);
  if (seconds == static_cast<time_t>(-1) && errno != 0) return local;
  return SimpleTime2DateTime(seconds);
}

datetime GetLocalDateTime(const datetime& universal) {
  if (Setup::IsTimeZoneBiasSet()) {
    datetime result = universal;
    AddMinutes(result, -static_cast<int64_t>(Setup::GetTimeZoneBias()));
    return result;
  }
  if (!FitsTm(universal)) return universal;
  const time_t seconds = DateTime2SimpleTime(universal);
  struct tm broken;
  if ((seconds == 0 && CompareDateTime(universal, datetime{date{1970, 1, 1}, time{}}) != 0) ||
      localtime_r(&seconds, &broken) == nullptr) {
    return universal;
  }
  return FromTm(broken);
}

bool GetCurrentDateTime(int64_t& day, int64_t& month, int64_t& year, int64_t& hour, int64_t& minute,
                        int64_t& second, int64_t& millisecond) {
  return GetParts(false, day, month, year, hour, minute, second, millisecond);
}
bool GetCurrentDateTime(datetime& now, int64_t* millisecond) {
  int64_t ms = 0;
  const bool ok = ReadClock(false, now, ms);
  if (millisecond != nullptr) *millisecond = ms;
  return ok;
}
bool GetCurrentDate(int64_t& day, int64_t& month, int64_t& year) {
  int64_t hour, minute, second, millisecond;
  return GetParts(false, day, month, year, hour, minute, second, millisecond);
}
bool GetCurrentTime(int64_t& hour, int64_t& minute, int64_t& second) {
  int64_t day, month, year, millisecond;
  return GetParts(false, day, month, year, hour, minute, second, millisecond);
}
bool GetCurrentUniversalDateTime(int64_t& day, int64_t& month, int64_t& year, int64_t& hour, int64_t& minute,
                                 int64_t& second, int64_t& millisecond) {
  return GetParts(true, day, month, year, hour, minute, second, millisecond);
}
bool GetCurrentUniversalDateTime(datetime& now, int64_t* millisecond) {
  int64_t ms = 0;
  const bool ok = ReadClock(true, now, ms);
  if (millisecond != nullptr) *millisecond = ms;
  return ok;
}
bool GetCurrentUniversalDate(int64_t& day, int64_t& month, int64_t& year) {
  int64_t hour, minute, second, millisecond;
  return GetParts(true, day, month, year, hour, minute, second, millisecond);
}
bool GetCurrentUniversalTime(int64_t& hour, int64_t& minute, int64_t& second) {
  int64_t day, month, year, millisecond;
  return GetParts(true, day, month, year, hour, minute, second, millisecond);
}

bool SetCurrentDateTime(int64_t day, int64_t month, int64_t year, int64_t hour, int64_t minute, int64_t second,
                        int64_t millisecond) {
  return SetClock(false, datetime{date{year, month, day}, time{hour, minute, second}}, millisecond);
}
bool SetCurrentDate(int64_t day, int64_t month, int64_t year) { return SetDatePart(false, date{year, month, day}); }
bool SetCurrentTime(int64_t hour, int64_t minute, int64_t second) {
  return SetTimePart(false, time{hour, minute, second});
}
bool SetCurrentUniversalDateTime(int64_t day, int64_t month, int64_t year, int64_t hour, int64_t minute,
                                 int64_t second, int64_t millisecond) {
  return SetClock(true, datetime{date{year, month, day}, time{hour, minute, second}}, millisecond);
}
bool SetCurrentUniversalDate(int64_t day, int64_t month, int64_t year) {
  return SetDatePart(true, date{year, month, day});
}
bool SetCurrentUniversalTime(int64_t hour, int64_t minute, int64_t second) {
  return SetTimePart(true, time{hour, minute, second});
}

DateTime64 GetCurrentSystemDateTime64() {
  timeval tv;
  if (gettimeofday(&tv, nullptr) != 0) return DateTime64();
  const bool fixed = Setup::IsTimeZoneBiasSet();
  const int bias = fixed ? Setup::GetTimeZoneBias() : Setup::GetTimeZoneBiasAt(tv.tv_sec);
  // The local fields follow the bias that goes with them, so the pair always names this instant.
  const time_t local = tv.tv_sec - static_cast<time_t>(bias) * 60;
  struct tm broken;
  if (gmtime_r(&local, &broken) == nullptr) return DateTime64();
  return DateTime64::Make(FromTm(broken), tv.tv_usec / 1000, bias);
}

}  // namespace OrvGuiBase
