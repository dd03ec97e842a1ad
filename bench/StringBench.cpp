// StringBench.cpp: the narrow string beside std::string.
//
// Groups: "Copy1K" (copying a 1 KiB string; target at least 5x faster), "AppendShort"
// (appending 8-byte pieces up to 4 KiB; within 1.3x), "Find" (a needle near the end of 64 KiB;
// within 1.2x), "Build1M" (1 MiB with AnsiStrBuilder against std::string without reserve;
// faster).
#include <benchmark/benchmark.h>

#include <string>

#include "base/text/AnsiStr.h"

namespace {

using OrvGuiBase::AnsiStr;
using OrvGuiBase::AnsiStrBuilder;

void Copy1K_orvgui(benchmark::State& state) {
  const AnsiStr source('x', 1024);
  for (auto _ : state) {
    AnsiStr copy = source;
    benchmark::DoNotOptimize(copy.GetStr());
  }
}
BENCHMARK(Copy1K_orvgui)->Name("Copy1K/orvgui");

void Copy1K_std(benchmark::State& state) {
  const std::string source(1024, 'x');
  for (auto _ : state) {
    std::string copy = source;
    benchmark::DoNotOptimize(copy.data());
  }
}
BENCHMARK(Copy1K_std)->Name("Copy1K/std_string");

void AppendShort_orvgui(benchmark::State& state) {
  for (auto _ : state) {
    AnsiStr text;
    for (int i = 0; i < 512; ++i) text.Append("abcdefgh");
    benchmark::DoNotOptimize(text.GetStr());
  }
}
BENCHMARK(AppendShort_orvgui)->Name("AppendShort/orvgui");

void AppendShort_std(benchmark::State& state) {
  for (auto _ : state) {
    std::string text;
    for (int i = 0; i < 512; ++i) text.append("abcdefgh");
    benchmark::DoNotOptimize(text.data());
  }
}
BENCHMARK(AppendShort_std)->Name("AppendShort/std_string");

std::string Haystack() {
  std::string text;
  for (int i = 0; text.size() < 65536; ++i) text += "lorem ipsum dolor sit amet " + std::to_string(i) + " ";
  return text + "needle in the haystack";
}

void Find_orvgui(benchmark::State& state) {
  const std::string haystack = Haystack();
  const AnsiStr text(haystack.c_str());
  for (auto _ : state) benchmark::DoNotOptimize(text.Find("needle in"));
}
BENCHMARK(Find_orvgui)->Name("Find/orvgui");

void Find_std(benchmark::State& state) {
  const std::string text = Haystack();
  for (auto _ : state) benchmark::DoNotOptimize(text.find("needle in"));
}
BENCHMARK(Find_std)->Name("Find/std_string");

void Build1M_orvgui(benchmark::State& state) {
  for (auto _ : state) {
    AnsiStrBuilder out;
    while (out.GetLength() < (1u << 20)) out.Append("a line of text, ").Append('\n');
    benchmark::DoNotOptimize(out.GetStr());
  }
}
BENCHMARK(Build1M_orvgui)->Name("Build1M/orvgui");

void Build1M_std(benchmark::State& state) {
  for (auto _ : state) {
    std::string out;
    while (out.size() < (1u << 20)) out.append("a line of text, ").push_back('\n');
    benchmark::DoNotOptimize(out.data());
  }
}
BENCHMARK(Build1M_std)->Name("Build1M/std_string");

}  // namespace
