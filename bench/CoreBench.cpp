// CoreBench.cpp: uncontended lock entry and per-thread record access.
//
// Groups: "LockEnterLeave" compares the scoped critical-section entry with a bare recursive
// pthread mutex and std::recursive_mutex (target: within 1.2x of the bare mutex);
// "ThreadRecord" compares a per-thread record lookup with a plain thread_local read.
#include <benchmark/benchmark.h>
#include <pthread.h>

#include <mutex>

#include "base/core/CriticalSection.h"
#include "base/core/LastError.h"
#include "base/core/ThreadData.h"

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

struct BenchRecord {
  int value = 1;
};

void ThreadRecord_orvgui(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(ThreadData<BenchRecord>::Get()->value);
}
BENCHMARK(ThreadRecord_orvgui)->Name("ThreadRecord/orvgui");

thread_local BenchRecord t_plain;
[[gnu::noinline]] BenchRecord* PlainRecord() { return &t_plain; }

void ThreadRecord_thread_local(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(PlainRecord()->value);
}
BENCHMARK(ThreadRecord_thread_local)->Name("ThreadRecord/thread_local");

void LastError_orvgui(benchmark::State& state) {
  for (auto _ : state) {
    SetLastError(5);
    benchmark::DoNotOptimize(GetLastError());
  }
}
BENCHMARK(LastError_orvgui)->Name("LastError/orvgui");

void LastError_errno(benchmark::State& state) {
  for (auto _ : state) {
    errno = 5;
    benchmark::DoNotOptimize(errno);
  }
}
BENCHMARK(LastError_errno)->Name("LastError/errno");

}  // namespace
