// Tests of the placeholder expansion, in this process and in a child with its own environment.
#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <string>

#include "TestProcess.h"
#include "base/process/Account.h"
#include "base/process/Environment.h"
#include "base/process/Module.h"
#include "base/process/Setup.h"

namespace OrvGuiBase {
namespace {

class PlaceholderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(SetEnv("ORVGUI_PH_A", "alpha"));
    ASSERT_TRUE(SetEnv("ORVGUI_PH_EMPTY", ""));
    ASSERT_TRUE(SetEnv("ORVGUI_PH_SELF", "<~PID~>"));
    m_userWasSet = IsEnvSet("USER");
    m_user = GetEnv("USER");
    ASSERT_TRUE(SetEnv("USER", "not-the-account"));
  }
  void TearDown() override {
    for (const char* name : {"ORVGUI_PH_A", "ORVGUI_PH_EMPTY", "ORVGUI_PH_SELF"}) UnsetEnv(name);
    if (m_userWasSet) SetEnv("USER", m_user.GetStr());
    else UnsetEnv("USER");
  }
  bool m_userWasSet = false;
  AnsiStr m_user;
};

TEST_F(PlaceholderTest, ExpandsTheTableAndTheEnvironment) {
  char host[256] = "";
  ASSERT_EQ(gethostname(host, sizeof host), 0);
  passwd* entry = getpwuid(geteuid());
  ASSERT_NE(entry, nullptr);
  const std::string program = GetProgramPath().GetStr();
  const std::string pid = std::to_string(getpid());
  const struct {
    const char* text;
    std::string expected;
    const char* why;
  } kRows[] = {
      {"", "", "empty"},
      {"plain text", "plain text", "nothing to do"},
      {"<~PROGRAMNAME~>", program.substr(program.rfind('/') + 1), "program name"},
      {"<~PROGRAMDIR~>/x", program.substr(0, program.rfind('/')) + "/x", "program directory"},
      {"<~USER~>", entry->pw_name, "the account, not the USER variable"},
      {"<~TEMP~>", GetTempDirectory().GetStr(), "temporary directory"},
      {"[<~PID~>]", "[" + pid + "]", "process id"},
      {"<~HOSTNAME~>", host, "host name"},
      {"<~ORVGUI_PH_A~><~ORVGUI_PH_A~>", "alphaalpha", "two in a row"},
      {"x<~ORVGUI_PH_EMPTY~>y", "xy", "a variable set to empty"},
      {"<~ORVGUI_PH_UNSET~>", "<~ORVGUI_PH_UNSET~>", "unknown names stay"},
      {"<~pid~>", "<~pid~>", "table names are upper case; no such variable"},
      {"<~ORVGUI_PH_SELF~>", "<~PID~>", "values are not expanded again"},
      {"<~<~ORVGUI_PH_A~>~>", "<~alpha~>", "nested: the inner name only"},
      {"<~ORVGUI<~ORVGUI_PH_A~>", "<~ORVGUIalpha", "an unclosed opener is text"},
      {"<~~><~ ~><~A-B~>", "<~~><~ ~><~A-B~>", "no name, a blank, a dash"},
      {"<~ORVGUI_PH_A~", "<~ORVGUI_PH_A~", "cut short"},
      {"~><~", "~><~", "lone markers"},
      {"\xE2\x82\xAC<~ORVGUI_PH_A~>\xE2\x82\xAC", "\xE2\x82\xAC" "alpha\xE2\x82\xAC", "UTF-8 around"},
  };
  for (const auto& row : kRows) EXPECT_EQ(ExpandPlaceholders(row.text).GetStr(), row.expected) << row.why;
  EXPECT_TRUE(ExpandPlaceholders(nullptr).IsEmpty());
  const std::string longName = "<~" + std::string(300, 'A') + "~>";
  EXPECT_EQ(ExpandPlaceholders(longName.c_str()).GetStr(), longName) << "an overlong name is text";
}

TEST(Placeholders, HomeAndTempFollowTheChildsEnvironment) {
  passwd* entry = getpwuid(geteuid());
  ASSERT_NE(entry, nullptr);
  const struct {
    std::vector<std::string> env;
    std::string expected;
  } kRows[] = {
      {{"HOME=/elsewhere", "TMPDIR=/scratch"}, "/elsewhere|/scratch"},
      {{"HOME=", "TMPDIR="}, std::string(entry->pw_dir) + "|/tmp"},
  };
  for (const auto& row : kRows) {
    std::vector<std::string> env = row.env;
    env.push_back("PROBE_EXPAND=<~HOME~>|<~TEMP~>");
    const ProcessResult result = RunProcess({ORVGUI_TEST_PROCESS_PROBE}, env);
    ASSERT_EQ(result.status, 0);
    EXPECT_NE(result.out.find("expand: " + row.expected + "\n"), std::string::npos) << result.out;
  }
}

}  // namespace
}  // namespace OrvGuiBase
