// Calendar.cpp: the 1752 calendar, validity, arithmetic and differences.
//
// Day numbers. Every date maps to a day number: DaysBeforeYear(year) + GetDayInYear(date),
// and everything that moves or compares dates goes through it. The invariant is that
// consecutive existing days have consecutive numbers, across the Julian years, the switch of
// 1752 and the Gregorian years, and that the number mod 7 (shifted by 5) is the weekday:
//   - before 1753, with y = year - 1, the days before 1 January are 365 y + y / 4 (a leap day
//     every fourth year);
//   - from 1753 on the Gregorian centuries that are not leap years are subtracted, counting
//     from 1800 ((year - 1701) / 100 of them, less the (year - 1601) / 400 that are leap
//     years), together with the 11 days that September 1752 lost;
//   - within 1752 GetDayInYear counts the days after 2 September 11 fewer, so that 14
//     September follows 2 September.
// Going back from a day number first estimates the year, corrects it by whole years against
// DaysBeforeYear, and then walks the months with GetDaysOfMonth (19 for September 1752, whose
// days after the 2nd are the 14th onwards). Divisions are floor divisions so that years before
// 1 keep the same rules.
#include "base/time/Calendar.h"

#include <climits>

namespace OrvGuiBase {
namespace {

__extension__ typedef __int128 Int128;

// The years the day numbers handle without overflow; beyond them a step gives the zero date.
constexpr int64_t kYearLimit = int64_t{1} << 40;

int64_t FloorDiv(int64_t a, int64_t b) {
  const int64_t q = a / b;
  return (a % b != 0 && ((a < 0) != (b < 0))) ? q - 1 : q;
}
int64_t FloorMod(int64_t a, int64_t b) { return a - FloorDiv(a, b) * b; }

constexpr int kMonthDays[13] = {0, 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
constexpr int kDaysBeforeMonth[13] = {0, 0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};

// Years far beyond any calendar wrap around (unsigned arithmetic) instead of overflowing.
int64_t DaysBeforeYear(int64_t year) {
  const int64_t y = static_cast<int64_t>(static_cast<uint64_t>(year) - 1);
  uint64_t days = 365 * static_cast<uint64_t>(y) + static_cast<uint64_t>(FloorDiv(y, 4));
  if (year >= 1753) days += static_cast<uint64_t>(-((year - 1701) / 100) + (year - 1601) / 400 - 11);
  return static_cast<int64_t>(days);
}

bool GregorianLeap(uint64_t year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int64_t DayNumber(const date& d) {
  if (d.year >= 1753 && d.year < kYearLimit && d.month >= 1 && d.month <= 12) {
    // The Gregorian years in one expression: with y = year - 1, (year - 1701) / 100 is
    // y / 100 - 17 and (year - 1601) / 400 is y / 400 - 4, so the constant is 17 - 4 - 11.
    const uint64_t y = static_cast<uint64_t>(d.year) - 1;
    const uint64_t leapDay = d.month > 2 && GregorianLeap(y + 1) ? 1 : 0;
    return static_cast<int64_t>(365 * y + y / 4 - y / 100 + y / 400 + 2 + kDaysBeforeMonth[d.month] + leapDay +
                                static_cast<uint64_t>(d.day));
  }
  return DaysBeforeYear(d.year) + GetDayInYear(d);
}

bool YearInLimit(int64_t year) { return year > -kYearLimit && year < kYearLimit; }

date FromDayNumber(int64_t number) {
  // 1461 days are four Julian years; the estimate is within a few years of the answer.
  int64_t year = FloorDiv(number, 1461) * 4 + FloorDiv(FloorMod(number, 1461), 366) + 1;
  while (DaysBeforeYear(year) >= number) --year;
  while (DaysBeforeYear(year + 1) < number) ++year;
  int64_t left = number - DaysBeforeYear(year);  // 1 for 1 January
  int64_t month = 1;
  while (month < 12 && left > GetDaysOfMonth(year, month)) left -= GetDaysOfMonth(year, month++);
  if (year == 1752 && month == 9 && left > 2) left += 11;  // the 14th follows the 2nd
  return date{year, month, left};
}

int Sign(int64_t a, int64_t b) { return a < b ? -1 : a > b ? 1 : 0; }

int64_t SecondsOfDay(const time& t) { return t.hour * 3600 + t.minute * 60 + t.second; }

// Moves a date by a count of months given as a wide integer; keeps the month-end rule.
void MoveMonths(date& d, Int128 months) {
  const Int128 total = static_cast<Int128>(d.year) * 12 + (d.month - 1) + months;
  Int128 year = total / 12;
  Int128 month = total % 12;
  if (month < 0) month += 12, year -= 1;
  if (year <= -kYearLimit || year >= kYearLimit) {
    d = date{};
    return;
  }
  d.year = static_cast<int64_t>(year);
  d.month = static_cast<int64_t>(month) + 1;
  while (d.day > 0 && !IsValidDate(d)) --d.day;
}

// Adds seconds to a datetime, carrying whole days into the date.
void MoveSeconds(datetime& dt, Int128 seconds) {
  const Int128 total = SecondsOfDay(dt.t) + seconds;
  Int128 days = total / 86400;
  Int128 rest = total % 86400;
  if (rest < 0) rest += 86400, days -= 1;
  const int64_t r = static_cast<int64_t>(rest);
  dt.t = time{r / 3600, r / 60 % 60, r % 60};
  if (days <= -(kYearLimit * 366) || days >= kYearLimit * 366) {
    dt.d = date{};
    return;
  }
  AddDays(dt.d, static_cast<int64_t>(days));
}

void MoveSeconds(time& t, Int128 seconds) {
  Int128 rest = (SecondsOfDay(t) + seconds) % 86400;
  if (rest < 0) rest += 86400;
  const int64_t r = static_cast<int64_t>(rest);
  t = time{r / 3600, r / 60 % 60, r % 60};
}

}  // namespace

bool IsLeapYear(int64_t year) {
  if (year <= 1700) return FloorMod(year, 4) == 0;
  return GregorianLeap(static_cast<uint64_t>(year));
}

int GetDaysOfMonth(int64_t year, int64_t month) {
  if (month < 1 || month > 12) return 0;
  if (month == 2 && IsLeapYear(year)) return 29;
  if (year == 1752 && month == 9) return 19;  // 30 less the 11 days of the switch
  return kMonthDays[month];
}

int GetDaysOfYear(int64_t year) { return IsLeapYear(year) ? 366 : 365; }

int GetDayInYear(const date& d) {
  if (d.month < 1 || d.month > 12) return static_cast<int>(d.day);
  int day = kDaysBeforeMonth[d.month] + static_cast<int>(d.day);
  if (d.month > 2 && IsLeapYear(d.year)) ++day;
  if (d.year == 1752 && (d.month > 9 || (d.month == 9 && d.day > 2))) {
    // The missing 3 to 13 September count as the 2nd (they exist in no valid date); the rest
    // of the year counts 11 fewer.
    day -= (d.month == 9 && d.day < 14) ? static_cast<int>(d.day) - 2 : 11;
  }
  return day;
}

int GetDayInWeek(const date& d) {
  const int64_t n = DayNumber(d);
  return static_cast<int>(n >= 0 ? static_cast<uint64_t>(n + 5) % 7 : FloorMod(n + 5, 7));
}

namespace {
constexpr int kWeekOffset[7] = {-1, 0, 1, 2, 3, -3, -2};  // by the weekday of 1 January

int WeekOffset(int64_t year) { return kWeekOffset[GetDayInWeek(date{year, 1, 1})]; }
// HasWeek53: the year's last week is 53 when the next 1 January is a Friday to Sunday.
bool HasWeek53(int64_t year) {
  const int next = GetDayInWeek(date{year + 1, 1, 1});
  return next == 5 || next == 6 || next == 0;
}
}  // namespace

int GetWeekInYear(const date& d, int32_t* weekYear) {
  int64_t year = d.year;
  int64_t week = FloorDiv(GetDayInYear(d) + WeekOffset(year) - 1, 7) + 1;
  if (week < 1) {
    year -= 1;
    const date last{year, 12, 31};
    week = FloorDiv(GetDayInYear(last) + WeekOffset(year) - 1, 7) + 1;
  } else if (week > 52 && !HasWeek53(year)) {
    year += 1;
    week = 1;
  }
  if (weekYear != nullptr) *weekYear = static_cast<int32_t>(year);
  return static_cast<int>(week);
}

date GetDateOfWeek(int64_t year, int64_t week) {
  if (year < 1753 || year > 4712 || week < 1 || week > 53) return date{};
  if (week == 53 && !HasWeek53(year)) return date{};
  date result{year, 1, 1};
  AddDays(result, (week - 1) * 7 - WeekOffset(year));
  if (result.year > year) return date{};
  return result;
}

bool IsValidDate(int64_t day, int64_t month, int64_t year) {
  if (year < 1753 || year > 4712) return false;
  if (day < 1 || day > GetDaysOfMonth(year, month)) return false;
  // Deliberate: the first and the last day of the range are kept free (see the header).
  if (year == 1753 && month == 1 && day == 1) return false;
  if (year == 4712 && month == 12 && day == 31) return false;
  return true;
}
bool IsValidDate(const date& d) { return IsValidDate(d.day, d.month, d.year); }

bool IsValidTime(int64_t hour, int64_t minute, int64_t second) {
  return hour >= 0 && hour < 24 && minute >= 0 && minute < 60 && second >= 0 && second < 60;
}
bool IsValidTime(int64_t hour, int64_t minute) { return IsValidTime(hour, minute, 0); }
bool IsValidTime(const time& t) { return IsValidTime(t.hour, t.minute, t.second); }
bool IsValidDateTime(const datetime& dt) { return IsValidDate(dt.d) && IsValidTime(dt.t); }
bool IsValidPackedDate(const packeddate& d) { return IsValidDate(d.day, d.month, d.year); }
bool IsValidPackedTime(const packedtime& t) { return IsValidTime(t.hour, t.minute, t.second); }
bool IsValidPackedDateTime(const packeddatetime& dt) { return IsValidPackedDate(dt.d) && IsValidPackedTime(dt.t); }
bool IsValidTimeStamp(const timestamp& ts) {
  const uint64_t v = ts.Get();
  return (v & 0x3FF) < 1000 && IsValidDate((v >> 27) & 0x1F, (v >> 32) & 0x0F, (v >> 36) & 0xFFF) &&
         IsValidTime((v >> 22) & 0x1F, (v >> 16) & 0x3F, (v >> 10) & 0x3F);
}

void AddDays(date& d, int64_t days) {
  if (!YearInLimit(d.year) || days <= -(kYearLimit * 366) || days >= kYearLimit * 366) {
    d = date{};
    return;
  }
  const int64_t number = DayNumber(d) + days;
  const date moved = FromDayNumber(number);
  if (!YearInLimit(moved.year)) {
    d = date{};
    return;
  }
  d = moved;
}
void SubDays(date& d, int64_t days) {
  if (days == INT64_MIN) {
    d = date{};  // a step no calendar year range reaches
    return;
  }
  AddDays(d, -days);
}
void AddMonths(date& d, int64_t months) { MoveMonths(d, months); }
void SubMonths(date& d, int64_t months) { MoveMonths(d, -static_cast<Int128>(months)); }
void AddYears(date& d, int64_t years) { MoveMonths(d, static_cast<Int128>(years) * 12); }
void SubYears(date& d, int64_t years) { MoveMonths(d, -static_cast<Int128>(years) * 12); }

void AddHours(time& t, int64_t hours) { MoveSeconds(t, static_cast<Int128>(hours) * 3600); }
void AddMinutes(time& t, int64_t minutes) { MoveSeconds(t, static_cast<Int128>(minutes) * 60); }
void AddSeconds(time& t, int64_t seconds) { MoveSeconds(t, seconds); }
void AddDays(datetime& dt, int64_t days) { AddDays(dt.d, days); }
void AddHours(datetime& dt, int64_t hours) { MoveSeconds(dt, static_cast<Int128>(hours) * 3600); }
void AddMinutes(datetime& dt, int64_t minutes) { MoveSeconds(dt, static_cast<Int128>(minutes) * 60); }
void AddSeconds(datetime& dt, int64_t seconds) { MoveSeconds(dt, seconds); }

int64_t CountDays(const date& first, const date& second) { return DayNumber(second) - DayNumber(first); }

int64_t CountMonths(const date& first, const date& second) {
  int64_t months = (second.year - first.year) * 12 + (second.month - first.month);
  if (months > 0 && second.day < first.day) --months;
  if (months < 0 && second.day > first.day) ++months;
  return months;
}
int64_t CountYears(const date& first, const date& second) { return CountMonths(first, second) / 12; }

int64_t CountSeconds(const time& first, const time& second) { return SecondsOfDay(second) - SecondsOfDay(first); }
int64_t CountMinutes(const time& first, const time& second) { return CountSeconds(first, second) / 60; }
int64_t CountHours(const time& first, const time& second) { return CountSeconds(first, second) / 3600; }
int64_t CountSeconds(const datetime& first, const datetime& second) {
  return CountDays(first.d, second.d) * 86400 + CountSeconds(first.t, second.t);
}
int64_t CountMinutes(const datetime& first, const datetime& second) { return CountSeconds(first, second) / 60; }
int64_t CountHours(const datetime& first, const datetime& second) { return CountSeconds(first, second) / 3600; }

int CompareDateTime(const datetime& a, const datetime& b) {
  if (int c = Sign(a.d.year, b.d.year)) return c;
  if (int c = Sign(a.d.month, b.d.month)) return c;
  if (int c = Sign(a.d.day, b.d.day)) return c;
  return Sign(SecondsOfDay(a.t), SecondsOfDay(b.t));
}
int ComparePackedDate(const packeddate& a, const packeddate& b) {
  if (int c = Sign(a.year, b.year)) return c;
  if (int c = Sign(a.month, b.month)) return c;
  return Sign(a.day, b.day);
}
int ComparePackedTime(const packedtime& a, const packedtime& b) {
  if (int c = Sign(a.hour, b.hour)) return c;
  if (int c = Sign(a.minute, b.minute)) return c;
  return Sign(a.second, b.second);
}
int ComparePackedDateTime(const packeddatetime& a, const packeddatetime& b) {
  if (int c = ComparePackedDate(a.d, b.d)) return c;
  return ComparePackedTime(a.t, b.t);
}

int CategorizePast(const datetime& when, unsigned int& amount) {
  datetime now;
  GetCurrentDateTime(now);  // the all-zero value when the clock cannot be read
  return CategorizePast(when, amount, now);
}

int CategorizePast(const datetime& when, unsigned int& amount, const datetime& now) {
  amount = 0;
  if (CompareDateTime(when, now) > 0) return 0;
  auto set = [&amount](int64_t value) { amount = value > UINT_MAX ? UINT_MAX : static_cast<unsigned>(value); };
  // Whole months: the month step from when that does not pass now.
  int64_t months = (now.d.year - when.d.year) * 12 + (now.d.month - when.d.month);
  datetime step = when;
  AddMonths(step.d, months);
  if (months > 0 && CompareDateTime(step, now) > 0) step = when, AddMonths(step.d, --months);
  if (months >= 24) return set(months / 12), 10;
  if (months >= 2) return set(months), 9;
  const int64_t seconds = CountSeconds(when, now);
  const int64_t days = seconds / 86400;
  if (months == 1 && CountSeconds(step, now) / 86400 > 14) return set(days), 8;
  if (days >= 2) return set(days), 7;
  const int64_t hours = seconds / 3600;
  if (days == 1 && hours - 24 > 12) return set(hours), 6;
  const int64_t minutes = seconds / 60;
  if (minutes > 90) return set((minutes + 30) / 60), 5;
  if (minutes >= 56) return set(minutes), 4;
  if (minutes >= 2) return set(minutes), 3;
  if (seconds >= 11) return set(seconds), 2;
  return set(seconds), 1;
}

}  // namespace OrvGuiBase
