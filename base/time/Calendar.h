// Calendar.h: the calendar of the date values: leap years, weekdays, ISO weeks, validity,
// arithmetic, differences and comparisons.
//
//   date d{2024, 1, 31};
//   AddMonths(d, 1);                         // 2024-02-29: the day falls to the month's end
//   int weekday = GetDayInWeek(d);           // 4, Thursday (0 is Sunday)
//   int64_t days = CountDays(date{2024, 1, 1}, d);   // 59
//
// The calendar is the Julian one up to 2 September 1752 and the Gregorian one from 14
// September 1752, the British switch; 3 to 13 September 1752 do not exist. Valid dates lie in
// 1753 to 4712, without 1 January 1753 and 31 December 4712 (see IsValidDate). All functions
// are pure and thread safe.
//
// Depends on DateTime.h.
#pragma once

#include "base/time/DateTime.h"

namespace OrvGuiBase {

// IsLeapYear: every fourth year up to 1700; from 1701 on also not the centuries except every
// fourth (1700 is a leap year, 1800 is not, 2000 is).
ORVGUI_API bool IsLeapYear(int64_t year);
// GetDaysOfMonth: 28 to 31; September 1752 has 19; 0 for a month outside 1 to 12.
ORVGUI_API int GetDaysOfMonth(int64_t year, int64_t month);
// GetDaysOfYear: 365 or 366.
ORVGUI_API int GetDaysOfYear(int64_t year);
// GetDayInYear: 1 for 1 January; in 1752 the days after 2 September count 11 fewer.
ORVGUI_API int GetDayInYear(const date& d);
// GetDayInWeek: 0 Sunday to 6 Saturday.
ORVGUI_API int GetDayInWeek(const date& d);
// GetWeekInYear: the ISO 8601 week (Monday first; week 1 holds the year's first Thursday), 1
// to 53; weekYear, when given, receives the year the week belongs to, which differs from the
// date's year around New Year.
ORVGUI_API int GetWeekInYear(const date& d, int32_t* weekYear = nullptr);
// GetDateOfWeek: the Monday of an ISO week (possibly in December of the year before). Year 1753
// to 4712, week 1 to the year's last week; otherwise the all-zero date.
ORVGUI_API date GetDateOfWeek(int64_t year, int64_t week);

// Validity. Deliberately 1 January 1753 and 31 December 4712 are invalid: a valid value moved
// by any time-zone bias stays inside the range, and stored data relies on that.
ORVGUI_API bool IsValidDate(int64_t day, int64_t month, int64_t year);
ORVGUI_API bool IsValidDate(const date& d);
ORVGUI_API bool IsValidTime(int64_t hour, int64_t minute, int64_t second);
ORVGUI_API bool IsValidTime(int64_t hour, int64_t minute);
ORVGUI_API bool IsValidTime(const time& t);
ORVGUI_API bool IsValidDateTime(const datetime& dt);
ORVGUI_API bool IsValidPackedDate(const packeddate& d);
ORVGUI_API bool IsValidPackedTime(const packedtime& t);
ORVGUI_API bool IsValidPackedDateTime(const packeddatetime& dt);
ORVGUI_API bool IsValidTimeStamp(const timestamp& ts);  // also: millisecond below 1000

// Arithmetic, in place. The day steps move through the day numbers of GetDayInWeek, so they
// cross 1752 correctly; a step that leaves the years the types can count gives the all-zero
// date. AddMonths moves the month and then lowers the day while the date is not valid: 31
// January plus one month is the last day of February, and a result outside 1753 to 4712 ends
// with day 0. AddYears follows the same rule. A negative count moves backwards.
ORVGUI_API void AddDays(date& d, int64_t days);
ORVGUI_API void SubDays(date& d, int64_t days);
ORVGUI_API void AddMonths(date& d, int64_t months);
ORVGUI_API void SubMonths(date& d, int64_t months);
ORVGUI_API void AddYears(date& d, int64_t years);
ORVGUI_API void SubYears(date& d, int64_t years);
// On a time the steps wrap around midnight; on a datetime they carry into the date.
ORVGUI_API void AddHours(time& t, int64_t hours);
ORVGUI_API void AddMinutes(time& t, int64_t minutes);
ORVGUI_API void AddSeconds(time& t, int64_t seconds);
ORVGUI_API void AddDays(datetime& dt, int64_t days);
ORVGUI_API void AddHours(datetime& dt, int64_t hours);
ORVGUI_API void AddMinutes(datetime& dt, int64_t minutes);
ORVGUI_API void AddSeconds(datetime& dt, int64_t seconds);

// Differences, second minus first. CountMonths and CountYears count whole months and years
// (1 January to 31 January is 0 months, to 1 February is 1).
ORVGUI_API int64_t CountDays(const date& first, const date& second);
ORVGUI_API int64_t CountMonths(const date& first, const date& second);
ORVGUI_API int64_t CountYears(const date& first, const date& second);
ORVGUI_API int64_t CountHours(const time& first, const time& second);
ORVGUI_API int64_t CountMinutes(const time& first, const time& second);
ORVGUI_API int64_t CountSeconds(const time& first, const time& second);
ORVGUI_API int64_t CountHours(const datetime& first, const datetime& second);
ORVGUI_API int64_t CountMinutes(const datetime& first, const datetime& second);
ORVGUI_API int64_t CountSeconds(const datetime& first, const datetime& second);

// Comparisons: negative, 0 or positive as the first is earlier than, equal to or later than
// the second.
ORVGUI_API int CompareDateTime(const datetime& first, const datetime& second);
ORVGUI_API int ComparePackedDate(const packeddate& first, const packeddate& second);
ORVGUI_API int ComparePackedTime(const packedtime& first, const packedtime& second);
ORVGUI_API int ComparePackedDateTime(const packeddatetime& first, const packeddatetime& second);

// CategorizePast: how long ago a local datetime was, for wording such as "3 minutes ago":
//   0 later than now (amount 0)          6 one day and more than 12 hours (hours)
//   10 at least 2 years (years)          5 more than 90 minutes (hours, rounded)
//   9 at least 2 months (months)         4 56 to 90 minutes (minutes)
//   8 one month and more than 14 days    3 2 to 55 minutes (minutes)
//     (days)                             2 11 seconds to 2 minutes (seconds)
//   7 at least 2 days (days)             1 less than 11 seconds (seconds)
// The first form reads the current local time; the second takes "now" from the caller.
ORVGUI_API int CategorizePast(const datetime& when, unsigned int& amount);
ORVGUI_API int CategorizePast(const datetime& when, unsigned int& amount, const datetime& now);

}  // namespace OrvGuiBase
