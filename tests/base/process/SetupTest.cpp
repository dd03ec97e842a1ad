// Tests of the precedence of setup values: host over registry layer over the defaults.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "TestProcess.h"
#include "base/process/Environment.h"
#include "base/process/Setup.h"

namespace OrvGuiBase {
namespace {

class SetupPrecedenceTest : public ::testing::Test {
 protected:
  void TearDown() override {
    Setup::ResetNumberSymbols();
    Setup::ResetTimeZoneBias();
    Setup::SetTempDirectory(nullptr);
    ASSERT_TRUE(Setup::SetRegistryLayer(SetupLayer()));
  }
};

std::string Symbols() {
  const NumberSymbols& s = Setup::GetNumberSymbols();
  return std::string(s.positiveSign) + " " + s.negativeSign + " " + s.comma + " [" + s.thousand + "] " +
         std::to_string(s.fractions);
}

TEST_F(SetupPrecedenceTest, NumberSymbolsHostOverRegistryOverDefaults) {
  EXPECT_EQ(Symbols(), "+ - . [] 2") << "the C locale's defaults";
  SetupLayer registry;
  strcpy(registry.comma, ",");
  strcpy(registry.thousand, ".");
  registry.hasThousand = true;
  registry.fractions = 3;
  ASSERT_TRUE(Setup::SetRegistryLayer(registry));
  EXPECT_EQ(Symbols(), "+ - , [.] 3") << "the registry over the defaults, unset fields pass";

  ASSERT_TRUE(Setup::SetThousand("'"));
  ASSERT_TRUE(Setup::SetNegativeSign("\xE2\x88\x92"));
  EXPECT_EQ(Symbols(), "+ \xE2\x88\x92 , ['] 3") << "the host over the registry";
  ASSERT_TRUE(Setup::SetThousand(""));
  EXPECT_EQ(Symbols(), "+ \xE2\x88\x92 , [] 3") << "the host's empty separator is a value";

  EXPECT_FALSE(Setup::SetComma("")) << "an empty host comma would mean unset";
  EXPECT_FALSE(Setup::SetThousand(",")) << "clashes with the registry's comma in force";
  EXPECT_EQ(errno, EINVAL);
  SetupLayer clash = registry;
  strcpy(clash.positiveSign, "\xE2\x88\x92");
  EXPECT_FALSE(Setup::SetRegistryLayer(clash)) << "equals the host's negative sign in force";
  SetupLayer bad;
  bad.fractions = 16;
  EXPECT_FALSE(Setup::SetRegistryLayer(bad));
  strcpy(bad.comma, "1");
  bad.fractions = -1;
  EXPECT_FALSE(Setup::SetRegistryLayer(bad)) << "a digit";
  EXPECT_EQ(Symbols(), "+ \xE2\x88\x92 , [] 3") << "refusals change nothing";

  Setup::ResetNumberSymbols();
  EXPECT_EQ(Symbols(), "+ - , [.] 3") << "the registry decides again";
  ASSERT_TRUE(Setup::SetRegistryLayer(SetupLayer()));
  EXPECT_EQ(Symbols(), "+ - . [] 2") << "and then the defaults";
  ASSERT_TRUE(Setup::RefreshDefaults());
  EXPECT_EQ(Symbols(), "+ - . [] 2") << "this process never called setlocale";
}

TEST_F(SetupPrecedenceTest, TimeZoneBiasHostOverRegistryOverPlatform) {
  const time_t now = time(nullptr);
  tm local{};
  localtime_r(&now, &local);
  const int platform = static_cast<int>(-local.tm_gmtoff / 60);
  EXPECT_FALSE(Setup::IsTimeZoneBiasSet());
  EXPECT_EQ(Setup::GetTimeZoneBias(), platform);
  EXPECT_EQ(Setup::GetRealTimeZoneBias(), platform);

  SetupLayer registry;
  registry.hasTimeZoneBias = true;
  registry.timeZoneBias = -120;
  ASSERT_TRUE(Setup::SetRegistryLayer(registry));
  EXPECT_TRUE(Setup::IsTimeZoneBiasSet());
  EXPECT_EQ(Setup::GetTimeZoneBias(), -120);
  Setup::SetTimeZoneBias(330);
  EXPECT_EQ(Setup::GetTimeZoneBias(), 330);
  EXPECT_EQ(Setup::GetRealTimeZoneBias(), 330);
  Setup::ResetTimeZoneBias();
  EXPECT_EQ(Setup::GetTimeZoneBias(), -120) << "back to the registry";
  ASSERT_TRUE(Setup::SetRegistryLayer(SetupLayer()));
  EXPECT_FALSE(Setup::IsTimeZoneBiasSet());
  EXPECT_EQ(Setup::GetTimeZoneBias(), platform);
  EXPECT_EQ(GetTimeZoneBias(), platform);
}

TEST_F(SetupPrecedenceTest, TemporaryDirectory) {
  const AnsiStr saved = GetEnv("TMPDIR");
  const bool wasSet = IsEnvSet("TMPDIR");
  UnsetEnv("TMPDIR");
  EXPECT_EQ(GetTempDirectory(), "/tmp");
  SetEnv("TMPDIR", "");
  EXPECT_EQ(GetTempDirectory(), "/tmp") << "empty is unset";
  SetEnv("TMPDIR", "/var/tmp");
  EXPECT_EQ(GetTempDirectory(), "/var/tmp");
  SetupLayer registry;
  registry.tempDirectory = "/srv/tmp";
  ASSERT_TRUE(Setup::SetRegistryLayer(registry));
  EXPECT_EQ(GetTempDirectory(), "/srv/tmp");
  Setup::SetTempDirectory("/host/tmp");
  EXPECT_EQ(Setup::GetTempDirectory(), "/host/tmp");
  Setup::SetTempDirectory("");
  EXPECT_EQ(GetTempDirectory(), "/srv/tmp");
  if (wasSet) SetEnv("TMPDIR", saved.GetStr());
  else UnsetEnv("TMPDIR");
}

// The defaults come from the process's time zone: children with their own TZ.
TEST(SetupDefaults, TimeZoneOfTheProcess) {
  const struct {
    const char* tz;
    const char* bias;  // "time zone bias" line of orvgui info
    const char* standard;
  } kRows[] = {
      {"TZ=UTC0", "0", "0"},
      {"TZ=EST5", "300", "300"},
      {"TZ=IST-5:30", "-330", "-330"},
  };
  for (const auto& row : kRows) {
    const ProcessResult result = RunProcess({ORVGUI_TEST_TOOL, "info"}, {row.tz});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.out.find(std::string("time zone bias: ") + row.bias + "\n"), std::string::npos)
        << row.tz << "\n" << result.out;
    EXPECT_NE(result.out.find(std::string("time zone bias set: no\n")), std::string::npos) << row.tz;
    EXPECT_NE(result.out.find(std::string("standard bias: ") + row.standard + "\n"), std::string::npos) << row.tz;
  }
}

// The defaults come from the process's locale: a German locale compiled into a temporary
// directory (LOCPATH) for a child that chooses it with setlocale.
TEST(SetupDefaults, LocaleOfTheProcess) {
  if (access("/usr/bin/localedef", X_OK) != 0 || access("/usr/share/i18n/locales/de_DE", R_OK) != 0)
    GTEST_SKIP() << "no localedef or locale sources to build a test locale from";
  char pattern[] = "/tmp/orvgui-locale-XXXXXX";
  ASSERT_NE(mkdtemp(pattern), nullptr);
  const std::string dir = pattern;
  const ProcessResult built =
      RunProcess({"/usr/bin/localedef", "-i", "de_DE", "-f", "UTF-8", dir + "/de_DE.UTF-8"}, {}, 120);
  const struct {
    std::vector<std::string> env;
    const char* expected;
    const char* why;
  } kRows[] = {
      {{"PROBE_SETLOCALE=1", "PROBE_REFRESH=1", "LC_ALL=de_DE.UTF-8"}, "symbols: + - , [.] 2\n",
       "the German locale, refreshed"},
      {{"PROBE_SETLOCALE=1", "LC_ALL=de_DE.UTF-8"}, "symbols: + - . [] 2\n", "taken at load, before setlocale"},
      {{"PROBE_REFRESH=1", "LC_ALL=de_DE.UTF-8"}, "symbols: + - . [] 2\n", "no setlocale: the C locale"},
      {{"PROBE_SETLOCALE=1", "PROBE_REFRESH=1", "LC_ALL=C"}, "symbols: + - . [] 2\n", "the C locale chosen"},
  };
  if (built.status == 0 || access((dir + "/de_DE.UTF-8/LC_NUMERIC").c_str(), R_OK) == 0) {
    for (const auto& row : kRows) {
      std::vector<std::string> env = row.env;
      env.push_back("LOCPATH=" + dir);
      env.push_back("PROBE_SYMBOLS=1");
      const ProcessResult result = RunProcess({ORVGUI_TEST_PROCESS_PROBE}, env);
      EXPECT_EQ(result.status, 0) << row.why;
      EXPECT_NE(result.out.find(row.expected), std::string::npos) << row.why << "\n" << result.out;
    }
  } else {
    ADD_FAILURE() << "localedef failed: " << built.err;
  }
  std::error_code ignored;
  std::filesystem::remove_all(dir, ignored);
}

}  // namespace
}  // namespace OrvGuiBase
