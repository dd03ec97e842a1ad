// TimingData.cpp: the list of timed locks.
//
// The list and its mutex are made once and never destroyed: locks are destroyed at process
// exit in any order and must still be able to leave the list.
#include "base/core/TimingData.h"

#include <pthread.h>

#include <algorithm>
#include <cerrno>

#include "base/text/Formatter.h"
#include "private/system/Sys.h"

namespace OrvGuiBase {

namespace {

pthread_mutex_t g_listMutex = PTHREAD_MUTEX_INITIALIZER;

std::vector<LockInfo*>& List() {
  static std::vector<LockInfo*>* s_list = new std::vector<LockInfo*>;
  return *s_list;
}

}  // namespace

void RegisterTimingData(LockInfo* lock) {
  pthread_mutex_lock(&g_listMutex);
  List().push_back(lock);
  pthread_mutex_unlock(&g_listMutex);
}

void UnRegisterTimingData(LockInfo* lock) {
  pthread_mutex_lock(&g_listMutex);
  std::vector<LockInfo*>& list = List();
  list.erase(std::remove(list.begin(), list.end(), lock), list.end());
  pthread_mutex_unlock(&g_listMutex);
}

std::vector<LockStatistics> GetTimingData() {
  const int saved = errno;
  std::vector<LockStatistics> snapshot;
  pthread_mutex_lock(&g_listMutex);
  for (LockInfo* lock : List()) snapshot.push_back(lock->GetStatistics());
  pthread_mutex_unlock(&g_listMutex);
  errno = saved;
  return snapshot;
}

AnsiStr GetTimingReport() {
  AnsiStr report;
  for (const LockStatistics& lock : GetTimingData()) {
    report += FmtArgs("%s: contentions=%llu wait_ms=%llu threshold_ms=%llu\n", lock.name.GetStr(),
                      static_cast<unsigned long long>(lock.contentions),
                      static_cast<unsigned long long>(Sys::HighResolutionTime(lock.waitTicks, 1000)),
                      static_cast<unsigned long long>(lock.thresholdMs));
    for (const LockSite& site : lock.sites)
      report += FmtArgs("  %s: contentions=%llu wait_ms=%llu\n", site.name.GetStr(),
                        static_cast<unsigned long long>(site.contentions),
                        static_cast<unsigned long long>(Sys::HighResolutionTime(site.waitTicks, 1000)));
  }
  return report;
}

}  // namespace OrvGuiBase
