// Tests of the command-line splitter, on tables and on the real command lines of child
// processes (the probe prints how the library saw its own /proc/self/cmdline).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "TestProcess.h"
#include "base/process/CommandLine.h"

namespace OrvGuiBase {
namespace {

// Flatten: "name=value;..." for the options, "|" and "arg;..." for the arguments.
std::string Flatten(const CommandLineOptions& parsed) {
  std::string text;
  for (unsigned i = 0; i < parsed.GetOptionCount(); ++i)
    text += std::string(parsed.GetOptionName(i).GetStr()) + "=" + parsed.GetOptionValue(i).GetStr() + ";";
  text += "|";
  for (unsigned i = 0; i < parsed.GetArgumentCount(); ++i) text += std::string(parsed.GetArgument(i).GetStr()) + ";";
  return text;
}

TEST(CommandLineOptions, SplitsAwkwardLines) {
  const struct {
    std::vector<const char*> args;  // without the program
    const char* expected;
    const char* why;
  } kRows[] = {
      {{}, "|", "nothing at all"},
      {{"-port", "80", "data"}, "port=80;|data;", "a value after its option, then an argument"},
      {{"-port=80", "data"}, "port=80;|data;", "an inline value leaves the next token alone"},
      {{"--port", "80"}, "port=80;|", "the double dash"},
      {{"/port", "80", "/Q"}, "port=80;Q=;|", "the slash spelling; an option at the end is empty"},
      {{"/port=80"}, "port=80;|", "slash with inline value"},
      {{"/usr/bin/x", "/tmp/a=b"}, "|/usr/bin/x;/tmp/a=b;", "paths are arguments"},
      {{"-v", "-q", "file"}, "v=;q=file;|", "an option followed by an option is empty"},
      {{"-offset", "-5", "-.5"}, "offset=-5;|-.5;", "negative numbers are values"},
      {{"-", "/", "-x"}, "x=;|-;/;", "lone '-' and '/' are arguments"},
      {{"-a", "--", "-b", "--", "/c"}, "a=;|-b;--;/c;", "'--' ends the options and is dropped"},
      {{"-a", "--"}, "a=;|", "an option does not take '--' as its value"},
      {{"-=x", "--=y", "/=z"}, "|-=x;--=y;/=z;", "an option needs a name"},
      {{"-name=", "x"}, "name=;|x;", "an empty inline value"},
      {{"-name=a=b"}, "name=a=b;|", "only the first '=' splits"},
      {{"-name", ""}, "name=;|", "an empty token is a value"},
      {{"-tag", "two words"}, "tag=two words;|", "a value with a blank"},
      {{"---x"}, "-x=;|", "three dashes keep one in the name"},
      {{"-\xC3\xA9t\xC3\xA9", "\xE2\x82\xAC"}, "\xC3\xA9t\xC3\xA9=\xE2\x82\xAC;|", "UTF-8 passes through"},
  };
  for (const auto& row : kRows) {
    std::vector<AnsiStr> args{"program"};
    for (const char* a : row.args) args.emplace_back(a);
    EXPECT_EQ(Flatten(CommandLineOptions(args)), row.expected) << row.why;
  }
  EXPECT_EQ(Flatten(CommandLineOptions({"-x", "1"}, 0)), "x=1;|") << "first 0 keeps args[0]";
  EXPECT_EQ(Flatten(CommandLineOptions({"p"}, 5)), "|") << "first past the end";
}

TEST(CommandLineOptions, LookUpIgnoresCaseAndTakesTheLastOccurrence) {
  const CommandLineOptions parsed({"p", "-ParticleSpinCount", "100", "/DEBUG", "-level=1", "-LEVEL=3", "-n", "x12"});
  const struct {
    const char* name;
    const char* value;  // null: absent, the fallback comes back
  } kRows[] = {
      {"particlespincount", "100"}, {"PARTICLESPINCOUNT", "100"}, {"debug", ""},
      {"level", "3"}, {"lev", nullptr}, {"levels", nullptr}, {"", nullptr}, {nullptr, nullptr},
  };
  for (const auto& row : kRows) {
    const char* shown = row.name != nullptr ? row.name : "(null)";
    EXPECT_EQ(parsed.HasOption(row.name), row.value != nullptr) << shown;
    EXPECT_STREQ(parsed.GetOption(row.name, "fallback").GetStr(), row.value != nullptr ? row.value : "fallback") << shown;
  }
  EXPECT_EQ(parsed.GetOptionCount(), 5u) << "both occurrences are listed";
  EXPECT_TRUE(parsed.GetOptionName(9).IsEmpty());
  EXPECT_TRUE(parsed.GetArgument(0).IsEmpty());
}

TEST(CommandLineOptions, IntegerValues) {
  const struct {
    const char* value;
    long long expected;  // with fallback -7
  } kRows[] = {
      {"42", 42}, {"-42", -42}, {"+5", 5}, {"0", 0}, {"9223372036854775807", INT64_MAX},
      {"9223372036854775808", -7}, {"-9223372036854775808", INT64_MIN}, {"", -7}, {"12x", -7},
      {" 12", -7}, {"0x10", -7}, {"-", -7}, {"1.5", -7},
  };
  for (const auto& row : kRows) {
    const CommandLineOptions parsed({"p", (std::string("-n=") + row.value).c_str()});
    EXPECT_EQ(parsed.GetOptionInt("N", -7), row.expected) << row.value;
  }
  EXPECT_EQ(CommandLineOptions({"p"}).GetOptionInt("n", -7), -7) << "missing";
}

// The probe run with the given arguments; its output lines.
std::string Probe(const std::vector<std::string>& args, const std::vector<std::string>& env = {}) {
  std::vector<std::string> argv{ORVGUI_TEST_PROCESS_PROBE};
  argv.insert(argv.end(), args.begin(), args.end());
  const ProcessResult result = RunProcess(argv, env);
  EXPECT_EQ(result.status, 0) << result.err;
  return result.out;
}

TEST(CommandLine, RealChildProcessesSeeTheirOwnLine) {
  const std::string probe = ORVGUI_TEST_PROCESS_PROBE;
  const struct {
    std::vector<std::string> args;
    std::string expected;  // after the "line: <probe>" line
  } kRows[] = {
      {{}, ""},
      {{"-PORT", "80", "two words", ""},
       " -PORT 80 \"two words\" \"\"\noption: PORT=80\nargument: two words\nargument: \n"},
      {{"say \"hi\"", "back\\slash", "tab\there"},
       " \"say \\\"hi\\\"\" back\\slash \"tab\there\"\nargument: say \"hi\"\nargument: back\\slash\nargument: tab\there\n"},
      {{"/Level=3", "--", "-x"}, " /Level=3 -- -x\noption: Level=3\nargument: -x\n"},
      {{"line\nbreak"}, " \"line\nbreak\"\nargument: line\nbreak\n"},
  };
  for (const auto& row : kRows) {
    std::string expected = "line: " + probe + row.expected;
    if (row.expected.empty() || row.expected[0] != ' ') expected += "\n";
    EXPECT_EQ(Probe(row.args), expected);
  }
  // The allocator's own look-up: case ignored, inline and separate values, default otherwise.
  EXPECT_EQ(Probe({"-ParticleSpinCount=250", "x"}, {"PROBE_LOOKUP=particlespincount,other"}),
            "line: " + probe + " -ParticleSpinCount=250 x\noption: ParticleSpinCount=250\nargument: x\n"
            "lookup particlespincount: 250\nlookup other: <none>\n");
}

TEST(CommandLine, MatchesTheKernelsViewOfThisProcess) {
  ASSERT_GT(GetCmdLineArgCount(), 0u);
  EXPECT_EQ(Flatten(GetCmdLineOptions()),
            Flatten(CommandLineOptions([] {
              std::vector<AnsiStr> args;
              for (unsigned i = 0; i < GetCmdLineArgCount(); ++i) args.push_back(GetCmdLineArg(i));
              return args;
            }())));
  EXPECT_STREQ(GetCmdLineOption("no-such-option-here", "d").GetStr(), "d");
  EXPECT_EQ(GetCmdLineOptionInt("no-such-option-here", 9), 9);
}

}  // namespace
}  // namespace OrvGuiBase
