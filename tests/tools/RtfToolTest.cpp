// Tests of `orvgui rtf` through the real tool: files and standard streams in both modes, the
// same bytes as the library's entry points, the reader's error text with exit status 1, and
// usage errors with 2.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "TestProcess.h"
#include "base/core/ErrorMessage.h"
#include "base/data/RtfParser.h"
#include "tests/base/fs/FsTestDirectory.h"

namespace {

using OrvGuiBase::FsTest;

const std::string kCorpus = std::string(ORVGUI_TEST_CORPUS) + "/rtf/";
const std::string kBom = "\xEF\xBB\xBF";

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

ProcessResult Shell(const std::string& command) {
  return RunProcess({"/bin/sh", "-c", command}, {std::string("TOOL=") + ORVGUI_TEST_TOOL});
}

class RtfTool : public FsTest {};

// Every way in and out gives exactly what the library writes for the same document.
TEST_F(RtfTool, FilesAndStandardStreamsMatchTheLibrary) {
  const std::string in = kCorpus + "list_complex.rtf";
  const std::string text = P("lib.txt"), html = P("lib.html");
  ASSERT_TRUE(OrvGuiBase::Rtf2Text(OrvGuiBase::File(in.c_str()), OrvGuiBase::File(text.c_str())));
  ASSERT_TRUE(OrvGuiBase::Rtf2Html(OrvGuiBase::File(in.c_str()), OrvGuiBase::File(html.c_str())));
  struct Case {
    std::string command, output, expected;
  };
  const Case cases[] = {
      {"\"$TOOL\" rtf text '" + in + "' '" + P("a.txt") + "'", P("a.txt"), ReadFile(text)},
      {"\"$TOOL\" rtf html '" + in + "' '" + P("a.html") + "'", P("a.html"), ReadFile(html)},
      {"\"$TOOL\" rtf text - - < '" + in + "'", "", ReadFile(text)},
      {"cat '" + in + "' | \"$TOOL\" rtf html - '" + P("b.html") + "'", P("b.html"), ReadFile(html)},
      {"\"$TOOL\" rtf html '" + in + "' - | cat", "", ReadFile(html)},
  };
  for (const Case& c : cases) {
    const ProcessResult r = Shell(c.command);
    EXPECT_EQ(r.status, 0) << c.command << "\n" << r.err;
    EXPECT_EQ(r.err, "") << c.command;
    EXPECT_EQ(c.output.empty() ? r.out : ReadFile(c.output), c.expected) << c.command;
  }
  EXPECT_EQ(ReadFile(text).compare(0, 3, kBom), 0);
  EXPECT_NE(ReadFile(text).find("Eight Continue"), std::string::npos);
}

TEST_F(RtfTool, FailuresAndUsage) {
  struct Case {
    std::string command;
    int status;
    std::string err;  // the whole of standard error, or its start when it ends with "..."
  };
  const std::string missing = P("missing.rtf");
  const Case cases[] = {
      {"printf '{\\\\rtf1 abc' | \"$TOOL\" rtf text - -", 1, "orvgui rtf: Unexpected end of file\n"},
      {"printf '{\\\\rtf2 abc}' | \"$TOOL\" rtf html - -", 1, "orvgui rtf: Unsupported RTF version 2\n"},
      {"printf '{\\\\rtf1 \\\\bin3 abc}' | \"$TOOL\" rtf text - -", 1, "orvgui rtf: Binary data is not supported\n"},
      {"\"$TOOL\" rtf text '" + missing + "' -", 1,
       "orvgui rtf: Could not open input file [" + missing + "]: " + OrvGuiBase::GetErrorMessage(2).GetStr() + "\n"},
      {"printf '{}' | \"$TOOL\" rtf text - /dev/full", 1,
       "orvgui rtf: Could not write byte order mark to file [/dev/full]: ..."},
      {"\"$TOOL\" rtf", 2, "orvgui rtf: a mode (text or html) is required (see 'orvgui rtf --help')\n"},
      {"\"$TOOL\" rtf pdf a b", 2, "orvgui rtf: unknown mode 'pdf' (text or html)\n"},
      {"\"$TOOL\" rtf text a", 2, "orvgui rtf: text needs IN and OUT\n"},
      {"\"$TOOL\" rtf html a b c", 2, "orvgui rtf: unexpected argument 'c'\n"},
  };
  for (const Case& c : cases) {
    const ProcessResult r = Shell(c.command);
    EXPECT_EQ(r.status, c.status) << c.command << "\n" << r.err;
    if (c.err.size() > 3 && c.err.compare(c.err.size() - 3, 3, "...") == 0)
      EXPECT_EQ(r.err.substr(0, c.err.size() - 3), c.err.substr(0, c.err.size() - 3)) << c.command;
    else
      EXPECT_EQ(r.err, c.err) << c.command;
  }
  // A failed input leaves no output file behind.
  EXPECT_EQ(Shell("\"$TOOL\" rtf text '" + missing + "' '" + P("out.txt") + "'").status, 1);
  EXPECT_EQ(Shell("test -e '" + P("out.txt") + "'").status, 1);
}

TEST_F(RtfTool, Help) {
  const ProcessResult r = RunProcess({ORVGUI_TEST_TOOL, "rtf", "--help"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out.rfind("usage: orvgui rtf text IN OUT\n       orvgui rtf html IN OUT\n", 0), 0u) << r.out;
  EXPECT_NE(r.out.find("Exit status: 0"), std::string::npos);
  const ProcessResult all = RunProcess({ORVGUI_TEST_TOOL, "--help"});
  EXPECT_NE(all.out.find("rtf"), std::string::npos);
}

}  // namespace
