// NumberTextBench.cpp: number text beside the C and C++ runtimes.
//
// Groups: "Int2Str" (a mix of small and large 32-bit values; target within 1.5x of
// std::to_chars), "Str2Int" (the same values as text; target at least as fast as strtol, shown
// beside std::from_chars too), "Double2Str" (a mix of magnitudes with two and six decimals,
// beside snprintf "%.*f" into a buffer).
#include <benchmark/benchmark.h>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "base/text/NumberText.h"

namespace {

using namespace OrvGuiBase;

constexpr size_t kCount = 1024;

const std::vector<int32_t>& Values() {
  static const std::vector<int32_t> values = [] {
    std::mt19937 random(42);
    std::vector<int32_t> v;
    for (size_t i = 0; i < kCount; ++i) {
      // A spread of lengths: 1 to 10 digits, some negative.
      const int32_t magnitude = static_cast<int32_t>(random() >> (random() % 31));
      v.push_back(i % 4 == 0 ? -magnitude : magnitude);
    }
    return v;
  }();
  return values;
}

const std::vector<std::string>& Texts() {
  static const std::vector<std::string> texts = [] {
    std::vector<std::string> t;
    for (int32_t value : Values()) t.push_back(std::to_string(value));
    return t;
  }();
  return texts;
}

const std::vector<double>& Doubles() {
  static const std::vector<double> values = [] {
    std::mt19937_64 random(7);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    std::vector<double> v;
    for (size_t i = 0; i < kCount; ++i) v.push_back(unit(random) * std::pow(10.0, static_cast<int>(random() % 12)));
    return v;
  }();
  return values;
}

void Int2Str_orvgui(benchmark::State& state) {
  char buffer[kMaxIntegerText];
  for (auto _ : state) {
    for (int32_t value : Values()) {
      Int2Str(buffer, value);
      benchmark::DoNotOptimize(buffer);
    }
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kCount));
}
BENCHMARK(Int2Str_orvgui)->Name("Int2Str/orvgui");

void Int2Str_to_chars(benchmark::State& state) {
  char buffer[kMaxIntegerText];
  for (auto _ : state) {
    for (int32_t value : Values()) {
      *std::to_chars(buffer, buffer + sizeof buffer - 1, value).ptr = 0;  // terminated, as ours
      benchmark::DoNotOptimize(buffer);
    }
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kCount));
}
BENCHMARK(Int2Str_to_chars)->Name("Int2Str/std_to_chars");

void Str2Int_orvgui(benchmark::State& state) {
  for (auto _ : state) {
    for (const std::string& text : Texts()) {
      int32_t value = 0;
      const char* end = nullptr;
      Str2Int(text.c_str(), &end, &value);
      benchmark::DoNotOptimize(value);
    }
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kCount));
}
BENCHMARK(Str2Int_orvgui)->Name("Str2Int/orvgui");

void Str2Int_strtol(benchmark::State& state) {
  for (auto _ : state) {
    for (const std::string& text : Texts()) {
      char* end = nullptr;
      long value = strtol(text.c_str(), &end, 10);
      benchmark::DoNotOptimize(value);
    }
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kCount));
}
BENCHMARK(Str2Int_strtol)->Name("Str2Int/strtol");

void Str2Int_from_chars(benchmark::State& state) {
  for (auto _ : state) {
    for (const std::string& text : Texts()) {
      int32_t value = 0;
      std::from_chars(text.data(), text.data() + text.size(), value);
      benchmark::DoNotOptimize(value);
    }
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kCount));
}
BENCHMARK(Str2Int_from_chars)->Name("Str2Int/std_from_chars");

void Double2Str_orvgui(benchmark::State& state) {
  const unsigned decimals = static_cast<unsigned>(state.range(0));
  for (auto _ : state) {
    for (double value : Doubles()) {
      AnsiStr text = Double2Str(value, decimals);
      benchmark::DoNotOptimize(text.GetStr());
    }
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kCount));
}
BENCHMARK(Double2Str_orvgui)->Name("Double2Str/orvgui")->Arg(2)->Arg(6);

void Double2Str_snprintf(benchmark::State& state) {
  const int decimals = static_cast<int>(state.range(0));
  char buffer[64];
  for (auto _ : state) {
    for (double value : Doubles()) {
      snprintf(buffer, sizeof buffer, "%.*f", decimals, value);
      benchmark::DoNotOptimize(buffer);
    }
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kCount));
}
BENCHMARK(Double2Str_snprintf)->Name("Double2Str/snprintf")->Arg(2)->Arg(6);

}  // namespace
