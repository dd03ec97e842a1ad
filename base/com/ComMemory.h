// ComMemory.h: the task allocator through which interfaces hand memory to their callers.
//
//   STATSTG stat;
//   if (SUCCEEDED(stream->Stat(&stat, STATFLAG_DEFAULT))) CoTaskMemFree(stat.pwcsName);
//
// Memory from CoTaskMemAlloc is freed with CoTaskMemFree by whoever receives it, in any module
// and on any thread. Both are safe to call from any thread.
#pragma once

#include <cstddef>

#include "base/core/Export.h"

// CoTaskMemAlloc: size bytes (at least one), null when memory is short.
ORVGUI_C_API void* CoTaskMemAlloc(size_t size);
// CoTaskMemFree: gives a block back; null does nothing.
ORVGUI_C_API void CoTaskMemFree(void* block);
