// Tests of critical sections, contention telemetry, timed locks and the timing registry.
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "base/core/CriticalSection.h"
#include "base/core/LockInfo.h"
#include "base/core/TimingData.h"
#include "telemetry/Telemetry.h"
#include "helpers/EventLog.h"
#include "helpers/LockContention.h"

namespace OrvGuiBase {
namespace {

// Collects telemetry events for the duration of a test.
class TelemetryRecorder {
 public:
  struct Event {
    int module, event, value;
    std::vector<std::string> params;
  };
  TelemetryRecorder() {
    APMSetEventSink(&Sink, this);
    APMSetModuleActive(APM_MODULE_ORVGUI, 1);
  }
  ~TelemetryRecorder() {
    APMSetModuleActive(APM_MODULE_ORVGUI, 0);
    APMSetEventSink(nullptr, nullptr);
  }
  std::vector<Event> Events() {
    std::lock_guard<std::mutex> hold(m_mutex);
    return m_events;
  }

 private:
  static void Sink(int module, int event, int value, const char* const* params, unsigned count, void* context) {
    auto* self = static_cast<TelemetryRecorder*>(context);
    std::lock_guard<std::mutex> hold(self->m_mutex);
    self->m_events.push_back({module, event, value, std::vector<std::string>(params, params + count)});
  }
  std::mutex m_mutex;
  std::vector<Event> m_events;
};

TEST(CriticalSection, RecursiveEntryNeedsEqualLeaves) {
  CriticalSection lock("TestRecursion");
  lock.Enter();
  lock.Enter("again");
  lock.Leave();
  std::thread other([&] {
    EXPECT_FALSE(lock.TryEnter()) << "still held once";
    EXPECT_EQ(errno, EBUSY);
  });
  other.join();
  lock.Leave();
  std::thread free([&] {
    EXPECT_TRUE(lock.TryEnter()) << "two entries, two leaves: free";
    lock.Leave();
  });
  free.join();
}

TEST(CriticalSection, PlatformFunctionsOnABareMutex) {
  pthread_mutex_t mutex;
  InitializeCriticalSection(&mutex);
  EnterCriticalSection(&mutex);
  EXPECT_TRUE(TryEnterCriticalSection(&mutex)) << "recursive";
  LeaveCriticalSection(&mutex);
  LeaveCriticalSection(&mutex);
  errno = 0;
  LeaveCriticalSection(&mutex);  // not held: the error is recorded, nothing aborts
  EXPECT_EQ(errno, EPERM);
  DeleteCriticalSection(&mutex);
}

TEST(CriticalSection, ContentionIsReportedBeforeAndAfterTheWait) {
  CriticalSection lock("TestContention");
  TelemetryRecorder recorder;
  ContendOnce(lock, "waiter");  // the holder owns it: always contended
  const auto events = recorder.Events();
  ASSERT_EQ(events.size(), 2u);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(events[i].module, 100);
    EXPECT_EQ(events[i].event, 60);
    EXPECT_EQ(events[i].value, i + 1);
    EXPECT_EQ(events[i].params, (std::vector<std::string>{"TestContention", "waiter"}));
  }
}

TEST(CriticalSection, NoTelemetryWithoutContentionOrWhenInactive) {
  CriticalSection lock("TestQuiet");
  TelemetryRecorder recorder;
  for (int i = 0; i < 100; ++i) {
    CriticalSectionContext hold(lock, "loop");
  }
  EXPECT_TRUE(recorder.Events().empty());
}

TEST(CriticalSection, NonReentrantSectionReportsWithAnEmptySite) {
  TelemetryRecorder recorder;
  std::atomic<bool> held{false}, release{false};
  std::thread holder([&] {
    EnterNonReentrantSection();
    EnterNonReentrantSection();  // recursive
    LeaveNonReentrantSection();
    held = true;
    while (!release) std::this_thread::yield();
    LeaveNonReentrantSection();
  });
  while (!held) std::this_thread::yield();
  std::thread releaser([&] {
    usleep(20000);
    release = true;
  });
  EnterNonReentrantSection();
  LeaveNonReentrantSection();
  holder.join();
  releaser.join();
  const auto events = recorder.Events();
  ASSERT_EQ(events.size(), 2u);
  EXPECT_EQ(events[0].params, (std::vector<std::string>{"NonReentrantSection", ""}));
}

// A clock the test moves by hand: holding times are exact, no sleeping races.
std::atomic<uint64_t> g_ticks{1000};
uint64_t ManualClock() { return g_ticks.load(); }
constexpr uint64_t kTicksPerMs = 1000000;

TEST(LockInfo, HoldingLongerThanTheThresholdReportsOnceAtTheOutermostRelease) {
  ASSERT_EQ(LockInfo::GetShortCriticalSectionThreshold(), 300u) << "the test runs without THRESHOLD_ variables";
  struct Case {
    uint64_t heldMs;
    size_t events;
  };
  for (const Case c : {Case{300, 0}, Case{301, 1}, Case{0, 0}, Case{5000, 1}}) {
    LockInfo lock("TestTimed", LockInfo::ThresholdClass::Short, &ManualClock);
    EventLog events;
    lock.Enter("outer");
    lock.Enter("inner");  // re-entry only deepens the holding
    g_ticks += c.heldMs * kTicksPerMs;
    lock.Leave();
    EXPECT_TRUE(events.Events().empty()) << "an inner release never reports";
    lock.Leave();
    const auto log = events.Events();
    ASSERT_EQ(log.size(), c.events) << "held " << c.heldMs << " ms";
    if (c.events == 1) {
      EXPECT_EQ(log[0],
                (std::vector<std::string>{"ORVGUI/500/2/7", "Lock duration exceeded threshold", "lockname=TestTimed",
                                          "locksite=outer", "calltime_ms=" + std::to_string(c.heldMs),
                                          "threshold_ms=300"}));
    }
  }
}

TEST(LockInfo, ThresholdTextsThatAreNotNumbersKeepTheDefault) {
  struct Row {
    const char* text;
    uint64_t expected;
  };
  const Row rows[] = {
      {nullptr, 300},  {"", 300},    {"abc", 300}, {"12ms", 300}, {"-5", 300}, {" 5", 300},
      {"0", 0},        {"42", 42},   {"18446744073709551615", 18446744073709551615ull},
      {"18446744073709551616", 300},  // one past 64 bits
  };
  for (const Row& row : rows)
    EXPECT_EQ(LockInfo::ParseThreshold(row.text, 300), row.expected) << (row.text ? row.text : "(null)");
}

TEST(LockInfo, ContentionIsCountedPerSiteAndListedByTheRegistry) {
  LockInfo lock("TestSites");
  std::atomic<bool> held{false}, release{false};
  std::thread holder([&] {
    lock.Enter("holder");
    held = true;
    while (!release) std::this_thread::yield();
    lock.Leave();
  });
  while (!held) std::this_thread::yield();
  std::thread releaser([&] {
    usleep(20000);
    release = true;
  });
  lock.Enter("b-waiter");
  lock.Leave();
  holder.join();
  releaser.join();
  lock.Enter("a-quiet");
  lock.Leave();

  const LockStatistics statistics = lock.GetStatistics();
  EXPECT_EQ(statistics.contentions, 1u);
  EXPECT_GT(statistics.waitTicks, 0u);
  ASSERT_EQ(statistics.sites.size(), 3u);
  EXPECT_STREQ(statistics.sites[0].name.GetStr(), "a-quiet") << "sites are ordered by name";
  EXPECT_STREQ(statistics.sites[1].name.GetStr(), "b-waiter");
  EXPECT_EQ(statistics.sites[1].contentions, 1u);
  EXPECT_EQ(statistics.sites[2].contentions, 0u);

  bool listed = false;
  for (const LockStatistics& entry : GetTimingData())
    if (entry.name == "TestSites") listed = entry.contentions == 1;
  EXPECT_TRUE(listed);
  EXPECT_NE(std::string(GetTimingReport().GetStr()).find("TestSites: contentions=1"), std::string::npos);
}

TEST(LockInfo, RegistryDropsDestroyedLocksAndKnowsTheLazyStaticLock) {
  { LockInfo temporary("TestTemporary"); }
  bool lazyStatic = false;
  for (const LockStatistics& entry : GetTimingData()) {
    EXPECT_FALSE(entry.name == "TestTemporary");
    lazyStatic |= entry.name == "LazyStatic";
  }
  EXPECT_TRUE(lazyStatic);
  EXPECT_EQ(&GetLazyStaticLock(), &GetLazyStaticLock());
}

}  // namespace
}  // namespace OrvGuiBase
