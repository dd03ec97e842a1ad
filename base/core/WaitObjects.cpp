// WaitObjects.cpp: deadlines, conditions, events and semaphores.
#include "base/core/WaitObjects.h"

#include <cerrno>

#include "private/system/Sys.h"

namespace OrvGuiBase {

static_assert(ETIMEDOUT == kWaitTimeoutError, "a timed-out wait reports ETIMEDOUT");

namespace {

constexpr uint64_t kNanosecondsPerMs = 1000000u;

uint64_t ToNanoseconds(const timespec& time) {
  return static_cast<uint64_t>(time.tv_sec) * Sys::kHighResolutionFrequency + static_cast<uint64_t>(time.tv_nsec);
}

}  // namespace

WaitDeadline::WaitDeadline(uint32_t timeoutMs) : m_infinite(timeoutMs == kInfinite) {
  if (m_infinite) return;
  const uint64_t at = Sys::HighResolutionTicks() + static_cast<uint64_t>(timeoutMs) * kNanosecondsPerMs;
  m_time.tv_sec = static_cast<time_t>(at / Sys::kHighResolutionFrequency);
  m_time.tv_nsec = static_cast<long>(at % Sys::kHighResolutionFrequency);
}

bool WaitDeadline::HasPassed() const { return !m_infinite && Sys::HighResolutionTicks() >= ToNanoseconds(m_time); }

uint32_t WaitDeadline::GetRemainingMs() const {
  if (m_infinite) return kInfinite;
  const uint64_t now = Sys::HighResolutionTicks(), end = ToNanoseconds(m_time);
  if (now >= end) return 0;
  return static_cast<uint32_t>((end - now + kNanosecondsPerMs - 1) / kNanosecondsPerMs);
}

Condition::Condition() {
  pthread_condattr_t attributes;
  int rc = pthread_condattr_init(&attributes);
  if (rc == 0) {
    rc = pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    if (rc == 0) rc = pthread_cond_init(&m_condition, &attributes);
    pthread_condattr_destroy(&attributes);
  }
  // The monotonic clock is always there on this platform; should it ever be refused, the
  // error is recorded like every failed pthread call of the library's locks.
  if (rc != 0) errno = rc;
}

Condition::~Condition() { pthread_cond_destroy(&m_condition); }

bool Condition::Wait(CriticalSection& lock, uint32_t timeoutMs) { return WaitUntil(lock, WaitDeadline(timeoutMs)); }

bool Condition::WaitUntil(CriticalSection& lock, const WaitDeadline& deadline) {
  int rc;
  if (deadline.IsInfinite()) {
    rc = pthread_cond_wait(&m_condition, lock.GetMutex());
  } else if (deadline.HasPassed()) {
    rc = ETIMEDOUT;
  } else {
    rc = pthread_cond_timedwait(&m_condition, lock.GetMutex(), &deadline.GetTime());
  }
  if (rc == 0) return true;
  errno = rc;
  return false;
}

void Condition::Signal() { pthread_cond_signal(&m_condition); }

void Condition::Broadcast() { pthread_cond_broadcast(&m_condition); }

Event::Event(bool manualReset, bool initiallySet) : m_lock("Event"), m_set(initiallySet), m_manualReset(manualReset) {}

void Event::Set() {
  CriticalSectionContext hold(m_lock, "Event::Set");
  m_set = true;
  if (m_manualReset)
    m_changed.Broadcast();
  else
    m_changed.Signal();
}

void Event::Reset() {
  CriticalSectionContext hold(m_lock, "Event::Reset");
  m_set = false;
}

bool Event::IsSet() {
  CriticalSectionContext hold(m_lock, "Event::IsSet");
  return m_set;
}

bool Event::Wait(uint32_t timeoutMs) {
  CriticalSectionContext hold(m_lock, "Event::Wait");
  if (!m_changed.WaitFor(m_lock, timeoutMs, [this] { return m_set; })) return false;
  if (!m_manualReset) m_set = false;
  return true;
}

Semaphore::Semaphore(uint32_t initialCount, uint32_t maximumCount)
    : m_lock("Semaphore"), m_maximum(maximumCount == 0 ? 1 : maximumCount) {
  m_count = initialCount < m_maximum ? initialCount : m_maximum;
}

bool Semaphore::Release(uint32_t count, uint32_t* previous) {
  if (count == 0) {
    errno = EINVAL;
    return false;
  }
  CriticalSectionContext hold(m_lock, "Semaphore::Release");
  if (count > m_maximum - m_count) {
    errno = EOVERFLOW;
    return false;
  }
  if (previous != nullptr) *previous = m_count;
  m_count += count;
  if (count == 1)
    m_available.Signal();
  else
    m_available.Broadcast();
  return true;
}

bool Semaphore::Wait(uint32_t timeoutMs) {
  CriticalSectionContext hold(m_lock, "Semaphore::Wait");
  if (!m_available.WaitFor(m_lock, timeoutMs, [this] { return m_count > 0; })) return false;
  --m_count;
  return true;
}

uint32_t Semaphore::GetCount() {
  CriticalSectionContext hold(m_lock, "Semaphore::GetCount");
  return m_count;
}

bool Wait(Event& event, uint32_t timeoutMs) { return event.Wait(timeoutMs); }
bool Wait(Semaphore& semaphore, uint32_t timeoutMs) { return semaphore.Wait(timeoutMs); }
bool Wait(Condition& condition, CriticalSection& lock, uint32_t timeoutMs) { return condition.Wait(lock, timeoutMs); }

}  // namespace OrvGuiBase
