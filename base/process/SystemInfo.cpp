// SystemInfo.cpp: /etc/os-release, uname and /proc/cpuinfo.
#include "base/process/SystemInfo.h"

#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <set>
#include <sstream>
#include <string>
#include <utility>

#include "base/core/LazyStatic.h"
#include "private/system/Sys.h"

namespace OrvGuiBase {

namespace {

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
  AnsiStr version;
  unsigned cpus = 1;
  unsigned cores = 1;

  SystemInfo() {
    const int saved = errno;
    utsname names{};
    std::string kernel = uname(&names) == 0 ? std::string("Linux ") + names.release : "Linux";
    std::string release, text;
    if (Sys::ReadFile("/etc/os-release", text) || Sys::ReadFile("/usr/lib/os-release", text)) {
      release = ReleaseField(text, "PRETTY_NAME");
      if (release.empty()) release = ReleaseField(text, "NAME") + " " + ReleaseField(text, "VERSION");
    }
    const std::string full = release.empty() ? kernel : release + " (" + kernel + ")";
    version = AnsiStr(full.data(), full.size());

    const long online = sysconf(_SC_NPROCESSORS_ONLN);
    cpus = online > 0 ? static_cast<unsigned>(online) : 1u;
    std::set<std::pair<int, int>> physical;
    if (Sys::ReadFile("/proc/cpuinfo", text)) {
      std::istringstream lines(text);
      std::string line;
      int package = 0;
      while (std::getline(lines, line)) {
        const size_t colon = line.find(':');
        if (colon == std::string::npos) continue;
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

}  // namespace

AnsiStr GetSystemVersion() { return g_system.Get() ? g_system.Get()->version : AnsiStr("Linux"); }
unsigned GetCoreCount() { return g_system.Get() ? g_system.Get()->cores : 1u; }
unsigned GetCPUCount() { return g_system.Get() ? g_system.Get()->cpus : 1u; }

}  // namespace OrvGuiBase
