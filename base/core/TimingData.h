// TimingData.h: the registry of timed locks.
//
//   for (const LockStatistics& lock : GetTimingData())
//     printf("%s: %llu waits\n", lock.name.GetStr(), (unsigned long long)lock.contentions);
//
// Every LockInfo registers itself when made and unregisters when destroyed, so the report
// lists exactly the timed locks that exist. Thread safe.
#pragma once

#include <vector>

#include "base/core/Export.h"
#include "base/core/LockInfo.h"

namespace OrvGuiBase {

// RegisterTimingData / UnRegisterTimingData: add and remove a lock from the registry.
ORVGUI_API void RegisterTimingData(LockInfo* lock);
ORVGUI_API void UnRegisterTimingData(LockInfo* lock);
// GetTimingData: a snapshot of every registered lock, in registration order.
ORVGUI_API std::vector<LockStatistics> GetTimingData();
// GetTimingReport: the snapshot as text, one line per lock and one indented line per site:
//   "<name>: contentions=<n> wait_ms=<ms> threshold_ms=<ms>"
//   "  <site>: contentions=<n> wait_ms=<ms>"
ORVGUI_API AnsiStr GetTimingReport();

}  // namespace OrvGuiBase
