// CodePageBench.cpp: MultiByteToWideChar beside iconv called directly.
//
// Groups: "Short1252" (a 20-byte Windows-1252 text into wide characters; target within 1.2x),
// "Long1252" (1 MiB of the same text; the per-call cost vanishes, so about 1.0x), and
// "Back1252" (20 wide characters back to Windows-1252, the other direction's short case).
// The peer "iconv" keeps one descriptor open and calls iconv on it. MultiByteToWideChar also
// resets its descriptor after every call (an iconv call on null pointers, which costs about a
// quarter of a short conversion), so "iconv_reset", the same peer with that reset, shows what
// the function itself adds.
#include <benchmark/benchmark.h>
#include <iconv.h>

#include <string>
#include <vector>

#include "base/text/CodePage.h"

namespace {

const char kShort[] = "Caf\xE9 cr\xE8me br\xFBl\xE9" "e20\x80";  // 20 bytes with accents and a euro sign
constexpr int kShortLength = sizeof kShort - 1;
static_assert(kShortLength == 20);

std::string LongText() {
  std::string text;
  while (text.size() < (1u << 20)) text.append(kShort, kShortLength);
  text.resize(1u << 20);
  return text;
}

// CachedIconv: the peer, one descriptor opened up front and reused.
class CachedIconv {
 public:
  CachedIconv(const char* to, const char* from) : m_cd(iconv_open(to, from)) {}
  ~CachedIconv() { iconv_close(m_cd); }
  size_t Convert(const void* source, size_t bytes, void* target, size_t room) {
    char* in = static_cast<char*>(const_cast<void*>(source));
    char* out = static_cast<char*>(target);
    size_t inLeft = bytes, outLeft = room;
    if (iconv(m_cd, &in, &inLeft, &out, &outLeft) == static_cast<size_t>(-1)) return 0;
    return room - outLeft;
  }
  void Reset() { iconv(m_cd, nullptr, nullptr, nullptr, nullptr); }

 private:
  iconv_t m_cd;
};

void Short1252_orvgui(benchmark::State& state) {
  wchar_t wide[kShortLength];
  for (auto _ : state) {
    benchmark::DoNotOptimize(MultiByteToWideChar(1252, 0, kShort, kShortLength, wide, kShortLength));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kShortLength);
}
BENCHMARK(Short1252_orvgui)->Name("Short1252/orvgui");

void Short1252_iconv(benchmark::State& state) {
  CachedIconv iconv("WCHAR_T", "WINDOWS-1252");
  wchar_t wide[kShortLength];
  for (auto _ : state) {
    benchmark::DoNotOptimize(iconv.Convert(kShort, kShortLength, wide, sizeof wide));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kShortLength);
}
BENCHMARK(Short1252_iconv)->Name("Short1252/iconv");

void Short1252_iconvReset(benchmark::State& state) {
  CachedIconv iconv("WCHAR_T", "WINDOWS-1252");
  wchar_t wide[kShortLength];
  for (auto _ : state) {
    benchmark::DoNotOptimize(iconv.Convert(kShort, kShortLength, wide, sizeof wide));
    iconv.Reset();
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kShortLength);
}
BENCHMARK(Short1252_iconvReset)->Name("Short1252/iconv_reset");

void Long1252_orvgui(benchmark::State& state) {
  const std::string text = LongText();
  std::vector<wchar_t> wide(text.size());
  const int n = static_cast<int>(text.size());
  for (auto _ : state) {
    benchmark::DoNotOptimize(MultiByteToWideChar(1252, 0, text.data(), n, wide.data(), n));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * n);
}
BENCHMARK(Long1252_orvgui)->Name("Long1252/orvgui");

void Long1252_iconv(benchmark::State& state) {
  const std::string text = LongText();
  std::vector<wchar_t> wide(text.size());
  CachedIconv iconv("WCHAR_T", "WINDOWS-1252");
  for (auto _ : state) {
    benchmark::DoNotOptimize(iconv.Convert(text.data(), text.size(), wide.data(), wide.size() * sizeof(wchar_t)));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
}
BENCHMARK(Long1252_iconv)->Name("Long1252/iconv");

void Back1252_orvgui(benchmark::State& state) {
  wchar_t wide[kShortLength];
  MultiByteToWideChar(1252, 0, kShort, kShortLength, wide, kShortLength);
  char bytes[kShortLength];
  for (auto _ : state) {
    benchmark::DoNotOptimize(WideCharToMultiByte(1252, 0, wide, kShortLength, bytes, kShortLength, nullptr, nullptr));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(Back1252_orvgui)->Name("Back1252/orvgui");

void Back1252_iconv(benchmark::State& state) {
  wchar_t wide[kShortLength];
  MultiByteToWideChar(1252, 0, kShort, kShortLength, wide, kShortLength);
  char bytes[kShortLength];
  CachedIconv iconv("WINDOWS-1252", "WCHAR_T");
  for (auto _ : state) {
    benchmark::DoNotOptimize(iconv.Convert(wide, sizeof wide, bytes, sizeof bytes));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(Back1252_iconv)->Name("Back1252/iconv");

}  // namespace
