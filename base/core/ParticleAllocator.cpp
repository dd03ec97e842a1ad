// ParticleAllocator.cpp: size classes, per-thread free lists and the class pools.
//
// The free-list link. A free particle stores the address of the next free particle of its list
// in its last 8 bytes (at particle size - 8); no other memory is used for the lists. A thread
// pops from and pushes to its own lists without a lock. Each class's pool (a
// ParticleBlockHeader) owns the blocks carved from the heap, in a list, and the pool's own
// free list; its recursive lock is taken only to move whole batches between a thread and the
// pool, to add a block, and by FreeParticles and CheckParticles. No path holds two class locks.
//
// Under AddressSanitizer every particle on a free list is poisoned, its link included; the
// link is unpoisoned only for the instant it is read or written, and an allocated particle is
// unpoisoned for exactly the requested size. So a use after free, or a write past the
// requested size, is still reported with particles on.
#include "base/core/ParticleAllocator.h"

#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "base/core/CriticalSection.h"
#include "base/core/DebugAbort.h"
#include "base/core/LazyStatic.h"
#include "base/core/ThreadData.h"
#include "base/core/UpcallTrace.h"
#include "base/process/CommandLine.h"
#include "base/process/Environment.h"
#include "base/text/Formatter.h"
#include "private/core/NoFree.h"
#include "private/system/Sys.h"

#if defined(__SANITIZE_ADDRESS__)
#define ORVGUI_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ORVGUI_ASAN 1
#endif
#endif
#ifdef ORVGUI_ASAN
#include <sanitizer/asan_interface.h>
#define ORVGUI_POISON(p, n) ASAN_POISON_MEMORY_REGION(p, n)
#define ORVGUI_UNPOISON(p, n) ASAN_UNPOISON_MEMORY_REGION(p, n)
#else
#define ORVGUI_POISON(p, n) ((void)(p), (void)(n))
#define ORVGUI_UNPOISON(p, n) ((void)(p), (void)(n))
#endif

namespace OrvGuiBase {

namespace {

constexpr unsigned kClasses = 128;
constexpr size_t kLargest = 1024;
constexpr uint32_t kBatchBytes = 4096;
constexpr uint32_t kLimitBytes = 524288;
constexpr uint32_t kSmallestBlock = 16384;
constexpr uint32_t kLargestBlock = 1048576;

inline void** LinkSlot(void* p, uint32_t particleSize) {
  return reinterpret_cast<void**>(static_cast<char*>(p) + particleSize - 8);
}

inline void* ReadLink(void* p, uint32_t particleSize) {
  void** slot = LinkSlot(p, particleSize);
  ORVGUI_UNPOISON(slot, 8);
  void* next = *slot;
  ORVGUI_POISON(slot, 8);
  return next;
}

inline void WriteLink(void* p, uint32_t particleSize, void* next) {
  void** slot = LinkSlot(p, particleSize);
  ORVGUI_UNPOISON(slot, 8);
  *slot = next;
  ORVGUI_POISON(slot, 8);
}

// Block record: one heap block carved into particles. 24 bytes from AllocSimple.
struct BlockRecord {
  char* data;
  uint32_t size;
  uint32_t count;
  BlockRecord* next;
};
static_assert(sizeof(BlockRecord) == 24);

// ParticleBlockHeader: the pool of one size class.
struct ParticleBlockHeader {
  CriticalSection lock{"ParticleBlockHeader"};
  uint32_t particleSize = 0;
  void* poolHead = nullptr;
  uint64_t freeCount = 0;
  uint64_t totalCount = 0;
  BlockRecord* blocks = nullptr;
  uint32_t blockCount = 0;
};

// ParticleManager: the 128 pools. Its destruction at process exit leaves the blocks alone:
// particles on threads' lists and in live objects still point into them.
struct ParticleManager {
  ParticleBlockHeader headers[kClasses];
  ParticleManager() {
    for (unsigned i = 0; i < kClasses; ++i) headers[i].particleSize = 8 * (i + 1);
  }
};

constinit LazyStatic<ParticleManager> g_manager;
std::atomic<Internal::ParticleBlockAllocator> g_blockAllocator{&malloc};

// ParticleThreadItem: one thread's free list of one class (the layout the inline paths read).
using ParticleThreadItem = Internal::ParticleList;
static_assert(sizeof(ParticleThreadItem) == 24);

void ReturnChainToPool(ParticleBlockHeader& header, void* first, void* last, uint32_t count, const char* site);

// ParticleThreadData: a thread's lists, and the table from request size to list.
struct ParticleThreadData {
  uint64_t threadId;
  ParticleThreadItem* table[kLargest + 1];
  ParticleThreadItem items[kClasses];

