// Array.h: Array<T>, a shared, copy-on-write vector of 8-byte handles (AnsiStr, Val, ...).
//
//   Array<AnsiStr> names;
//   names.Append("alpha").Append("beta");
//   for (const AnsiStr& name : names) puts(name.GetStr());
//
// An Array is one pointer to a reference-counted body taken from the particle allocator (no
// body at all while empty): the 32-bit reference count, the capacity and the count of elements
// (32-bit), then the element slots of 8 bytes each, and one spare slot that stays zero. A body
// for n slots is a block of 8n + 24 bytes. Copies share the body; any change, and any non-const
// element access, copies it first when it is shared. Array values may be copied and released
// on many threads at once; one Array object must not be changed by two threads at once.
//
// T must be an 8-byte handle whose all-zero bytes are its empty value (new slots are zeroed,
// not constructed) and which may be moved by copying its bytes (a growing, unshared body is
// relocated with memcpy). Releasing a body releases each element, then the block. WideStr,
// whose pointer is never null, is not such a handle.
//
// Failures: an element read past the count reports event 800 "Array access failed" and reads
// an empty element. A body that cannot be allocated reports event 800 "Array allocation
// failed" and ends the process with "Could not allocate array"; a count that would pass
// 0xFFFFFFFF reports event 801 and ends it with "UInt32 overflow". Nothing throws.
//
// Depends on base/core (Reference, particles, DebugAbort, events).
#pragma once

#include <cstdint>
#include <cstring>
#include <new>
#include <utility>

#include "base/core/Export.h"
#include "base/core/Reference.h"

namespace OrvGuiBase {

// ArrayImp: the body shared by all element types; the slots follow the header at offset 16.
struct ORVGUI_API ArrayImp {
  Reference ref;          // 1 when made
  uint32_t capacity = 0;  // slots
  uint32_t count = 0;     // elements in use; the slots from count on are zero
  uint32_t reserved = 0;  // keeps the slots 8-byte aligned

  static constexpr uint32_t kMaxCount = 0xFFFFFFFFu;

  // GetBlockSize: the bytes of a body with capacity slots: 8 * capacity + 24.
  static uint64_t GetBlockSize(uint64_t capacity) noexcept { return 8 * capacity + 24; }
  // GetGrowCapacity: the capacity a body gets when it must grow to hold needed elements: half
  // as much again (at least 4, at most 0xFFFFFFFF), so that appending one element at a time
  // copies each element a bounded number of times.
  static uint32_t GetGrowCapacity(uint64_t needed) noexcept;
  // Alloc: a body of capacity (at least 1) zeroed slots, reference count 1, count 0. Never
  // null: when the block cannot be had it reports the failure and ends the process. With
  // zeroSlots false only the spare slot after them is zeroed: the caller fills every slot.
  static ArrayImp* Alloc(uint64_t capacity, bool zeroSlots = true) noexcept;
  // FreeBlock: gives the block back without touching the elements.
  static void FreeBlock(ArrayImp* body) noexcept;
  // CheckGrowth: ends the process (after event 801) when count + added passes 0xFFFFFFFF.
  static void CheckGrowth(uint64_t count, uint64_t added) noexcept {
    if (count + added > kMaxCount) [[unlikely]]
      Overflow(count, added);
  }

  uint64_t* GetSlots() noexcept { return reinterpret_cast<uint64_t*>(reinterpret_cast<char*>(this) + 16); }

 private:
  [[noreturn]] static void Overflow(uint64_t count, uint64_t added) noexcept;
};
static_assert(sizeof(ArrayImp) == 16, "the slots follow a 16-byte header");

// ReportArrayIndexFail: event 800 "Array access failed" with the fields "index" and "length";
// last error 12.
ORVGUI_API void ReportArrayIndexFail(uint64_t index, uint64_t length) noexcept;
// ReportArrayAllocFail: event 800 "Array allocation failed" with "size_bytes" and "length";
// last error 12. The caller ends the process.
ORVGUI_API void ReportArrayAllocFail(uint64_t sizeBytes, uint64_t length) noexcept;
// ReportArrayOverflow: event 801 "Array overflow detected" with "length1" and "length2"; last
// error 12. The caller ends the process.
ORVGUI_API void ReportArrayOverflow(uint64_t length1, uint64_t length2) noexcept;

template <class T>
class Array {
  static_assert(sizeof(T) == 8, "Array holds 8-byte handles");

