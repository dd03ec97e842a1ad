// Memory.h: the library's plain heap wrappers and the process-wide no-free switch.
//
//   void* entry = AllocSimple(24);
//   ...
//   FreeSimple(entry);
//
// AllocSimple/AllocMemory are malloc; FreeSimple/FreeMemory are free, except that they do
// nothing for a null pointer or once SetNoFree(true) was called (a process about to end
// switches freeing off so that no late destructor touches freed memory).
#pragma once

#include <cstddef>

#include "base/core/Export.h"

namespace OrvGuiBase {

// AllocSimple: malloc(size); null with last error 12 when the heap refuses.
ORVGUI_API void* AllocSimple(size_t size);
// FreeSimple: free(p), unless p is null or the no-free switch is on.
ORVGUI_API void FreeSimple(void* p);
// AllocMemory / FreeMemory: the same contract as AllocSimple / FreeSimple.
ORVGUI_API void* AllocMemory(size_t size);
ORVGUI_API void FreeMemory(void* p);
// SetNoFree: turns every later FreeSimple, FreeMemory and particle free into a no-op (or back).
ORVGUI_API void SetNoFree(bool on);
// IsNoFree: the state of the switch.
ORVGUI_API bool IsNoFree();

}  // namespace OrvGuiBase
