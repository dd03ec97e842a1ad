// Tests of characters, case mapping, the case-insensitive searches and the hooks.
#include "base/text/AnsiChar.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <clocale>
#include <cstring>
#include <string>

#include "base/text/CaseSearch.h"
#include "base/text/CharHooks.h"
#include "base/text/WideStr.h"

namespace OrvGuiBase {
namespace {

// The tests run in a UTF-8 locale, as the programs that load the library do.
class CharacterTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(setlocale(LC_ALL, "C.UTF-8"), nullptr); }
  void TearDown() override { setlocale(LC_ALL, "C"); }
};

std::string Hex(const char* s) {
  std::string out;
  for (; *s != 0; ++s) {
    char byte[4];
    snprintf(byte, sizeof byte, "%02X ", static_cast<unsigned char>(*s));
    out += byte;
  }
  return out;
}

TEST_F(CharacterTest, ConstructionFromEverySource) {
  EXPECT_STREQ(AnsiChar('a').GetStr(), "a");
  EXPECT_TRUE(AnsiChar('\xC3').IsEmpty()) << "a lone lead byte is not a complete character";
  EXPECT_TRUE(AnsiChar('\0').IsEmpty());
  EXPECT_EQ(Hex(AnsiChar(L'\u20AC').GetStr()), "E2 82 AC ");
  EXPECT_EQ(Hex(AnsiChar(L"\U0001F600x").GetStr()), "F0 9F 98 80 ") << "the first character of a wide text";
  errno = 5;
  EXPECT_STREQ(AnsiChar(L'z').GetStr(), "z");
  EXPECT_EQ(errno, 0) << "success clears the last error";
  errno = 5;
  EXPECT_STREQ(AnsiChar(true, 65001, L'z').GetStr(), "z");
  EXPECT_EQ(errno, 5) << "unless asked to keep it";
  EXPECT_TRUE(AnsiChar(false, 1252, L'z').IsEmpty());
  EXPECT_EQ(errno, ENOSYS);
  EXPECT_TRUE(AnsiChar(static_cast<wchar_t>(0x110000)).IsEmpty()) << "not a Unicode value";
  EXPECT_EQ(Hex(AnsiChar("\xC3\xA9t\xC3\xA9").GetStr()), "C3 A9 ");
  EXPECT_EQ(AnsiChar("\xE2\x82\xAC").GetLength(), 3u);
  EXPECT_EQ(WideChar("\xC3\xA9t").Get(), L'\u00E9');
  EXPECT_EQ(WideChar('A').Get(), L'A');
  EXPECT_EQ(WideChar('\xE9').Get(), 0) << "a byte that is no UTF-8 character";
  EXPECT_EQ(WideChar(AnsiChar(L'\u0416')).Get(), L'\u0416');
  EXPECT_EQ(AnsiChar::GetMaxLen(), 6u);
  EXPECT_TRUE(AnsiChar::IsValid("\xC3\xA9"));
  EXPECT_FALSE(AnsiChar::IsValid("\xC3\xA9", 1u));
}

TEST_F(CharacterTest, ClassesAndCase) {
  struct Row {
    const char* text;
    bool alpha, digit, space, upper, lower, punct;
  };
  const Row rows[] = {
      {"A", true, false, false, true, false, false},     {"z", true, false, false, false, true, false},
      {"7", false, true, false, false, false, false},    {" ", false, false, true, false, false, false},
      {"!", false, false, false, false, false, true},    {"\xC3\x89", true, false, false, true, false, false},
      {"\xD0\xB6", true, false, false, false, true, false},  // Cyrillic zhe
  };
  for (const Row& row : rows) {
    const AnsiChar c(row.text);
    EXPECT_EQ(c.IsAlpha(), row.alpha) << row.text;
    EXPECT_EQ(c.IsNumeric(), row.digit) << row.text;
    EXPECT_EQ(c.IsSpace(), row.space) << row.text;
    EXPECT_EQ(c.IsUpper(), row.upper) << row.text;
    EXPECT_EQ(c.IsLower(), row.lower) << row.text;
    EXPECT_EQ(c.IsPunct(), row.punct) << row.text;
  }
  EXPECT_STREQ(AnsiChar("\xD0\xB6").ToUpper().GetStr(), "\xD0\x96");
  EXPECT_EQ(WideChar(L'\u00E9').ToUpper().Get(), L'\u00C9');
  EXPECT_TRUE(WideChar(L'F').IsHexNumeric());
}

