// LockInfo.cpp: timed locks, their call sites and the four thresholds.
//
// Timing rule. The owner re-entering only deepens the holding. An outer entry tries the mutex;
// when that fails it reads the clock, reports the contention, waits, and adds the wait to the
// counters of the lock and of the site. It then stamps the acquisition time, the site and the
// threshold of this holding. The outermost release measures the holding in milliseconds and,
// when the threshold is not 0 and the holding exceeds it, reports event 500 before unlocking.
// The counters change only while the mutex is held, and inside a short statistics mutex as
// well, so that a report reads them without waiting for (or deadlocking against) a holder.
#include "base/core/LockInfo.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "base/core/CriticalSection.h"
#include "base/core/LazyStatic.h"
#include "base/core/TimingData.h"
#include "base/core/UpcallEvents.h"
#include "base/text/Formatter.h"
#include "private/system/Sys.h"

namespace OrvGuiBase {

namespace {

struct Threshold {
  const char* variable;
  uint64_t fallback;
  std::atomic<uint64_t> value;
  std::once_flag once;
};

Threshold g_thresholds[4] = {
    {"THRESHOLD_SHORTCRITICALSECTION", 300, {300}, {}},
    {"THRESHOLD_MEDIUMCRITICALSECTION", 3000, {3000}, {}},
    {"THRESHOLD_LONGCRITICALSECTION", 30000, {30000}, {}},
    {"THRESHOLD_UNKNOWNCRITICALSECTION", 30000, {30000}, {}},
};

void InitThreshold(Threshold& threshold) {
  std::call_once(threshold.once, [&threshold] {
    const int saved = errno;
    threshold.value.store(LockInfo::ParseThreshold(getenv(threshold.variable), threshold.fallback));
    errno = saved;
  });
}

}  // namespace

uint64_t LockInfo::ParseThreshold(const char* text, uint64_t fallback) {
  if (text == nullptr || *text == 0) return fallback;
  for (const char* p = text; *p != 0; ++p)
    if (*p < '0' || *p > '9') return fallback;
  const int saved = errno;
  errno = 0;
  const unsigned long long value = strtoull(text, nullptr, 10);
  const bool overflow = errno == ERANGE;
  errno = saved;
  return overflow ? fallback : static_cast<uint64_t>(value);
}

void LockInfo::InitShortCriticalSectionThreshold() { InitThreshold(g_thresholds[0]); }
void LockInfo::InitMediumCriticalSectionThreshold() { InitThreshold(g_thresholds[1]); }
void LockInfo::InitLongCriticalSectionThreshold() { InitThreshold(g_thresholds[2]); }
void LockInfo::InitUnknownCriticalSectionThreshold() { InitThreshold(g_thresholds[3]); }
uint64_t LockInfo::GetShortCriticalSectionThreshold() { return g_thresholds[0].value.load(); }
uint64_t LockInfo::GetMediumCriticalSectionThreshold() { return g_thresholds[1].value.load(); }
uint64_t LockInfo::GetLongCriticalSectionThreshold() { return g_thresholds[2].value.load(); }
uint64_t LockInfo::GetUnknownCriticalSectionThreshold() { return g_thresholds[3].value.load(); }

LockInfo::LockInfo(const char* name, ThresholdClass thresholdClass, TickSource clock)
    : m_name(name), m_class(thresholdClass), m_clock(clock) {
  InitializeCriticalSection(&m_mutex);
  RegisterTimingData(this);
}

LockInfo::~LockInfo() {
  UnRegisterTimingData(this);
  for (LockSite* site : m_sites) delete site;
  DeleteCriticalSection(&m_mutex);
}

uint64_t LockInfo::Now() const { return m_clock != nullptr ? m_clock() : Sys::HighResolutionTicks(); }

uint64_t LockInfo::GetThreshold() const {
  return g_thresholds[static_cast<int>(m_class)].value.load(std::memory_order_relaxed);
}

LockSite* LockInfo::GetLockSite(const char* site) {
  pthread_mutex_lock(&m_statsMutex);
  LockSite* record = FindSite(site);
  pthread_mutex_unlock(&m_statsMutex);
  return record;
}

LockSite* LockInfo::FindSite(const char* site) {
  if (site == nullptr) return nullptr;
  auto at = std::lower_bound(m_sites.begin(), m_sites.end(), site,
                             [](const LockSite* a, const char* b) { return strcmp(a->name.GetStr(), b) < 0; });
  if (at != m_sites.end() && strcmp((*at)->name.GetStr(), site) == 0) return *at;
  LockSite* record = new (std::nothrow) LockSite;
  if (record == nullptr) return nullptr;
  record->name = site;
  m_sites.insert(at, record);
  return record;
}

void LockInfo::Enter(const char* site) {
  const pthread_t self = pthread_self();
  if (pthread_equal(m_owner.load(std::memory_order_relaxed), self)) {
    ++m_depth;
    return;
  }
  bool contended = false;
  uint64_t waited = 0;
  if (pthread_mutex_trylock(&m_mutex) != 0) {
    contended = true;
    const uint64_t start = Now();
    WaitContended(&m_mutex, m_name.GetStr(), site);
    waited = Now() - start;
  }
  pthread_mutex_lock(&m_statsMutex);
  LockSite* record = FindSite(site);
  if (contended) {
    ++m_contentions;
    m_waitTicks += waited;
    if (record != nullptr) {
      ++record->contentions;
      record->waitTicks += waited;
    }
  }
  pthread_mutex_unlock(&m_statsMutex);
  m_site = record;
  m_thresholdMs = GetThreshold();
  m_depth = 1;
  m_owner.store(self, std::memory_order_relaxed);
  m_acquiredAt = Now();
}

void LockInfo::Leave() {
  if (m_depth == 0) {  // not held: nothing to release
    errno = EPERM;
    return;
  }
  if (--m_depth > 0) return;
  const uint64_t heldMs = Sys::HighResolutionTime(Now() - m_acquiredAt, 1000);
  if (m_thresholdMs != 0 && heldMs > m_thresholdMs) {
    const int saved = errno;
    const OrvGuiTrace::EventField fields[] = {
        {"lockname", m_name},
        {"locksite", m_site != nullptr ? m_site->name : AnsiStr()},
        {"calltime_ms", FmtArgs("%llu", static_cast<unsigned long long>(heldMs))},
        {"threshold_ms", FmtArgs("%llu", static_cast<unsigned long long>(m_thresholdMs))},
    };
    OrvGuiTrace::ReportEvent("ORVGUI", 500, "Lock duration exceeded threshold", fields, 4,
                             OrvGuiTrace::kEventInformation, OrvGuiTrace::kCategoryPerformance);
    errno = saved;
  }
  m_site = nullptr;
  m_owner.store(pthread_t{}, std::memory_order_relaxed);
  const int rc = pthread_mutex_unlock(&m_mutex);
  if (rc != 0) errno = rc;
}

LockStatistics LockInfo::GetStatistics() {
  LockStatistics statistics;
  pthread_mutex_lock(&m_statsMutex);
  statistics.name = m_name;
  statistics.contentions = m_contentions;
  statistics.waitTicks = m_waitTicks;
  statistics.thresholdMs = GetThreshold();
  for (const LockSite* site : m_sites) statistics.sites.push_back(*site);
  pthread_mutex_unlock(&m_statsMutex);
  return statistics;
}

namespace {
struct LazyStaticLock : LockInfo {
  LazyStaticLock() : LockInfo("LazyStatic") {}
};
constinit LazyStatic<LazyStaticLock> g_lazyStaticLock;
}  // namespace

LockInfo& GetLazyStaticLock() {
  if (LockInfo* lock = g_lazyStaticLock.Get()) return *lock;
  static LockInfo* s_survivor = new LockInfo("LazyStatic");  // after process-exit destruction
  return *s_survivor;
}

}  // namespace OrvGuiBase
