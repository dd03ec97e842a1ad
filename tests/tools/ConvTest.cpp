// Tests of `orvgui conv` through the real tool: round trips of every code page against glibc
// iconv, standard input and output, inputs larger than one conversion piece, unconvertible
// input with its offset and what is kept, files converted in place, and usage errors.
#include <gtest/gtest.h>
#include <iconv.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "TestProcess.h"
#include "ToolTestFiles.h"
#include "base/core/ErrorMessage.h"

namespace {

using namespace ToolTest;

// Iconv: glibc's conversion of a whole text; empty when it refuses.
std::string Iconv(const char* to, const char* from, const std::string& text) {
  iconv_t cd = iconv_open(to, from);
  EXPECT_NE(cd, reinterpret_cast<iconv_t>(-1)) << from << " -> " << to;
  std::string out(text.size() * 4 + 16, '\0');
  char* in = const_cast<char*>(text.data());
  char* at = out.data();
  size_t inLeft = text.size(), outLeft = out.size();
  const bool ok = iconv(cd, &in, &inLeft, &at, &outLeft) != static_cast<size_t>(-1);
  iconv_close(cd);
  out.resize(ok ? out.size() - outLeft : 0);
  return out;
}

ProcessResult Conv(std::vector<std::string> args) {
  args.insert(args.begin(), {ORVGUI_TEST_TOOL, "conv"});
  return RunProcess(args);
}

std::string EilseqText() { return OrvGuiBase::GetErrorMessage(EILSEQ).GetStr(); }

TEST(ConvTool, EveryPageRoundTripsThroughUtf8AsIconvConvertsIt) {
  struct Page {
    const char* codePage;
    const char* iconvName;
  };
  const Page pages[] = {{"437", "CP437"},       {"850", "CP850"},           {"1252", "WINDOWS-1252"},
                        {"10000", "MAC"},       {"28591", "ISO-8859-1"},    {"28592", "ISO-8859-2"},
                        {"28605", "ISO-8859-15"}, {"0", "WINDOWS-1252"},    {"2", "MAC"}};
  TempDir dir("orvgui-conv");
  for (const Page& page : pages) {
    SCOPED_TRACE(page.codePage);
    std::string text;  // every byte the page defines, NUL included, three times over
    for (int round = 0; round < 3; ++round)
      for (int b = 0; b < 256; ++b) {
        const std::string byte(1, static_cast<char>(b));
        if (!Iconv("UTF-8", page.iconvName, byte).empty()) text += byte;
      }
    WriteFile(dir / "in", text);
    const ProcessResult there = Conv({"--from", page.codePage, "--to", "65001", dir / "in", dir / "utf8"});
    EXPECT_EQ(there.status, 0) << there.err;
    EXPECT_EQ(there.out + there.err, "") << "a file conversion prints nothing";
    EXPECT_EQ(ReadFile(dir / "utf8"), Iconv("UTF-8", page.iconvName, text));
    const ProcessResult back = Conv({"--from=65001", "--to=" + std::string(page.codePage), dir / "utf8"});
    EXPECT_EQ(back.status, 0) << back.err;
    EXPECT_EQ(back.out, text) << "back to the same bytes, on standard output";
  }
}

TEST(ConvTool, StandardInputAndOutputCarryLargeTextsWhole) {
  TempDir dir("orvgui-conv");
  // 3 MiB and a little more of text whose characters are 1 to 4 bytes long, so that characters
  // straddle every piece boundary of the tool and of the pipe; NULs included.
  const std::string unit = std::string("a\0", 2) + "\xC3\xA9" "\xE2\x82\xAC" "\xF0\x9F\x98\x80";  // 11 bytes
  std::string utf8;
  while (utf8.size() < (3u << 20) + 5) utf8 += unit;
  WriteFile(dir / "big", utf8);
  const ProcessResult piped = Shell("cat '" + dir / "big" + "' | \"$TOOL\" conv --from 65001 --to 65001");
  EXPECT_EQ(piped.status, 0) << piped.err;
  EXPECT_TRUE(piped.out == utf8) << "UTF-8 through a pipe comes out unchanged (" << piped.out.size() << " bytes)";

  std::string latin;
  while (latin.size() < (2u << 20) + 3) latin += std::string("caf\xC3\xA9 na\xC3\xAFve \xE2\x82\xAC\0\n", 18);
  WriteFile(dir / "latin", latin);
  const ProcessResult redirected = Shell("\"$TOOL\" conv -f 65001 -t 28605 - - < '" + dir / "latin" + "'");
  EXPECT_EQ(redirected.status, 0) << redirected.err;
  EXPECT_TRUE(redirected.out == Iconv("ISO-8859-15", "UTF-8", latin)) << "'-' names standard input and output";

  const ProcessResult toFile = Shell("\"$TOOL\" conv --from 65001 --to 1252 - '" + dir / "out" + "' < '" +
                                     dir / "latin" + "'");
  EXPECT_EQ(toFile.status, 0) << toFile.err;
  EXPECT_TRUE(ReadFile(dir / "out") == Iconv("WINDOWS-1252", "UTF-8", latin));

  WriteFile(dir / "empty", "");
  const ProcessResult empty = Conv({"--from", "1252", "--to", "65001", dir / "empty", dir / "empty.out"});
  EXPECT_EQ(empty.status, 0) << empty.err;
  struct stat info;
  EXPECT_TRUE(stat((dir / "empty.out").c_str(), &info) == 0 && info.st_size == 0) << "empty in, empty out";
}

TEST(ConvTool, UnconvertibleInputNamesItsOffsetAndKeepsWhatCameBefore) {
  const std::string longRun((3u << 20) / 2, 'a');  // the bad byte lies in the second piece
  struct Row {
    const char* from;
    const char* to;
    std::string input;
    std::string converted;  // standard output: the conversion of everything before the fault
    std::string message;
  };
  const Row rows[] = {
      {"1252", "65001", longRun + "\x81tail", longRun,
       "offset 1572864: byte 0x81 has no character in code page 1252"},
      {"65001", "1252", "caf\xC3\xA9 \xE4\xB8\x80!", "caf\xE9 ",
       "offset 6: character U+4E00 cannot be represented in code page 1252"},
      {"65001", "28591", std::string("a\0b\xFF", 4), std::string("a\0b", 3),
       "offset 3: malformed UTF-8 sequence starting with byte 0xFF"},
      {"65001", "65001", "ab\xE4\xB8", "ab", "offset 2: malformed UTF-8 sequence starting with byte 0xE4"},
      {"28592", "437", "\xA1", "", "offset 0: character U+0104 cannot be represented in code page 437"},
  };
  TempDir dir("orvgui-conv");
  for (const Row& row : rows) {
    SCOPED_TRACE(row.message);
    WriteFile(dir / "in", row.input);
    const ProcessResult streamed = Conv({"--from", row.from, "--to", row.to, dir / "in"});
    EXPECT_EQ(streamed.status, 1);
    EXPECT_EQ(streamed.err, "orvgui conv: " + row.message + ": " + EilseqText() + "\n");
    EXPECT_TRUE(streamed.out == row.converted) << "standard output got " << streamed.out.size() << " bytes";

    WriteFile(dir / "out", "earlier content");
    const ProcessResult toFile = Conv({"--from", row.from, "--to", row.to, dir / "in", dir / "out"});
    EXPECT_EQ(toFile.status, 1);
    EXPECT_EQ(toFile.err, streamed.err);
    EXPECT_EQ(ReadFile(dir / "out"), "earlier content") << "OUT is left as it was";
  }
}

TEST(ConvTool, FilesConvertInPlaceAndFileErrorsExitOne) {
  TempDir dir("orvgui-conv");
  WriteFile(dir / "text", "na\xEFve caf\xE9\n");
  const ProcessResult inPlace = Conv({"--from", "28591", "--to", "65001", dir / "text", dir / "text"});
  EXPECT_EQ(inPlace.status, 0) << inPlace.err;
  EXPECT_EQ(ReadFile(dir / "text"), "na\xC3\xAFve caf\xC3\xA9\n") << "IN and OUT may be the same file";

  const std::string missing = dir / "missing";
  const ProcessResult noInput = Conv({"--from", "1252", "--to", "65001", missing});
  EXPECT_EQ(noInput.status, 1);
  EXPECT_EQ(noInput.err, "orvgui conv: cannot open '" + missing + "': " +
                             OrvGuiBase::GetErrorMessage(ENOENT).GetStr() + "\n");
  const std::string directory = dir / "";
  const ProcessResult noOutput = Conv({"--from", "1252", "--to", "65001", dir / "text", directory});
  EXPECT_EQ(noOutput.status, 1);
  EXPECT_EQ(noOutput.err, "orvgui conv: cannot open '" + directory + "': " +
                              OrvGuiBase::GetErrorMessage(EISDIR).GetStr() + "\n");
  WriteFile(dir / "-dash", "x");
  const ProcessResult dashName = Conv({"--from", "1252", "--to", "65001", "--", dir / "-dash"});
  EXPECT_EQ(dashName.status, 0) << dashName.err;
  EXPECT_EQ(dashName.out, "x");
}

TEST(ConvTool, UsageErrorsExitTwoWithTheirMessage) {
  struct Row {
    std::vector<std::string> args;
    std::string err;
  };
  const Row rows[] = {
      {{}, "--from is required (see 'orvgui conv --help')"},
      {{"--from", "1252"}, "--to is required (see 'orvgui conv --help')"},
      {{"--from", "1252", "--to"}, "--to needs a code page"},
      {{"--from", "latin1", "--to", "65001"}, "--from: 'latin1' is not a code page number"},
      {{"--from", "1252", "--to=-1"}, "--to: '-1' is not a code page number"},
      {{"--from", "4294968548", "--to", "65001"}, "--from: '4294968548' is not a code page number"},
      {{"--from", "65000", "--to", "65001"}, "code page 65000 is not supported"},
      {{"--from", "1252", "--to", "932"}, "code page 932 is not supported"},
      {{"-f", "1252", "--from", "850", "--to", "65001"}, "--from given twice"},
      {{"--from", "1252", "--to", "65001", "a", "b", "c"}, "unexpected argument 'c'"},
      {{"--frm", "1252"}, "unknown option '--frm' (see 'orvgui conv --help')"},
  };
  for (const Row& row : rows) {
    const ProcessResult result = Conv(row.args);
    EXPECT_EQ(result.status, 2) << row.err;
    EXPECT_EQ(result.err, "orvgui conv: " + row.err + "\n");
    EXPECT_EQ(result.out, "");
  }
  const ProcessResult help = Conv({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_EQ(help.out.rfind("usage: orvgui conv --from CP --to CP [IN [OUT]]\n", 0), 0u);
  EXPECT_NE(help.out.find("Exit status:"), std::string::npos);
}

}  // namespace
