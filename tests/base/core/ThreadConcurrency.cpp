// Concurrency tests of the thread class and the wait objects; the ThreadSanitizer build runs
// these. Waits that must not return are bounded by the test's own timeout, never by a clock.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <thread>
#include <vector>

#include "base/core/CriticalSection.h"
#include "base/core/Thread.h"
#include "base/core/ThreadExit.h"
#include "base/core/WaitObjects.h"

namespace OrvGuiBase {
namespace {

void WaitUntil(const std::atomic<int>& value, int expected) {
  while (value.load() != expected) std::this_thread::yield();
}

struct Gate {
  Event open{true};
  std::atomic<uint64_t> seenId{0};
  int result = 0;
};

int PassGate(Thread&, void* context) {
  auto* gate = static_cast<Gate*>(context);
  gate->seenId = Thread::GetCurrentThreadId();
  gate->open.Wait();
  return gate->result;
}

TEST(ThreadConcurrency, StartJoinExitCodeAndRestart) {
  Thread thread;
  errno = 0;
  EXPECT_FALSE(thread.Join(0)) << "never started";
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(thread.GetThreadId(), 0u);
  EXPECT_FALSE(thread.Start(nullptr));
  EXPECT_EQ(errno, EINVAL);

  for (const int result : {42, -7}) {
    Gate gate;
    gate.result = result;
    ASSERT_TRUE(thread.Start(&PassGate, &gate));
    EXPECT_TRUE(thread.IsRunning());
    errno = 0;
    EXPECT_FALSE(thread.Start(&PassGate, &gate)) << "not joined yet";
    EXPECT_EQ(errno, EBUSY);
    errno = 0;
    EXPECT_FALSE(thread.Join(0));
    EXPECT_EQ(errno, kWaitTimeoutError);
    gate.open.Set();
    ASSERT_TRUE(Wait(thread));
    EXPECT_FALSE(thread.IsRunning());
    EXPECT_EQ(thread.GetExitCode(), result);
    EXPECT_EQ(thread.GetThreadId(), gate.seenId.load());
    EXPECT_NE(thread.GetThreadId(), Thread::GetCurrentThreadId());
    EXPECT_TRUE(thread.Join(0)) << "joining again is harmless";
  }
}

int SleepUntilAsked(Thread& self, void* context) {
  auto* wakeUps = static_cast<std::atomic<int>*>(context);
  if (self.WaitForTermination(0)) return -1;  // must not be requested yet
  if (errno != kWaitTimeoutError) return -2;
  while (!self.WaitForTermination(kInfinite)) ++*wakeUps;
  return self.IsTerminationRequested() ? 1 : -3;
}

TEST(ThreadConcurrency, TerminationWakesASleepingFunctionAndJoinWaitsForIt) {
  std::atomic<int> wakeUps{0};
  Thread thread;
  ASSERT_TRUE(thread.Start(&SleepUntilAsked, &wakeUps));
  EXPECT_FALSE(thread.Join(20));
  EXPECT_EQ(errno, kWaitTimeoutError);
  std::thread requester([&] { thread.RequestTermination(); });
  EXPECT_TRUE(thread.Join());  // would hang if the request did not wake the function
  requester.join();
  EXPECT_EQ(thread.GetExitCode(), 1);
  EXPECT_EQ(wakeUps.load(), 0) << "an infinite wait returns only when asked";
}

int PollUntilAsked(Thread& self, void* context) {
  auto* polls = static_cast<std::atomic<int>*>(context);
  while (!self.IsTerminationRequested()) {
    ++*polls;
    std::this_thread::yield();
  }
  return 7;
}

TEST(ThreadConcurrency, ConcurrentRequestsAndJoins) {
  for (int round = 0; round < 20; ++round) {
    std::atomic<int> polls{0};
    Thread thread;
    ASSERT_TRUE(thread.Start(&PollUntilAsked, &polls));
    std::atomic<int> joined{0};
    std::vector<std::thread> others;
    for (int i = 0; i < 4; ++i)
      others.emplace_back([&, i] {
        if (i % 2 == 0) thread.RequestTermination();
        if (thread.Join() && thread.GetExitCode() == 7 && !thread.IsRunning()) ++joined;
      });
    for (std::thread& t : others) t.join();
    EXPECT_EQ(joined.load(), 4) << "every joiner saw the one ended thread";
  }
}

std::atomic<int> g_stopped{0};
int RunUntilDestroyed(Thread& self, void*) {
  self.WaitForTermination(kInfinite);
  ++g_stopped;
  return 0;
}

TEST(ThreadConcurrency, DestroyingARunningThreadStopsAndJoinsIt) {
  g_stopped = 0;
  {
    Thread thread;
    ASSERT_TRUE(thread.Start(&RunUntilDestroyed));
  }
  EXPECT_EQ(g_stopped.load(), 1);
}

int JoinSelf(Thread& self, void*) {
  errno = 0;
  return self.Join(0) ? 0 : errno;
}

std::atomic<int> g_exitHandlerRan{0};
void MarkExit() { ++g_exitHandlerRan; }
int RegisterExitHandler(Thread&, void*) {
  SetThreadExitHandler(&MarkExit);
  return 0;
}

TEST(ThreadConcurrency, SelfJoinIsRefusedAndThreadExitHandlersRunBeforeJoinReturns) {
  Thread self;
  ASSERT_TRUE(self.Start(&JoinSelf));
  ASSERT_TRUE(self.Join());
  EXPECT_EQ(self.GetExitCode(), EDEADLK);

  for (int round = 1; round <= 5; ++round) {
    Thread thread;
    ASSERT_TRUE(thread.Start(&RegisterExitHandler));
    ASSERT_TRUE(thread.Join());
    EXPECT_EQ(g_exitHandlerRan.load(), round) << "the thread's records were released before Join returned";
  }
}

TEST(ThreadConcurrency, EventsReleaseOneWaiterPerSetOrAllUntilReset) {
  Event preset(false, true);
  EXPECT_TRUE(preset.Wait(0));
  errno = 0;
  EXPECT_FALSE(Wait(preset, 0)) << "an auto-reset event is consumed by the wait";
  EXPECT_EQ(errno, kWaitTimeoutError);

  for (const bool manual : {false, true}) {
    Event event(manual);
    constexpr int kWaiters = 4;
    std::atomic<int> passed{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < kWaiters; ++i)
      waiters.emplace_back([&] {
        if (event.Wait()) ++passed;
      });
    for (int set = 1; set <= (manual ? 1 : kWaiters); ++set) {
      event.Set();
      WaitUntil(passed, manual ? kWaiters : set);
      usleep(2000);  // a waiter let through too many would show up by now
      EXPECT_EQ(passed.load(), manual ? kWaiters : set);
    }
    for (std::thread& t : waiters) t.join();
    EXPECT_EQ(event.IsSet(), manual) << "only a manual-reset event stays set";
    event.Reset();
    EXPECT_FALSE(event.Wait(10));
  }
}

TEST(ThreadConcurrency, SemaphoresHandOutEveryUnitOnce) {
  struct Case {
    uint32_t initial, maximum, count;
  };
  for (const Case& c : {Case{5, 3, 3}, Case{0, 0, 0}, Case{2, 0, 1}, Case{1, 10, 1}}) {
    Semaphore semaphore(c.initial, c.maximum);
    EXPECT_EQ(semaphore.GetCount(), c.count) << c.initial << "/" << c.maximum;
  }
  Semaphore semaphore(0, 3);
  uint32_t previous = 99;
  errno = 0;
  EXPECT_FALSE(semaphore.Release(0));
  EXPECT_EQ(errno, EINVAL);
  EXPECT_FALSE(semaphore.Release(4));
  EXPECT_EQ(errno, EOVERFLOW);
  EXPECT_TRUE(semaphore.Release(2, &previous));
  EXPECT_EQ(previous, 0u);
  EXPECT_FALSE(semaphore.Release(2, &previous)) << "2 + 2 passes the maximum of 3";
  EXPECT_EQ(semaphore.GetCount(), 2u);
  EXPECT_TRUE(Wait(semaphore, 0));
  EXPECT_TRUE(semaphore.Wait(0));
  EXPECT_FALSE(semaphore.Wait(0));
  EXPECT_EQ(errno, kWaitTimeoutError);

  constexpr int kConsumers = 4, kEach = 500;
  std::atomic<int> taken{0};
  std::vector<std::thread> consumers;
  for (int i = 0; i < kConsumers; ++i)
    consumers.emplace_back([&] {
      for (int n = 0; n < kEach; ++n)
        if (semaphore.Wait()) ++taken;
    });
  for (int released = 0; released < kConsumers * kEach;) {
    if (semaphore.Release(1))
      ++released;
    else
      std::this_thread::yield();  // at the maximum: the consumers catch up
  }
  for (std::thread& t : consumers) t.join();
  EXPECT_EQ(taken.load(), kConsumers * kEach);
  EXPECT_EQ(semaphore.GetCount(), 0u);
}

TEST(ThreadConcurrency, ConditionsWaitForAPredicateAndTimeOutHoldingTheLock) {
  CriticalSection lock("TestCondition");
  Condition changed;
  int value = 0;  // guarded by lock
  std::thread producer([&] {
    for (int i = 1; i <= 100; ++i) {
      CriticalSectionContext hold(lock);
      value = i;
      changed.Broadcast();
    }
  });
  {
    CriticalSectionContext hold(lock);
    ASSERT_TRUE(changed.WaitFor(lock, kInfinite, [&] { return value == 100; }));
  }
  producer.join();

  CriticalSectionContext hold(lock);
  for (const uint32_t timeout : {0u, 15u}) {
    errno = 0;
    EXPECT_FALSE(Wait(changed, lock, timeout));
    EXPECT_EQ(errno, kWaitTimeoutError);
    std::thread other([&] { EXPECT_FALSE(lock.TryEnter()) << "the lock is held again after a timeout"; });
    other.join();
  }
  EXPECT_TRUE(WaitDeadline(0).HasPassed() && !WaitDeadline(kInfinite).HasPassed());
  EXPECT_EQ(WaitDeadline(kInfinite).GetRemainingMs(), kInfinite);
}

}  // namespace
}  // namespace OrvGuiBase
