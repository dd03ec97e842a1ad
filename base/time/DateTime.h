// DateTime.h: the date and time values, their conversions and the current time.
//
//   datetime now;
//   if (GetCurrentDateTime(now)) printf("%ld\n", DateTime2SimpleTime(GetUniversalDateTime(now)));
//   DateTime64 stamp = GetCurrentSystemDateTime64();   // local time with its zone, packed
//
// The calendar itself (leap years, weekdays, validity, arithmetic) is in Calendar.h, the text
// forms in DateTimeText.h. A conversion that cannot represent a value returns the all-zero
// form (0 for SimpleTime and DateTime64); the clock functions return false and leave the last
// error set.
//
// Depends on core, process/Setup and the string class.
#pragma once

#include <cstdint>
#include <ctime>

#include "base/core/Export.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiBase {

// The lower-case names are the ones callers know; inside this namespace (or after a using
// directive) the C function is spelled ::time.
// date / time / datetime: plain fields; the all-zero datetime is what failed conversions give.
struct date {
  int64_t year = 0;
  int64_t month = 0;  // 1 to 12
  int64_t day = 0;    // 1 to 31
};
struct time {
  int64_t hour = 0;    // 0 to 23
  int64_t minute = 0;  // 0 to 59
  int64_t second = 0;  // 0 to 59
};
struct datetime {
  date d;
  time t;
};

// packeddate / packedtime / packeddatetime: the small forms, compared field by field.
struct packeddate {
  uint16_t year = 0;
  uint8_t month = 0;
  uint8_t day = 0;
};
struct packedtime {
  uint8_t hour = 0;
  uint8_t minute = 0;
  uint8_t second = 0;
};
struct packeddatetime {
  packeddate d;
  packedtime t;
};

// timestamp: 48 bits, little-endian: bits 0-9 millisecond, 10-15 second, 16-21 minute, 22-26
// hour, 27-31 day, 32-35 month, 36-47 year. Get/Set move the bits through one 64-bit value.
struct ORVGUI_API timestamp {
  uint8_t bytes[6] = {};
  uint64_t Get() const;
  void Set(uint64_t bits);  // the low 48 bits
};

// FILETIME: 100-nanosecond intervals since 1601-01-01 UTC in two halves.
struct FILETIME {
  uint32_t dwLowDateTime = 0;
  uint32_t dwHighDateTime = 0;
};
// SYSTEMTIME: the Windows broken-down time (wDayOfWeek 0 = Sunday).
struct SYSTEMTIME {
  uint16_t wYear = 0;
  uint16_t wMonth = 0;
  uint16_t wDayOfWeek = 0;
  uint16_t wDay = 0;
  uint16_t wHour = 0;
  uint16_t wMinute = 0;
  uint16_t wSecond = 0;
  uint16_t wMilliseconds = 0;
};

// DateTime64: a timestamp (the local time of its zone) in the low 48 bits and the zone byte in
// bits 48-55: bits 0-5 the absolute bias in units of 15 minutes (0 to 48), bit 6 set when the
// bias is negative (the zone is ahead of UTC), bit 7 reserved for callers and kept. The bias
// is the count of minutes to add to the local time to get UTC. The top byte is 0.
class ORVGUI_API DateTime64 {
 public:
  DateTime64() = default;
  explicit DateTime64(uint64_t value) : m_value(value) {}

  // Make: packs the fields and a bias in minutes. Gives 0 unless year is 1 to 4095, month 1 to
  // 12, day 1 to 31, hour below 24, minute and second below 60, millisecond below 1000, and the
  // bias within +-720 minutes and a multiple of 15.
  static DateTime64 Make(const datetime& local, int64_t millisecond, int64_t bias);
  // ZoneByte: the zone byte of a bias (as Make wants it); -1 when it cannot be packed.
  static int ZoneByte(int64_t bias);