 public:
  Array() noexcept = default;
  Array(const Array& other) noexcept : m_imp(other.m_imp) {
    if (m_imp != nullptr) m_imp->ref.Link();
  }
  Array(Array&& other) noexcept : m_imp(std::exchange(other.m_imp, nullptr)) {}
  ~Array() { Release(); }

  // operator=: shares the other array's body.
  Array& operator=(const Array& other) noexcept {
    if (other.m_imp != nullptr) other.m_imp->ref.Link();
    Release();
    m_imp = other.m_imp;
    return *this;
  }
  Array& operator=(Array&& other) noexcept {
    if (this != &other) {
      Release();
      m_imp = std::exchange(other.m_imp, nullptr);
    }
    return *this;
  }

  // GetCount: the number of elements.
  uint32_t GetCount() const noexcept { return m_imp != nullptr ? m_imp->count : 0; }
  // GetCapacity: the elements the body holds without growing.
  uint32_t GetCapacity() const noexcept { return m_imp != nullptr ? m_imp->capacity : 0; }
  bool IsEmpty() const noexcept { return GetCount() == 0; }
  // IsShared: the body has more than one owner.
  bool IsShared() const noexcept { return m_imp != nullptr && m_imp->ref.IsShared(); }

  // operator[]: the element at index, writable (a shared body is copied first). An index at or
  // past the count deliberately appends ONE empty element (count + 1, not index + 1) and
  // returns it: callers fill arrays with a[a.GetCount()] = value. At count 0xFFFFFFFF the
  // process ends ("UInt32 overflow").
  T& operator[](uint32_t index) noexcept {
    const uint32_t count = GetCount();
    if (index >= count) {
      ArrayImp::CheckGrowth(count, 1);
      T* slots = MakeRoom(uint64_t{count} + 1, false);
      ++m_imp->count;
      return *new (&slots[count]) T();
    }
    return MakeRoom(count, false)[index];
  }
  // Get, const operator[]: the element at index; past the count, event 800 "Array access
  // failed" and an empty element.
  const T& Get(uint32_t index) const noexcept {
    if (index >= GetCount()) [[unlikely]] {
      ReportArrayIndexFail(index, GetCount());
      return EmptyElement();
    }
    return GetData()[index];
  }
  const T& operator[](uint32_t index) const noexcept { return Get(index); }

  // GetData, begin, end: the elements in order (null while there is no body).
  const T* GetData() const noexcept {
    return m_imp != nullptr ? reinterpret_cast<const T*>(m_imp->GetSlots()) : nullptr;
  }
  const T* begin() const noexcept { return GetData(); }
  const T* end() const noexcept { return GetData() + GetCount(); }

