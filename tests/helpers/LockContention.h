// LockContention.h: one real, certain contention on a lock, for the tests that observe it.
//
//   ContendOnce(lock, "waiter");   // another thread holds lock; this one waits, then enters
//
// A second thread enters the lock with the site "holder" and keeps it until a third thread lets
// it go 20 ms later; meanwhile the calling thread enters with the given site, which therefore
// always waits. All threads are joined before it returns.
#pragma once

#include <unistd.h>

#include <atomic>
#include <thread>

#include "base/core/CriticalSection.h"

template <class Lock>
void ContendOnce(Lock& lock, const char* site) {
  std::atomic<bool> held{false}, release{false};
  std::thread holder([&] {
    OrvGuiBase::CriticalSectionContextBase<Lock> hold(lock, "holder");
    held = true;
    while (!release) std::this_thread::yield();
  });
  while (!held) std::this_thread::yield();
  std::thread releaser([&] {
    usleep(20000);
    release = true;
  });
  { OrvGuiBase::CriticalSectionContextBase<Lock> hold(lock, site); }
  holder.join();
  releaser.join();
}
