// Tests of the orvgui tool's contracts: help, version, errors, exit codes, info, demo, and the
// environment that the library reads at load.
#include <gtest/gtest.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <string>

#include "TestMutexDirectory.h"
#include "TestProcess.h"
#include "tools/ToolTestFiles.h"

namespace {

ProcessResult Orvgui(std::vector<std::string> args, const std::vector<std::string>& env = {}) {
  args.insert(args.begin(), ORVGUI_TEST_TOOL);
  return RunProcess(args, env);
}

TEST(OrvguiTool, HelpVersionAndUsageErrors) {
  struct Case {
    std::vector<std::string> args;
    int status;
    const char* out;  // a text the standard output contains
    const char* err;  // the exact standard error
  };
  const Case cases[] = {
      {{"--help"}, 0, "usage: orvgui <command>", ""},
      {{"--version"}, 0, "orvgui 1.", ""},
      {{}, 2, "usage: orvgui <command>", ""},
      {{"info", "--help"}, 0, "usage: orvgui info", ""},
      {{"demo", "--help"}, 0, "usage: orvgui demo", ""},
      {{"mutex", "--help"}, 0, "usage: orvgui mutex", ""},
      {{"info", "--version"}, 0, "orvgui 1.", ""},
      {{"frobnicate"}, 2, "", "orvgui: unknown command 'frobnicate' (see 'orvgui --help')\n"},
      {{"info", "extra"}, 2, "", "orvgui info: unexpected argument 'extra'\n"},
      {{"demo", "extra"}, 2, "", "orvgui demo: unexpected argument 'extra'\n"},
  };
  for (const Case& c : cases) {
    const ProcessResult result = Orvgui(c.args);
    std::string line;
    for (const std::string& arg : c.args) line += arg + " ";
    EXPECT_EQ(result.status, c.status) << line;
    EXPECT_NE(result.out.find(c.out), std::string::npos) << line << result.out;
    EXPECT_EQ(result.err, c.err) << line;
  }
}

TEST(OrvguiTool, InfoReportsWhatTheEnvironmentSelects) {
  const ProcessResult plain = Orvgui({"info"}, {"KRS_REGISTRY=/tmp/orvgui-test-registry", "KRS_USER=tester",
                                                "LOGTYPE=Stderr", "THRESHOLD_SHORTCRITICALSECTION=12ms",
                                                "THRESHOLD_MEDIUMCRITICALSECTION=4500"});
  ASSERT_EQ(plain.status, 0) << plain.err;
  EXPECT_EQ(LineWith(plain.out, "registry root: "), "/tmp/orvgui-test-registry");
  EXPECT_EQ(LineWith(plain.out, "registry user: "), "tester");
  EXPECT_EQ(LineWith(plain.out, "log type: "), "stderr");
  EXPECT_EQ(LineWith(plain.out, "threshold short: "), "300") << "not a number: the default stays";
  EXPECT_EQ(LineWith(plain.out, "threshold medium: "), "4500");
  EXPECT_EQ(LineWith(plain.out, "threshold long: "), "30000");
  EXPECT_EQ(LineWith(plain.out, "threshold unknown: "), "30000");
  EXPECT_EQ(LineWith(plain.out, "particles: "), "yes");
  EXPECT_EQ(LineWith(plain.out, "lock: LazyStatic "), "contentions=0 wait_ms=0 threshold_ms=300");
  EXPECT_EQ(LineWith(plain.out, "build: orvgui "), std::string(LineWith(plain.out, "version: ")) + " liborvgui.so." +
                                                       LineWith(plain.out, "version: ") + ".debug");

  const ProcessResult defaults = Orvgui({"info"}, {"KRS_REGISTRY=", "KRS_USER="});
  EXPECT_EQ(LineWith(defaults.out, "registry root: "), "/etc/quelvarn/settings") << "empty means unset";
  EXPECT_NE(LineWith(defaults.out, "registry user: "), "");
}

TEST(OrvguiTool, InfoShowsSetupSystemAndTelemetry) {
  const ProcessResult result = Orvgui({"info"}, {"TZ=EST5", "TMPDIR=/var/tmp", "ORVGUI_TELEMETRY=HTTP, orvgui"});
  ASSERT_EQ(result.status, 0) << result.err;
  const struct {
    const char* key;
    std::string value;
  } kRows[] = {
      {"positive sign: ", "+"}, {"negative sign: ", "-"}, {"decimal separator: ", "."},
      {"thousands separator: ", ""}, {"fractions: ", "2"}, {"time zone bias: ", "300"},
      {"time zone bias set: ", "no"}, {"standard bias: ", "300"}, {"daylight bias: ", "300"},
      {"temp directory: ", "/var/tmp"}, {"telemetry modules: ", "http orvgui"}, {"telemetry sink: ", "no"},
      {"kernel: ", [] {
         utsname names{};
         uname(&names);
         return std::string(names.release);
       }()},
      {"host name: ", [] {
         char host[256] = "";
         gethostname(host, sizeof host);
         return std::string(host);
       }()},
  };
  for (const auto& row : kRows) EXPECT_EQ(LineWith(result.out, row.key), row.value) << row.key;
  EXPECT_GT(std::stoull(LineWith(result.out, "memory total: ")), 0u);
  EXPECT_GT(std::stoull(LineWith(result.out, "uptime: ")), 0u);
  EXPECT_LT(result.out.find("threshold unknown: "), result.out.find("\nuser: ")) << "new keys come after the old ones";

  const ProcessResult none = Orvgui({"info"}, {"ORVGUI_TELEMETRY="});
  EXPECT_EQ(LineWith(none.out, "telemetry modules: "), "none");
  const ProcessResult bad = Orvgui({"info"}, {"ORVGUI_TELEMETRY=os,web"});
  EXPECT_EQ(bad.status, 1);
  EXPECT_EQ(bad.err, "orvgui info: unknown telemetry module in ORVGUI_TELEMETRY 'os,web'\n");
}

TEST(OrvguiTool, SetupValuesFromTheRegistrySitBetweenHostAndDefaults) {
  ToolTest::TempDir root("orvgui-setup");
  const std::string registry = "KRS_REGISTRY=" + (root / "");
  // Values written with the tool itself, read back by the next process at load.
  const struct {
    const char* name;
    const char* data;
  } kValues[] = {{"Comma", ","}, {"Thousand", "."}, {"Fractions", "3"}, {"TimeZoneBias", "-60"},
                 {"TempDirectory", "/var/tmp"}, {"NegativeSign", "minus-sign-too-long"}};
  for (const auto& value : kValues) {
    const ProcessResult added = Orvgui({"reg", "add", "HKLM\\Software\\Quelvarn\\Setup", "/v", value.name, "/d", value.data, "/f"}, {registry});
    ASSERT_EQ(added.status, 0) << added.err;
  }
  ProcessResult info = Orvgui({"info"}, {registry, "TZ=UTC", "TMPDIR=/tmp"});
  ASSERT_EQ(info.status, 0) << info.err;
  EXPECT_EQ(LineWith(info.out, "decimal separator: "), ",");
  EXPECT_EQ(LineWith(info.out, "thousands separator: "), ".");
  EXPECT_EQ(LineWith(info.out, "fractions: "), "3");
  EXPECT_EQ(LineWith(info.out, "time zone bias: "), "-60");
  EXPECT_EQ(LineWith(info.out, "time zone bias set: "), "yes");
  EXPECT_EQ(LineWith(info.out, "temp directory: "), "/var/tmp") << "the registry comes before TMPDIR";
  EXPECT_EQ(LineWith(info.out, "negative sign: "), "-") << "a sign that cannot be one is left to the default";

  // Symbols that clash refuse the whole layer: the defaults decide again.
  ASSERT_EQ(Orvgui({"reg", "add", "HKLM\\Software\\Quelvarn\\Setup", "/v", "Thousand", "/d", ",", "/f"}, {registry}).status, 0);
  info = Orvgui({"info"}, {registry, "TZ=UTC"});
  EXPECT_EQ(LineWith(info.out, "decimal separator: "), ".");
  EXPECT_EQ(LineWith(info.out, "fractions: "), "2");

  // Without the key, nothing of it remains.
  ASSERT_EQ(Orvgui({"reg", "delete", "HKLM\\Software\\Quelvarn\\Setup", "/f"}, {registry}).status, 0);
  info = Orvgui({"info"}, {registry, "TZ=UTC", "TMPDIR=/tmp"});
  EXPECT_EQ(LineWith(info.out, "temp directory: "), "/tmp");
  EXPECT_EQ(LineWith(info.out, "time zone bias set: "), "no");
}

TEST(OrvguiTool, ParticleReplacementDisablesOnEveryValue) {
  for (const char* value : {"1", "on", "yes", "TRUE", "0", "off", ""}) {
    const ProcessResult result = Orvgui({"info"}, {std::string("PARTICLEREPLACEMENT=") + value});
    EXPECT_EQ(LineWith(result.out, "particles: "), "no (environment)") << "PARTICLEREPLACEMENT=" << value;
  }
}

TEST(OrvguiTool, DemoRunsEveryStep) {
  MutexDirectoryGuard guard;  // the demo shows a named mutex
  const ProcessResult result = Orvgui({"demo"});
  EXPECT_EQ(result.status, 0) << result.out << result.err;
  EXPECT_NE(result.out.find("demo complete"), std::string::npos);
  EXPECT_EQ(result.out.find("FAIL"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("Lock duration exceeded threshold"), std::string::npos);
}

}  // namespace
