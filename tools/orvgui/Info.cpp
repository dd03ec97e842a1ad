// Info.cpp: `orvgui info`, what the library knows about itself and this process.
#include <cstdio>
#include <string>

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
    "  user               the effective user's account name\n"
    "  host name          this machine's host name\n"
    "  system name        the distribution's name (\"Linux\" without a release file)\n"
    "  system version     the distribution's version number (may be empty)\n"
    "  kernel             the kernel release\n"
    "  memory total       bytes of RAM\n"
    "  memory available   bytes of RAM available for new work\n"
    "  uptime             milliseconds since the system started\n"
    "  positive sign      the setup values in force: host, registry, then the locale\n"
    "  negative sign\n"
    "  decimal separator\n"
    "  thousands separator  (empty: no grouping)\n"
    "  fractions          the usual count of fraction digits\n"
    "  time zone bias     UTC minus local time in minutes\n"
    "  time zone bias set yes when an explicit bias is in force, else no\n"
    "  standard bias      the platform's bias outside daylight saving time\n"
    "  daylight bias      the platform's bias inside daylight saving time\n"
    "  temp directory     the temporary directory\n"
    "  telemetry modules  the modules switched on, by name, blank-separated; 'none'\n"
    "                     (ORVGUI_TELEMETRY, a list such as 'os,http', switches modules on)\n"
    "  telemetry sink     yes when a host installed an event sink, else no\n"
    "followed by one 'lock: <name> contentions=<n> wait_ms=<ms> threshold_ms=<ms>' line per\n"
    "timed lock.\n"
    "\n"
    "Exit status: 0; 1 when ORVGUI_TELEMETRY names an unknown module; 2 for a usage error.\n";

int Run(int argc, char** argv) {
  if (argc > 1) return UsageError("info", "unexpected argument '%s'", argv[1]);
  using namespace OrvGuiBase;
  const AnsiStr telemetry = GetEnv("ORVGUI_TELEMETRY");
  if (APMSwitchModulesOn(telemetry.GetStr()) < 0)
    return Fail("info", "unknown telemetry module in ORVGUI_TELEMETRY '%s'", telemetry.GetStr());
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
  printf("user: %s\n", Account::GetUserName().GetStr());
  printf("host name: %s\n", GetHostName().GetStr());
  printf("system name: %s\n", GetSystemName().GetStr());
  printf("system version: %s\n", GetSystemVersionNumber().GetStr());
  printf("kernel: %s\n", GetKernelRelease().GetStr());
  printf("memory total: %llu\n", static_cast<unsigned long long>(GetTotalMemory()));
  printf("memory available: %llu\n", static_cast<unsigned long long>(GetAvailableMemory()));
  printf("uptime: %llu\n", static_cast<unsigned long long>(GetUptime()));
  const NumberSymbols& symbols = Setup::GetNumberSymbols();
  printf("positive sign: %s\n", symbols.positiveSign);
  printf("negative sign: %s\n", symbols.negativeSign);
  printf("decimal separator: %s\n", symbols.comma);
  printf("thousands separator: %s\n", symbols.thousand);
  printf("fractions: %u\n", symbols.fractions);
  printf("time zone bias: %d\n", Setup::GetTimeZoneBias());
  printf("time zone bias set: %s\n", Setup::IsTimeZoneBiasSet() ? "yes" : "no");
  printf("standard bias: %d\n", Setup::GetStandardBias());
  printf("daylight bias: %d\n", Setup::GetDaylightBias());
  printf("temp directory: %s\n", GetTempDirectory().GetStr());
  unsigned moduleCount = 0;
  const OrvGuiTelemetry::TelemetryModule* const* modules = OrvGuiTelemetry::GetTelemetryModules(moduleCount);
  std::string active;
  for (unsigned i = 0; i < moduleCount; ++i)
    if (modules[i]->IsSwitchedOn()) active += std::string(active.empty() ? "" : " ") + modules[i]->GetName();
  printf("telemetry modules: %s\n", active.empty() ? "none" : active.c_str());
  printf("telemetry sink: %s\n", APMIsEventSinkInstalled() ? "yes" : "no");
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