  // Append: add n copies of value at the end (value may be an element of this array).
  Array& Append(const T& value, uint32_t n = 1) noexcept { return Insert(GetCount(), value, n); }
  // Insert: put n copies of value in front of position pos (past the count: at the end).
  Array& Insert(uint32_t pos, const T& value, uint32_t n = 1) noexcept {
    if (n == 0) return *this;
    const uint32_t count = GetCount();
    if (pos > count) pos = count;
    ArrayImp::CheckGrowth(count, n);
    const T keep(value);  // value may live in the body about to move
    T* slots = MakeRoom(uint64_t{count} + n, false);
    if (pos < count) memmove(static_cast<void*>(slots + pos + n), slots + pos, (count - pos) * sizeof(T));
    for (uint32_t i = 0; i < n; ++i) new (&slots[pos + i]) T(keep);
    m_imp->count = count + n;
    return *this;
  }
  // Delete: remove up to count elements from pos, releasing them.
  Array& Delete(uint32_t pos, uint32_t count = 1) noexcept {
    const uint32_t total = GetCount();
    if (pos >= total || count == 0) return *this;
    if (count > total - pos) count = total - pos;
    T* slots = MakeRoom(total, false);
    for (uint32_t i = pos; i < pos + count; ++i) slots[i].~T();
    memmove(static_cast<void*>(slots + pos), slots + pos + count, (total - pos - count) * sizeof(T));
    memset(static_cast<void*>(slots + total - count), 0, count * sizeof(T));
    m_imp->count = total - count;
    return *this;
  }
  // SetCount: grow with empty elements or cut, releasing the elements cut off.
  Array& SetCount(uint32_t count) noexcept {
    const uint32_t total = GetCount();
    if (count > total) {
      T* slots = MakeRoom(count, false);
      for (uint32_t i = total; i < count; ++i) new (&slots[i]) T();
      m_imp->count = count;
    } else if (count < total) {
      Delete(count, total - count);
    }
    return *this;
  }
  // MoveIn: the array becomes the count elements at from, moved in as bytes (the caller forgets
  // them, as after a relocation), in a body of exactly count slots.
  Array& MoveIn(T* from, uint32_t count) noexcept {
    Release();
    m_imp = nullptr;
    if (count == 0) return *this;
    ArrayImp* body = ArrayImp::Alloc(count, false);
    memcpy(static_cast<void*>(body->GetSlots()), static_cast<const void*>(from), sizeof(T) * count);
    body->count = count;
    m_imp = body;
    return *this;
  }
  // Reserve: make room for at least capacity elements (exactly that many when it must grow).
  Array& Reserve(uint32_t capacity) noexcept {
    if (capacity > GetCapacity()) MakeRoom(capacity, true);
    return *this;
  }
  // Clear: release the body (and with it the elements when this was the last owner).
  Array& Clear() noexcept {
    Release();
    m_imp = nullptr;
    return *this;
  }

 private:
  static const T& EmptyElement() noexcept {
    static const T s_empty{};
    return s_empty;
  }

  // MakeRoom: the writable slots of a body that this array owns alone and that holds needed
  // elements. A shared body is copied (each element copied, the old reference dropped); an
  // unshared body that is too small is relocated byte for byte. A new body gets exactly needed
  // slots when exact is set or when it is only copied, the growth capacity otherwise.
  T* MakeRoom(uint64_t needed, bool exact) noexcept {
    ArrayImp* old = m_imp;
    if (old != nullptr && !old->ref.IsShared() && old->capacity >= needed) [[likely]]
      return reinterpret_cast<T*>(old->GetSlots());
    const bool grows = old == nullptr || needed > old->capacity;
    ArrayImp* body = ArrayImp::Alloc(exact || !grows ? needed : ArrayImp::GetGrowCapacity(needed));
    T* target = reinterpret_cast<T*>(body->GetSlots());
    if (old != nullptr) {
      const uint32_t count = old->count;
      T* source = reinterpret_cast<T*>(old->GetSlots());
      if (old->ref.IsShared()) {
        for (uint32_t i = 0; i < count; ++i) new (&target[i]) T(source[i]);
        if (old->ref.Unlink()) Destroy(old);  // the other owners let go meanwhile
      } else {
        memcpy(static_cast<void*>(target), source, count * sizeof(T));
        ArrayImp::FreeBlock(old);
      }
      body->count = count;
    }
    m_imp = body;
    return target;
  }

  static void Destroy(ArrayImp* body) noexcept {
    T* slots = reinterpret_cast<T*>(body->GetSlots());
    for (uint32_t i = 0; i < body->count; ++i) slots[i].~T();
    ArrayImp::FreeBlock(body);
  }

  void Release() noexcept {
    if (m_imp != nullptr && m_imp->ref.Unlink()) Destroy(m_imp);
  }

  ArrayImp* m_imp = nullptr;
};

}  // namespace OrvGuiBase
