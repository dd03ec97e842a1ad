// CoreBench.cpp: uncontended lock entry and per-thread record access.
//
// Groups: "LockEnterLeave" compares the scoped critical-section entry with a bare recursive
// pthread mutex and std::recursive_mutex (target: within 1.2x of the bare mutex);
// "ThreadRecord" compares a per-thread record read (a few nanoseconds) with pthread_getspecific.
#include <benchmark/benchmark.h>
#include <pthread.h>

#include <mutex>

#include "base/core/CriticalSection.h"
#include "base/core/Init.h"

namespace {

using namespace OrvGuiBase;

void LockEnterLeave_orvgui(benchmark::State& state) {
  CriticalSection lock("BenchLock");
  for (auto _ : state) {
    CriticalSectionContext hold(lock, "bench");
    benchmark::ClobberMemory();
  }
}
BENCHMARK(LockEnterLeave_orvgui)->Name("LockEnterLeave/orvgui");

void LockEnterLeave_pthread(benchmark::State& state) {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_t mutex;
  pthread_mutex_init(&mutex, &attributes);
  for (auto _ : state) {
    pthread_mutex_lock(&mutex);
    benchmark::ClobberMemory();
    pthread_mutex_unlock(&mutex);
  }
  pthread_mutex_destroy(&mutex);
}
BENCHMARK(LockEnterLeave_pthread)->Name("LockEnterLeave/pthread_mutex");

void LockEnterLeave_std(benchmark::State& state) {
  std::recursive_mutex mutex;
  for (auto _ : state) {
    std::lock_guard<std::recursive_mutex> hold(mutex);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(LockEnterLeave_std)->Name("LockEnterLeave/std_recursive_mutex");

// A per-thread record read through an exported library call (IsInitSection reads the calling
// thread's SetupThreadData), beside the classic thread-specific-data lookup.
void ThreadRecord_orvgui(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(IsInitSection());
}
BENCHMARK(ThreadRecord_orvgui)->Name("ThreadRecord/orvgui");

void ThreadRecord_pthread(benchmark::State& state) {
  pthread_key_t key;
  pthread_key_create(&key, nullptr);
  static int value = 1;
  pthread_setspecific(key, &value);
  for (auto _ : state) benchmark::DoNotOptimize(*static_cast<int*>(pthread_getspecific(key)));
  pthread_key_delete(key);
}
BENCHMARK(ThreadRecord_pthread)->Name("ThreadRecord/pthread_getspecific");

}  // namespace
