// Array.cpp: array bodies, their growth rule, and the array failure reports.
#include "base/text/Array.h"

#include "base/core/DebugAbort.h"
#include "base/core/ParticleAllocator.h"
#include "private/text/StringEvents.h"

namespace OrvGuiBase {

void ReportArrayIndexFail(uint64_t index, uint64_t length) noexcept {
  ReportStringFailure(800, "Array access failed", "index", index, "length", length);
}

void ReportArrayAllocFail(uint64_t sizeBytes, uint64_t length) noexcept {
  ReportStringFailure(800, "Array allocation failed", "size_bytes", sizeBytes, "length", length);
}

void ReportArrayOverflow(uint64_t length1, uint64_t length2) noexcept {
  ReportStringFailure(801, "Array overflow detected", "length1", length1, "length2", length2);
}

uint32_t ArrayImp::GetGrowCapacity(uint64_t needed) noexcept {
  if (needed < 4) return 4;
  const uint64_t capacity = needed + needed / 2;
  return capacity > kMaxCount ? kMaxCount : static_cast<uint32_t>(capacity);
}

ArrayImp* ArrayImp::Alloc(uint64_t capacity, bool zeroSlots) noexcept {
  if (capacity == 0) capacity = 1;
  const uint64_t bytes = GetBlockSize(capacity);
  void* block = capacity <= kMaxCount ? AllocParticle(bytes) : nullptr;
  if (block == nullptr) [[unlikely]] {
    ReportArrayAllocFail(bytes, capacity);
    DebugAbort("Could not allocate array");
  }
  ArrayImp* body = new (block) ArrayImp;
  body->capacity = static_cast<uint32_t>(capacity);
  if (zeroSlots) memset(body->GetSlots(), 0, bytes - sizeof(ArrayImp));  // the slots and the spare slot
  else body->GetSlots()[capacity] = 0;
  return body;
}

void ArrayImp::FreeBlock(ArrayImp* body) noexcept {
  const uint64_t bytes = GetBlockSize(body->capacity);
  body->~ArrayImp();
  FreeParticle(bytes, body);
}

void ArrayImp::Overflow(uint64_t count, uint64_t added) noexcept {
  ReportArrayOverflow(count, added);
  DebugAbort("UInt32 overflow");
}

}  // namespace OrvGuiBase
