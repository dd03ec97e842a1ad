// Tests of the system information against /proc, uname and the release file read directly.
#include <gtest/gtest.h>
#include <sys/sysinfo.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

#include "base/process/SystemInfo.h"

namespace OrvGuiBase {
namespace {

std::string ReadAll(const char* path) {
  std::ifstream file(path);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

// The value of a KEY=... line of the release file, quotes removed.
std::string ReleaseValue(const std::string& text, const std::string& key) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);)
    if (line.rfind(key + "=", 0) == 0) {
      std::string value = line.substr(key.size() + 1);
      if (value.size() >= 2 && value.front() == '"') value = value.substr(1, value.size() - 2);
      return value;
    }
  return "";
}

uint64_t MemInfoKb(const std::string& key) {
  std::istringstream lines(ReadAll("/proc/meminfo"));
  for (std::string line; std::getline(lines, line);)
    if (line.rfind(key + ":", 0) == 0) return std::stoull(line.substr(key.size() + 1));
  return 0;
}

TEST(SystemInfo, NamesAndVersionsMatchTheSources) {
  utsname names{};
  ASSERT_EQ(uname(&names), 0);
  EXPECT_STREQ(GetKernelRelease().GetStr(), names.release);
  std::string release = ReadAll("/etc/os-release");
  if (release.empty()) release = ReadAll("/usr/lib/os-release");
  if (release.empty()) {
    EXPECT_STREQ(GetSystemName().GetStr(), "Linux");
    EXPECT_EQ(GetSystemVersion().GetStr(), std::string("Linux ") + names.release);
    return;
  }
  EXPECT_EQ(GetSystemName().GetStr(), ReleaseValue(release, "NAME"));
  EXPECT_EQ(GetSystemVersionNumber().GetStr(), ReleaseValue(release, "VERSION_ID"));
  EXPECT_EQ(GetSystemVersion().GetStr(), ReleaseValue(release, "PRETTY_NAME") + " (Linux " + names.release + ")");
}

TEST(SystemInfo, ProcessorsAgainstCpuinfo) {
  std::istringstream lines(ReadAll("/proc/cpuinfo"));
  std::set<std::string> cores;
  unsigned processors = 0;
  std::string package = "0";
  for (std::string line; std::getline(lines, line);) {
    const std::string key = line.substr(0, line.find_first_of("\t:"));
    const std::string value = line.find(':') != std::string::npos ? line.substr(line.find(':') + 1) : "";
    if (key == "processor") ++processors;
    if (key == "physical id") package = value;
    if (key == "core id") cores.insert(package + "/" + value);
  }
  EXPECT_EQ(GetCPUCount(), static_cast<unsigned>(sysconf(_SC_NPROCESSORS_ONLN)));
  EXPECT_LE(GetCPUCount(), processors);
  EXPECT_EQ(GetCoreCount(), cores.empty() ? GetCPUCount() : static_cast<unsigned>(cores.size()));
  EXPECT_LE(GetCoreCount(), GetCPUCount());
}

TEST(SystemInfo, LiveValuesAgainstProc) {
  EXPECT_EQ(GetTotalMemory(), MemInfoKb("MemTotal") * 1024);
  struct sysinfo info{};
  ASSERT_EQ(sysinfo(&info), 0);
  EXPECT_EQ(GetTotalMemory() / 1024, static_cast<uint64_t>(info.totalram) * info.mem_unit / 1024);
  const uint64_t available = GetAvailableMemory();
  EXPECT_GT(available, 0u);
  EXPECT_LE(available, GetTotalMemory());
  const uint64_t direct = MemInfoKb("MemAvailable") * 1024;
  EXPECT_LT(available > direct ? available - direct : direct - available, GetTotalMemory() / 10) << "moves a little";

  const double procUptime = std::stod(ReadAll("/proc/uptime"));
  const uint64_t uptime = GetUptime();
  EXPECT_GE(uptime + 10, static_cast<uint64_t>(procUptime * 1000)) << "milliseconds, not seconds";
  EXPECT_LT(uptime, static_cast<uint64_t>(procUptime * 1000) + 2000);
  EXPECT_GE(GetUptime(), uptime) << "read afresh";

  char host[256] = "";
  ASSERT_EQ(gethostname(host, sizeof host), 0);
  EXPECT_STREQ(GetHostName().GetStr(), host);
  EXPECT_EQ(std::string(GetHostName().GetStr()), ReadAll("/proc/sys/kernel/hostname").substr(0, strlen(host)));
}

}  // namespace
}  // namespace OrvGuiBase
