// MutexBench.cpp: named mutexes beside a bare flock.
//
// Groups: "NamedMutexPair" is an uncontended WaitForMutex + DropMutex beside the bare
// flock(LOCK_EX) + flock(LOCK_UN) pair on the same kind of file (target: within 1.1x, the two
// system calls are the whole cost); "NamedMutexReentry" is a wait and drop by a thread that
// already holds the mutex, which costs no system call, beside re-locking a held flock (one
// system call) and a recursive pthread mutex.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <unistd.h>

#include <string>

#include "base/core/NamedMutex.h"

namespace {

using namespace OrvGuiBase;

// BenchMutex: a mutex of this run, whose file is removed afterwards (and the directory, when
// the run made it).
class BenchMutex {
 public:
  explicit BenchMutex(const char* tag)
      : m_name(std::string("orvgui-bench-") + std::to_string(getpid()) + "-" + tag),
        m_directoryExisted(access(GetMutexDirectory(), F_OK) == 0) {
    m_handle = CreateMutex(false, m_name.c_str());
  }
  ~BenchMutex() {
    CloseMutex(m_handle);
    unlink(GetMutexFileName(m_name.c_str()));
    if (!m_directoryExisted) rmdir(GetMutexDirectory());
  }
  MutexHandleData* Get() const { return m_handle; }
  std::string Path() const { return GetMutexFileName(m_name.c_str()).GetStr(); }

 private:
  std::string m_name;
  bool m_directoryExisted;
  MutexHandleData* m_handle;
};

void NamedMutexPair_orvgui(benchmark::State& state) {
  BenchMutex mutex("pair");
  if (mutex.Get() == nullptr) return state.SkipWithError("cannot create the mutex");
  for (auto _ : state) {
    WaitForMutex(mutex.Get(), 1000);
    DropMutex(mutex.Get());
  }
}
BENCHMARK(NamedMutexPair_orvgui)->Name("NamedMutexPair/orvgui");

void NamedMutexPair_flock(benchmark::State& state) {
  BenchMutex mutex("pair-flock");
  const int fd = open(mutex.Path().c_str(), O_RDWR | O_CLOEXEC);
  if (fd < 0) return state.SkipWithError("cannot open the file");
  for (auto _ : state) {
    flock(fd, LOCK_EX | LOCK_NB);
    flock(fd, LOCK_UN);
  }
  close(fd);
}
BENCHMARK(NamedMutexPair_flock)->Name("NamedMutexPair/flock");

void NamedMutexReentry_orvgui(benchmark::State& state) {
  BenchMutex mutex("reentry");
  if (mutex.Get() == nullptr || !WaitForMutex(mutex.Get(), kInfinite))
    return state.SkipWithError("cannot hold the mutex");
  for (auto _ : state) {
    WaitForMutex(mutex.Get(), 1000);
    DropMutex(mutex.Get());
    benchmark::ClobberMemory();
  }
  DropMutex(mutex.Get());
}
BENCHMARK(NamedMutexReentry_orvgui)->Name("NamedMutexReentry/orvgui");

void NamedMutexReentry_flock(benchmark::State& state) {
  BenchMutex mutex("reentry-flock");
  const int fd = open(mutex.Path().c_str(), O_RDWR | O_CLOEXEC);
  if (fd < 0 || flock(fd, LOCK_EX) != 0) return state.SkipWithError("cannot hold the file");
  for (auto _ : state) flock(fd, LOCK_EX | LOCK_NB);  // already held: the kernel confirms it
  close(fd);
}
BENCHMARK(NamedMutexReentry_flock)->Name("NamedMutexReentry/flock");

void NamedMutexReentry_pthread(benchmark::State& state) {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_t mutex;
  pthread_mutex_init(&mutex, &attributes);
  pthread_mutex_lock(&mutex);
  for (auto _ : state) {
    pthread_mutex_lock(&mutex);
    pthread_mutex_unlock(&mutex);
    benchmark::ClobberMemory();
  }
  pthread_mutex_unlock(&mutex);
  pthread_mutex_destroy(&mutex);
}
BENCHMARK(NamedMutexReentry_pthread)->Name("NamedMutexReentry/pthread_mutex");

}  // namespace
