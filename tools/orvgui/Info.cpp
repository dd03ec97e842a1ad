// Info.cpp: `orvgui info`, what the library knows about itself and this process.
#include <cstdio>

#include "base/OrvGuiBase.h"
#include "tools/orvgui/Command.h"
#include "trace/EventReport.h"

namespace OrvGuiTool {

namespace {

const char kUsage[] =
    "usage: orvgui info\n"
    "\n"
    "Prints what the library knows about itself and this process, one 'key: value' line each,\n"
    "in this order (scripts may rely on the keys):\n"
    "  version            the library version\n"
    "  build              the build identifier published in the environment at load\n"
    "  build variable     the GNU_DEBUGLINK_nnnnnn variable that holds it\n"
    "  library            the path of the loaded liborvgui\n"
    "  particles          'yes', or 'no (<reason>)' with reason environment or Valgrind\n"
    "  registry root      KRS_REGISTRY or /etc/quelvarn/settings\n"
    "  registry user      the user whose hive HKEY_CURRENT_USER is\n"
    "  log type           system, stdout or stderr (from LOGTYPE)\n"
    "  system             distribution and kernel\n"
    "  cores              physical cores / logical processors\n"
    "  threshold short    lock-duration thresholds in milliseconds (THRESHOLD_*CRITICALSECTION)\n"
    "  threshold medium\n"
    "  threshold long\n"
    "  threshold unknown\n"
    "followed by one 'lock: <name> contentions=<n> wait_ms=<ms> threshold_ms=<ms>' line per\n"
    "timed lock.\n"
    "\n"
    "Exit status: 0, or 2 for a usage error.\n";

int Run(int argc, char** argv) {
  if (argc > 1) return UsageError("info", "unexpected argument '%s'", argv[1]);
  using namespace OrvGuiBase;
  static const char* const kLogTypes[] = {"system", "stdout", "stderr"};
  printf("version: %s\n", GetLibraryVersion());
  printf("build: %s\n", GetEnv(GetBuildIdentifierVariable()).GetStr());
  printf("build variable: %s\n", GetBuildIdentifierVariable());
  printf("library: %s\n", GetLibraryPath().GetStr());
  if (UseParticles()) printf("particles: yes\n");
  else printf("particles: no (%s)\n", GetParticlesDisabledReason());
  printf("registry root: %s\n", GetRegRoot().GetStr());
  printf("registry user: %s\n", GetRegUserName().GetStr());
  printf("log type: %s\n", kLogTypes[OrvGuiTrace::GetLogType() % 3]);
  printf("system: %s\n", GetSystemVersion().GetStr());
  printf("cores: %u / %u\n", GetCoreCount(), GetCPUCount());
  printf("threshold short: %llu\n", static_cast<unsigned long long>(LockInfo::GetShortCriticalSectionThreshold()));
  printf("threshold medium: %llu\n", static_cast<unsigned long long>(LockInfo::GetMediumCriticalSectionThreshold()));
  printf("threshold long: %llu\n", static_cast<unsigned long long>(LockInfo::GetLongCriticalSectionThreshold()));
  printf("threshold unknown: %llu\n", static_cast<unsigned long long>(LockInfo::GetUnknownCriticalSectionThreshold()));
  for (const LockStatistics& lock : GetTimingData())
    printf("lock: %s contentions=%llu wait_ms=%llu threshold_ms=%llu\n", lock.name.GetStr(),
           static_cast<unsigned long long>(lock.contentions),
           static_cast<unsigned long long>(GetHighResolutionTime(lock.waitTicks, 1000)),
           static_cast<unsigned long long>(lock.thresholdMs));
  return kExitSuccess;
}

SubcommandRegistration g_registration({"info", "what the library knows about itself and this process", kUsage, &Run});

}  // namespace

}  // namespace OrvGuiTool
