// Tests of CleanStr, ClipStr and the HTML, XML, URL and label escapes.
#include <gtest/gtest.h>

#include <cerrno>
#include <random>
#include <string>

#include "base/core/LastError.h"
#include "base/text/Escapes.h"
#include "base/text/Utf.h"

namespace OrvGuiBase {
namespace {

std::string S(const AnsiStr& s) { return std::string(s.GetStr(), s.GetLength()); }
AnsiSubStr V(const std::string& s) { return AnsiSubStr(s.data(), static_cast<uint32_t>(s.size())); }

using Unescaper = bool (*)(AnsiSubStr, AnsiStr&);

// ExpectRejected: the decoder fails with EINVAL and leaves the caller's result as it was.
void ExpectRejected(Unescaper decode, const std::string& text, const char* why) {
  AnsiStr result("untouched");
  SetLastError(0);
  EXPECT_FALSE(decode(V(text), result)) << why << ": " << text;
  EXPECT_EQ(GetLastError(), EINVAL) << why;
  EXPECT_EQ(S(result), "untouched") << why;
}

std::string Decoded(Unescaper decode, const std::string& text) {
  AnsiStr result("untouched");
  SetLastError(0);
  EXPECT_TRUE(decode(V(text), result)) << text;
  EXPECT_EQ(GetLastError(), 0) << "success leaves the last error alone: " << text;
  return S(result);
}

TEST(Escapes, CleanStrRemovesControlsAndSurroundingBlanks) {
  struct Row {
    const char* text;
    const char* expected;
  };
  const Row rows[] = {{" No such file\n", "No such file"},
                      {"\ta\x01"
                       "b\x7F ",
                       "ab"},
                      {"   ", ""},
                      {"", ""},
                      {" a  b ", "a  b"},
                      {"\xC3\xA9t\xC3\xA9\r\n", "\xC3\xA9t\xC3\xA9"}};
  for (const Row& row : rows) EXPECT_EQ(S(CleanStr(row.text)), row.expected) << row.text;
  EXPECT_EQ(S(CleanStr(AnsiStr(" a\0b \x01", 6))), "ab") << "a NUL is a control character too";
}

TEST(Escapes, ClipStrCutsWholeCharacters) {
  struct Row {
    const char* text;
    uint32_t max;
    const char* ellipsis;  // null: the form without ellipsis
    const char* expected;
    const char* why;
  };
  const Row rows[] = {
      {"abcdef", 3, nullptr, "abc", "plain"},
      {"abc", 3, nullptr, "abc", "exactly fits"},
      {"abc", 0, nullptr, "", "zero"},
      {"", 5, nullptr, "", "empty"},
      {"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80x", 2, nullptr, "\xC3\xA9\xE2\x82\xAC", "characters, not bytes"},
      {"\xF0\x9F\x98\x80\xF0\x9F\x98\x80", 1, nullptr, "\xF0\x9F\x98\x80", "never inside a character"},
      {"abcdef", 5, "...", "ab...", "ellipsis counts"},
      {"abcde", 5, "...", "abcde", "fits: no ellipsis"},
      {"abcdef", 4, "\xE2\x80\xA6", "abc\xE2\x80\xA6", "one-character ellipsis"},
      {"abcdef", 2, "...", "..", "ellipsis longer than the room"},
      {"\xC3\xA9\xC3\xA9\xC3\xA9", 2, "~", "\xC3\xA9~", "multi-byte prefix"},
  };
  for (const Row& row : rows) {
    const AnsiStr text(row.text);
    const AnsiStr r = row.ellipsis == nullptr ? ClipStr(text, row.max) : ClipStr(text, row.max, row.ellipsis);
    EXPECT_EQ(S(r), row.expected) << row.why;
    EXPECT_LE(r.GetCharLen(), row.max) << row.why;
  }
  const AnsiStr fits("short");
  EXPECT_EQ(ClipStr(fits, 10).GetStr(), fits.GetStr()) << "a text that fits is the same body";
}

TEST(Escapes, HTMLEscapeAndUnescape) {
  struct Row {
    std::string text, escaped;
  };
  const Row rows[] = {
      {"a < b & c > d", "a &lt; b &amp; c &gt; d"},
      {"\"q\" 'a'", "&quot;q&quot; &#39;a&#39;"},
      {"", ""},
      {"\xC3\xA9&\xE2\x82\xAC", "\xC3\xA9&amp;\xE2\x82\xAC"},
      {"&amp;", "&amp;amp;"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(S(HTMLEscape(V(row.text))), row.escaped);
    EXPECT_EQ(Decoded(HTMLUnescape, row.escaped), row.text);
  }

  struct Ref {
    std::string text, expected;
    const char* why;
  };
  const Ref refs[] = {
      {"&#65;&#x42;&#X43;&#x00e9;", "ABC\xC3\xA9", "numeric, decimal and hexadecimal"},
      {"&#8364; &#x1F600;", "\xE2\x82\xAC \xF0\x9F\x98\x80", "beyond the first plane"},
      {"&apos;&quot;", "'\"", "named"},
      {"a & b", "a & b", "a bare ampersand stays"},
      {"&nbsp;&copy;", "&nbsp;&copy;", "unknown names stay"},
      {"&amp", "&amp", "a name without ';' stays"},
      {"&AMP;", "&AMP;", "names are exact"},
      {"&#x10FFFF;", "\xF4\x8F\xBF\xBF", "the last character"},
      {"&#0000065;", "A", "leading zeros"},
  };
  for (const Ref& ref : refs) EXPECT_EQ(Decoded(HTMLUnescape, ref.text), ref.expected) << ref.why;

  for (const char* bad : {"&#;", "&#x;", "&#65", "&#0;", "&#xD800;", "&#x110000;", "&#99999999999;", "&#6a;", "x&#"})
    ExpectRejected(HTMLUnescape, bad, "malformed numeric reference");
}

TEST(Escapes, XMLEscapeAndUnescape) {
  EXPECT_EQ(S(XMLEscape("<a href=\"x\">it's & more</a>")),
            "&lt;a href=&quot;x&quot;&gt;it&apos;s &amp; more&lt;/a&gt;");
  EXPECT_EQ(S(XMLEscape("tab\tlf\ncr\r\x7F\xE2\x82\xAC")), "tab\tlf\ncr\r\x7F\xE2\x82\xAC");
  for (const std::string& bad : {std::string("a\x01"), std::string("\x1F"), std::string("a\0b", 3), std::string("\xC3"),
                                 std::string("\xED\xA0\x80")}) {
    SetLastError(0);
    EXPECT_TRUE(XMLEscape(V(bad)).IsEmpty()) << "XML cannot carry it";
    EXPECT_EQ(GetLastError(), EILSEQ);
  }

  EXPECT_EQ(Decoded(XMLUnescape, "&lt;&gt;&amp;&quot;&apos;&#x41;&#66;&#9;"), "<>&\"'AB\t");
  EXPECT_EQ(Decoded(XMLUnescape, "plain \xC3\xA9"), "plain \xC3\xA9");
  for (const char* bad :
       {"a & b", "&nbsp;", "&amp", "&#X41;", "&#1;", "&#xFFFE;", "&#xD800;", "&#x110000;", "&#0;", "&"})
    ExpectRejected(XMLUnescape, bad, "XML is strict");

  std::mt19937 random(7);
  const std::string pieces[] = {"<", ">", "&", "\"", "'", "a", " ", "\n", "\xC3\xA9", "\xF0\x9F\x98\x80", "&amp;", "#"};
  for (int round = 0; round < 500; ++round) {
    std::string text;
    for (int i = static_cast<int>(random() % 10); i > 0; --i) text += pieces[random() % 12];
    EXPECT_EQ(Decoded(XMLUnescape, S(XMLEscape(V(text)))), text);
    EXPECT_EQ(Decoded(HTMLUnescape, S(HTMLEscape(V(text)))), text);
  }
}

TEST(Escapes, URLEscapeFollowsRFC3986) {
  struct Row {
    std::string text;
    const char* keep;
    std::string escaped;
    const char* why;
  };
  const Row rows[] = {
      {"AZaz09-._~", "", "AZaz09-._~", "the unreserved set stays"},
      {"a b+c/d?e=f&g#h", "", "a%20b%2Bc%2Fd%3Fe%3Df%26g%23h", "reserved and blank are encoded"},
      {"K\xC3\xB6ln", "", "K%C3%B6ln", "UTF-8 bytes"},
      {"\xE2\x82\xAC", "", "%E2%82%AC", "three bytes"},
      {std::string("\0\x7F\xFF", 3), "", "%00%7F%FF", "every byte"},
      {"/a b/c", "/", "/a%20b/c", "a kept delimiter"},
      {"100%", "%", "100%25", "'%' cannot be kept"},
      {"", "", "", "empty"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(S(URLEscape(V(row.text), row.keep)), row.escaped) << row.why;
    EXPECT_EQ(Decoded(URLUnescape, row.escaped), row.text) << row.why;
  }
  // RFC 3986 section 2.1: "%2f" and "%2F" are the same; '+' is not a blank.
  EXPECT_EQ(Decoded(URLUnescape, "a%2fb%2Fc+d"), "a/b/c+d");
  EXPECT_EQ(Decoded(URLUnescape, "%7Euser"), "~user");
  for (const char* bad : {"%", "%4", "a%4", "%G1", "%1G", "%%", "ok%2"})
    ExpectRejected(URLUnescape, bad, "malformed %");

  std::mt19937 random(11);
  for (int round = 0; round < 500; ++round) {
    std::string bytes(random() % 16, '\0');
    for (char& c : bytes) c = static_cast<char>(random());
    EXPECT_EQ(Decoded(URLUnescape, S(URLEscape(V(bytes)))), bytes);
  }
}

TEST(Escapes, LabelEscapeMakesOneSafeLabel) {
  struct Row {
    std::string text, escaped;
    const char* why;
  };
  const Row rows[] = {
      {"Trace_Ctx-1.v2", "Trace_Ctx-1.v2", "kept as it is"},
      {"a/b\\c", "a%2Fb%5Cc", "separators"},
      {"two words", "two%20words", "blank"},
      {"50%", "50%25", "the escape itself"},
      {".", "%2E", "never a dot name"},
      {"..", "%2E.", "never the parent"},
      {".hidden", "%2Ehidden", "never hidden"},
      {"Gr\xC3\xBC\xC3\x9F"
       "e \xE2\x82\xAC",
       "Gr\xC3\xBC\xC3\x9F"
       "e%20\xE2\x82\xAC",
       "readable UTF-8 stays"},
      {"\xC3(\xFF", "%C3%28%FF", "ill-formed UTF-8 is encoded"},
      {"\xED\xA0\x80", "%ED%A0%80", "an encoded surrogate is ill-formed"},
      {std::string("a\0b\n:*\"", 7), "a%00b%0A%3A%2A%22", "controls and punctuation"},
      {"", "", "empty"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(S(LabelEscape(V(row.text))), row.escaped) << row.why;
    EXPECT_EQ(Decoded(LabelUnescape, row.escaped), row.text) << row.why;
  }
  for (const char* bad : {"a b", "a/b", ".x", "%2", "%zz", "a\tb", "\xC3", "\xC3\xA9\x80", "x:y"})
    ExpectRejected(LabelUnescape, bad, "not a label");

  // Any bytes at all come back, and the label never holds a separator, blank or control.
  std::mt19937 random(13);
  for (int round = 0; round < 1000; ++round) {
    std::string bytes(random() % 12, '\0');
    for (char& c : bytes) c = static_cast<char>(random() % 3 == 0 ? random() : "a.%/ \xC3\xA9"[random() % 7]);
    const std::string label = S(LabelEscape(V(bytes)));
    EXPECT_EQ(label.find_first_of(std::string("/\\ \t\n\0", 6)), std::string::npos) << label;
    EXPECT_TRUE(label.empty() || label[0] != '.');
    EXPECT_TRUE(IsValidUTF8(label.c_str(), label.size()));
    EXPECT_EQ(Decoded(LabelUnescape, label), bytes);
  }
}

}  // namespace
}  // namespace OrvGuiBase
