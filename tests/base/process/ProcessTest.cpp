// Tests of the command line, environment, module paths, system information and clocks.
#include <gtest/gtest.h>
#include <sys/time.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "TestProcess.h"
#include "base/process/CommandLine.h"
#include "base/process/Environment.h"
#include "base/process/Module.h"
#include "base/process/SystemInfo.h"
#include "base/time/Clock.h"

namespace OrvGuiBase {
namespace {

TEST(CommandLine, MatchesTheKernelsView) {
  std::ifstream file("/proc/self/cmdline", std::ios::binary);
  std::string raw((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  ASSERT_GT(GetCmdLineArgCount(), 0u);
  std::string joined;
  for (unsigned i = 0; i < GetCmdLineArgCount(); ++i) joined += std::string(GetCmdLineArg(i).GetStr()) + '\0';
  EXPECT_EQ(joined, raw);
  EXPECT_TRUE(GetCmdLineArg(GetCmdLineArgCount()).IsEmpty());
  EXPECT_EQ(std::string(GetCmdLine().GetStr()).rfind(GetCmdLineArg(0).GetStr(), 0), 0u);
}

TEST(Environment, SetGetUnsetAndBadNames) {
  EXPECT_TRUE(SetEnv("ORVGUI_TEST_VARIABLE", "one"));
  EXPECT_EQ(GetEnv("ORVGUI_TEST_VARIABLE"), "one");
  EXPECT_TRUE(SetEnv("ORVGUI_TEST_VARIABLE", "two", false));
  EXPECT_EQ(GetEnv("ORVGUI_TEST_VARIABLE"), "one") << "no overwrite asked";
  EXPECT_TRUE(UnsetEnv("ORVGUI_TEST_VARIABLE"));
  EXPECT_FALSE(IsEnvSet("ORVGUI_TEST_VARIABLE"));
  EXPECT_TRUE(GetEnv("ORVGUI_TEST_VARIABLE").IsEmpty());
  EXPECT_FALSE(SetEnv("BAD=NAME", "x"));
  EXPECT_EQ(errno, EINVAL);
  EXPECT_FALSE(SetEnv(nullptr, "x"));
  EXPECT_TRUE(GetEnv(nullptr).IsEmpty());
}

TEST(Module, PathsOfProgramAndLibrary) {
  char self[4096];
  const ssize_t length = readlink("/proc/self/exe", self, sizeof self - 1);
  ASSERT_GT(length, 0);
  self[length] = 0;
  EXPECT_STREQ(GetProgramPath().GetStr(), self);
  EXPECT_STREQ(GetProgramName().GetStr(), strrchr(self, '/') + 1);
  EXPECT_NE(std::string(GetLibraryPath().GetStr()).find("liborvgui.so"), std::string::npos);
}

TEST(SystemInfo, CountsAreConsistent) {
  EXPECT_GE(GetCPUCount(), 1u);
  EXPECT_EQ(GetCPUCount(), static_cast<unsigned>(sysconf(_SC_NPROCESSORS_ONLN)));
  EXPECT_GE(GetCoreCount(), 1u);
  EXPECT_LE(GetCoreCount(), GetCPUCount());
  EXPECT_NE(std::string(GetSystemVersion().GetStr()).find("Linux"), std::string::npos);
}

TEST(Clock, WallTicksAndHighResolutionUnits) {
  timeval before{};
  gettimeofday(&before, nullptr);
  const uint64_t ticks = GetClockTicks64();
  const uint64_t expected = static_cast<uint64_t>(before.tv_sec) * 1000 + (before.tv_usec + 500) / 1000;
  EXPECT_GE(ticks, expected);
  EXPECT_LT(ticks - expected, 1000u);
  const uint64_t wide = GetClockTicks64();
  EXPECT_LT(GetClockTicks() - static_cast<uint32_t>(wide), 1000u) << "the 32-bit form truncates the 64-bit one";
  EXPECT_LT(GetClockTicks64(ticks), 1000u);

  const uint64_t frequency = GetHighResolutionClockFrequency();
  EXPECT_EQ(GetHighResolutionTime(frequency, 1000), 1000u);
  EXPECT_EQ(GetHighResolutionTime(frequency / 2, 1), 0u);
  EXPECT_EQ(GetHighResolutionTime(3 * frequency, 1000000), 3000000u);
  EXPECT_EQ(GetHighResolutionTime(UINT64_MAX, 1), UINT64_MAX / frequency) << "no overflow on large counts";
  const uint64_t a = GetHighResolutionClockTicks();
  const uint64_t b = GetHighResolutionClockTicks();
  EXPECT_LE(a, b);
}

}  // namespace
}  // namespace OrvGuiBase
