// Tests of `orvgui compress` through the real tool: every format both ways on files and pipes,
// gzip(1) reading our output and writing our input, an output file written whole or not at
// all, and the usage errors.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "TestProcess.h"
#include "ToolTestFiles.h"

namespace {

using namespace ToolTest;

std::string Sample() {
  std::string text = ReadFile(std::string(ORVGUI_TEST_CORPUS) + "/json/bench/twitter.json").substr(0, 200000);
  std::mt19937 rng(7);
  for (int i = 0; i < 30000; ++i) text += static_cast<char>(rng());
  return text;
}

TEST(CompressTool, EveryFormatRoundTripsThroughFilesAndPipes) {
  TempDir dir("orvgui-compress");
  const std::string text = Sample();
  WriteFile(dir / "in", text);
  const char* const formats[] = {"--gzip", "--zlib", "--raw", "--block", "--lzw", ""};
  for (const char* format : formats) {
    const std::string f = format;
    ProcessResult packed = Shell("\"$TOOL\" compress " + f + " '" + (dir / "in") + "' '" + (dir / "packed") + "'");
    ASSERT_EQ(packed.status, 0) << f << ": " << packed.err;
    EXPECT_EQ(packed.out, "");
    EXPECT_LT(ReadFile(dir / "packed").size(), text.size()) << f;
    ProcessResult back = Shell("\"$TOOL\" compress " + f + " -d < '" + (dir / "packed") + "'");
    ASSERT_EQ(back.status, 0) << f << ": " << back.err;
    EXPECT_TRUE(back.out == text) << f;
  }
  // Levels change the output, and every level expands again.
  for (const std::string level : {"0", "1", "9"}) {
    ProcessResult r = Shell("\"$TOOL\" compress --zlib -l " + level + " < '" + (dir / "in") + "' | \"$TOOL\" compress --zlib -d");
    EXPECT_EQ(r.status, 0) << level << r.err;
    EXPECT_TRUE(r.out == text) << level;
  }
  ProcessResult stored = Shell("\"$TOOL\" compress --raw -l0 < '" + (dir / "in") + "' | wc -c");
  EXPECT_EQ(std::stoul(stored.out), text.size() + 5 * (text.size() / 65535 + 1));
}

TEST(CompressTool, GzipReadsOurFilesAndWeReadGzips) {
  TempDir dir("orvgui-compress");
  const std::string text = Sample();
  WriteFile(dir / "in", text);
  for (const std::string level : {"1", "6", "9"}) {
    ProcessResult r = Shell("\"$TOOL\" compress -l " + level + " < '" + (dir / "in") + "' | gzip -dc");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(r.out == text) << "level " << level;
  }
  // gzip's own files, one member and two members one after the other.
  ProcessResult one = Shell("gzip -9c '" + (dir / "in") + "' | \"$TOOL\" compress -d");
  ASSERT_EQ(one.status, 0) << one.err;
  EXPECT_TRUE(one.out == text);
  ProcessResult two = Shell("(gzip -c '" + (dir / "in") + "'; printf tail | gzip -1c) | \"$TOOL\" compress -d");
  ASSERT_EQ(two.status, 0) << two.err;
  EXPECT_TRUE(two.out == text + "tail");
  ProcessResult test = Shell("\"$TOOL\" compress < '" + (dir / "in") + "' | gzip -t");
  EXPECT_EQ(test.status, 0) << test.err;
}

TEST(CompressTool, FailureLeavesTheOutputFileAsItWas) {
  TempDir dir("orvgui-compress");
  WriteFile(dir / "out", "previous content");
  WriteFile(dir / "bad.gz", std::string("\x1f\x8b\x08\x00\x00\x00\x00\x00\x00\x03garbage", 18));
  struct Case {
    std::string args;
    std::string err;
  } cases[] = {
      {"-d '" + (dir / "bad.gz") + "' '" + (dir / "out") + "'", "orvgui compress: '" + (dir / "bad.gz") + "': inflate: "},
      {"--lzw -d '" + (dir / "bad.gz") + "' '" + (dir / "out") + "'", "orvgui compress: '" + (dir / "bad.gz") + "': lzw: incorrect header (not an LZW stream)\n"},
      {"--block -d '" + (dir / "bad.gz") + "' '" + (dir / "out") + "'", "orvgui compress: '" + (dir / "bad.gz") + "': block: incorrect header (not a block stream)\n"},
      {"'" + (dir / "missing") + "' '" + (dir / "out") + "'", "orvgui compress: cannot open '" + (dir / "missing") + "': "},
      {"'" + (dir / "bad.gz") + "' '" + (dir / "no/such/dir") + "'", "orvgui compress: cannot create '" + (dir / "no/such/dir") + "': "},
  };
  for (const Case& c : cases) {
    ProcessResult r = Shell("\"$TOOL\" compress " + c.args);
    EXPECT_EQ(r.status, 1) << c.args;
    EXPECT_EQ(r.err.substr(0, c.err.size()), c.err) << r.err;
    EXPECT_EQ(ReadFile(dir / "out"), "previous content") << c.args;
    EXPECT_EQ(dir.Count(), 2u) << "a temporary file was left behind: " << c.args;
  }
  ProcessResult full = Shell("\"$TOOL\" compress < '" + (dir / "bad.gz") + "' > /dev/full");
  EXPECT_EQ(full.status, 1);
  EXPECT_EQ(full.err.substr(0, 47), "orvgui compress: cannot write 'standard output'");
}

TEST(CompressTool, UsageErrors) {
  struct Case {
    const char* args;
    const char* err;
  } cases[] = {
      {"--gzip --lzw", "orvgui compress: only one of --gzip, --zlib, --raw, --block and --lzw may be given\n"},
      {"-l 10", "orvgui compress: level 10 is outside 0..9 for this format\n"},
      {"--lzw -l 8", "orvgui compress: level 8 is outside 9..16 for this format\n"},
      {"--block -l 0", "orvgui compress: level 0 is outside 1..9 for this format\n"},
      {"-l x", "orvgui compress: invalid level 'x'\n"},
      {"-l", "orvgui compress: -l needs a level\n"},
      {"-d -l 5", "orvgui compress: -l is for compressing, not with -d\n"},
      {"--fast", "orvgui compress: unknown option '--fast' (see 'orvgui compress --help')\n"},
      {"a b c", "orvgui compress: unexpected argument 'c'\n"},
  };
  for (const Case& c : cases) {
    ProcessResult r = Shell(std::string("\"$TOOL\" compress ") + c.args + " < /dev/null");
    EXPECT_EQ(r.status, 2) << c.args;
    EXPECT_EQ(r.err, c.err) << c.args;
  }
  ProcessResult help = Shell("\"$TOOL\" compress --help");
  EXPECT_EQ(help.status, 0);
  EXPECT_EQ(help.out.rfind("usage: orvgui compress [--gzip|--zlib|--raw|--block|--lzw] [-d] [-l LEVEL] [IN [OUT]]\n", 0), 0u);
}

}  // namespace
