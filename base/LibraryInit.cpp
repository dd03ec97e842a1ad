// LibraryInit.cpp: the library's load-time set-up, in its fixed order.
//
// This file is the one place that assembles the layers at load, so it may reach all of them.
// One object with the highest initialisation priority runs the steps below before any other
// static of the library; each step brings a static into being, and since every static
// registers its destruction as it is made, process exit destroys them in reverse order.
//
//   1. publish the build identifier (GNU_DEBUGLINK_nnnnnn);
//   2. the BaseInitializer body; the particle settings and the 128 size-class pools; the
//      "LazyStatic" lock; the thread-exit registry; the
//      "NonReentrantSection" and "LazyStaticInternal" locks; then the fatal-signal handlers.
//
// Later subsystems add their load-time statics to step 2 at their place in that order.
#include <cstdlib>

#include "base/core/CriticalSection.h"
#include "base/core/ExceptionFilter.h"
#include "base/core/Init.h"
#include "base/core/LockInfo.h"
#include "base/core/ParticleAllocator.h"
#include "base/core/ThreadData.h"
#include "base/core/ThreadExit.h"
#include "base/core/UpcallTrace.h"
#include "base/process/Account.h"
#include "base/process/CommandLine.h"
#include "base/process/Setup.h"
#include "base/process/SystemInfo.h"
#include "base/registry/RegistryRoot.h"
#include "base/registry/RegistrySetup.h"
#include "base/time/Clock.h"

namespace OrvGuiBase {

namespace Internal {

void RunBaseInitializer() {
  srand(GetClockTicks());
  (void)ThreadData<SetupThreadData>::Get();
  (void)GetCmdLine();
  (void)GetRegRoot();
  (void)GetRegClassesRoot();
  (void)GetRegLocalMachine();
  (void)GetRegUsers();
  (void)GetRegCurrentUser();
  (void)LoadRegistrySetup();
  PrimeExceptionInformation();
  (void)GetHighResolutionClockFrequency();
  (void)Account::GetUserName();
  (void)GetSystemVersion();
  (void)GetCoreCount();
  (void)GetCPUCount();
  (void)GetTimeZoneBias();
  LockInfo::InitShortCriticalSectionThreshold();
  LockInfo::InitMediumCriticalSectionThreshold();
  LockInfo::InitLongCriticalSectionThreshold();
  LockInfo::InitUnknownCriticalSectionThreshold();
}

}  // namespace Internal

namespace {

struct LoadTimeSetUp {
  LoadTimeSetUp() {
    Internal::PublishBuildIdentifier();
    static BaseInitializer s_initializer;
    (void)UseParticles();
    Internal::PrimeParticleManager();
    (void)GetLazyStaticLock();
    Internal::PrimeThreadExitRegistry();
    (void)GetNonReentrantSection();
    (void)GetLazyStaticInternalLock();
    OrvGuiTrace::Internal::InitTraceAtLoad();
    InstallFatalSignalHandlers();
  }
};

__attribute__((init_priority(101))) LoadTimeSetUp g_loadTimeSetUp;

}  // namespace

}  // namespace OrvGuiBase