  ParticleThreadData() : threadId(static_cast<uint64_t>(pthread_self())) {
    for (unsigned i = 0; i < kClasses; ++i) {
      const uint32_t size = 8 * (i + 1);
      items[i] = {nullptr, 0, size, kBatchBytes / size, kLimitBytes / size};
    }
    const bool use = UseParticles();
    table[0] = nullptr;
    for (size_t size = 1; size <= kLargest; ++size) table[size] = use ? &items[(size + 7) / 8 - 1] : nullptr;
  }

  // Gives every list back to its pool, largest class first.
  ~ParticleThreadData() {
    if (Internal::t_particleTable == table) Internal::t_particleTable = nullptr;  // on the owning thread
    ParticleManager* manager = g_manager.Get();
    if (manager == nullptr) return;
    for (unsigned i = kClasses; i-- > 0;) {
      ParticleThreadItem& item = items[i];
      if (item.head == nullptr) continue;
      void* last = item.head;
      for (uint32_t n = 1; n < item.freeCount; ++n) last = ReadLink(last, item.size);
      ReturnChainToPool(manager->headers[i], item.head, last, item.freeCount, "FreeParticleList");
      item.head = nullptr;
      item.freeCount = 0;
    }
  }

  static void* operator new(size_t bytes) {
    void* p = AllocSimple(bytes);
    if (p == nullptr) throw std::bad_alloc();
    return p;
  }
  static void* operator new(size_t bytes, const std::nothrow_t&) noexcept { return AllocSimple(bytes); }
  static void operator delete(void* p) noexcept { FreeSimple(p); }
};
static_assert(sizeof(ParticleThreadData) == 11280);

using ThreadParticles = ThreadData<ParticleThreadData, -1006>;
using ParticleThreadDataCloser = ThreadParticles::Closer;

void ReturnChainToPool(ParticleBlockHeader& header, void* first, void* last, uint32_t count, const char* site) {
  header.lock.Enter(site);
  WriteLink(last, header.particleSize, header.poolHead);
  header.poolHead = first;
  header.freeCount += count;
  header.lock.Leave();
}

// The block-size ladder: 16 KiB for the first two blocks, doubling every two up to 1 MiB.
uint32_t BlockSizeFor(uint32_t blocks) {
  const uint32_t step = std::min<uint32_t>(blocks / 2, 6);
  return std::min(kSmallestBlock << step, kLargestBlock);
}

// AddBlock: carves a new block into the pool, halving the size on refusal down to 16 KiB.
// Called with the class lock held.
void AddBlock(ParticleBlockHeader& header) {
  const uint32_t particleSize = header.particleSize;
  uint32_t blockSize = BlockSizeFor(header.blockCount);
  char* data = nullptr;
  BlockRecord* record = static_cast<BlockRecord*>(AllocSimple(sizeof(BlockRecord)));
  for (;;) {
    data = record != nullptr ? static_cast<char*>(g_blockAllocator.load()(blockSize)) : nullptr;
    if (data != nullptr || blockSize <= kSmallestBlock) break;
    blockSize /= 2;
  }
  if (data == nullptr) {
    char message[160];
    const int length = snprintf(message, sizeof message,
                                "Could not allocate particle block data (%u bytes) for size %u bytes\n", blockSize,
                                particleSize);
    Sys::WriteAll(STDERR_FILENO, message, static_cast<size_t>(length));
    abort();
  }
  const uint32_t count = blockSize / particleSize;
  ORVGUI_POISON(data, blockSize);
  for (uint32_t i = 0; i + 1 < count; ++i) WriteLink(data + i * particleSize, particleSize, data + (i + 1) * particleSize);
  WriteLink(data + (count - 1) * particleSize, particleSize, header.poolHead);
  header.poolHead = data;
  header.freeCount += count;
  header.totalCount += count;
  *record = {data, blockSize, count, header.blocks};
  header.blocks = record;
  ++header.blockCount;
}

// RefillAndPop: the thread's list is empty: take a batch from the pool, then pop one.
[[gnu::noinline]] void* RefillAndPop(ParticleThreadItem* item, size_t requested) {
  ParticleManager* manager = g_manager.Get();
  if (manager == nullptr) return AllocSimple(item->size);  // pools gone at process exit
  ParticleBlockHeader& header = manager->headers[item->size / 8 - 1];
  header.lock.Enter("AllocParticleList");
  void* first = nullptr;
  void* last = nullptr;
  for (uint32_t taken = 0; taken < item->batch; ++taken) {
    if (header.poolHead == nullptr) AddBlock(header);
    void* p = header.poolHead;
    header.poolHead = ReadLink(p, item->size);
    --header.freeCount;
    if (last != nullptr) WriteLink(last, item->size, p);
    else first = p;
    last = p;
  }
  header.lock.Leave();
  WriteLink(last, item->size, item->head);
  item->head = ReadLink(first, item->size);
  item->freeCount += item->batch - 1;
  ORVGUI_UNPOISON(first, requested);
  return first;
}

// CleanupBase: the thread holds more than its limit: keep one batch, give the rest back.
[[gnu::noinline]] void CleanupBase(ParticleThreadItem* item) {
  ParticleManager* manager = g_manager.Get();
  if (manager == nullptr) return;
  void* keepLast = item->head;
  for (uint32_t n = 1; n < item->batch; ++n) keepLast = ReadLink(keepLast, item->size);
  void* rest = ReadLink(keepLast, item->size);
  WriteLink(keepLast, item->size, nullptr);
  const uint32_t restCount = item->freeCount - item->batch;
  void* restLast = rest;
  for (uint32_t n = 1; n < restCount; ++n) restLast = ReadLink(restLast, item->size);
  item->freeCount = item->batch;
  ReturnChainToPool(manager->headers[item->size / 8 - 1], rest, restLast, restCount, "FreeParticleList");
}

inline bool HasClass(size_t size) { return size - 1 < kLargest; }

}  // namespace

namespace Internal {
__thread ParticleList* const* t_particleTable = nullptr;
}  // namespace Internal

namespace {
// Publishes the thread's own table to the inline paths (never the shared fallback's: frees
// after teardown must reach FreeParticleSlow, which drops them).
inline void Publish(ParticleThreadData* data) {
  if (data != nullptr && Internal::t_particleTable == nullptr && ThreadParticles::GetState() == 2 &&
      ThreadParticles::Peek() == data)
    Internal::t_particleTable = data->table;
}
}  // namespace

void* Internal::AllocParticleSlow(size_t size) {
  if (HasClass(size)) [[likely]] {
    ParticleThreadData* data = ThreadParticles::Get();
    Publish(data);
    ParticleThreadItem* item = data != nullptr ? data->table[size] : nullptr;
    if (item != nullptr) [[likely]] {
      void* p = item->head;
      if (p != nullptr) [[likely]] {
        item->head = ReadLink(p, item->size);
        --item->freeCount;
        ORVGUI_UNPOISON(p, size);
        return p;
      }
      return RefillAndPop(item, size);
    }
  }
  return AllocSimple(size);
}

void Internal::FreeParticleSlow(size_t size, void* p) {
  if (p == nullptr || Internal::NoFree()) return;
  if (HasClass(size)) [[likely]] {
    ParticleThreadData* data = ThreadParticles::Peek();
    if (data == nullptr) {
      // Deliberate: after the thread's particle data is gone, a particle is neither a heap
      // block nor can it reach a list, so it is dropped.
      if (ThreadParticles::GetState() != 1) return;
      data = ThreadParticles::Get();
      Publish(data);
    }
    ParticleThreadItem* item = data != nullptr ? data->table[size] : nullptr;
    if (item != nullptr) [[likely]] {
#ifdef ORVGUI_ASAN
      if (__asan_address_is_poisoned(p))
        DebugAbort("FreeParticle: %p: particle of %zu bytes freed twice or not allocated", p, size);
#endif
      ORVGUI_POISON(p, item->size);
      WriteLink(p, item->size, item->head);
      item->head = p;
      if (++item->freeCount > item->limit) [[unlikely]]
        CleanupBase(item);
      return;
    }
  }
  free(p);
}

void* AllocParticleList(size_t size, size_t linkOffset, size_t count, void* head) {
  for (size_t i = 0; i < count; ++i) {
    void* p = AllocParticle(size);
    if (p == nullptr) break;
    *reinterpret_cast<void**>(static_cast<char*>(p) + linkOffset) = head;
    head = p;
  }
  return head;
}

void FreeParticleList(size_t size, size_t linkOffset, void* head) {
  while (head != nullptr) {
    void* next = *reinterpret_cast<void**>(static_cast<char*>(head) + linkOffset);
    FreeParticle(size, head);
    head = next;
  }
}

void* CloneParticleList(size_t size, size_t linkOffset, const void* source, void* head) {
  void* first = head;
  void** tail = &first;
  for (const void* at = source; at != nullptr;
       at = *reinterpret_cast<void* const*>(static_cast<const char*>(at) + linkOffset)) {
    void* copy = AllocParticle(size);
    if (copy == nullptr) break;
    memcpy(copy, at, size);
    *tail = copy;
    tail = reinterpret_cast<void**>(static_cast<char*>(copy) + linkOffset);
  }
  *tail = head;
  return first;
}

bool TestParticle(size_t, void*) {
  (void)ThreadParticles::Get();
  return true;
}

bool TestParticleList(size_t size, unsigned, void*) {
  ParticleThreadData* data = ThreadParticles::Get();
  return data != nullptr && HasClass(size) && data->table[size] != nullptr;
}

uint32_t GetThreadParticleCount(size_t size) {
  ParticleThreadData* data = ThreadParticles::Peek();
  if (data == nullptr || !HasClass(size)) return 0;
  return data->items[(size + 7) / 8 - 1].freeCount;
}

bool IsParticleManagerValid() { return (g_manager.GetState() & 3) != 0; }

bool GetParticleClassStatistics(unsigned sizeClass, ParticleClassStatistics* statistics) {
  ParticleManager* manager = g_manager.Get();
  if (manager == nullptr || statistics == nullptr || sizeClass < 1 || sizeClass > kClasses) return false;
  ParticleBlockHeader& header = manager->headers[sizeClass - 1];
  header.lock.Enter("GetStatistics");
  statistics->particleSize = header.particleSize;
  statistics->poolFree = header.freeCount;
  statistics->poolTotal = header.totalCount;
  statistics->blocks = header.blockCount;
  statistics->blockBytes = 0;
  for (const BlockRecord* block = header.blocks; block != nullptr; block = block->next)
    statistics->blockBytes += block->size;
  header.lock.Leave();
  return true;
}

// FreeParticles: one pass over each pool's free list counts, per block, the free particles it
// holds (blocks sorted by address, found by binary search); the blocks whose every particle
// is free are unlinked from the list in a second pass and given back to the heap.
bool FreeParticles() {
  if (!UseParticles()) return false;
  ParticleManager* manager = g_manager.Get();
  if (manager == nullptr) return false;
  AnsiStr spinText = GetCmdLineOption("particlespincount", GetEnv("PARTICLESPINCOUNT").GetStr());
  const unsigned long spins = strtoul(spinText.GetStr(), nullptr, 10);

  uint64_t total = 0;
  struct Span {
    char* begin;
    char* end;
    BlockRecord* record;
    uint32_t free;
  };
  std::vector<Span> spans;
  for (ParticleBlockHeader& header : manager->headers) {
    // The spin count is how often a busy pool is tried again before waiting for it.
    bool held = false;
    for (unsigned long n = 0; n < spins && !(held = header.lock.TryEnter()); ++n) sched_yield();
    if (!held) header.lock.Enter("FreeBlocks");
    const uint32_t size = header.particleSize;
    spans.clear();
    for (BlockRecord* block = header.blocks; block != nullptr; block = block->next)
      spans.push_back({block->data, block->data + block->count * size, block, 0});
    std::sort(spans.begin(), spans.end(), [](const Span& a, const Span& b) { return a.begin < b.begin; });
    auto spanOf = [&spans](void* p) -> Span* {
      auto at = std::upper_bound(spans.begin(), spans.end(), static_cast<char*>(p),
                                 [](char* q, const Span& s) { return q < s.begin; });
      if (at == spans.begin()) return nullptr;
      --at;
      return static_cast<char*>(p) < at->end ? &*at : nullptr;
    };
    for (void* p = header.poolHead; p != nullptr; p = ReadLink(p, size))
      if (Span* span = spanOf(p)) ++span->free;
    bool anyWhole = false;
    for (const Span& span : spans) anyWhole |= span.free == span.record->count;
    if (anyWhole) {
      void* kept = nullptr;  // the last particle kept on the list so far
      for (void* p = header.poolHead; p != nullptr;) {
        void* next = ReadLink(p, size);
        const Span* span = spanOf(p);
        if (span == nullptr || span->free != span->record->count) {
          if (kept != nullptr) WriteLink(kept, size, p);
          else header.poolHead = p;
          kept = p;
        }
        p = next;
      }
      if (kept != nullptr) WriteLink(kept, size, nullptr);
      else header.poolHead = nullptr;
      for (BlockRecord** at = &header.blocks; *at != nullptr;) {
        BlockRecord* block = *at;
        Span* span = spanOf(block->data);
        if (span != nullptr && span->free == block->count) {
          *at = block->next;
          header.freeCount -= block->count;
          header.totalCount -= block->count;
          --header.blockCount;
          total += block->size;
          ORVGUI_UNPOISON(block->data, block->size);
          free(block->data);
          FreeSimple(block);
        } else {
          at = &block->next;
        }
      }
    }
    header.lock.Leave();
  }
  const AnsiStr line = FmtArgs("ParticleManager::FreeBlocks: %u bytes freed", static_cast<unsigned>(total));
  OrvGuiTrace::TraceMsg(OrvGuiTrace::kTraceTrace, 4096, "alloc", __LINE__, line.GetStr());
  return total != 0;
}

// CheckParticles: traces each class, after checking that the pool's list holds exactly its
// free count of particles and that each lies in one of the pool's blocks.
bool CheckParticles() {
  ParticleManager* manager = g_manager.Get();
  if (manager == nullptr) return false;
  bool consistent = true;
  for (unsigned i = 0; i < kClasses; ++i) {
    ParticleBlockHeader& header = manager->headers[i];
    header.lock.Enter("CheckBlocks");
    uint64_t listed = 0;
    bool inside = true;
    for (void* p = header.poolHead; p != nullptr; p = ReadLink(p, header.particleSize)) {
      ++listed;
      bool found = false;
      for (const BlockRecord* block = header.blocks; block != nullptr && !found; block = block->next)
        found = static_cast<char*>(p) >= block->data && static_cast<char*>(p) < block->data + block->size;
      inside &= found;
    }
    const bool ok = inside && listed == header.freeCount && header.freeCount <= header.totalCount;
    header.lock.Leave();
    consistent &= ok;
    const AnsiStr line = FmtArgs("ParticleManager::CheckBlocks: %04u/%04u size %04u%s", i + 1, kClasses,
                                 header.particleSize, ok ? "" : " inconsistent");
    OrvGuiTrace::TraceMsg(OrvGuiTrace::kTraceTrace, 4096, "alloc", __LINE__, line.GetStr());
  }
  return consistent;
}

namespace Internal {

ParticleBlockAllocator SetParticleBlockAllocator(ParticleBlockAllocator allocator) {
  return g_blockAllocator.exchange(allocator != nullptr ? allocator : &malloc);
}

void PrimeParticleManager() { (void)g_manager.Get(); }

}  // namespace Internal

}  // namespace OrvGuiBase
