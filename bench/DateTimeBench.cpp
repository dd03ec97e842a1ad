// DateTimeBench.cpp: the date/time text and calendar beside what a user would otherwise pick.
//
// Groups: "IsoText" (DateTime64::GetStr beside gmtime_r + strftime + snprintf for the same
// "2024-03-01T12:30:05.007Z" text, each making a string object; target at least 2x faster),
// "DayInWeek" (GetDayInWeek beside std::chrono's weekday of a year_month_day) and "CountDays"
// (CountDays beside the difference of two std::chrono::sys_days), over a spread of dates.
#include <benchmark/benchmark.h>
#include <sys/time.h>

#include <chrono>
#include <cstdio>
#include <ctime>
#include <string>
#include <vector>

#include "base/time/Calendar.h"
#include "base/time/DateTimeText.h"

namespace {

using namespace OrvGuiBase;

std::vector<date> Dates() {
  std::vector<date> dates;
  for (int64_t i = 0; i < 1024; ++i) dates.push_back(date{1800 + (i * 37) % 500, 1 + i % 12, 1 + (i * 7) % 28});
  return dates;
}

void IsoText_orvgui(benchmark::State& state) {
  const DateTime64 value = DateTime64::Make(datetime{{2024, 3, 1}, {12, 30, 5}}, 7, 0);
  for (auto _ : state) benchmark::DoNotOptimize(value.GetStr());
}
BENCHMARK(IsoText_orvgui)->Name("IsoText/orvgui");

void IsoText_strftime(benchmark::State& state) {
  const time_t seconds = 1709296205;
  const unsigned millisecond = 7;
  for (auto _ : state) {
    struct tm broken;
    gmtime_r(&seconds, &broken);
    char head[32];
    strftime(head, sizeof head, "%Y-%m-%dT%H:%M:%S", &broken);
    char text[48];
    const int n = snprintf(text, sizeof text, "%s.%03uZ", head, millisecond);
    benchmark::DoNotOptimize(std::string(text, static_cast<size_t>(n)));
  }
}
BENCHMARK(IsoText_strftime)->Name("IsoText/strftime");

void DayInWeek_orvgui(benchmark::State& state) {
  const std::vector<date> dates = Dates();
  size_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(GetDayInWeek(dates[i++ & 1023]));
}
BENCHMARK(DayInWeek_orvgui)->Name("DayInWeek/orvgui");

void DayInWeek_chrono(benchmark::State& state) {
  const std::vector<date> dates = Dates();
  size_t i = 0;
  for (auto _ : state) {
    const date& d = dates[i++ & 1023];
    const std::chrono::year_month_day ymd{std::chrono::year(static_cast<int>(d.year)),
                                          std::chrono::month(static_cast<unsigned>(d.month)),
                                          std::chrono::day(static_cast<unsigned>(d.day))};
    benchmark::DoNotOptimize(std::chrono::weekday(std::chrono::sys_days(ymd)).c_encoding());
  }
}
BENCHMARK(DayInWeek_chrono)->Name("DayInWeek/chrono");

void CountDays_orvgui(benchmark::State& state) {
  const std::vector<date> dates = Dates();
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(CountDays(dates[i & 1023], dates[(i + 511) & 1023]));
    ++i;
  }
}
BENCHMARK(CountDays_orvgui)->Name("CountDays/orvgui");

std::chrono::sys_days Days(const date& d) {
  return std::chrono::sys_days(std::chrono::year_month_day{std::chrono::year(static_cast<int>(d.year)),
                                                           std::chrono::month(static_cast<unsigned>(d.month)),
                                                           std::chrono::day(static_cast<unsigned>(d.day))});
}

void CountDays_chrono(benchmark::State& state) {
  const std::vector<date> dates = Dates();
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize((Days(dates[(i + 511) & 1023]) - Days(dates[i & 1023])).count());
    ++i;
  }
}
BENCHMARK(CountDays_chrono)->Name("CountDays/chrono");

}  // namespace
