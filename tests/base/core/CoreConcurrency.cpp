// Concurrency tests of the runtime core; the ThreadSanitizer build runs these.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "base/core/CriticalSection.h"
#include "base/core/ErrorMessage.h"
#include "base/core/LastError.h"
#include "base/core/LockInfo.h"
#include "base/core/ThreadData.h"
#include "base/core/ThreadExit.h"
#include "base/core/TimingData.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiBase {
namespace {

std::atomic<int> g_live{0};
struct Tracked {
  Tracked() { ++g_live; }
  ~Tracked() { --g_live; }
};
std::atomic<int> g_handlerRuns{0};
void CountingHandler() { ++g_handlerRuns; }

TEST(CoreConcurrency, ManyThreadsCreateAndReleaseRecords) {
  const int before = g_live.load();
  g_handlerRuns = 0;
  constexpr int kRounds = 4, kThreads = 16;
  for (int round = 0; round < kRounds; ++round) {
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
      threads.emplace_back([i] {
        (void)ThreadData<Tracked>::Get();
        SetThreadExitHandler(&CountingHandler, i % 3);
        SetErrorMessage(AnsiStr("thread message"));
        EXPECT_STREQ(GetErrorMessage(44444, nullptr, false).GetStr(), "thread message");
      });
    for (std::thread& t : threads) t.join();
  }
  EXPECT_EQ(g_live.load(), before) << "every thread's record was released at its end";
  EXPECT_EQ(g_handlerRuns.load(), kRounds * kThreads);
}

TEST(CoreConcurrency, CriticalSectionExcludesAndRecurses) {
  CriticalSection lock("StressLock");
  long counter = 0;  // protected by lock only
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([&] {
      for (int n = 0; n < 20000; ++n) {
        CriticalSectionContext outer(lock, "outer");
        CriticalSectionContext inner(lock, "inner");
        ++counter;
      }
    });
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(counter, 80000);
}

TEST(CoreConcurrency, TimedLockCountsAreConsistentWhileReportsRun) {
  LockInfo lock("StressTimed");
  long counter = 0;
  std::atomic<bool> done{false};
  std::thread reporter([&] {
    while (!done) {
      (void)GetTimingReport();
      LockInfo transient("Transient");  // registering while others hold timed locks
    }
  });
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([&, i] {
      const char* site = i % 2 ? "odd" : "even";
      for (int n = 0; n < 5000; ++n) {
        lock.Enter(site);
        lock.Enter(site);
        ++counter;
        lock.Leave();
        lock.Leave();
      }
    });
  for (std::thread& t : threads) t.join();
  done = true;
  reporter.join();
  EXPECT_EQ(counter, 20000);
  const LockStatistics statistics = lock.GetStatistics();
  uint64_t siteContentions = 0;
  for (const LockSite& site : statistics.sites) siteContentions += site.contentions;
  EXPECT_EQ(siteContentions, statistics.contentions) << "every contended entry named its site";
}

}  // namespace
}  // namespace OrvGuiBase
