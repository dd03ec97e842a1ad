// Tests of `orvgui json` and `orvgui event`, and of the collector files in docs/events, which
// are checked against real event lines with jq.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <unistd.h>

#include "TestProcess.h"

namespace {

ProcessResult Orvgui(std::vector<std::string> args, const std::vector<std::string>& env = {}) {
  args.insert(args.begin(), ORVGUI_TEST_TOOL);
  return RunProcess(args, env);
}

ProcessResult Shell(const std::string& command, const std::vector<std::string>& env = {}) {
  return RunProcess({"/bin/sh", "-c", command}, env);
}

std::string Quote(const std::string& text) {
  std::string quoted = "'";
  for (char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

class TempFile {
 public:
  explicit TempFile(const std::string& text) {
    char name[] = "/tmp/orvgui-json-XXXXXX";
    const int fd = mkstemp(name);
    if (fd >= 0) {
      (void)!write(fd, text.data(), text.size());
      close(fd);
    }
    m_path = name;
  }
  ~TempFile() { unlink(m_path.c_str()); }
  const std::string& Path() const { return m_path; }

 private:
  std::string m_path;
};

TEST(JsonTool, ActionsOutputsAndExitCodes) {
  const TempFile good("{\"b\":[1,2.50,{}],\"a\":\"\\u00e9\"}");
  const TempFile bad("{\"a\":1,}");
  struct Case {
    std::vector<std::string> args;
    int status;
    std::string out;
    std::string err;
  };
  const Case cases[] = {
      {{"json", "validate", good.Path()}, 0, "", ""},
      {{"json", "compact", good.Path()}, 0, "{\"b\":[1,2.5,{}],\"a\":\"\xC3\xA9\"}\n", ""},
      {{"json", "format", good.Path()},
       0,
       "{\r\n  \"b\":[\r\n    1,\r\n    2.5,\r\n    {}\r\n  ],\r\n  \"a\":\"\xC3\xA9\"\r\n}\r\n",
       ""},
      {{"json", "validate", bad.Path()}, 1, "", "orvgui json: " + bad.Path() + ": string or '}' expected\n"},
      {{"json", "compact", "/nonexistent/x.json"}, 1, "", "orvgui json: cannot read /nonexistent/x.json: No such file or directory\n"},
      {{"json", "check", good.Path()}, 2, "", "orvgui json: unknown action 'check' (validate, format or compact)\n"},
      {{"json", "validate"}, 2, "", "orvgui json: expected an action and a file (see orvgui json --help)\n"},
  };
  for (const Case& c : cases) {
    const ProcessResult result = Orvgui(c.args);
    EXPECT_EQ(result.status, c.status) << c.args[1];
    EXPECT_EQ(result.out, c.out) << c.args[1];
    EXPECT_EQ(result.err, c.err) << c.args[1];
  }
  const ProcessResult help = Orvgui({"json", "--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_EQ(help.out.rfind("usage: orvgui json validate|format|compact FILE|-", 0), 0u);
}

TEST(JsonTool, StandardInputAndCorpusRoundTrip) {
  const std::string tool = Quote(ORVGUI_TEST_TOOL);
  const ProcessResult piped = Shell("printf '[1, 2] 3' | " + tool + " json validate -");
  EXPECT_EQ(piped.status, 1);
  EXPECT_EQ(piped.err, "orvgui json: -: EOF expected\n");
  // Pretty then compact gives the same line as compact directly; jq agrees it is the same value.
  const std::string file = Quote(std::string(ORVGUI_TEST_CORPUS) + "/json/bench/citm_catalog.json");
  const ProcessResult same = Shell(tool + " json format " + file + " | " + tool + " json compact - > /tmp/orvgui-citm.$$ && " +
                                   tool + " json compact " + file + " | cmp - /tmp/orvgui-citm.$$ && " +
                                   "jq -e --slurpfile a /tmp/orvgui-citm.$$ '. == $a[0]' " + file +
                                   "; status=$?; rm -f /tmp/orvgui-citm.$$; exit $status");
  EXPECT_EQ(same.status, 0) << same.out << same.err;
}

TEST(EventTool, JsonLineFieldsAndUsage) {
  const std::string tool = Quote(ORVGUI_TEST_TOOL);
  const ProcessResult line = Shell(tool + " event --source BACKUP --id 7 --type notice --category 6 --field volume=/srv "
                                   "--field count=12 --field volume=/data '100% done' | jq -c "
                                   "'[.level, .message, (.krs | del(.threadid))]'",
                                   {"LOGTYPE=STDOUT"});
  EXPECT_EQ(line.status, 0) << line.err;
  EXPECT_EQ(line.out,
            "[\"notice\",\"100% done\",{\"volume\":\"/data\",\"count\":12,\"id\":\"BACKUP-00007\","
            "\"category\":\"Installation\",\"version\":\"1.0.0\",\"processname\":\"orvgui\"}]\n");
  const ProcessResult err = Orvgui({"event", "--id", "123456", "--source", "X", "--", "--m"}, {"LOGTYPE=stderr"});
  EXPECT_EQ(err.status, 0);
  EXPECT_TRUE(err.out.empty());
  EXPECT_NE(err.err.find("\"message\":\"--m\""), std::string::npos) << err.err;
  EXPECT_NE(err.err.find("\"id\":\"X-123456\""), std::string::npos) << err.err;

  struct Case {
    std::vector<std::string> args;
    std::string err;
  };
  const Case usage[] = {
      {{"event"}, "orvgui event: a MESSAGE is required\n"},
      {{"event", "--type", "fatal", "m"}, "orvgui event: invalid type 'fatal' (error, warning, info or notice)\n"},
      {{"event", "--id", "4294967296", "m"}, "orvgui event: invalid id '4294967296'\n"},
      {{"event", "--field", "=v", "m"}, "orvgui event: invalid field '=v' (KEY=VALUE)\n"},
      {{"event", "--bogus", "m"}, "orvgui event: unknown option '--bogus'\n"},
      {{"event", "a", "b"}, "orvgui event: expected one MESSAGE after the options\n"},
  };
  for (const Case& c : usage) {
    const ProcessResult result = Orvgui(c.args, {"LOGTYPE=stdout"});
    EXPECT_EQ(result.status, 2) << c.err;
    EXPECT_EQ(result.err, c.err);
    EXPECT_TRUE(result.out.empty());
  }
}

// The collector files name fields by path; every path must exist in a real event line, with
// the kind the file declares.
TEST(EventTool, CollectorFilesMatchRealLines) {
  // The tool is <source>/build/<preset>/tools/orvgui/orvgui.
  std::string docs = ORVGUI_TEST_TOOL;
  for (int i = 0; i < 5; ++i) docs.erase(docs.rfind('/'));
  docs += "/docs/events/";
  const std::string tool = Quote(ORVGUI_TEST_TOOL);
  const TempFile events("");
  const ProcessResult made = Shell(tool + " event --source APP --id 3 --type warning 'first' > " + events.Path() + " && " +
                                   tool + " event 'second' >> " + events.Path(),
                                   {"LOGTYPE=stdout"});
  ASSERT_EQ(made.status, 0) << made.err;

  const std::string lnav = Quote(docs + "orvgui_events.lnav.json");
  // Each lnav field path (a/b) read from every line: strings and integers as declared, and
  // the level words mapped by the format.
  const ProcessResult lnavCheck = Shell(
      "jq -e -n --slurpfile f " + lnav + " --slurpfile l " + Quote(events.Path()) +
      " '$f[0].orvgui_event as $fmt | $fmt.json and ([$l[] | . as $line"
      " | ($fmt.value | to_entries | map(. as $v | ($line | getpath($v.key | split(\"/\"))) as $x"
      "   | ($v.value.kind == \"integer\" and ($x | type) == \"number\") or ($v.value.kind == \"string\" and ($x | type) == \"string\")"
      "   or ($v.key == \"krs/id\" and $x == null)) | all)"
      " and ($line | has($fmt[\"timestamp-field\"]) and has($fmt[\"body-field\"]))"
      " and ([$fmt.level[]] | index($line[$fmt[\"level-field\"]]) != null)] | all)'");
  EXPECT_EQ(lnavCheck.status, 0) << lnavCheck.out << lnavCheck.err;

  // Every field the Vector program reads (.name.name) exists in the first line.
  const std::string vector = Quote(docs + "vector_orvgui.json");
  const ProcessResult vectorCheck = Shell(
      "jq -e -n --slurpfile v " + vector + " --slurpfile l " + Quote(events.Path()) +
      " '$v[0] as $c | $c.sources.orvgui_events.decoding.codec == \"json\""
      " and $c.transforms.orvgui_normalised.inputs == [\"orvgui_events\"]"
      " and ([$c.transforms.orvgui_normalised.source | scan(\"= [.]([a-z@\\\".]+)\") | .[0]"
      "   | split(\".\") | map(ltrimstr(\"\\\"\") | rtrimstr(\"\\\"\")) | . as $p | $l[0] | getpath($p) != null] | all)'");
  EXPECT_EQ(vectorCheck.status, 0) << vectorCheck.out << vectorCheck.err;
}

}  // namespace
