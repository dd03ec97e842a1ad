// SystemInfo.cpp: the release file, uname and the /proc files of the machine.
#include "base/process/SystemInfo.h"

#include <limits.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <set>
#include <sstream>
#include <string>
#include <utility>

#include "base/core/LazyStatic.h"
#include "private/system/Sys.h"

namespace OrvGuiBase {

namespace {

AnsiStr ToAnsi(const std::string& text) { return AnsiStr(text.data(), static_cast<uint32_t>(text.size())); }

// The value of KEY=value or KEY="value" in an os-release text.
std::string ReleaseField(const std::string& text, const char* key) {
  std::istringstream lines(text);
  std::string line;
  const std::string prefix = std::string(key) + "=";
  while (std::getline(lines, line)) {
    if (line.compare(0, prefix.size(), prefix) != 0) continue;
    std::string value = line.substr(prefix.size());
    if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front())
      value = value.substr(1, value.size() - 2);
    return value;
  }
  return {};
}

struct SystemInfo {
  AnsiStr name;
  AnsiStr versionNumber;
  AnsiStr version;
  AnsiStr kernel;
  unsigned cpus = 1;
  unsigned cores = 1;

  SystemInfo() {
    const int saved = errno;
    utsname names{};
    const std::string release = uname(&names) == 0 ? names.release : "";
    kernel = ToAnsi(release);
    const std::string kernelText = release.empty() ? "Linux" : "Linux " + release;
    std::string distribution, text;
    if (Sys::ReadFile("/etc/os-release", text) || Sys::ReadFile("/usr/lib/os-release", text)) {
      distribution = ReleaseField(text, "PRETTY_NAME");
      if (distribution.empty()) distribution = ReleaseField(text, "NAME") + " " + ReleaseField(text, "VERSION");
      const std::string system = ReleaseField(text, "NAME");
      name = ToAnsi(system.empty() ? "Linux" : system);
      versionNumber = ToAnsi(ReleaseField(text, "VERSION_ID"));
    } else {
      name = "Linux";
    }
    version = ToAnsi(distribution.empty() ? kernelText : distribution + " (" + kernelText + ")");

    const long online = sysconf(_SC_NPROCESSORS_ONLN);
    cpus = online > 0 ? static_cast<unsigned>(online) : 1u;
    std::set<std::pair<int, int>> physical;
    if (Sys::ReadFile("/proc/cpuinfo", text)) {
      std::istringstream lines(text);
      std::string line;
      int package = 0;
      while (std::getline(lines, line)) {
        const size_t colon = line.find(':');
        if (colon == std::string::npos || colon == 0) continue;
        const std::string key = line.substr(0, line.find_last_not_of(" \t", colon - 1) + 1);
        const int value = atoi(line.c_str() + colon + 1);
        if (key == "physical id") package = value;
        else if (key == "core id") physical.insert({package, value});
      }
    }
    cores = physical.empty() ? cpus : static_cast<unsigned>(physical.size());
    errno = saved;
  }
};

constinit LazyStatic<SystemInfo> g_system;

// MemInfoBytes: a "Key:   n kB" line of /proc/meminfo in bytes; 0 plus last error when missing.
uint64_t MemInfoBytes(const char* key) {
  std::string text;
  if (!Sys::ReadFile("/proc/meminfo", text)) return 0;
  const std::string prefix = std::string("\n") + key + ":";
  const size_t at = ("\n" + text).find(prefix);
  if (at == std::string::npos) {
    errno = ENOENT;
    return 0;
  }
  return strtoull(text.c_str() + at + prefix.size() - 1, nullptr, 10) * 1024;
}

}  // namespace

AnsiStr GetSystemName() { return g_system.Get() ? g_system.Get()->name : AnsiStr("Linux"); }
AnsiStr GetSystemVersionNumber() { return g_system.Get() ? g_system.Get()->versionNumber : AnsiStr(); }
AnsiStr GetSystemVersion() { return g_system.Get() ? g_system.Get()->version : AnsiStr("Linux"); }
AnsiStr GetKernelRelease() { return g_system.Get() ? g_system.Get()->kernel : AnsiStr(); }
unsigned GetCoreCount() { return g_system.Get() ? g_system.Get()->cores : 1u; }
unsigned GetCPUCount() { return g_system.Get() ? g_system.Get()->cpus : 1u; }

uint64_t GetTotalMemory() { return MemInfoBytes("MemTotal"); }
uint64_t GetAvailableMemory() { return MemInfoBytes("MemAvailable"); }

AnsiStr GetHostName() {
  char name[HOST_NAME_MAX + 1];
  if (gethostname(name, sizeof name) != 0) return AnsiStr();
  name[HOST_NAME_MAX] = '\0';
  return AnsiStr(name);
}

uint64_t GetUptime() {
  std::string text;
  if (!Sys::ReadFile("/proc/uptime", text)) return 0;
  // "12345.67 23456.78": whole seconds, then hundredths.
  char* end = nullptr;
  const uint64_t seconds = strtoull(text.c_str(), &end, 10);
  uint64_t millis = seconds * 1000;
  if (*end == '.') {
    uint64_t scale = 100;
    for (const char* digit = end + 1; *digit >= '0' && *digit <= '9' && scale > 0; ++digit, scale /= 10)
      millis += static_cast<uint64_t>(*digit - '0') * scale;
  }
  return millis;
}

}  // namespace OrvGuiBase
