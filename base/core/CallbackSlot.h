// CallbackSlot.h: one replaceable callback with its context, safe to call from any thread.
//
//   static CallbackSlot<MySink> s_sink;
//   s_sink.Set(&Sink, context);                     // returns the previous callback
//   s_sink.Call(a, b);                              // calls Sink(a, b, context) if set
//
// Calls hold a reader lock, so once Set has returned the previous callback is never called
// again and its context may be freed. A callback must not Set its own slot.
#pragma once

#include <pthread.h>

namespace OrvGuiBase {

template <class Callback>
class CallbackSlot {
 public:
  constexpr CallbackSlot() = default;

  Callback Set(Callback callback, void* context) {
    pthread_rwlock_wrlock(&m_lock);
    Callback previous = m_callback;
    m_callback = callback;
    m_context = context;
    pthread_rwlock_unlock(&m_lock);
    return previous;
  }

  // Call: calls the callback with args followed by its context; false when none is set.
  template <class... Args>
  bool Call(Args... args) {
    pthread_rwlock_rdlock(&m_lock);
    const bool called = m_callback != nullptr;
    if (called) m_callback(args..., m_context);
    pthread_rwlock_unlock(&m_lock);
    return called;
  }

 private:
  pthread_rwlock_t m_lock = PTHREAD_RWLOCK_INITIALIZER;
  Callback m_callback = nullptr;
  void* m_context = nullptr;
};

}  // namespace OrvGuiBase