TEST_F(CharacterTest, StringCaseKeepsEveryCharactersLength) {
  char text[] = "stra\xC3\x9F" "e \xC4\xB1 \xC3\xA9t\xC3\xA9";  // sharp s, dotless i, e-acute
  UTF8CharUpperA(text);
  // Sharp s has no one-character upper case of its own length; dotless i upper-cases to a
  // one-byte I: both stay as they were. The e-acutes become E-acutes.
  EXPECT_STREQ(text, "STRA\xC3\x9F" "E \xC4\xB1 \xC3\x89T\xC3\x89");
  UTF8CharLowerA(text);
  EXPECT_STREQ(text, "stra\xC3\x9F" "e \xC4\xB1 \xC3\xA9t\xC3\xA9");
  EXPECT_STREQ(UTF8CharNextA("\xE2\x82\xAC" "a"), "a");
  EXPECT_STREQ(UTF8CharNextA(""), "");
  EXPECT_EQ(UTF8CharUpperA('q'), 'Q');
  EXPECT_TRUE(UTF8IsCharUpperA('Q'));
  EXPECT_FALSE(UTF8IsCharLowerA('Q'));
}

TEST_F(CharacterTest, CaseInsensitiveSearchesPointIntoTheOriginal) {
  const char* subject = "Gr\xC3\xBC\xC3\x9F Gott, \xC3\x89t\xC3\xA9!";
  EXPECT_EQ(StrStrIA(subject, "gott"), subject + 7);
  EXPECT_EQ(StrStrIA(subject, "\xC3\xA9T\xC3\x89"), subject + 13);
  EXPECT_EQ(StrStrIA(subject, "nope"), nullptr);
  EXPECT_EQ(StrChrIA(subject, 'G'), subject);
  EXPECT_EQ(StrChrIA(subject, 'o'), subject + 8);
  EXPECT_EQ(StrRChrA(subject, nullptr, 't'), subject + 15);
  EXPECT_EQ(StrRChrA(subject, subject + 11, 't'), subject + 10);
  EXPECT_EQ(StrRChrIA(subject, nullptr, 'T'), subject + 15);
  EXPECT_EQ(StrRChrA(subject + 5, subject + 5, 'G'), nullptr) << "an empty range";
  std::string longText(1000, 'x');  // past the 256-byte local area
  longText += "NeedLe";
  EXPECT_EQ(StrStrIA(longText.c_str(), "needle"), longText.c_str() + 1000);
  const wchar_t* wide = L"Stra\u00DFe \u00C9t\u00E9";
  EXPECT_EQ(StrStrIW(wide, L"\u00E9T\u00C9"), wide + 7);
  EXPECT_EQ(StrChrIW(wide, L's'), wide);
  EXPECT_EQ(StrRChrW(wide, nullptr, L'\u00E9'), wide + 9);
  EXPECT_EQ(StrRChrIW(wide, nullptr, L'\u00C9'), wide + 9);
  EXPECT_EQ(wcsicoll(L"abc", L"ABC"), 0);
  EXPECT_LT(wcsicoll(L"abc", L"ABD"), 0);
}

