// ComMemory.cpp: the task allocator: the C runtime's heap, so that any module can free a block.
#include "base/com/ComMemory.h"

#include <cstdlib>

void* CoTaskMemAlloc(size_t size) { return std::malloc(size != 0 ? size : 1); }

void CoTaskMemFree(void* block) { std::free(block); }
