// Reference.h: the intrusive 32-bit reference count of shared bodies and objects.
//
//   struct Body : Reference { ... };              // the count is the body's first word
//   body->Link();                                  // one more owner
//   if (body->Unlink()) FreeBody(body);            // the last owner frees
//
// A count that becomes invalid (Link leaving it below 2, Unlink leaving it negative) is a
// broken invariant: the process ends through DebugAbort with the body's address and the count.
#pragma once

#include <atomic>
#include <cstdint>

#include "base/core/Export.h"

namespace OrvGuiBase {

class ORVGUI_API Reference {
 public:
  Reference() noexcept = default;
  Reference(const Reference&) = delete;
  Reference& operator=(const Reference&) = delete;

  // Link: take a reference. Aborts when the new count is below 2.
  void Link() noexcept {
    const int32_t count = m_count.fetch_add(1, std::memory_order_relaxed) + 1;
    if (count < 2) [[unlikely]]
      LinkFailed(this, count);
  }

  // LinkUnpublished: Link for a body that no other thread can reach yet (made by this thread
  // and handed to nobody else so far): a plain increment instead of an atomic one.
  void LinkUnpublished() noexcept {
    const int32_t count = m_count.load(std::memory_order_relaxed) + 1;
    m_count.store(count, std::memory_order_relaxed);
    if (count < 2) [[unlikely]]
      LinkFailed(this, count);
  }

  // Unlink: drop a reference; true when it was the last one and the caller must free the body.
  // Aborts when the new count is negative.
  [[nodiscard]] bool Unlink() noexcept {
    // The sole owner needs no atomic step: with a count of 1 no other thread holds a reference
    // through which it could take another.
    if (m_count.load(std::memory_order_acquire) == 1) [[likely]] {
      m_count.store(0, std::memory_order_relaxed);
      return true;
    }
    const int32_t count = m_count.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (count > 0) [[likely]]
      return false;
    if (count < 0) [[unlikely]]
      UnlinkFailed(this, count);
    return true;
  }

  // GetCount: the current count (a snapshot; other threads may change it at once).
  int32_t GetCount() const noexcept { return m_count.load(std::memory_order_relaxed); }
  // IsShared: more than one owner. An acquire load: a caller that finds itself the only owner
  // may write the body, and must see every write of the owners that let it go.
  bool IsShared() const noexcept { return m_count.load(std::memory_order_acquire) > 1; }

 protected:
  std::atomic<int32_t> m_count{1};

 private:
  [[noreturn]] static void LinkFailed(const void* body, int32_t count) noexcept;
  [[noreturn]] static void UnlinkFailed(const void* body, int32_t count) noexcept;
};
static_assert(sizeof(Reference) == 4, "the count is one 32-bit word");

}  // namespace OrvGuiBase