TEST_F(CharacterTest, StringsSearchAndCompareWithTheCaseMapping) {
  const AnsiStr s("\xC3\xA9t\xC3\xA9 \xC3\x89T\xC3\x89");
  EXPECT_EQ(s.Find("\xC3\x89T", 0, true), 0);
  EXPECT_EQ(s.Count("\xC3\xA9t\xC3\xA9", 0, true), 2u);
  EXPECT_EQ(s.FindLast('t', 0, true), 8);
  EXPECT_EQ(AnsiStr::Compare("\xC3\xA9t\xC3\xA9", "\xC3\x89T\xC3\x89", true), 0);
  AnsiStr replaced("a\xE2\x82\xAC" "b\xE2\x82\xAC");
  replaced.Replace(AnsiChar(L'\u20AC'), AnsiChar('$'));
  EXPECT_STREQ(replaced.GetStr(), "a$b$");
  EXPECT_EQ(AnsiChar::Compare(AnsiChar('a'), AnsiChar('B'), true), -1);
  EXPECT_EQ(AnsiChar::Compare("abc", "ABC", true), 0);
  EXPECT_NE(AnsiChar::Compare("abc", "ABC", false), 0);
  EXPECT_TRUE(WideChar(L'x').IsEqual(L'X', true));
  EXPECT_TRUE(WideChar(L'x').IsDifferent(L'X'));
}

TEST_F(CharacterTest, NarrowAndWideStringsConvert) {
  const WideStr wide("gr\xC3\xBC\xC3\x9F \xF0\x9F\x98\x80");
  EXPECT_EQ(wide.GetLen(), 6u);
  EXPECT_TRUE(wide == L"gr\u00FC\u00DF \U0001F600");
  const AnsiStr back(wide);
  EXPECT_STREQ(back.GetStr(), "gr\xC3\xBC\xC3\x9F \xF0\x9F\x98\x80");
  AnsiStr assigned;
  assigned = L"\u20AC";
  EXPECT_STREQ(assigned.GetStr(), "\xE2\x82\xAC");
  errno = 0;
  EXPECT_TRUE(WideStr("bad \xFF byte").IsEmpty());
  EXPECT_EQ(errno, EILSEQ);
  const wchar_t notACharacter[] = {L'a', static_cast<wchar_t>(0x110000), 0};
  EXPECT_TRUE(AnsiStr(notACharacter).IsEmpty());
  EXPECT_EQ(errno, EILSEQ);
}

// A folding hook that swaps only 'a' and 'b' cases, to see the hooks decide.
char SwapFold(char c, bool toUpper) { return toUpper ? (c == 'a' ? 'B' : c) : (c == 'B' ? 'a' : c); }
wchar_t WideFold(wchar_t c, bool toUpper) { return toUpper ? (c == L'q' ? L'Z' : c) : (c == L'Z' ? L'q' : c); }
int ReverseCollation(const char* a, const char* b, unsigned int, bool, bool) { return -strcmp(a, b); }
int CharCollation(char a, char b, bool) { return a == b ? 0 : 7; }

TEST_F(CharacterTest, HooksReplaceTheBuiltInBehaviour) {
  SetAnsiCharCaseFoldingHandler(&SwapFold);
  EXPECT_EQ(GetAnsiCharCaseFoldingHandler(), &SwapFold);
  EXPECT_EQ(UTF8CharUpperA('a'), 'B');
  EXPECT_EQ(UTF8CharUpperA('c'), 'c');
  EXPECT_TRUE(AnsiChar('B').IsUpper());
  SetAnsiCharCaseFoldingHandler(nullptr);
  EXPECT_EQ(UTF8CharUpperA('a'), 'A');

  SetWideCharCaseFoldingHandler(&WideFold);
  EXPECT_EQ(WideChar(L'q').ToUpper().Get(), L'Z');
  EXPECT_EQ(WideStr(L"aqa").Find(L"Z", 0, true), 1);
  SetWideCharCaseFoldingHandler(nullptr);

  SetAnsiStrCollationHandler(&ReverseCollation);
  EXPECT_EQ(AnsiChar::Compare(AnsiChar('a'), AnsiChar('b')), 1) << "the string hook compares characters too";
  SetAnsiCharCollationHandler(&CharCollation);
  EXPECT_EQ(AnsiChar::Compare(AnsiChar('a'), AnsiChar('b')), 7) << "the character hook decides alone";
  SetAnsiCharCollationHandler(nullptr);
  SetAnsiStrCollationHandler(nullptr);
  EXPECT_EQ(AnsiChar::Compare(AnsiChar('a'), AnsiChar('b')), -1);
}

}  // namespace
}  // namespace OrvGuiBase
