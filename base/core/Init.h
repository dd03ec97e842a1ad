// Init.h: what runs when the library is loaded, and the initialisation section.
//
//   EnterInitSection();                 // a host's start-up code brackets itself like this
//   LoadPlugins();                      // services can tell they run from initialisation
//   LeaveInitSection();
//
// At load the library runs its static set-up in a fixed order: it publishes its build
// identifier in the environment (the first free name GNU_DEBUGLINK_000000, _000001, ...), runs
// the BaseInitializer body once, makes its process-wide locks and the thread-exit registry,
// and installs the fatal-signal handlers. Everything else is a lazy static made on first use.
// At process exit the statics are destroyed in the reverse order of their construction.
#pragma once

#include <cstdint>

#include "base/core/Export.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiBase {

// BaseInitializer: each part of the library that needs the base services defines one static
// instance. The first construction in the process runs the one-time set-up: seed the runtime
// library's random generator with the clock ticks, create the thread's SetupThreadData, and
// prime the values later calls read without a lock (command line, registry roots, the
// exception information, clock frequency, user name, system version and processor counts,
// time-zone bias, the four lock thresholds). Later constructions cost one flag test.
class ORVGUI_API BaseInitializer {
 public:
  BaseInitializer();
  ~BaseInitializer() = default;
  // IsDone: whether the one-time set-up has run.
  static bool IsDone();
};

// SetupThreadData: the per-thread record of set-up values.
struct SetupThreadData {
  bool initSection = false;  // inside EnterInitSection/LeaveInitSection
};
// InitializationContext: the per-thread record of the initialisation section.
struct InitializationContext {
  uint32_t depth = 0;  // nesting of EnterInitSection calls
};

// EnterInitSection / LeaveInitSection / IsInitSection: set, clear and read the calling thread's
// initialisation-section flag. Nested sections count; the flag clears at the outermost leave.
ORVGUI_API void EnterInitSection();
ORVGUI_API void LeaveInitSection();
ORVGUI_API bool IsInitSection();

// GetBuildIdentifier: "orvgui <version> <debug file name>", as published at load.
ORVGUI_API const char* GetBuildIdentifier();
// GetBuildIdentifierVariable: the GNU_DEBUGLINK_nnnnnn name the identifier went to, or "" when
// no free name was found.
ORVGUI_API const char* GetBuildIdentifierVariable();
// GetLibraryVersion: the library's version, "1.0.0".
ORVGUI_API const char* GetLibraryVersion();

namespace Internal {
// PublishBuildIdentifier: sets the first GNU_DEBUGLINK_%06d that is not set (never overwrites).
void PublishBuildIdentifier();
// RunBaseInitializer: the body of the first BaseInitializer construction.
void RunBaseInitializer();
}  // namespace Internal

}  // namespace OrvGuiBase
