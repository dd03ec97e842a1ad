// LockInfo.h: timed, named locks and the lock-duration thresholds.
//
//   LockInfo& lock = GetLazyStaticLock();
//   {
//     CriticalSectionContextBase<LockInfo> hold(lock, "MakeService");
//     ...                                  // held longer than the threshold: one event
//   }
//
// A LockInfo is a recursive lock that records, per call site, how often callers had to wait
// and for how long, and reports an event ("Lock duration exceeded threshold", source "ORVGUI",
// number 500) when an outermost holding lasted longer than its threshold. Every LockInfo is
// listed in the timing-data registry (TimingData.h) while it exists.
//
// The thresholds come in four classes (short 300 ms, medium 3000, long 30000, unknown 30000),
// each replaced by its environment variable (THRESHOLD_SHORTCRITICALSECTION, ...) when that
// parses as an unsigned 64-bit number; 0 switches the report off.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <vector>

#include "base/core/Export.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiBase {

// LockSite: the counters of one call site of a timed lock.
struct LockSite {
  AnsiStr name;
  uint64_t contentions = 0;   // acquisitions that had to wait
  uint64_t waitTicks = 0;     // total waiting time in high-resolution clock ticks
};

// LockStatistics: a consistent snapshot of a timed lock's counters.
struct LockStatistics {
  AnsiStr name;
  uint64_t contentions = 0;
  uint64_t waitTicks = 0;
  uint64_t thresholdMs = 0;
  std::vector<LockSite> sites;  // ordered by strcmp of the name
};

class ORVGUI_API LockInfo {
 public:
  enum class ThresholdClass { Short, Medium, Long, Unknown };
  // TickSource: a monotonic clock in high-resolution ticks (the default is
  // GetHighResolutionClockTicks); a test passes its own to control the holding time.
  using TickSource = uint64_t (*)();

  explicit LockInfo(const char* name, ThresholdClass thresholdClass = ThresholdClass::Short,
                    TickSource clock = nullptr);
  ~LockInfo();
  LockInfo(const LockInfo&) = delete;
  LockInfo& operator=(const LockInfo&) = delete;

  // Enter: take the lock for a site (null for none). Re-entry by the owner only counts depth.
  void Enter(const char* site = nullptr);
  // Leave: release one level; the outermost release checks the holding time.
  void Leave();

  // GetLockSite: the site record of a name, created on first use (null for a null name); the
  // record lives as long as the lock. Read its counters through GetStatistics.
  LockSite* GetLockSite(const char* site);
  // GetStatistics: a consistent snapshot of the counters; never waits for a holder.
  LockStatistics GetStatistics();
  const AnsiStr& GetName() const { return m_name; }

  // The four process-wide thresholds in milliseconds. The Init functions read the environment
  // once per process (the library's start-up calls them); the getters return the values.
  static void InitShortCriticalSectionThreshold();
  static void InitMediumCriticalSectionThreshold();
  static void InitLongCriticalSectionThreshold();
  static void InitUnknownCriticalSectionThreshold();
  static uint64_t GetShortCriticalSectionThreshold();
  static uint64_t GetMediumCriticalSectionThreshold();
  static uint64_t GetLongCriticalSectionThreshold();
  static uint64_t GetUnknownCriticalSectionThreshold();
  // ParseThreshold: the value of an environment text, or fallback when it is not an unsigned
  // 64-bit decimal number.
  static uint64_t ParseThreshold(const char* text, uint64_t fallback);

 private:
  uint64_t Now() const;
  LockSite* FindSite(const char* site);
  uint64_t GetThreshold() const;

  AnsiStr m_name;
  uint64_t m_contentions = 0;
  uint64_t m_waitTicks = 0;
  std::atomic<pthread_t> m_owner{};
  std::atomic<bool> m_owned{false};
  uint32_t m_depth = 0;
  uint64_t m_acquiredAt = 0;
  uint64_t m_thresholdMs = 0;
  LockSite* m_site = nullptr;
  std::vector<LockSite*> m_sites;
  ThresholdClass m_class;
  TickSource m_clock;
  pthread_mutex_t m_mutex;
  pthread_mutex_t m_statsMutex = PTHREAD_MUTEX_INITIALIZER;
};

// GetLazyStaticLock: the process-wide timed lock "LazyStatic", made on first call.
ORVGUI_API LockInfo& GetLazyStaticLock();

}  // namespace OrvGuiBase
