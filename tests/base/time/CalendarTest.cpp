// Tests of the 1752 calendar: weekdays, day counts, ISO weeks, validity, arithmetic,
// differences and CategorizePast.
#include <gtest/gtest.h>

#include <climits>

#include "base/time/Calendar.h"

namespace OrvGuiBase {
namespace {

// Weekdays (0 Sunday) and day numbers relative to 1970-01-01, computed independently from the
// Julian day numbers of the Julian calendar (up to 2 September 1752) and of the Gregorian one.
struct KnownDay {
  date d;
  int weekday;
  int64_t daysFrom1970;
  const char* why;
};
const KnownDay kKnownDays[] = {
    {{1, 1, 1}, 6, -719164, "the first Julian year"},
    {{1066, 10, 14}, 6, -329887, "a Saturday of the Julian calendar"},
    {{1492, 10, 12}, 5, -174292, "Julian, a Friday"},
    {{1600, 1, 1}, 2, -135130, "Julian century, leap"},
    {{1700, 2, 28}, 3, -98547, "1700 is a Julian leap year"},
    {{1700, 2, 29}, 4, -98546, "the Julian leap day of 1700"},
    {{1700, 3, 1}, 5, -98545, "after the leap day"},
    {{1752, 1, 1}, 3, -79612, "the year of the switch"},
    {{1752, 9, 2}, 3, -79367, "last Julian day, a Wednesday"},
    {{1752, 9, 14}, 4, -79366, "first Gregorian day, the next day"},
    {{1752, 12, 31}, 0, -79258, "end of the short year"},
    {{1753, 1, 1}, 1, -79257, "first full Gregorian year"},
    {{1776, 7, 4}, 4, -70672, "a Thursday"},
    {{1800, 2, 28}, 5, -62033, "1800 is not a leap year"},
    {{1800, 3, 1}, 6, -62032, "so March follows February 28"},
    {{1900, 2, 28}, 3, -25509, "1900 is not a leap year"},
    {{1900, 3, 1}, 4, -25508, "nor here"},
    {{1970, 1, 1}, 4, 0, "the epoch, a Thursday"},
    {{2000, 2, 29}, 2, 11016, "2000 is a leap year"},
    {{2000, 3, 1}, 3, 11017, "after the leap day"},
    {{2024, 3, 1}, 5, 19783, "a Friday"},
    {{2100, 2, 28}, 0, 47540, "2100 is not a leap year"},
    {{2100, 3, 1}, 1, 47541, "so this is the next day"},
    {{2400, 2, 29}, 2, 157113, "2400 is a leap year"},
    {{4712, 12, 31}, 2, 1001859, "the end of the range"},
};

TEST(Calendar, WeekdaysAndDayCountsAgainstKnownDates) {
  const date epoch{1970, 1, 1};
  for (const KnownDay& k : kKnownDays) {
    SCOPED_TRACE(k.why);
    EXPECT_EQ(GetDayInWeek(k.d), k.weekday) << k.d.year << "-" << k.d.month << "-" << k.d.day;
    EXPECT_EQ(CountDays(epoch, k.d), k.daysFrom1970) << k.d.year << "-" << k.d.month << "-" << k.d.day;
    EXPECT_EQ(CountDays(k.d, epoch), -k.daysFrom1970);
    date moved = epoch;
    AddDays(moved, k.daysFrom1970);  // the way back from a day number lands on the same date
    EXPECT_EQ(moved.year, k.d.year);
    EXPECT_EQ(moved.month, k.d.month);
    EXPECT_EQ(moved.day, k.d.day);
  }
  // Consecutive days everywhere in a stretch around the switch and across 1799-1801.
  for (date start : {date{1751, 12, 1}, date{1799, 12, 1}}) {
    date d = start;
    int weekday = GetDayInWeek(d);
    for (int i = 0; i < 800; ++i) {
      date next = d;
      AddDays(next, 1);
      EXPECT_EQ(CountDays(d, next), 1);
      EXPECT_EQ(GetDayInWeek(next), (weekday + 1) % 7);
      EXPECT_FALSE(next.year == 1752 && next.month == 9 && next.day > 2 && next.day < 14);
      weekday = GetDayInWeek(next);
      d = next;
    }
  }
}

TEST(Calendar, LeapYearsMonthsAndDaysInYear) {
  struct Row {
    int64_t year;
    bool leap;
  } const leaps[] = {{4, true}, {1500, true}, {1600, true}, {1700, true}, {1701, false}, {1752, true},
                     {1800, false}, {1900, false}, {2000, true}, {2023, false}, {2024, true}, {2100, false}};
  for (const Row& r : leaps) EXPECT_EQ(IsLeapYear(r.year), r.leap) << r.year;
  EXPECT_EQ(GetDaysOfMonth(1752, 9), 19);
  EXPECT_EQ(GetDaysOfMonth(1753, 9), 30);
  EXPECT_EQ(GetDaysOfMonth(1700, 2), 29);
  EXPECT_EQ(GetDaysOfMonth(1800, 2), 28);
  EXPECT_EQ(GetDaysOfMonth(2024, 0), 0);
  EXPECT_EQ(GetDaysOfMonth(2024, 13), 0);
  EXPECT_EQ(GetDaysOfYear(2024), 366);
  EXPECT_EQ(GetDaysOfYear(2023), 365);
  EXPECT_EQ(GetDayInYear(date{1752, 9, 2}), 246);
  EXPECT_EQ(GetDayInYear(date{1752, 9, 14}), 247);
  EXPECT_EQ(GetDayInYear(date{1752, 12, 31}), 355);
  EXPECT_EQ(GetDayInYear(date{2024, 12, 31}), 366);
  EXPECT_EQ(CountDays(date{1752, 1, 1}, date{1753, 1, 1}), 355);
}

struct WeekRow {
  date d;
  int week;
  int32_t weekYear;
};
// ISO weeks (verified with an independent ISO calendar) for years whose 1 January falls on
// every weekday, leap and common.
const WeekRow kWeeks[] = {
    {{2018, 1, 1}, 1, 2018}, {{2018, 1, 4}, 1, 2018}, {{2018, 12, 28}, 52, 2018}, {{2018, 12, 31}, 1, 2019},    // Mon
    {{2019, 1, 1}, 1, 2019}, {{2019, 12, 29}, 52, 2019}, {{2019, 12, 31}, 1, 2020},                            // Tue
    {{2020, 1, 1}, 1, 2020}, {{2020, 12, 28}, 53, 2020}, {{2020, 12, 31}, 53, 2020},                           // Wed, leap
    {{2015, 1, 1}, 1, 2015}, {{2015, 12, 28}, 53, 2015}, {{2015, 12, 31}, 53, 2015},                           // Thu
    {{2004, 1, 1}, 1, 2004}, {{2004, 12, 31}, 53, 2004},                                                       // Thu, leap
    {{2016, 1, 1}, 53, 2015}, {{2016, 1, 4}, 1, 2016}, {{2016, 12, 31}, 52, 2016},                             // Fri, leap
    {{2021, 1, 1}, 53, 2020}, {{2021, 1, 4}, 1, 2021}, {{2021, 12, 31}, 52, 2021},                             // Fri
    {{2011, 1, 1}, 52, 2010}, {{2011, 1, 4}, 1, 2011}, {{2011, 12, 31}, 52, 2011},                             // Sat
    {{2017, 1, 1}, 52, 2016}, {{2017, 1, 4}, 1, 2017}, {{2017, 12, 31}, 52, 2017},                             // Sun
    {{2012, 1, 1}, 52, 2011}, {{2012, 12, 29}, 52, 2012}, {{2012, 12, 31}, 1, 2013},                           // Sun, leap
    {{1753, 1, 1}, 1, 1753}, {{1753, 12, 31}, 1, 1754}, {{4712, 12, 28}, 52, 4712}, {{4712, 12, 31}, 1, 4713}, // range ends
};

TEST(Calendar, IsoWeeksAtYearBoundaries) {
  for (const WeekRow& r : kWeeks) {
    int32_t weekYear = 0;
    EXPECT_EQ(GetWeekInYear(r.d, &weekYear), r.week) << r.d.year << "-" << r.d.month << "-" << r.d.day;
    EXPECT_EQ(weekYear, r.weekYear) << r.d.year << "-" << r.d.month << "-" << r.d.day;
    EXPECT_EQ(GetWeekInYear(r.d), r.week);
  }
}

TEST(Calendar, DateOfWeek) {
  struct Row {
    int64_t year, week;
    date monday;  // all zero when refused
  } const rows[] = {
      {2018, 1, {2018, 1, 1}},   {2018, 52, {2018, 12, 24}}, {2018, 53, {}},
      {2019, 1, {2018, 12, 31}}, {2020, 1, {2019, 12, 30}},  {2020, 53, {2020, 12, 28}},
      {2015, 1, {2014, 12, 29}}, {2015, 53, {2015, 12, 28}}, {2016, 1, {2016, 1, 4}},
      {2016, 53, {}},            {2011, 1, {2011, 1, 3}},    {2017, 1, {2017, 1, 2}},
      {2004, 53, {2004, 12, 27}}, {4711, 52, {4711, 12, 25}}, {4711, 53, {}},
      {2024, 0, {}},             {1752, 10, {}},             {4713, 1, {}},
  };
  for (const Row& r : rows) {
    const date d = GetDateOfWeek(r.year, r.week);
    EXPECT_EQ(d.year, r.monday.year) << r.year << " W" << r.week;
    EXPECT_EQ(d.month, r.monday.month) << r.year << " W" << r.week;
    EXPECT_EQ(d.day, r.monday.day) << r.year << " W" << r.week;
    if (d.year != 0) {
      EXPECT_EQ(GetDayInWeek(d), 1);
      int32_t weekYear = 0;
      EXPECT_EQ(GetWeekInYear(d, &weekYear), r.week);
      EXPECT_EQ(weekYear, r.year);
    }
  }
}

TEST(Calendar, Validity) {
  struct Row {
    int64_t day, month, year;
    bool valid;
    const char* why;
  } const rows[] = {
      {1, 1, 1753, false, "deliberately kept free"},  {2, 1, 1753, true, "first valid day"},
      {31, 12, 4712, false, "deliberately kept free"}, {30, 12, 4712, true, "last valid day"},
      {1, 1, 4713, false, "past the range"},           {31, 12, 1752, false, "before the range"},
      {29, 2, 1800, false, "not a leap year"},         {29, 2, 2000, true, "leap year"},
      {31, 4, 2024, false, "April has 30 days"},       {0, 5, 2024, false, "day 0"},
      {1, 13, 2024, false, "month 13"},                {1, 0, 2024, false, "month 0"},
  };
  for (const Row& r : rows) EXPECT_EQ(IsValidDate(r.day, r.month, r.year), r.valid) << r.why;
  EXPECT_TRUE(IsValidTime(23, 59, 59));
  EXPECT_FALSE(IsValidTime(24, 0, 0));
  EXPECT_FALSE(IsValidTime(0, 60));
  EXPECT_FALSE(IsValidTime(0, 0, -1));
  EXPECT_TRUE(IsValidPackedDateTime(packeddatetime{{2024, 3, 1}, {12, 0, 0}}));
  EXPECT_FALSE(IsValidPackedDate(packeddate{2024, 2, 30}));
  timestamp ts;
  ts.Set(uint64_t{2024} << 36 | uint64_t{3} << 32 | uint64_t{1} << 27 | uint64_t{12} << 22 | 999);
  EXPECT_TRUE(IsValidTimeStamp(ts));
  ts.Set(ts.Get() + 1);  // millisecond 1000
  EXPECT_FALSE(IsValidTimeStamp(ts));
}

TEST(Calendar, MonthArithmeticAtMonthEndsAndRangeEdges) {
  struct Row {
    date from;
    int64_t months;
    date to;
    const char* why;
  } const rows[] = {
      {{2024, 1, 31}, 1, {2024, 2, 29}, "falls to the end of a leap February"},
      {{2023, 1, 31}, 1, {2023, 2, 28}, "and of a common one"},
      {{2024, 3, 31}, -1, {2024, 2, 29}, "backwards too"},
      {{2024, 5, 31}, 1, {2024, 6, 30}, "30-day month"},
      {{2024, 12, 15}, 1, {2025, 1, 15}, "carries into the year"},
      {{2024, 1, 15}, -1, {2023, 12, 15}, "borrows from the year"},
      {{2024, 1, 15}, 120, {2034, 1, 15}, "ten years"},
      {{1753, 2, 1}, -1, {1753, 1, 0}, "the free first day: lowering stops at day 0"},
      {{4712, 11, 30}, 2, {4713, 1, 0}, "out of the range: day 0"},
      {{1753, 3, 15}, -3, {1752, 12, 0}, "before the range: day 0"},
      {{4712, 1, 31}, 11, {4712, 12, 30}, "the free last day is skipped"},
      {{2024, 1, 1}, INT64_MAX, {}, "a step no year reaches"},
      {{2024, 1, 1}, INT64_MIN, {}, "nor backwards"},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.why);
    date d = r.from;
    AddMonths(d, r.months);
    EXPECT_EQ(d.year, r.to.year);
    EXPECT_EQ(d.month, r.to.month);
    EXPECT_EQ(d.day, r.to.day);
    if (r.months != INT64_MIN) {
      date back = r.from;
      SubMonths(back, -r.months);
      EXPECT_EQ(back.day, d.day);
      EXPECT_EQ(back.month, d.month);
    }
  }
  date leap{2024, 2, 29};
  AddYears(leap, 1);
  EXPECT_EQ(leap.day, 28);
  SubYears(leap, 4);
  EXPECT_EQ(leap.year, 2021);
  date far{2024, 1, 1};
  AddDays(far, INT64_MAX);
  EXPECT_EQ(far.year, 0);
  date farBack{2024, 1, 1};
  SubDays(farBack, INT64_MIN);
  EXPECT_EQ(farBack.year, 0);
}

TEST(Calendar, TimeStepsAndDifferences) {
  time t{23, 30, 0};
  AddMinutes(t, 45);
  EXPECT_EQ(t.hour, 0);
  EXPECT_EQ(t.minute, 15);
  AddHours(t, -1);
  EXPECT_EQ(t.hour, 23);
  AddSeconds(t, 86400 * 3 + 1);
  EXPECT_EQ(t.second, 1);
  datetime dt{{1752, 9, 2}, {23, 0, 0}};
  AddHours(dt, 1);
  EXPECT_EQ(dt.d.day, 14);  // carries over the switch
  EXPECT_EQ(dt.t.hour, 0);
  AddMinutes(dt, INT64_MIN);  // far out: no crash, the zero date
  EXPECT_EQ(dt.d.year, 0);

  EXPECT_EQ(CountMonths(date{2024, 1, 1}, date{2024, 1, 31}), 0);
  EXPECT_EQ(CountMonths(date{2024, 1, 31}, date{2024, 2, 29}), 0);
  EXPECT_EQ(CountMonths(date{2024, 1, 1}, date{2024, 2, 1}), 1);
  EXPECT_EQ(CountMonths(date{2024, 2, 1}, date{2024, 1, 1}), -1);
  EXPECT_EQ(CountYears(date{2000, 2, 29}, date{2024, 2, 28}), 23);
  EXPECT_EQ(CountSeconds(time{1, 0, 0}, time{0, 0, 1}), -3599);
  EXPECT_EQ(CountHours(datetime{{2024, 3, 1}, {}}, datetime{{2024, 3, 3}, {1, 59, 0}}), 49);
  EXPECT_EQ(CountMinutes(datetime{{2024, 3, 1}, {0, 0, 59}}, datetime{{2024, 3, 1}, {0, 2, 0}}), 1);

  EXPECT_LT(CompareDateTime(datetime{{2024, 3, 1}, {1, 0, 0}}, datetime{{2024, 3, 1}, {1, 0, 1}}), 0);
  EXPECT_GT(CompareDateTime(datetime{{2025, 1, 1}, {}}, datetime{{2024, 12, 31}, {23, 59, 59}}), 0);
  EXPECT_EQ(CompareDateTime(datetime{{2024, 3, 1}, {}}, datetime{{2024, 3, 1}, {}}), 0);
  EXPECT_LT(ComparePackedDate(packeddate{2024, 2, 29}, packeddate{2024, 3, 1}), 0);
  EXPECT_GT(ComparePackedTime(packedtime{1, 0, 0}, packedtime{0, 59, 59}), 0);
  EXPECT_EQ(ComparePackedDateTime(packeddatetime{{2024, 3, 1}, {1, 2, 3}}, packeddatetime{{2024, 3, 1}, {1, 2, 3}}), 0);
}

TEST(Calendar, CategorizePastAtEachBoundary) {
  const datetime now{{2024, 6, 15}, {12, 0, 0}};
  auto ago = [&now](int64_t seconds) {
    datetime when = now;
    AddSeconds(when, -seconds);
    return when;
  };
  auto monthsAgo = [&now](int64_t months, int64_t extraSeconds) {
    datetime when = now;
    SubMonths(when.d, months);
    AddSeconds(when, -extraSeconds);
    return when;
  };
  struct Row {
    datetime when;
    int category;
    unsigned amount;
    const char* why;
  } const rows[] = {
      {ago(-1), 0, 0, "one second in the future"},
      {ago(0), 1, 0, "now"},
      {ago(10), 1, 10, "10 seconds"},
      {ago(11), 2, 11, "11 seconds"},
      {ago(119), 2, 119, "just under 2 minutes"},
      {ago(120), 3, 2, "2 minutes"},
      {ago(55 * 60 + 59), 3, 55, "55 minutes"},
      {ago(56 * 60), 4, 56, "56 minutes"},
      {ago(59 * 60), 4, 59, "59 minutes"},
      {ago(90 * 60 + 59), 4, 90, "90 minutes"},
      {ago(91 * 60), 5, 2, "91 minutes: hours rounded"},
      {ago(100 * 60), 5, 2, "100 minutes"},
      {ago(36 * 3600), 5, 36, "one day and 12 hours: not more than 12"},
      {ago(37 * 3600), 6, 37, "one day and 13 hours"},
      {ago(48 * 3600 - 1), 6, 47, "just under 2 days"},
      {ago(48 * 3600), 7, 2, "2 days"},
      {monthsAgo(1, 0), 7, 31, "exactly one month (May has 31 days)"},
      {monthsAgo(1, 14 * 86400), 7, 45, "one month and 14 days"},
      {monthsAgo(1, 15 * 86400), 8, 46, "one month and 15 days"},
      {monthsAgo(2, 0), 9, 2, "2 months"},
      {monthsAgo(23, 0), 9, 23, "23 months"},
      {monthsAgo(24, 0), 10, 2, "2 years"},
      {monthsAgo(24, -1), 9, 23, "one second short of 2 years"},
      {monthsAgo(120, 0), 10, 10, "10 years"},
  };
  for (const Row& r : rows) {
    unsigned amount = 12345;
    EXPECT_EQ(CategorizePast(r.when, amount, now), r.category) << r.why;
    EXPECT_EQ(amount, r.amount) << r.why;
  }
  unsigned amount = 1;
  datetime future{{4000, 1, 1}, {}};
  EXPECT_EQ(CategorizePast(future, amount), 0);  // against the real clock
  EXPECT_EQ(amount, 0u);
  EXPECT_EQ(CategorizePast(datetime{{1900, 1, 1}, {}}, amount), 10);
}

}  // namespace
}  // namespace OrvGuiBase
