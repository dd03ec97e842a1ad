// CriticalSection.cpp: recursive named mutexes, the platform-named functions, and the
// process-wide "NonReentrantSection" and "LazyStaticInternal" locks.
#include "base/core/CriticalSection.h"

#include <cerrno>

#include "base/core/LazyStatic.h"
#include "base/core/UpcallTelemetry.h"

namespace OrvGuiBase {

void ReportLockContention(const char* lockName, const char* site, int phase) {
  if (phase == 1) errno = EBUSY;  // the failed try is the caller's last error
  if (IsTelemetryDelivered(APM_MODULE_ORVGUI))
    APMEventParam(APM_MODULE_ORVGUI, APM_EVENT_LOCK_CONTENTION, phase, 2u,
                  lockName != nullptr ? lockName : "", site != nullptr ? site : "");
}

void WaitContended(pthread_mutex_t* mutex, const char* lockName, const char* site) {
  ReportLockContention(lockName, site, 1);
  const int rc = pthread_mutex_lock(mutex);
  if (rc != 0) errno = rc;
  ReportLockContention(lockName, site, 2);
}

void InitializeCriticalSection(pthread_mutex_t* mutex) {
  pthread_mutexattr_t attributes;
  int rc = pthread_mutexattr_init(&attributes);
  if (rc == 0) {
    rc = pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    if (rc == 0) {
      rc = pthread_mutex_init(mutex, &attributes);
      if (rc != 0) errno = rc;
      pthread_mutexattr_destroy(&attributes);
      return;
    }
    pthread_mutexattr_destroy(&attributes);
  }
  errno = rc;
  rc = pthread_mutex_init(mutex, nullptr);
  if (rc != 0) errno = rc;
}

void DeleteCriticalSection(pthread_mutex_t* mutex) {
  const int rc = pthread_mutex_destroy(mutex);
  if (rc != 0) errno = rc;
}

void EnterCriticalSection(const pthread_mutex_t* mutex) {
  const int rc = pthread_mutex_lock(const_cast<pthread_mutex_t*>(mutex));
  if (rc != 0) errno = rc;
}

void LeaveCriticalSection(const pthread_mutex_t* mutex) {
  const int rc = pthread_mutex_unlock(const_cast<pthread_mutex_t*>(mutex));
  if (rc != 0) errno = rc;
}

bool TryEnterCriticalSection(const pthread_mutex_t* mutex) {
  const int rc = pthread_mutex_trylock(const_cast<pthread_mutex_t*>(mutex));
  if (rc != 0) errno = rc;
  return rc == 0;
}

CriticalSection::CriticalSection(const char* name) : m_name(name) { InitializeCriticalSection(&m_mutex); }

CriticalSection::~CriticalSection() { DeleteCriticalSection(&m_mutex); }

bool CriticalSection::TryEnter() { return TryEnterCriticalSection(&m_mutex); }

void CriticalSection::EnterContended(const char* site) { WaitContended(&m_mutex, m_name, site); }

namespace {

struct NonReentrantSection : CriticalSection {
  NonReentrantSection() : CriticalSection("NonReentrantSection") {}
};
struct LazyStaticInternalLock : CriticalSection {
  LazyStaticInternalLock() : CriticalSection("LazyStaticInternal") {}
};
constinit LazyStatic<NonReentrantSection> g_nonReentrant;
constinit LazyStatic<LazyStaticInternalLock> g_lazyStaticInternal;

// After process-exit destruction these locks are gone; late callers get a lock that is never
// destroyed, so they still exclude each other.
template <int Which>
CriticalSection& Survivor(const char* name) {
  static CriticalSection* s_survivor = new CriticalSection(name);
  return *s_survivor;
}

}  // namespace

CriticalSection& GetNonReentrantSection() {
  if (CriticalSection* lock = g_nonReentrant.Get()) return *lock;
  return Survivor<0>("NonReentrantSection");
}

CriticalSection& GetLazyStaticInternalLock() {
  if (CriticalSection* lock = g_lazyStaticInternal.Get()) return *lock;
  return Survivor<1>("LazyStaticInternal");
}

}  // namespace OrvGuiBase

// The site text of the non-reentrant section's contention events is empty.
void EnterNonReentrantSection() { OrvGuiBase::GetNonReentrantSection().Enter(""); }

void LeaveNonReentrantSection() { OrvGuiBase::GetNonReentrantSection().Leave(); }
