// Concurrency tests of the per-thread converter cache: many threads converting at once with
// descriptors of their own, one open per thread, page and direction, everything closed at thread
// end, and callers that come after their thread's cache is gone. The ThreadSanitizer build runs
// these.
#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <string>
#include <thread>
#include <vector>

#include "base/core/ThreadExit.h"
#include "base/text/CodePage.h"

namespace OrvGuiBase {
namespace {

constexpr int kThreads = 8;
constexpr int kRounds = 300;
constexpr unsigned kPages[] = {437, 850, 1252, 10000, 28591, 28592, 28605};
constexpr long kSlotsPerThread = 2 * 7;  // two directions of seven code pages

long OpenDescriptors() { return Internal::GetOpenCodePageDescriptorCount(); }

// Sample: the bytes A0..FF, defined in every page, with ASCII and a NUL around them.
std::string Sample() {
  std::string text("page \0 text ", 12);
  for (int b = 0xA0; b < 0x100; ++b) text += static_cast<char>(b);
  return text;
}

TEST(CodePageConcurrency, ThreadsConvertAtOnceEachWithDescriptorsOfTheirOwn) {
  const std::string sample = Sample();
  const int n = static_cast<int>(sample.size());
  std::vector<std::wstring> expected;  // what each page makes of the sample, computed here first
  for (unsigned cp : kPages) {
    std::wstring wide(sample.size(), L'\0');
    ASSERT_EQ(MultiByteToWideChar(cp, 0, sample.data(), n, wide.data(), n), n);
    expected.push_back(wide);
  }
  const long base = OpenDescriptors();

  for (int wave = 0; wave < 3; ++wave) {
    std::atomic<int> failures{0};
    std::atomic<long> whileAllAlive{-1};
    std::barrier allConverted(kThreads, [&]() noexcept { whileAllAlive = OpenDescriptors(); });
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
      threads.emplace_back([&, t] {
        std::wstring wide(sample.size(), L'\0');
        std::string bytes(sample.size(), '\0');
        for (int round = 0; round < kRounds; ++round) {
          const size_t page = static_cast<size_t>(t + round) % std::size(kPages);
          const unsigned cp = kPages[page];
          const bool converted = MultiByteToWideChar(cp, 0, sample.data(), n, wide.data(), n) == n &&
                                 wide == expected[page] &&
                                 WideCharToMultiByte(cp, 0, wide.data(), n, bytes.data(), n, nullptr, nullptr) == n &&
                                 bytes == sample && MultiByteToWideChar(cp, 0, sample.data(), n, nullptr, 0) == n;
          if (!converted) ++failures;
        }
        allConverted.arrive_and_wait();
      });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(failures.load(), 0) << "wave " << wave;
    EXPECT_EQ(whileAllAlive.load(), base + kThreads * kSlotsPerThread)
        << "each live thread holds exactly its own fourteen descriptors";
    EXPECT_EQ(OpenDescriptors(), base) << "every descriptor closed at its thread's end, wave " << wave;
  }
}

TEST(CodePageConcurrency, AThreadOpensEachPageAndDirectionOnceAndRetriesNothingElse) {
  const long base = OpenDescriptors();
  std::vector<long> seen;
  std::thread([&] {
    wchar_t wide[4];
    char bytes[4];
    MultiByteToWideChar(1252, 0, "abc", 3, wide, 4);
    seen.push_back(OpenDescriptors() - base);
    for (int i = 0; i < 1000; ++i) MultiByteToWideChar(i % 2 == 0 ? 0 : 3, 0, "abc", 3, wide, 4);
    MultiByteToWideChar(1252, 0, "\x81", 1, wide, 4);  // fails inside iconv
    MultiByteToWideChar(1252, 0, "abc", 3, wide, 2);   // target too small
    MultiByteToWideChar(65001, 0, "abc", 3, wide, 4);  // no descriptor at all
    MultiByteToWideChar(932, 0, "abc", 3, wide, 4);
    seen.push_back(OpenDescriptors() - base);
    WideCharToMultiByte(1252, 0, L"abc", 3, bytes, 4, nullptr, nullptr);
    WideCharToMultiByte(1, 0, L"abc", 3, bytes, 4, nullptr, nullptr);
    WideCharToMultiByte(850, 0, L"abc", 3, bytes, 4, nullptr, nullptr);
    seen.push_back(OpenDescriptors() - base);
  }).join();
  EXPECT_EQ(seen, (std::vector<long>{1, 1, 3})) << "aliases share their page's slots; failures reuse the slot";
  EXPECT_EQ(OpenDescriptors(), base);
}

// A thread-exit handler that runs after the thread's cache has been released.
std::atomic<int> g_lateRight{0};
void ConvertLate() {
  wchar_t wide[4] = {};
  char bytes[4] = {};
  const int decoded = MultiByteToWideChar(28605, 0, "\xA4" "b", 2, wide, 4);
  const int encoded = WideCharToMultiByte(28605, 0, wide, 2, bytes, 4, nullptr, nullptr);
  if (decoded == 2 && wide[0] == 0x20AC && encoded == 2 && bytes[0] == '\xA4') ++g_lateRight;
}

TEST(CodePageConcurrency, CallersAfterTheCacheIsReleasedStillConvertAndLeakNothing) {
  const long base = OpenDescriptors();
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([] {
      wchar_t wide[4];
      MultiByteToWideChar(28605, 0, "abc", 3, wide, 4);  // the cache exists
      SetThreadExitHandler(&ConvertLate, -2000);         // and is released before this runs
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(g_lateRight.load(), kThreads) << "the late conversions of every thread were right";
  EXPECT_EQ(OpenDescriptors(), base) << "their one-call descriptors were closed again";
}

}  // namespace
}  // namespace OrvGuiBase
