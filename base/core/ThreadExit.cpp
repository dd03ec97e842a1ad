// ThreadExit.cpp: the thread-exit registry.
//
// The registry is a singly linked list of thread entries, each with its own list of handler
// nodes kept in descending order of priority. Entries and nodes are 24-byte records from
// AllocSimple. A spin lock word guards both lists (0xFFFFFFFF when free): a critical section
// cannot be used here because critical sections and the records they touch are themselves
// released through this registry. Handlers always run outside the lock, so a handler may
// register further handlers or call any service.
//
// A thread-specific-data key, created on first registration, carries the value 1 for every
// thread that registered something; its destructor runs that thread's handlers at its end.
#include "base/core/ThreadExit.h"

#include <sched.h>

#include <atomic>
#include <cerrno>
#include <cstdint>

#include "base/core/CrashGuard.h"
#include "base/core/LazyStatic.h"
#include "base/core/Memory.h"

namespace OrvGuiBase {

namespace {

struct HandlerNode {
  ThreadExitHandler handler;
  int32_t priority;
  HandlerNode* next;
};
static_assert(sizeof(HandlerNode) == 24);

struct ThreadEntry {
  pthread_t thread;
  HandlerNode* handlers;
  ThreadEntry* next;
};
static_assert(sizeof(ThreadEntry) == 24);

constexpr uint32_t kUnlocked = 0xFFFFFFFFu;

void RunThreadHandlers(void*);

class ThreadExitRegistry {
 public:
  ThreadExitRegistry() = default;
  ~ThreadExitRegistry() {
    Lock();
    while (m_entries != nullptr) {
      ThreadEntry* entry = m_entries;
      m_entries = entry->next;
      FreeNodes(entry->handlers);
      FreeSimple(entry);
    }
    Unlock();
  }

  void Lock() {
    unsigned rounds = 0;
    for (;;) {
      uint32_t expected = kUnlocked;
      if (m_lock.compare_exchange_weak(expected, 0, std::memory_order_acquire)) return;
      if (++rounds > 1000) sched_yield();  // a failure is left in errno, the last error
    }
  }
  void Unlock() { m_lock.store(kUnlocked, std::memory_order_release); }

  int Register(ThreadExitHandler handler, int32_t priority) {
    HandlerNode* node = static_cast<HandlerNode*>(AllocSimple(sizeof(HandlerNode)));
    if (node == nullptr) return 0;
    node->handler = handler;
    node->priority = priority;
    node->next = nullptr;
    Lock();
    if (!m_keyCreated) {
      const int rc = pthread_key_create(&m_key, &RunThreadHandlers);
      if (rc == 0) m_keyCreated = true;
      else errno = rc;
    }
    if (m_keyCreated) {
      const int rc = pthread_setspecific(m_key, reinterpret_cast<void*>(1));
      if (rc != 0) errno = rc;
    }
    const pthread_t self = pthread_self();
    ThreadEntry* entry = Find(self);
    if (entry == nullptr) {
      entry = static_cast<ThreadEntry*>(AllocSimple(sizeof(ThreadEntry)));
      if (entry == nullptr) {
        Unlock();
        FreeSimple(node);
        return 0;
      }
      entry->thread = self;
      entry->handlers = nullptr;
      entry->next = m_entries;
      m_entries = entry;
    }
    // Walk past every node of greater or equal priority: equal priorities keep their order.
    HandlerNode** link = &entry->handlers;
    while (*link != nullptr && (*link)->priority >= priority) link = &(*link)->next;
    node->next = *link;
    *link = node;
    Unlock();
    return 0;
  }

  // Runs the handlers of a thread (all of them, or only `only`), then removes them.
  void Run(pthread_t thread, ThreadExitHandler only) {
    Lock();
    ThreadEntry* entry = Find(thread);
    HandlerNode* list = nullptr;
    if (entry != nullptr) {
      if (only == nullptr) {
        list = entry->handlers;  // taken whole: the entry goes when they have run
      } else {
        HandlerNode** link = &entry->handlers;
        while (*link != nullptr && (*link)->handler != only) link = &(*link)->next;
        if (*link != nullptr) {
          list = *link;
          *link = list->next;
          list->next = nullptr;
        }
      }
      if (only == nullptr) entry->handlers = nullptr;
    }
    Unlock();
    if (entry == nullptr) return;
    for (HandlerNode* node = list; node != nullptr; node = node->next)
      if (IsValidAddress(reinterpret_cast<const void*>(node->handler))) node->handler();
    FreeNodes(list);
    if (only != nullptr) return;
    // Remove the entry and anything its handlers registered meanwhile (a handler that creates a
    // record again re-arms the thread-specific value, and the next destructor round runs it).
    Lock();
    for (ThreadEntry** link = &m_entries; *link != nullptr; link = &(*link)->next) {
      if ((*link)->thread == thread) {
        ThreadEntry* gone = *link;
        if (gone->handlers != nullptr) break;  // new handlers arrived: keep the entry for them
        *link = gone->next;
        FreeSimple(gone);
        break;
      }
    }
    Unlock();
  }

 private:
  ThreadEntry* Find(pthread_t thread) {
    for (ThreadEntry* entry = m_entries; entry != nullptr; entry = entry->next)
      if (pthread_equal(entry->thread, thread)) return entry;
    return nullptr;
  }
  static void FreeNodes(HandlerNode* node) {
    while (node != nullptr) {
      HandlerNode* next = node->next;
      FreeSimple(node);
      node = next;
    }
  }

  std::atomic<uint32_t> m_lock{kUnlocked};
  ThreadEntry* m_entries = nullptr;
  pthread_key_t m_key{};
  bool m_keyCreated = false;
};

constinit LazyStatic<ThreadExitRegistry> g_registry;

void RunThreadHandlers(void*) {
  if (ThreadExitRegistry* registry = g_registry.Get()) registry->Run(pthread_self(), nullptr);
}

}  // namespace

int SetThreadExitHandler(ThreadExitHandler handler, int priority) {
  if (priority == 0x7FFFFFFF) priority = 0;  // deliberate: the largest value means "default"
  if (!g_registry.IsValid()) return 1;
  ThreadExitRegistry* registry = g_registry.Get();
  if (registry == nullptr) return 1;
  return registry->Register(handler, priority);
}

int SetThreadExitHandler(ThreadExitHandler handler) { return SetThreadExitHandler(handler, 0); }

void DoThreadExitHandler(pthread_t threadId) {
  if (ThreadExitRegistry* registry = g_registry.IsValid() ? g_registry.Get() : nullptr)
    registry->Run(threadId, nullptr);
}

void DoThreadExitHandler() { DoThreadExitHandler(pthread_self()); }

void DoThreadExitHandler(pthread_t threadId, ThreadExitHandler handler) {
  if (handler == nullptr) return;
  if (ThreadExitRegistry* registry = g_registry.IsValid() ? g_registry.Get() : nullptr)
    registry->Run(threadId, handler);
}

void DoThreadExitHandler(ThreadExitHandler handler) { DoThreadExitHandler(pthread_self(), handler); }

bool IsThreadExitRegistryValid() { return g_registry.IsValid(); }

namespace Internal {
void PrimeThreadExitRegistry() { (void)g_registry.Get(); }
}  // namespace Internal

}  // namespace OrvGuiBase
