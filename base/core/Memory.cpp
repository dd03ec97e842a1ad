// Memory.cpp: malloc/free wrappers and the no-free switch.
#include "base/core/Memory.h"

#include "private/core/NoFree.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>

namespace OrvGuiBase {

namespace Internal {
constinit ORVGUI_API std::atomic<bool> g_noFree{false};
}
using Internal::g_noFree;

void* AllocSimple(size_t size) {
  void* p = std::malloc(size);
  if (p == nullptr) errno = ENOMEM;
  return p;
}

void FreeSimple(void* p) {
  if (p != nullptr && !g_noFree.load(std::memory_order_relaxed)) std::free(p);
}

void* AllocMemory(size_t size) { return AllocSimple(size); }
void FreeMemory(void* p) { FreeSimple(p); }
void SetNoFree(bool on) { g_noFree.store(on, std::memory_order_relaxed); }
bool IsNoFree() { return g_noFree.load(std::memory_order_relaxed); }

}  // namespace OrvGuiBase
