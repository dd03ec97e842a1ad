// LazyStatic.h: the one lazy-static discipline of the library.
//
//   constinit LazyStatic<Registry> s_registry;        // constant-initialised: no load-time code
//   if (Registry* r = s_registry.Get()) r->Use();     // null once destroyed at process exit
//
// A LazyStatic holds the object's storage, a once-guard, a cached pointer and a 32-bit state
// word: 1 not yet constructed, 2 constructed and usable, 4 destroyed at process exit. The first
// Get() constructs the object under the guard (other threads wait on it), moves the state from
// 1 to 2 and registers the destructor for process exit, so statics are destroyed in the
// reverse order of their construction. The destructor first moves the state from 2 to 4 and
// only then destroys the object, so that late callers (thread-exit handlers, other destructors)
// see that the service is gone instead of touching freed memory.
//
// Declare every LazyStatic constinit: it must be constant-initialised, because the library's
// load-time set-up uses lazy statics of other files before their dynamic initialisers would run.
//
// Depends on nothing but the C++ runtime.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <new>

extern "C" int __cxa_atexit(void (*)(void*), void*, void*);
extern "C" void* __dso_handle;

namespace OrvGuiBase {

enum : uint32_t { kLazyNew = 1, kLazyAlive = 2, kLazyDestroyed = 4 };

template <class T>
class LazyStatic {
 public:
  constexpr LazyStatic() noexcept {}
  LazyStatic(const LazyStatic&) = delete;
  LazyStatic& operator=(const LazyStatic&) = delete;

  // Get: the object, constructed on first call; null once it has been destroyed.
  T* Get() {
    T* object = m_object.load(std::memory_order_acquire);
    if (object != nullptr) [[likely]]
      return (m_state.load(std::memory_order_acquire) & 3) ? object : nullptr;
    return Construct();
  }

  // GetState: 1 new, 2 alive, 4 destroyed.
  uint32_t GetState() const { return m_state.load(std::memory_order_acquire); }
  // IsValid: not yet destroyed (state & 3), the test a service makes before use.
  bool IsValid() const { return (GetState() & 3) != 0; }

 private:
  T* Construct() {
    if ((m_state.load(std::memory_order_acquire) & 3) == 0) return nullptr;
    std::call_once(m_once, [this] {
      T* object = new (m_storage) T();
      uint32_t expected = kLazyNew;
      m_state.compare_exchange_strong(expected, kLazyAlive, std::memory_order_acq_rel);
      __cxa_atexit(&LazyStatic::Destroy, this, &__dso_handle);
      m_object.store(object, std::memory_order_release);
    });
    return (m_state.load(std::memory_order_acquire) & 3) ? m_object.load(std::memory_order_acquire)
                                                          : nullptr;
  }

  static void Destroy(void* self) {
    LazyStatic* me = static_cast<LazyStatic*>(self);
    uint32_t expected = kLazyAlive;
    if (me->m_state.compare_exchange_strong(expected, kLazyDestroyed, std::memory_order_acq_rel))
      me->m_object.load(std::memory_order_acquire)->~T();
  }

  alignas(T) unsigned char m_storage[sizeof(T)] = {};
  std::atomic<T*> m_object{nullptr};
  std::atomic<uint32_t> m_state{kLazyNew};
  std::once_flag m_once;
};

}  // namespace OrvGuiBase