  uint64_t GetValue() const { return m_value; }
  bool IsNull() const { return m_value == 0; }
  unsigned GetMillisecond() const { return static_cast<unsigned>(m_value & 0x3FF); }
  unsigned GetSecond() const { return static_cast<unsigned>((m_value >> 10) & 0x3F); }
  unsigned GetMinute() const { return static_cast<unsigned>((m_value >> 16) & 0x3F); }
  unsigned GetHour() const { return static_cast<unsigned>((m_value >> 22) & 0x1F); }
  unsigned GetDay() const { return static_cast<unsigned>((m_value >> 27) & 0x1F); }
  unsigned GetMonth() const { return static_cast<unsigned>((m_value >> 32) & 0x0F); }
  unsigned GetYear() const { return static_cast<unsigned>((m_value >> 36) & 0xFFF); }
  unsigned GetZoneByte() const { return static_cast<unsigned>((m_value >> 48) & 0xFF); }
  // GetBias: the zone's bias in minutes (UTC = local + bias).
  int64_t GetBias() const;
  // GetDateTime: the local fields without the millisecond.
  datetime GetDateTime() const;

  // Get: the same instant in the zone whose bias (minutes, UTC = local + bias) is given; 0 is
  // UTC. Gives 0 when this value is 0 or the zone cannot be packed (see Make).
  DateTime64 Get(short bias) const;
  // GetUnixTime: seconds since 1970-01-01 00:00:00 UTC.
  int64_t GetUnixTime() const;

  // GetStr: "2024-03-01T12:30:05.007" (separator between date and time), with withZone the
  // zone appended: "Z" for bias 0, else "+hh:mm" for a zone ahead of UTC, "-hh:mm" behind.
  // Defined with the other text forms in DateTimeText.cpp.
  AnsiStr GetStr(char separator = 'T', bool withZone = true) const;

  friend bool operator==(DateTime64 a, DateTime64 b) { return a.m_value == b.m_value; }

 private:
  uint64_t m_value = 0;
};

// Conversions. SimpleTime is seconds since 1970-01-01 00:00:00 UTC; milliseconds and
// nanoseconds counts share that epoch. A datetime given to them is taken as UTC.
ORVGUI_API int64_t DateTime2SimpleTime(const datetime& dt);    // 0 on failure
ORVGUI_API datetime SimpleTime2DateTime(int64_t seconds);       // all zero on failure
ORVGUI_API bool DateTime2BrokenTime(const datetime& dt, struct tm& out);
ORVGUI_API datetime BrokenTime2DateTime(const struct tm& in);
ORVGUI_API bool DateTime2SystemTime(const datetime& dt, SYSTEMTIME& out, unsigned millisecond = 0);
ORVGUI_API datetime SystemTime2DateTime(const SYSTEMTIME& in);
// The packed forms: false (last error EINVAL) and a zero result when a field does not fit
// (year 0 to 65535 for packeddate, 1 to 4095 and millisecond 0 to 999 for timestamp; hour,
// minute and second as for a valid time; month 1 to 12, day 1 to 31).
ORVGUI_API bool DateTime2PackedDateTime(const datetime& dt, packeddatetime& out);
ORVGUI_API datetime PackedDateTime2DateTime(const packeddatetime& in);
ORVGUI_API bool DateTime2TimeStamp(const datetime& dt, int64_t millisecond, timestamp& out);
ORVGUI_API datetime TimeStamp2DateTime(const timestamp& in, int64_t* millisecond = nullptr);
// DateTime64 and timestamp: the timestamp is the DateTime64's local fields without its zone;
// a timestamp becomes a DateTime64 of the zone whose bias is given (0 if it cannot be packed).
ORVGUI_API timestamp DateTime642TimeStamp(DateTime64 value);
ORVGUI_API DateTime64 TimeStamp2DateTime64(const timestamp& in, int64_t bias = 0);
// SystemTimeToFileTime / FileTimeToSystemTime: the platform-named pair; false (last error
// EINVAL) for a null pointer or a value outside the other form.
ORVGUI_API bool SystemTimeToFileTime(const SYSTEMTIME* in, FILETIME* out);
ORVGUI_API bool FileTimeToSystemTime(const FILETIME* in, SYSTEMTIME* out);
ORVGUI_API FILETIME UHyper2FileTime(uint64_t value);
ORVGUI_API uint64_t FileTime2UHyper(const FILETIME& ft);
ORVGUI_API FILETIME SimpleTime2FileTime(int64_t seconds);   // zero before 1601
ORVGUI_API int64_t FileTime2SimpleTime(const FILETIME& ft);  // whole seconds, rounded down
ORVGUI_API FILETIME DateTime2FileTime(const datetime& dt);
ORVGUI_API datetime FileTime2DateTime(const FILETIME& ft);
ORVGUI_API int64_t DateTime2Milliseconds(const datetime& dt, int64_t millisecond = 0);
ORVGUI_API datetime Milliseconds2DateTime(int64_t milliseconds, int64_t* millisecond = nullptr);
ORVGUI_API int64_t DateTime2Nanoseconds(const datetime& dt, int64_t nanosecond = 0);  // 0 past 2262
ORVGUI_API datetime Nanoseconds2DateTime(int64_t nanoseconds, int64_t* nanosecond = nullptr);

