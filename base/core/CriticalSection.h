// CriticalSection.h: the one mutual-exclusion primitive of the library.
//
//   static CriticalSection s_lock("ClassObjectCache");
//   {
//     CriticalSectionContext hold(s_lock, "CoGetClassObject");   // enter; leave at scope end
//     ...
//   }
//
// A critical section is a recursive POSIX mutex with a name that only diagnostics use. Entry
// first tries the lock without waiting; only when it is held does it record the failure as the
// last error, report the contention to telemetry (module 100, event 60, value 1, with the lock
// name and the site), wait, and report again with value 2 once it holds the lock. So an
// uncontended entry costs one try-lock. Failing pthread calls are recorded as the last error
// and otherwise ignored: no lock operation throws or aborts.
#pragma once

#include <pthread.h>

#include <cerrno>

#include "base/core/Export.h"

namespace OrvGuiBase {

class ORVGUI_API CriticalSection {
 public:
  // CriticalSection: a recursive mutex; name must outlive the lock (a constant text).
  explicit CriticalSection(const char* name = "CriticalSection");
  ~CriticalSection();
  CriticalSection(const CriticalSection&) = delete;
  CriticalSection& operator=(const CriticalSection&) = delete;

  // Enter: take the lock, reporting contention with the site text (null for none).
  void Enter(const char* site = nullptr) {
    if (pthread_mutex_trylock(&m_mutex) != 0) [[unlikely]]
      EnterContended(site);
  }
  // TryEnter: true when the lock was taken; otherwise the error is the last error.
  bool TryEnter();
  // Leave: release one level of the lock; an error (not held) is recorded as the last error.
  void Leave() {
    const int rc = pthread_mutex_unlock(&m_mutex);
    if (rc != 0) [[unlikely]]
      errno = rc;
  }

  const char* GetName() const { return m_name; }
  pthread_mutex_t* GetMutex() { return &m_mutex; }

 private:
  void EnterContended(const char* site);
  pthread_mutex_t m_mutex;
  const char* m_name;
};

// ReportLockContention: the contention report shared by every lock of the library: records
// EBUSY as the last error for phase 1 and, when the library's telemetry module is active, sends
// APMEventParam(100, 60, phase) with the lock's name and the site ("" for none).
ORVGUI_API void ReportLockContention(const char* lockName, const char* site, int phase);

// WaitContended: takes a mutex whose try-lock failed, between the two contention reports.
ORVGUI_API void WaitContended(pthread_mutex_t* mutex, const char* lockName, const char* site);

// CriticalSectionContextBase: scoped entry into any lock with Enter(site) and Leave().
template <class Lock>
class CriticalSectionContextBase {
 public:
  explicit CriticalSectionContextBase(Lock& lock, const char* site = nullptr) : m_lock(lock) {
    m_lock.Enter(site);
  }
  ~CriticalSectionContextBase() { m_lock.Leave(); }
  CriticalSectionContextBase(const CriticalSectionContextBase&) = delete;
  CriticalSectionContextBase& operator=(const CriticalSectionContextBase&) = delete;

 private:
  Lock& m_lock;
};
using CriticalSectionContext = CriticalSectionContextBase<CriticalSection>;

// The platform-named functions over a bare mutex. Errors are recorded as the last error.
// InitializeCriticalSection: makes the mutex recursive; if the attribute calls fail, the error
// is recorded and a default mutex is made instead.
ORVGUI_API void InitializeCriticalSection(pthread_mutex_t* mutex);
ORVGUI_API void DeleteCriticalSection(pthread_mutex_t* mutex);
ORVGUI_API void EnterCriticalSection(const pthread_mutex_t* mutex);
ORVGUI_API void LeaveCriticalSection(const pthread_mutex_t* mutex);
ORVGUI_API bool TryEnterCriticalSection(const pthread_mutex_t* mutex);

// GetNonReentrantSection: the process-wide "NonReentrantSection" lock.
ORVGUI_API CriticalSection& GetNonReentrantSection();
// GetLazyStaticInternalLock: the process-wide "LazyStaticInternal" lock.
ORVGUI_API CriticalSection& GetLazyStaticInternalLock();

}  // namespace OrvGuiBase

// EnterNonReentrantSection / LeaveNonReentrantSection: serialise calls into outside libraries
// that are not reentrant (the Kerberos and GSS-API calls go through it). Recursive.
ORVGUI_C_API void EnterNonReentrantSection();
ORVGUI_C_API void LeaveNonReentrantSection();
