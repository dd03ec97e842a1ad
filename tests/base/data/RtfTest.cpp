// Tests of the RTF reader: the real documents of the corpus in both modes, conversions of the
// constructs a document uses (control symbols, destinations, fields, code pages, Unicode escapes
// and their fallbacks), HTML escaping and encapsulated HTML, every error text and its arrival as
// the last error message, file and device failures, and the limits (nesting, huge parameters).
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "base/core/ErrorMessage.h"
#include "base/core/LastError.h"
#include "base/data/RtfParser.h"
#include "tests/base/fs/FsTestDirectory.h"

namespace OrvGuiBase {
namespace {

const std::string kBom = "\xEF\xBB\xBF";
const std::string kHeader = "<!DOCTYPE html>\n<html>\n<head>\n<meta charset=\"UTF-8\">\n</head>\n<body>\n";
const std::string kFooter = "\n</body>\n</html>\n";
const std::string kCorpus = std::string(ORVGUI_TEST_CORPUS) + "/rtf/";

std::string Text(const std::string& rtf, bool* ok = nullptr) {
  AnsiStr out;
  const bool done = Rtf2Text(AnsiSubStr(rtf.data(), static_cast<uint32_t>(rtf.size())), out);
  if (ok != nullptr) *ok = done;
  return std::string(out.GetStr(), out.GetLength());
}

std::string Html(const std::string& rtf) {
  AnsiStr out;
  EXPECT_TRUE(Rtf2Html(AnsiSubStr(rtf.data(), static_cast<uint32_t>(rtf.size())), out)) << rtf;
  return std::string(out.GetStr(), out.GetLength());
}

// Body: the page without the header and footer (which must be there).
std::string Body(const std::string& page) {
  if (page.compare(0, kHeader.size(), kHeader) != 0 || page.size() < kHeader.size() + kFooter.size() ||
      page.compare(page.size() - kFooter.size(), kFooter.size(), kFooter) != 0)
    return "(not a page) " + page;
  return page.substr(kHeader.size(), page.size() - kHeader.size() - kFooter.size());
}

// Failure: the error text of a conversion that must fail, taken from the last error message.
std::string Failure(const std::string& rtf) {
  AnsiStr out("stale");
  SetLastError(0);
  if (Rtf2Text(AnsiSubStr(rtf.data(), static_cast<uint32_t>(rtf.size())), out))
    return "(converted) " + std::string(out.GetStr());
  EXPECT_EQ(GetLastError(), kErrorMessageCode);
  EXPECT_TRUE(out.IsEmpty());
  return GetLastErrorMessage().GetStr();
}

TEST(Rtf, TextConversions) {
  struct Case {
    std::string rtf, text, why;
  };
  const Case cases[] = {
      {"", "", "an empty document"},
      {"{\\rtf1\\ansi Hello\\par World}", "Hello\nWorld", "par ends a line"},
      {"{\\rtf1 a\\tab b\\line c}", "a\tb\nc", "tab and line"},
      {"{\\rtf1 a\\~b\\-c\\_d\\{\\}\\\\}",
       "a\xC2\xA0"
       "bc\xE2\x80\x91"
       "d{}\\",
       "the control symbols"},
      {"{\\rtf1 a\\\nb\\\r\nc}", "a\nb\nc", "a backslash before a line end is a paragraph"},
      {"{\\rtf1 a\r\nb\n\rc}\r\n", "abc", "line ends in the source are not text"},
      {std::string("{\\rtf1 a\0b}", 11), "ab", "NUL bytes are not text"},
      {"{\\rtf1\\b bold\\b0  x\\fs24\\f1 y}", "bold xy", "formatting words are passed over with their delimiter"},
      {"{\\rtf1 \\emdash\\endash\\bullet\\lquote\\rquote\\ldblquote\\rdblquote}",
       "\xE2\x80\x94\xE2\x80\x93\xE2\x80\xA2\xE2\x80\x98\xE2\x80\x99\xE2\x80\x9C\xE2\x80\x9D", "typographic words"},
      {"{\\rtf1 \\emspace\\enspace\\zwbo\\zwnbo}", "\xE2\x80\x83\xE2\x80\x82\xE2\x80\x8B\xEF\xBB\xBF",
       "spaces and marks"},
      {"{\\rtf1{\\fonttbl{\\f0\\fswiss Arial;}}{\\colortbl;\\red1\\green2\\blue3;}{\\stylesheet{\\s0 Normal;}}"
       "{\\info{\\title Title}{\\author Me}}Body}",
       "Body", "the header tables are skipped"},
      {"{\\rtf1 a{\\*\\generator Gen 1.0;}{\\*\\unknown{\\nested x}y}b}", "ab", "ignorable destinations, nested"},
      {"{\\rtf1 a{\\pict\\pngblip\\picw10 89504e470d0a}b}", "ab", "a picture's data"},
      {"{\\rtf1 a{\\pict\\bin4 {}\\}}b}", "ab", "binary picture data with braces in it is passed over"},
      {"{\\rtf1 a{\\pict\\jpegblip\\bin ffd8ffe0}b}", "ab", "a \\bin without data inside a picture"},
      {"{\\rtf1 a{\\object\\objemb{\\*\\objclass Word.Document.8}{\\objdata 01050000}{\\result b}}c}", "abc",
       "object data is skipped, its result stays"},
      {"{\\rtf1 {\\field{\\*\\fldinst{ HYPERLINK \"http://x.org\" }}{\\fldrslt{link}}} and "
       "{\\field{\\fldinst PAGE}{\\fldrslt 7}}}",
       "link and 7", "fields keep their visible result"},
      {"{\\rtf1 A\\cell B\\cell\\row{\\nonesttables copy}C\\par\\row}", "A\tB\t\nC\n",
       "cells and rows; the nested-table fallback is skipped"},
      {"{\\rtf1 word{\\footnote note} more}", "word\nnote more", "a footnote on a line of its own"},
      {"{\\rtf1 \\u945 ab}",
       "\xCE\xB1"
       "b",
       "\\u skips one fallback character by default"},
      {"{\\rtf1\\uc2 \\u228\\'e4\\'e5x}", "\xC3\xA4x", "the fallback counts \\'hh escapes as characters"},
      {"{\\rtf1\\uc3{\\u228 a}bc}",
       "\xC3\xA4"
       "bc",
       "a group end stops the skipping"},
      {"{\\rtf1\\uc3 \\u228{b}c}",
       "\xC3\xA4"
       "bc",
       "a group start stops the skipping"},
      {"{\\rtf1{\\uc0\\u228}\\u246 xy}", "\xC3\xA4\xC3\xB6y", "uc belongs to its group"},
      {"{\\rtf1 \\u8364\\'80 ok}", "\xE2\x82\xAC ok", "the fallback escape is not written"},
      {"{\\rtf1 \\u8364\\par ok}",
       "\xE2\x82\xAC"
       "ok",
       "a control word counts as a fallback character"},
      {"{\\rtf1\\uc2147483647 \\u65 abcdef}x", "Ax", "a huge uc skips no further than the group"},
      {"{\\rtf1 \\u55357?\\u56832?}", "\xF0\x9F\x98\x80", "a surrogate pair"},
      {"{\\rtf1 \\u-10179?\\u-8704?}", "\xF0\x9F\x98\x80", "a surrogate pair in negative form"},
      {"{\\rtf1 \\u-3913?}", "\xEF\x82\xB7", "a negative unit"},
      {"{\\rtf1\\ansi \\'80\\'e9 caf\xe9}", "\xE2\x82\xAC\xC3\xA9 caf\xC3\xA9",
       "ansi is Windows Latin 1, raw and escaped"},
      {"{\\rtf1\\ansi\\ansicpg1251 \\'cf\\'f0\\'e8\\'e2\\'e5\\'f2 \xcc\xe8\xf0}",
       "\xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82 \xD0\x9C\xD0\xB8\xD1\x80", "ansicpg1251: Cyrillic"},
      {"{\\rtf1\\pc \\'82\\'81}", "\xC3\xA9\xC3\xBC", "pc is code page 437"},
      {"{\\rtf1\\pca \\'9b}", "\xC3\xB8", "pca is code page 850"},
      {"{\\rtf1\\mac \\'8e}", "\xC3\xA9", "mac is Mac Roman"},
      {"{\\rtf1\\ansicpg65001 \\'e2\\'82\\'ac\\'ff!}", "\xE2\x82\xAC\xEF\xBF\xBD!", "UTF-8 escapes; a bad byte"},
      {"{\\rtf1\\ansicpg932 \\'82\\'a0}", "\xE3\x81\x82", "a double-byte code page"},
      {"{\\rtf1\\ansi \\'81}", "\xEF\xBF\xBD", "a byte without a character"},
      {"{\\rtf1 a{\\*\\htmltag84 <b>}b{\\*\\mhtmltag1 <i>}}", "ab", "HTML markup is not text"},
      {"{\\rtf1\\fromtext a{\\htmlrtf hidden}b\\htmlrtf x\\htmlrtf0 c}", "abc", "htmlrtf hides RTF-only parts of text"},
      {"{\\rtf1\\fromhtml1 {\\*\\htmltag <p>}\\htmlrtf {\\htmlrtf0 Hi\\htmlrtf\\par}\\htmlrtf0}", "Hi\n",
       "text mode renders encapsulated HTML as RTF"},
      {"{\\rtf1 a}\r\n", "a", "text after the document"},
      {"\xEF\xBB\xBF{\\rtf1 a}", "a", "a byte order mark before the document"},
  };
  for (const Case& c : cases) {
    bool ok = false;
    EXPECT_EQ(Text(c.rtf, &ok), c.text) << c.why << ": " << c.rtf;
    EXPECT_TRUE(ok) << c.why << ": " << GetLastErrorMessage().GetStr();
  }
}

TEST(Rtf, HtmlConversions) {
  struct Case {
    std::string rtf, body, why;
  };
  const Case cases[] = {
      {"", "", "an empty document is a complete page"},
      {"{\\rtf1 a&b<c>d\"e'f}", "a&amp;b&lt;c&gt;d&quot;e'f", "markup characters are escaped"},
      {"{\\rtf1 a\\par b\\line c\\tab d}", "a<br>\nb<br>\nc\td", "line breaks"},
      {"{\\rtf1 x\\~y\\zwbo\\'01\\u173?}", "x&#xA0;y&#x200B;&#x1;&#xAD;", "invisible characters as references"},
      {"{\\rtf1 caf\\'e9 \\u8364?\\u55357?\\u56832?\\ldblquote\\emdash}",
       "caf\xC3\xA9 \xE2\x82\xAC\xF0\x9F\x98\x80\xE2\x80\x9C\xE2\x80\x94", "visible ones as UTF-8"},
      {"{\\rtf1{\\fonttbl{\\f0 Arial;}}a{\\*\\htmltag <b>}b}", "a<b>b", "markup of an htmltag group is copied"},
  };
  for (const Case& c : cases) EXPECT_EQ(Body(Html(c.rtf)), c.body) << c.why << ": " << c.rtf;
}

// An encapsulated page comes out as itself: the markup groups, the text that is not RTF-only,
// characters beyond ASCII as references; in text mode the RTF rendering of the same document.
TEST(Rtf, EncapsulatedHtml) {
  const std::string rtf =
      "{\\rtf1\\ansi\\ansicpg1252\\fromhtml1 \\deff0{\\fonttbl{\\f0\\fswiss Arial;}}\r\n"
      "{\\*\\htmltag19 <html>}{\\*\\htmltag1 \\par }{\\*\\htmltag34 <head>}{\\*\\htmltag41 <title>T</title>}"
      "{\\*\\htmltag42 </head>}{\\*\\htmltag1 \\par }{\\*\\htmltag50 <body>}\\htmlrtf {\\htmlrtf0 "
      "{\\*\\htmltag64 <p>}Caf\\'e9 {\\*\\htmltag84 &amp;}\\htmlrtf &\\htmlrtf0  cr\\'e8me{\\*\\htmltag72 </p>}"
      "\\htmlrtf\\par}\\htmlrtf0 {\\*\\htmltag58 </body>}{\\*\\htmltag27 </html>}}";
  EXPECT_EQ(Html(rtf), "<html>\n<head><title>T</title></head>\n<body><p>Caf&#xE9; &amp; cr&#xE8;me</p></body></html>");
  EXPECT_EQ(Text(rtf), "Caf\xC3\xA9 & cr\xC3\xA8me\n");
}

TEST(Rtf, ErrorTexts) {
  struct Case {
    std::string rtf, error;
  };
  const Case cases[] = {
      {"{\\rtf2 x}", "Unsupported RTF version 2"},
      {"{\\rtf x}", "Unsupported RTF version 0"},
      {"{\\rtf1 a\\bin4 abcd}", "Binary data is not supported"},
      {"{\\rtf1 a\\bin}", "Binary data is not supported"},
      {"{\\rtf1\\ansicpg-5 x}", "Invalid codepage [-5]"},
      {"{\\rtf1\\ansicpg70000 x}", "Invalid codepage [70000]"},
      {"{\\rtf1\\ansicpg12345 x}", "Unsupported code page [12345]"},
      {"{\\rtf1 \\u55357?abc}", "Incomplete UTF-16 surrogate [0xD83D]"},
      {"{\\rtf1 \\u55357?\\par}", "Incomplete UTF-16 surrogate [0xD83D]"},
      {"{\\rtf1 \\u55357?\\u55357?}", "Incomplete UTF-16 surrogate [0xD83D]"},
      {"{\\rtf1 \\u56832?}", "Incomplete UTF-16 surrogate [0xDE00]"},
      {"{\\rtf1 \\u55357?}", "Incomplete UTF-16 surrogate [0xD83D]"},
      {"{\\rtf1 \\u70000?}", "Invalid UTF-16 escape sequence [u70000]"},
      {"{\\rtf1 \\u-32769?}", "Invalid UTF-16 escape sequence [u-32769]"},
      {"{\\rtf1 \\u x}", "Invalid UTF-16 escape sequence [u]"},
      {"{\\rtf1 \\u99999999999?}", "Control word [u] parameter [99999999999] too large"},
      {"{\\rtf1 \\fi2147483648 x}", "Control word [fi] parameter [2147483648] too large"},
      {"{\\rtf1 \\fi-2147483649 x}", "Control word [fi] parameter [-2147483649] too large"},
      {"{\\rtf1 \\fi-x}", ": [digit] expected"},
      {"{\\rtf1 \\'4", ": [hex digit] expected"},
      {"{\\rtf1 \\'zz}", ": [hex digit] expected"},
      {"{\\rtf1 \\", ": [control word or symbol] expected"},
      {"{\\rtf1 \\\x01}", "Unexpected character [\x01]"},
      {"{\\rtf1 abc", "Unexpected end of file"},
      {"{\\rtf1 a{\\pict\\bin2147483647 xyz}}", "Unexpected end of file"},
      {"{\\rtf1 a}}", "Invalid group"},
      {"\\~", "Invalid group"},
      {"\\'41", "Invalid group"},
      {std::string(Rtf::Parser::kMaxGroupDepth + 1, '{'), "Could not push group: groups nest deeper than 4096 levels"},
  };
  for (const Case& c : cases) EXPECT_EQ(Failure(c.rtf), c.error) << c.rtf.substr(0, 40);
  EXPECT_EQ(GetErrorMessage(kErrorMessageCode),
            AnsiStr("Could not push group: groups nest deeper than 4096 levels (0x0000AD9C/44444)"));
}

TEST(Rtf, Limits) {
  const uint32_t depth = Rtf::Parser::kMaxGroupDepth;
  EXPECT_EQ(Text(std::string(depth, '{') + "deep" + std::string(depth, '}')), "deep");
  EXPECT_EQ(Text("{\\rtf1 \\fi-2147483648\\li2147483647 x}"), "x");
  // A parameter of any length is read once and rejected without allocating for it.
  EXPECT_EQ(Failure("{\\rtf1 \\bin" + std::string(1 << 20, '9') + " x}").substr(0, 25), "Control word [bin] parame");
  // Gathered escapes beyond one decoding step: UTF-8 characters cut at any point join up.
  std::string rtf = "{\\rtf1\\ansicpg65001 ", expected;
  for (int i = 0; i < 5001; ++i) rtf += "\\'e2\\'82\\'ac", expected += "\xE2\x82\xAC";
  EXPECT_EQ(Text(rtf + "}"), expected);
}

TEST(Rtf, UnknownSymbolAndWriters) {
  Rtf::Parser parser;
  Rtf::Symbol symbol;
  symbol.type = static_cast<Rtf::SymbolType>(9);
  EXPECT_FALSE(parser.ParseSymbol(symbol));
  EXPECT_EQ(parser.GetError(), AnsiStr("Unknown symbol [9]"));

  AnsiStrBuilder text;
  Rtf::Parser writer;
  writer.SetOutputBuffer(text, Rtf::kOutputText);
  EXPECT_TRUE(writer.EscapeUnicode("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"));
  EXPECT_TRUE(writer.WriteHtml("<html only>"));
  EXPECT_TRUE(writer.WriteText("|text"));
  writer.SetInput("", 0);
  EXPECT_TRUE(writer.Parse());
  EXPECT_EQ(AnsiStr(text.GetResult()), AnsiStr("&#x61;&#xE9;&#x20AC;&#x1F600;|text"));
}

class RtfFile : public FsTest {};

// The corpus: each document converts in both modes, its words come out in reading order, and
// nothing of its tables, pictures or ignorable destinations does.
TEST_F(RtfFile, CorpusDocuments) {
  struct Document {
    const char* name;
    std::vector<std::string> words;
  };
  const Document documents[] = {
      {"accent", {"le caf\xC3\xA9 o\xC3\xB9 on ne fume pas"}},
      {"bookmark", {"Bookmark_1", "click me"}},
      {"footnote",
       {"Mead's landmark study has been amply annotated.", "See Sahlins, Bateson, and Geertz", "It was",
        "Second World War", "As others have noted,", "A complete bibliography will be found",
        "this period was a turning point for Margaret Mead."}},
      {"formatting",
       {"This is a test of formatting.", "secret", "Small Caps", "bold", "italics", "bold and italics", "underlined",
        "strikeout", "superscript", "subscript"}},
      {"heading", {"Heading 1", "Heading 2", "Heading 3", "Paragraph"}},
      {"image", {}},
      {"link", {"pandoc"}},
      {"list_complex",
       {"One", "Two", "Three", "Four", "Five", "Six", "Seven", "Eight", "Nine", "Ten", "Eleven", "Twelve",
        "Out of list!", "Start with", "Seven Start", "Eight Continue"}},
      {"list_legacy", {"A", "Numbered", "List", "A", "Bulleted", "List"}},
      {"list_multiparagraph", {"First item, paragraph one.", "First item, paragraph two.", "Second item."}},
      {"list_simple", {"one", "two", "sub", "new list"}},
      {"table_error_codes",
       {"Code", "Error", "PandocFailOnWarningError", "PandocAppError", "PandocMacroLoop", "97",
        "PandocCouldNotFindDataFileError"}},
      {"table_nested",
       {"Level two before", "Deep A", "Deep B", "Deep C", "Deep D", "Level two after", "Outer after", "Outside table"}},
      {"table_nested_malformed_itap", {"Parent before", "Child at skipped level", "Parent after", "Outer cell"}},
      {"table_simple", {"A", "B", "C", "D", "E", "F", "G", "H"}},
      {"unicode", {"\xE2\x80\x9Chi\xE2\x80\x9D", "\xE2\x80\x98hi\xE2\x80\x99", "\xCE\xB1", "\xC3\xA4"}},
  };
  const char* never[] = {"Helvetica", "Courier",    "Times New Roman", "Calibri",
                         "Cambria",   "Symbol;",    "Normal",          "HYPERLINK",
                         "ffd8",      "ffe0",       "panose",          "Default Paragraph Font",
                         "FALLBACK",  "bookmark_1", "http:",           "\\",
                         "{",         "}"};
  for (const Document& d : documents) {
    const std::string in = kCorpus + d.name + ".rtf";
    ASSERT_TRUE(Rtf2Text(File(in.c_str()), File(P("out.txt")))) << d.name << ": " << GetLastErrorMessage().GetStr();
    ASSERT_TRUE(Rtf2Html(File(in.c_str()), File(P("out.html")))) << d.name << ": " << GetLastErrorMessage().GetStr();
    EXPECT_TRUE(ParseRtf(File(in.c_str()))) << d.name;
    const std::string text = Read("out.txt"), page = Read("out.html");
    ASSERT_EQ(text.compare(0, 3, kBom), 0) << d.name;
    const std::string body = Body(page);
    for (const std::string* out : {&text, &body}) {
      size_t at = 0;
      for (const std::string& word : d.words) {
        const size_t found = out->find(word, at);
        ASSERT_NE(found, std::string::npos) << d.name << ": '" << word << "' after offset " << at << " in\n" << *out;
        at = found + word.size();
      }
      for (const char* bad : never)
        EXPECT_EQ(out->find(bad), std::string::npos) << d.name << ": " << bad << " in\n" << *out;
    }
    // The file and the memory forms agree.
    std::ifstream source(in, std::ios::binary);
    EXPECT_EQ(kBom + Text(std::string(std::istreambuf_iterator<char>(source), std::istreambuf_iterator<char>())), text)
        << d.name;
  }
}

TEST_F(RtfFile, EmptyDocumentBothModes) {
  Write("empty.rtf", "");
  ASSERT_TRUE(Rtf2Text(File(P("empty.rtf")), File(P("empty.txt"))));
  ASSERT_TRUE(Rtf2Html(File(P("empty.rtf")), File(P("empty.html"))));
  EXPECT_EQ(Read("empty.txt"), kBom);
  EXPECT_EQ(Read("empty.html"), kHeader + kFooter);
  EXPECT_TRUE(ParseRtf(File(P("empty.rtf"))));
}

// A document larger than the output buffer: the file holds exactly what memory gets.
TEST_F(RtfFile, LargeDocument) {
  std::string rtf = "{\\rtf1\\ansi ";
  for (int i = 0; i < 40000; ++i) rtf += "line " + std::to_string(i) + " caf\\'e9 & <x>\\par\n";
  rtf += "}";
  Write("big.rtf", rtf);
  ASSERT_TRUE(Rtf2Text(File(P("big.rtf")), File(P("big.txt"))));
  ASSERT_TRUE(Rtf2Html(File(P("big.rtf")), File(P("big.html"))));
  EXPECT_EQ(Read("big.txt"), kBom + Text(rtf));
  EXPECT_EQ(Read("big.html"), Html(rtf));
  EXPECT_GT(Read("big.txt").size(), 3 * 65536u);
}

TEST_F(RtfFile, FileFailures) {
  Write("doc.rtf", "{\\rtf1 text}");
  ASSERT_EQ(::mkdir(P("dir").c_str(), 0700), 0);
  struct Case {
    File input, output;
    bool html;
    std::string error;
  };
  const Case cases[] = {
      {File(), File(P("out.txt")), false, "Invalid file"},
      {File(P("doc.rtf")), File(), false, "Invalid file"},
      {File(P("missing.rtf")), File(P("out.txt")), false,
       "Could not open input file [" + P("missing.rtf") + "]: " + GetErrorMessage(ENOENT).GetStr()},
      {File(P("dir")), File(P("out.txt")), false,
       "Could not read from file [" + P("dir") + "]: " + GetErrorMessage(EISDIR).GetStr()},
      {File(P("doc.rtf")), File(P("no/out.txt")), false,
       "Could not open output file [" + P("no/out.txt") + "]: " + GetErrorMessage(ENOENT).GetStr()},
      {File(P("doc.rtf")), File("/dev/full"), false,
       "Could not write byte order mark to file [/dev/full]: " + std::string(GetErrorMessage(ENOSPC).GetStr())},
      {File(P("doc.rtf")), File("/dev/full"), true,
       "Could not write to file [/dev/full]: " + std::string(GetErrorMessage(ENOSPC).GetStr())},
  };
  for (const Case& c : cases) {
    SetLastError(0);
    EXPECT_FALSE(c.html ? Rtf2Html(c.input, c.output) : Rtf2Text(c.input, c.output)) << c.error;
    EXPECT_EQ(GetLastError(), kErrorMessageCode);
    EXPECT_EQ(std::string(GetLastErrorMessage().GetStr()), c.error);
  }
  EXPECT_FALSE(std::filesystem::exists(P("out.txt")));  // a failed input creates no output
  // A document that fails keeps what was converted before the failure.
  Write("bad.rtf", "{\\rtf1 kept\\par \\u55357 x}");
  EXPECT_FALSE(Rtf2Text(File(P("bad.rtf")), File(P("bad.txt"))));
  EXPECT_EQ(Read("bad.txt"), kBom + "kept\n");
  EXPECT_FALSE(ParseRtf(File(P("bad.rtf"))));
  EXPECT_EQ(std::string(GetLastErrorMessage().GetStr()), "Incomplete UTF-16 surrogate [0xD83D]");
}

}  // namespace
}  // namespace OrvGuiBase
