// FormatterBench.cpp: FmtArgs beside snprintf and fmt::format.
//
// Groups: "Int" (%d; target at least 3x faster than snprintf), "Hex" (%08X), "HexPlain" (%x;
// at least 3x), "String" (%s), "Fixed" (%.3f), "TraceLine" ("%s: %d items in %.3f s (%s)"; at
// least as fast as snprintf). Each makes a string object of the result, as callers do.
#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <cstdio>
#include <string>

#include "base/text/Formatter.h"

namespace {

using OrvGuiBase::AnsiStr;
using OrvGuiBase::FmtArgs;

int g_value = 123456789;
const char* g_text = "component";

std::string Snprintf(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string Snprintf(const char* format, ...) {
  char buffer[256];
  va_list args;
  va_start(args, format);
  const int n = vsnprintf(buffer, sizeof buffer, format, args);
  va_end(args);
  return std::string(buffer, n > 0 ? static_cast<size_t>(n) : 0);
}

#define ORVGUI_FORMAT_BENCH(Group, cFormat, fmtFormat, ...)                                   \
  void Group##_orvgui(benchmark::State& state) {                                            \
    for (auto _ : state) benchmark::DoNotOptimize(FmtArgs(cFormat, __VA_ARGS__));           \
  }                                                                                         \
  BENCHMARK(Group##_orvgui)->Name(#Group "/orvgui");                                        \
  void Group##_snprintf(benchmark::State& state) {                                          \
    for (auto _ : state) benchmark::DoNotOptimize(Snprintf(cFormat, __VA_ARGS__));          \
  }                                                                                         \
  BENCHMARK(Group##_snprintf)->Name(#Group "/snprintf");                                    \
  void Group##_fmt(benchmark::State& state) {                                               \
    for (auto _ : state) benchmark::DoNotOptimize(fmt::format(fmtFormat, __VA_ARGS__));     \
  }                                                                                         \
  BENCHMARK(Group##_fmt)->Name(#Group "/fmt");

ORVGUI_FORMAT_BENCH(Int, "%d", "{}", g_value)
ORVGUI_FORMAT_BENCH(HexPlain, "%x", "{:x}", static_cast<unsigned>(g_value))
ORVGUI_FORMAT_BENCH(Hex, "%08X", "{:08X}", static_cast<unsigned>(g_value))
ORVGUI_FORMAT_BENCH(String, "%s", "{}", g_text)
ORVGUI_FORMAT_BENCH(Fixed, "%.3f", "{:.3f}", 3.14159265)
ORVGUI_FORMAT_BENCH(TraceLine, "%s: %d items in %.3f s (%s)", "{}: {} items in {:.3f} s ({})", g_text, g_value,
                    0.25, "done")

}  // namespace
