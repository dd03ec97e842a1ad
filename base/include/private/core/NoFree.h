// NoFree.h: the no-free switch as the allocator's hot paths read it (never installed).
// The switch itself is set through SetNoFree (base/core/Memory.h).
#pragma once

#include <atomic>

namespace OrvGuiBase::Internal {

extern std::atomic<bool> g_noFree;

inline bool NoFree() { return g_noFree.load(std::memory_order_relaxed); }

}  // namespace OrvGuiBase::Internal
