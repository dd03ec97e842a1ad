// ParticleBench.cpp: the particle allocator beside glibc malloc and mimalloc.
//
// Groups, each with orvgui, glibc and mimalloc:
//   "Pair<size>"   one allocation and its free (target: at most half of glibc, no more than mimalloc)
//   "Batch<size>"  1,000 allocations, then their frees
//   "CrossThread"  one thread allocates, another frees (counter rss_over_live: growth of the
//                  resident set during the run divided by the bytes in flight; target under 2)
// `make bench` also runs the glibc variants with jemalloc and tcmalloc preloaded.
#include <benchmark/benchmark.h>
#include <mimalloc.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include "base/core/ParticleAllocator.h"

namespace {

struct OrvGui {
  static void* Alloc(size_t n) { return OrvGuiBase::AllocParticle(n); }
  static void Free(size_t n, void* p) { OrvGuiBase::FreeParticle(n, p); }
};
struct Glibc {
  static void* Alloc(size_t n) { return malloc(n); }
  static void Free(size_t, void* p) { free(p); }
};
struct MiMalloc {
  static void* Alloc(size_t n) { return mi_malloc(n); }
  static void Free(size_t, void* p) { mi_free(p); }
};

template <class A>
void Pair(benchmark::State& state) {
  const size_t size = static_cast<size_t>(state.range(0));
  for (auto _ : state) {
    void* p = A::Alloc(size);
    benchmark::DoNotOptimize(p);
    A::Free(size, p);
  }
}

template <class A>
void Batch(benchmark::State& state) {
  const size_t size = static_cast<size_t>(state.range(0));
  std::vector<void*> held(1000);
  for (auto _ : state) {
    for (void*& p : held) p = A::Alloc(size);
    benchmark::DoNotOptimize(held.data());
    for (void* p : held) A::Free(size, p);
  }
  state.SetItemsProcessed(state.iterations() * 1000);
}

long ResidentKiB() {
  FILE* file = fopen("/proc/self/statm", "r");
  long pages = 0, resident = 0;
  if (file != nullptr) {
    if (fscanf(file, "%ld %ld", &pages, &resident) != 2) resident = 0;
    fclose(file);
  }
  return resident * 4;
}

// A single-producer, single-consumer ring of pointers.
template <class A>
void CrossThread(benchmark::State& state) {
  constexpr size_t kSize = 64, kRing = 4096, kPerIteration = 100000;
  std::vector<std::atomic<void*>> ring(kRing);
  std::atomic<bool> stop{false};
  std::atomic<size_t> consumed{0};
  std::thread consumer([&] {
    size_t at = 0;
    while (!stop.load(std::memory_order_relaxed)) {
      void* p = ring[at].exchange(nullptr, std::memory_order_acquire);
      if (p == nullptr) continue;
      A::Free(kSize, p);
      at = (at + 1) % kRing;
      consumed.fetch_add(1, std::memory_order_relaxed);
    }
  });
  const long before = ResidentKiB();
  long peak = before;
  size_t at = 0, produced = 0;
  for (auto _ : state) {
    for (size_t i = 0; i < kPerIteration; ++i) {
      void* p = A::Alloc(kSize);
      while (ring[at].load(std::memory_order_acquire) != nullptr) {
      }
      ring[at].store(p, std::memory_order_release);
      at = (at + 1) % kRing;
      ++produced;
    }
    const long now = ResidentKiB();
    if (now > peak) peak = now;
  }
  while (consumed.load() < produced) {
  }
  stop = true;
  consumer.join();
  state.SetItemsProcessed(static_cast<int64_t>(produced));
  state.counters["rss_over_live"] = static_cast<double>(peak - before) * 1024 / (kRing * kSize);
}

}  // namespace

#define ORVGUI_SIZES ->Arg(8)->Arg(16)->Arg(64)->Arg(256)->Arg(1024)
BENCHMARK(Pair<OrvGui>)->Name("Pair/orvgui") ORVGUI_SIZES;
BENCHMARK(Pair<Glibc>)->Name("Pair/glibc") ORVGUI_SIZES;
BENCHMARK(Pair<MiMalloc>)->Name("Pair/mimalloc") ORVGUI_SIZES;
BENCHMARK(Batch<OrvGui>)->Name("Batch/orvgui") ORVGUI_SIZES;
BENCHMARK(Batch<Glibc>)->Name("Batch/glibc") ORVGUI_SIZES;
BENCHMARK(Batch<MiMalloc>)->Name("Batch/mimalloc") ORVGUI_SIZES;
BENCHMARK(CrossThread<OrvGui>)->Name("CrossThread/orvgui")->UseRealTime();
BENCHMARK(CrossThread<Glibc>)->Name("CrossThread/glibc")->UseRealTime();
BENCHMARK(CrossThread<MiMalloc>)->Name("CrossThread/mimalloc")->UseRealTime();