// GetUniversalDateTime: a local datetime in UTC. With a bias fixed in the setup values it is
// added; otherwise the platform's rules (daylight saving included) decide, and a value the
// platform cannot convert comes back unchanged. GetLocalDateTime is the reverse.
ORVGUI_API datetime GetUniversalDateTime(const datetime& local);
ORVGUI_API datetime GetLocalDateTime(const datetime& universal);

// GetCurrent...: local time (Universal: UTC) from the wall clock; false with every output 0
// when the clock cannot be read. The millisecond is the microseconds divided by 1000.
ORVGUI_API bool GetCurrentDateTime(int64_t& day, int64_t& month, int64_t& year, int64_t& hour, int64_t& minute,
                                   int64_t& second, int64_t& millisecond);
ORVGUI_API bool GetCurrentDateTime(datetime& now, int64_t* millisecond = nullptr);
ORVGUI_API bool GetCurrentDate(int64_t& day, int64_t& month, int64_t& year);
ORVGUI_API bool GetCurrentTime(int64_t& hour, int64_t& minute, int64_t& second);
ORVGUI_API bool GetCurrentUniversalDateTime(int64_t& day, int64_t& month, int64_t& year, int64_t& hour,
                                            int64_t& minute, int64_t& second, int64_t& millisecond);
ORVGUI_API bool GetCurrentUniversalDateTime(datetime& now, int64_t* millisecond = nullptr);
ORVGUI_API bool GetCurrentUniversalDate(int64_t& day, int64_t& month, int64_t& year);
ORVGUI_API bool GetCurrentUniversalTime(int64_t& hour, int64_t& minute, int64_t& second);

// SetCurrent...: set the system clock (local or UTC fields). False with last error EINVAL for
// fields that are not a valid date and time (millisecond 0 to 999), and false with the
// platform's error (EPERM without the privilege) when the clock cannot be set. The forms that
// set only the date or only the time keep the other part of the current value.
ORVGUI_API bool SetCurrentDateTime(int64_t day, int64_t month, int64_t year, int64_t hour, int64_t minute,
                                   int64_t second, int64_t millisecond);
ORVGUI_API bool SetCurrentDate(int64_t day, int64_t month, int64_t year);
ORVGUI_API bool SetCurrentTime(int64_t hour, int64_t minute, int64_t second);
ORVGUI_API bool SetCurrentUniversalDateTime(int64_t day, int64_t month, int64_t year, int64_t hour, int64_t minute,
                                            int64_t second, int64_t millisecond);
ORVGUI_API bool SetCurrentUniversalDate(int64_t day, int64_t month, int64_t year);
ORVGUI_API bool SetCurrentUniversalTime(int64_t hour, int64_t minute, int64_t second);

// GetCurrentSystemDateTime64: the current local time with milliseconds and the current bias
// (the one fixed in the setup values, else the platform's at this instant); 0 when it cannot
// be packed (see DateTime64::Make), for instance under a zone of +05:50.
ORVGUI_API DateTime64 GetCurrentSystemDateTime64();

}  // namespace OrvGuiBase
