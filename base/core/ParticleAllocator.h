// ParticleAllocator.h: the small-block allocator behind every small record of the library.
//
//   Node* node = static_cast<Node*>(AllocParticle(sizeof(Node)));
//   ...
//   FreeParticle(sizeof(Node), node);               // the size is given again: no header
//
// A particle is a block of at most 1024 bytes from one of 128 size classes (8, 16, ..., 1024
// bytes; a request of n bytes uses class (n + 7) / 8). Each thread keeps a free list per class
// and takes and returns particles without a lock; a list that runs empty is refilled with a
// batch (4096 bytes' worth) from the class's process-wide pool, and a list that grows past its
// limit (512 KiB worth) gives all but one batch back. Pools carve blocks from the heap, 16 KiB
// at first and doubling every two blocks up to 1 MiB. Size 0, sizes above 1024 and everything
// while particles are disabled (PARTICLEREPLACEMENT set, or running under Valgrind) go to the
// system heap.
//
// Particles freed by another thread than the one that allocated them join the freeing
// thread's list. After a thread's particle data is gone (late destructors at thread or process
// end), allocation is served by one shared fallback and frees are deliberately dropped: such a
// particle is neither a heap block nor can it reach a list.
#pragma once

#include <cstddef>
#include <cstdint>

#include <atomic>

#include "base/core/Export.h"
#include "base/core/Memory.h"
#include "base/core/ParticleSettings.h"

// Under AddressSanitizer every particle goes through the library's out-of-line paths, which
// poison and unpoison; hosts compile with the same sanitizer settings as the library.
#if defined(__SANITIZE_ADDRESS__)
#define ORVGUI_PARTICLES_OUT_OF_LINE 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ORVGUI_PARTICLES_OUT_OF_LINE 1
#endif
#endif

namespace OrvGuiBase {

namespace Internal {
// ParticleList: one thread's free list of one size class (the link of a free particle is in
// its last 8 bytes).
struct ParticleList {
  void* head;
  uint32_t freeCount;
  uint32_t size;   // of the class's particles
  uint32_t batch;  // particles per refill, and what a clean-up keeps
  uint32_t limit;  // the most the thread may hold free
};
// t_particleTable: the calling thread's lists by request size (0..1024; null where the size has
// no class), or null while the thread has no particle data of its own. In the static TLS block:
// the library is loaded with the program.
extern ORVGUI_API __thread ParticleList* const* t_particleTable __attribute__((tls_model("initial-exec")));
extern ORVGUI_API std::atomic<bool> g_noFree;
// The paths for everything the inline ones leave: refills, clean-ups, the heap, teardown.
ORVGUI_API void* AllocParticleSlow(size_t size);
ORVGUI_API void FreeParticleSlow(size_t size, void* p);
}  // namespace Internal

// AllocParticle: a block of at least size bytes; null (last error 12) when the heap refuses a
// size that goes to the heap. A pool that cannot grow by even 16 KiB ends the process. The
// common case (a particle on the thread's own list) is a few inline instructions.
inline void* AllocParticle(size_t size) {
#ifndef ORVGUI_PARTICLES_OUT_OF_LINE
  if (size - 1 < 1024) [[likely]] {
    if (Internal::ParticleList* const* table = Internal::t_particleTable) [[likely]] {
      Internal::ParticleList* list = table[size];
      void* p = list != nullptr ? list->head : nullptr;
      if (p != nullptr) [[likely]] {
        list->head = *reinterpret_cast<void**>(static_cast<char*>(p) + list->size - 8);
        --list->freeCount;
        return p;
      }
    }
  }
#endif
  return Internal::AllocParticleSlow(size);
}

// FreeParticle: gives back a block from AllocParticle of the same size. Null is ignored, and so
// is everything while SetNoFree(true) is in force.
inline void FreeParticle(size_t size, void* p) {
#ifndef ORVGUI_PARTICLES_OUT_OF_LINE
  if (size - 1 < 1024 && p != nullptr) [[likely]] {
    if (Internal::ParticleList* const* table = Internal::t_particleTable) [[likely]] {
      Internal::ParticleList* list = table[size];
      if (list != nullptr && list->freeCount < list->limit && !Internal::g_noFree.load(std::memory_order_relaxed))
          [[likely]] {
        *reinterpret_cast<void**>(static_cast<char*>(p) + list->size - 8) = list->head;
        list->head = p;
        ++list->freeCount;
        return;
      }
    }
  }
#endif
  Internal::FreeParticleSlow(size, p);
}

// AllocParticleList: allocates count particles of size bytes and chains each in front of head
// through the pointer stored at byte offset linkOffset of the particle; returns the new head.
ORVGUI_API void* AllocParticleList(size_t size, size_t linkOffset, size_t count, void* head);
// FreeParticleList: frees a chain built that way (the link at linkOffset, null-terminated).
ORVGUI_API void FreeParticleList(size_t size, size_t linkOffset, void* head);
// CloneParticleList: copies the chain source particle by particle (size bytes each), keeping
// its order, and puts the copy in front of head; returns the new head.
ORVGUI_API void* CloneParticleList(size_t size, size_t linkOffset, const void* source, void* head);

// TestParticle: true, after making sure the calling thread's particle data exists.
ORVGUI_API bool TestParticle(size_t size, void* p);
// TestParticleList: true when particles of this size come from a size class.
ORVGUI_API bool TestParticleList(size_t size, unsigned count, void* head);

// FreeParticles: gives every wholly free pool block back to the heap; true when anything was
// freed. False at once while particles are disabled.
ORVGUI_API bool FreeParticles();
// CheckParticles: traces one line per size class; true.
ORVGUI_API bool CheckParticles();
// IsParticleManagerValid: true while the process-wide pools exist (made, not yet destroyed).
ORVGUI_API bool IsParticleManagerValid();

// ParticleClassStatistics: the counters of one size class's pool.
struct ParticleClassStatistics {
  uint32_t particleSize = 0;
  uint64_t poolFree = 0;    // particles on the pool's free list
  uint64_t poolTotal = 0;   // particles carved from the pool's blocks
  uint32_t blocks = 0;      // blocks of the pool
  uint64_t blockBytes = 0;  // bytes of those blocks
};
// GetParticleClassStatistics: a snapshot of class (1..128) taken under its lock; false for a
// class out of range or when the pools do not exist.
ORVGUI_API bool GetParticleClassStatistics(unsigned sizeClass, ParticleClassStatistics* statistics);
// GetThreadParticleCount: how many free particles of the class of size the calling thread holds.
ORVGUI_API uint32_t GetThreadParticleCount(size_t size);

namespace Internal {
// The heap call that pools carve blocks with; a test replaces it to make the heap refuse.
using ParticleBlockAllocator = void* (*)(size_t bytes);
ORVGUI_API ParticleBlockAllocator SetParticleBlockAllocator(ParticleBlockAllocator allocator);
// Makes sure the pools exist; called in the load-time order of the library's statics.
void PrimeParticleManager();
}  // namespace Internal

}  // namespace OrvGuiBase
