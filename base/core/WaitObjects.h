// WaitObjects.h: conditions, events and semaphores, waited on with a timeout in milliseconds.
//
//   Event ready(true);                              // manual reset, not set
//   ...  ready.Set();                               // on a producer thread
//   if (!Wait(ready, 500) && GetLastError() == 110) puts("not ready within 500 ms");
//
// Every wait takes a timeout in milliseconds: kInfinite (0xFFFFFFFF) waits as long as it takes,
// 0 only tests. A wait that runs out of time returns false with the last error 110 (timed
// out); waits measure time on the monotonic clock, so a change of the system time neither
// shortens nor lengthens them. Each object keeps its state under its own critical section
// (contention is reported like that of every lock of the library) and is safe to use from any
// number of threads; none of them may be destroyed while a thread still waits on it.
//
// Depends on CriticalSection and the platform layer.
#pragma once

#include <pthread.h>
#include <time.h>

#include <cstdint>

#include "base/core/CriticalSection.h"
#include "base/core/Export.h"

namespace OrvGuiBase {

// kInfinite: the timeout that never runs out.
inline constexpr uint32_t kInfinite = 0xFFFFFFFFu;
// kWaitTimeoutError: the last error of a wait whose time ran out (ETIMEDOUT).
inline constexpr int kWaitTimeoutError = 110;

// WaitDeadline: the moment a wait of timeoutMs milliseconds, started now, runs out. Loops that
// wait for a predicate on a Condition take one deadline before the loop, so that spurious
// wake-ups do not restart the clock.
class ORVGUI_API WaitDeadline {
 public:
  explicit WaitDeadline(uint32_t timeoutMs);
  // IsInfinite: made from kInfinite.
  bool IsInfinite() const { return m_infinite; }
  // HasPassed: the time has run out (never for an infinite deadline).
  bool HasPassed() const;
  // GetRemainingMs: milliseconds left, rounded up; kInfinite for an infinite deadline.
  uint32_t GetRemainingMs() const;
  // GetTime: the deadline on the monotonic clock (meaningless for an infinite one).
  const timespec& GetTime() const { return m_time; }

 private:
  timespec m_time{};
  bool m_infinite;
};

// Condition: a condition variable used with a CriticalSection, on the monotonic clock.
//
//   CriticalSectionContext hold(lock);
//   if (!queueChanged.WaitFor(lock, timeoutMs, [&] { return !queue.empty(); }))
//     return false;                                                // last error 110
class ORVGUI_API Condition {
 public:
  Condition();
  ~Condition();
  Condition(const Condition&) = delete;
  Condition& operator=(const Condition&) = delete;

  // Wait: releases lock, which the caller must hold exactly once (it is recursive, and a wait
  // releases one level only), waits for a Signal or Broadcast, and holds the lock again before
  // it returns. True when woken, which may be spuriously: callers re-test their predicate.
  // False with last error 110 when timeoutMs passed first; a timeout of 0 returns false at once.
  bool Wait(CriticalSection& lock, uint32_t timeoutMs = kInfinite);
  // WaitUntil: the same with a deadline taken earlier.
  bool WaitUntil(CriticalSection& lock, const WaitDeadline& deadline);
  // WaitFor: waits, under lock held once, until ready() is true, for at most timeoutMs. True
  // when it is (also when it became so at the last moment), false with last error 110 when not.
  template <class Predicate>
  bool WaitFor(CriticalSection& lock, uint32_t timeoutMs, Predicate ready) {
    const WaitDeadline deadline(timeoutMs);
    while (!ready())
      if (!WaitUntil(lock, deadline)) return ready();
    return true;
  }
  // Signal: wakes one waiting thread, if any. Broadcast: wakes all of them.
  void Signal();
  void Broadcast();

 private:
  pthread_cond_t m_condition;
};

// Event: a signalled/not-signalled flag that threads wait for.
// A manual-reset event stays set until Reset and releases every waiter. An auto-reset event
// releases exactly one waiter per Set and is not set any more once that waiter returns; set
// while nobody waits, it stays set until the next wait consumes it. Repeated Sets before a wait
// count once.
class ORVGUI_API Event {
 public:
  explicit Event(bool manualReset = false, bool initiallySet = false);
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;

  void Set();
  void Reset();
  // IsSet: the state at the moment of the call.
  bool IsSet();
  // Wait: true once the event is set (an auto-reset event is reset by this); false with last
  // error 110 when timeoutMs passed first.
  bool Wait(uint32_t timeoutMs = kInfinite);

 private:
  CriticalSection m_lock;
  Condition m_changed;
  bool m_set;
  const bool m_manualReset;
};

// Semaphore: a count of available units between 0 and a maximum.
class ORVGUI_API Semaphore {
 public:
  // Semaphore: initialCount units available, at most maximumCount; an initial count above the
  // maximum is taken as the maximum, a maximum of 0 as 1.
  explicit Semaphore(uint32_t initialCount = 0, uint32_t maximumCount = 0xFFFFFFFFu);
  Semaphore(const Semaphore&) = delete;
  Semaphore& operator=(const Semaphore&) = delete;

  // Release: makes count units available and wakes as many waiters; previous (optional)
  // receives the count before. A count of 0 fails with last error 22; a count that would pass
  // the maximum changes nothing and fails with last error 75 (EOVERFLOW).
  bool Release(uint32_t count = 1, uint32_t* previous = nullptr);
  // Wait: takes one unit, waiting for one to become available; false with last error 110 when
  // timeoutMs passed first.
  bool Wait(uint32_t timeoutMs = kInfinite);
  // GetCount: the units available at the moment of the call.
  uint32_t GetCount();

 private:
  CriticalSection m_lock;
  Condition m_available;
  uint32_t m_count;
  const uint32_t m_maximum;
};

// Wait: the same waits as free functions, one overload per kind of object (the mutex-handle and
// thread overloads sit beside their types in NamedMutex.h and Thread.h).
ORVGUI_API bool Wait(Event& event, uint32_t timeoutMs = kInfinite);
ORVGUI_API bool Wait(Semaphore& semaphore, uint32_t timeoutMs = kInfinite);
ORVGUI_API bool Wait(Condition& condition, CriticalSection& lock, uint32_t timeoutMs = kInfinite);

}  // namespace OrvGuiBase
