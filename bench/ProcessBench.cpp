// ProcessBench.cpp: the process services on their hot paths beside what a program would call
// otherwise.
//
// Groups: "DecimalSeparator" reads the decimal separator (Setup::GetComma, one load) beside
// localeconv() and nl_langinfo(RADIXCHAR); "TimeZoneBias" reads the bias (Setup::GetTimeZoneBias)
// beside localtime_r's tm_gmtoff; "UserById" looks up uid 0 (Account::LookupById, answered by
// the per-thread cache) beside getpwuid_r; "EventOff" is a guarded event report with no sink
// beside an empty loop body: what telemetry costs a caller while nobody listens (the lock
// path with its telemetry check is measured in CoreBench's "LockEnterLeave").
#include <benchmark/benchmark.h>
#include <langinfo.h>
#include <locale.h>
#include <pwd.h>

#include <ctime>
#include <vector>

#include "base/process/Account.h"
#include "base/process/Setup.h"
#include "telemetry/Telemetry.h"

namespace {

using namespace OrvGuiBase;

void DecimalSeparator_orvgui(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(Setup::GetComma());
}
BENCHMARK(DecimalSeparator_orvgui)->Name("DecimalSeparator/orvgui");

void DecimalSeparator_localeconv(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(localeconv()->decimal_point);
}
BENCHMARK(DecimalSeparator_localeconv)->Name("DecimalSeparator/localeconv");

void DecimalSeparator_nl_langinfo(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(nl_langinfo(RADIXCHAR));
}
BENCHMARK(DecimalSeparator_nl_langinfo)->Name("DecimalSeparator/nl_langinfo");

void TimeZoneBias_orvgui(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(Setup::GetTimeZoneBias());
}
BENCHMARK(TimeZoneBias_orvgui)->Name("TimeZoneBias/orvgui");

void TimeZoneBias_localtime_r(benchmark::State& state) {
  for (auto _ : state) {
    const time_t now = time(nullptr);
    tm local{};
    localtime_r(&now, &local);
    benchmark::DoNotOptimize(-local.tm_gmtoff / 60);
  }
}
BENCHMARK(TimeZoneBias_localtime_r)->Name("TimeZoneBias/localtime_r");

void UserById_orvgui(benchmark::State& state) {
  AccountInfo info;
  for (auto _ : state) benchmark::DoNotOptimize(Account::LookupById(0, info));
}
BENCHMARK(UserById_orvgui)->Name("UserById/orvgui");

void UserById_getpwuid_r(benchmark::State& state) {
  std::vector<char> buffer(16384);
  for (auto _ : state) {
    passwd entry{};
    passwd* found = nullptr;
    benchmark::DoNotOptimize(getpwuid_r(0, &entry, buffer.data(), buffer.size(), &found));
  }
}
BENCHMARK(UserById_getpwuid_r)->Name("UserById/getpwuid_r");

void EventOff_orvgui(benchmark::State& state) {
  int sum = 0;
  for (auto _ : state) {
    if (IsTelemetryDelivered(APM_MODULE_ORVGUI)) APMEventParam(APM_MODULE_ORVGUI, 1, sum, 1, "bench");
    benchmark::DoNotOptimize(++sum);
  }
}
BENCHMARK(EventOff_orvgui)->Name("EventOff/orvgui");

void EventOff_nothing(benchmark::State& state) {
  int sum = 0;
  for (auto _ : state) benchmark::DoNotOptimize(++sum);
}
BENCHMARK(EventOff_nothing)->Name("EventOff/nothing");

}  // namespace
