// Tests of quoting and unquoting: the rules, their deliberate asymmetries, and round trips over
// random texts with multi-byte characters.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "base/text/Quoting.h"

namespace OrvGuiBase {
namespace {

std::string S(const AnsiStr& s) { return std::string(s.GetStr(), s.GetLength()); }
AnsiStr A(const std::string& s) { return AnsiStr(s.data(), static_cast<uint32_t>(s.size())); }

TEST(Quoting, ComplementBracketsDerivesOnlyAMissingClose) {
  struct Row {
    char open, close, expected;
    const char* why;
  };
  const Row rows[] = {
      {'(', 0, ')', "round"},
      {'<', 0, '>', "angle"},
      {'[', 0, ']', "square"},
      {'{', 0, '}', "curly"},
      {'"', 0, '"', "other: itself"},
      {0, 0, 0, "none stays none"},
      {')', 0, ')', "a closing bracket is not reversed"},
      {'[', '|', '|', "a given close is kept"},
      {'\xC3', 0, '\xC3', "a high byte is itself"},
  };
  for (const Row& row : rows) {
    char close = row.close;
    ComplementBrackets(row.open, close);
    EXPECT_EQ(close, row.expected) << row.why;
  }
}

TEST(Quoting, SimpleQuoteAndUnQuote) {
  struct Row {
    std::string text;
    char open, close;
    std::string quoted;
    const char* why;
  };
  const Row rows[] = {
      {"abc", '"', '"', "\"abc\"", "plain"},
      {"a\"b\\", '"', '"', "\"a\"b\\\"", "nothing is escaped"},
      {"x", '[', 0, "[x]", "close derived"},
      {"x", '<', '|', "<x|", "close given"},
      {"", '\'', 0, "''", "empty"},
      {"x", 0, ')', "x)", "no opening character"},
      {"x", 0, 0, "x", "no quote characters"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(S(SimpleQuote(A(row.text), row.open, row.close)), row.quoted) << row.why;
    EXPECT_EQ(S(SimpleUnQuote(A(row.quoted), row.open, row.close)), row.text) << row.why;
  }
  EXPECT_EQ(S(SimpleQuote("a b")), "\"a b\"");
  EXPECT_EQ(S(SimpleUnQuote("\"a b\"")), "a b");

  // Texts that are not quoted come back as they are, as the same body.
  for (const char* text : {"\"abc", "abc\"", "\"", "", "abc"}) {
    const AnsiStr s(text);
    const AnsiStr r = SimpleUnQuote(s);
    EXPECT_EQ(S(r), text);
    EXPECT_EQ(r.GetStr(), s.GetStr()) << "shared: " << text;
  }
}

TEST(Quoting, ExtendedEscapeQuoteEscapesQuotesAndEscapeCharacters) {
  struct Row {
    std::string text;
    char open, close, escape;
    std::string quoted;
    const char* why;
  };
  const Row rows[] = {
      {"a\"b\\c", '"', '"', '\\', "\"a\\\"b\\\\c\"", "the nine-byte example"},
      {"", '"', '"', '\\', "\"\"", "empty gives two quotes"},
      {"a[b]c\\d'", '[', 0, '\\', "[a\\[b\\]c\\\\d']", "both brackets and the escape are escaped"},
      {"it's", '\'', '\'', '\'', "'it''s'", "escape equal to the quote doubles it"},
      {"50% ^ off", '(', 0, '^', "(50% ^^ off)", "another escape character"},
      {"a\\b\"", 0, 0, '\\', "a\\\\b\"", "no quotes: only the escape is escaped"},
      {"a\"b", '"', '"', 0, "\"a\"b\"", "no escape: nothing is escaped"},
      {"\xC3\xA9\"\xE2\x82\xAC", '"', '"', '\\', "\"\xC3\xA9\\\"\xE2\x82\xAC\"", "multi-byte characters pass"},
      {"\xC3\xA9"
       "a",
       '"', '"', '\xC3',
       "\"\xC3\xC3\xA9"
       "a\"",
       "a lead byte as escape escapes the character"},
      {"\xE2\x80\xA2", '"', '"', '\x80', "\"\xE2\x80\xA2\"", "continuation bytes are never compared"},
      {std::string("a\0b", 3), '"', '"', '\\', std::string("\"a\0b\"", 5), "a NUL byte is text"},
  };
  for (const Row& row : rows) {
    const AnsiStr input = A(row.text);
    EXPECT_EQ(S(ExtendedEscapeQuote(input, row.open, row.close, row.escape)), row.quoted) << row.why;
    EXPECT_EQ(S(input), row.text) << "input unchanged: " << row.why;
  }
  EXPECT_EQ(S(ExtendedQuote("a\"b")), "\"a\\\"b\"");
  EXPECT_EQ(S(ExtendedQuote("a{b}", '{', 0)), "{a\\{b\\}}");
}

TEST(Quoting, ExtendedEscapeUnQuoteRules) {
  struct Row {
    std::string text;
    char open, close, escape;
    std::string expected;
    bool shared;  // the input's own body comes back
    const char* why;
  };
  const Row rows[] = {
      {"\"\"", '"', '"', '\\', "", false, "two quotes give the empty string"},
      {"", '"', '"', '\\', "", false, "empty"},
      {"\"", '"', '"', '\\', "\"", true, "one byte is returned, even a quote"},
      {"\"a\\\"b\\\\c\"", '"', '"', '\\', "a\"b\\c", false, "the nine-byte example back"},
      {"\"ab\\\"", '"', '"', '\\', "ab\"", false, "an escape before the closing quote keeps the quote"},
      {"\"a\\b\"", '"', '"', '\\', "ab", false, "an escaped ordinary character"},
      {"\"ab\\\\\"", '"', '"', '\\', "ab\\", false, "an escaped escape is one escape"},
      {"\"ab\\\"c", '"', '"', '\\', "\"ab\\\"c", true, "no closing quote: untouched"},
      {"ab\\\"c\"", '"', '"', '\\', "ab\\\"c\"", true, "no opening quote: untouched"},
      {"a\\\\b\\\"", 0, 0, '\\', "a\\b\"", false, "no quotes and an escape: pure unescaping"},
      {"ab\\", 0, 0, '\\', "ab\\", false, "a lone escape at the end is kept"},
      {"a\\b", 0, 0, 0, "a\\b", true, "nothing to do"},
      {"\"a\\b\"", '"', '"', 0, "a\\b", false, "no escape: only the quotes go"},
      {"[a\\]b]", '[', 0, '\\', "a]b", false, "brackets, close derived"},
      {"'it''s'", '\'', '\'', '\'', "it's", false, "doubled quote"},
      {"a)", 0, ')', '\\', "a", false, "only a closing character"},
      {"\"\xC3\xA9\\\xE2\x82\xAC\"", '"', '"', '\\', "\xC3\xA9\xE2\x82\xAC", false, "escaped multi-byte character"},
      {"\"\xC3\xC3\xA9\"", '"', '"', '\xC3', "\xC3\xA9", false, "lead byte as escape"},
      {"\"a\\\xC3\xA9\\\"", '"', '"', '\\', "a\xC3\xA9\"", false, "multi-byte then escaped closing quote"},
  };
  for (const Row& row : rows) {
    const AnsiStr input = A(row.text);
    const AnsiStr r = ExtendedEscapeUnQuote(input, row.open, row.close, row.escape);
    EXPECT_EQ(S(r), row.expected) << row.why;
    EXPECT_EQ(S(input), row.text) << "input unchanged: " << row.why;
    if (row.shared) {
      EXPECT_EQ(r.GetStr(), input.GetStr()) << "shared body: " << row.why;
    }
  }
}

TEST(Quoting, ExtendedUnQuoteChoosesThePairFromTheText) {
  struct Row {
    const char* text;
    const char* expected;
    bool shared;
    const char* why;
  };
  const Row rows[] = {
      {"\"a\\\"b\"", "a\"b", false, "double quotes"},
      {"'a\\'b'", "a'b", false, "apostrophes"},
      {"'a\"b'", "a\"b", false, "a double quote inside apostrophes needs no escape"},
      {"\"a'", "\"a'", true, "mixed pair: untouched"},
      {"a\\\"b", "a\\\"b", true, "not quoted: untouched, escapes and all"},
      {"[a]", "[a]", true, "brackets are not chosen"},
      {"'", "'", true, "one apostrophe"},
      {"", "", false, "empty"},
      {"\"\"", "", false, "empty quoted"},
      {"\"ab\\\"", "ab\"", false, "escaped closing quote kept as text"},
  };
  for (const Row& row : rows) {
    const AnsiStr input(row.text);
    const AnsiStr r = ExtendedUnQuote(input);
    EXPECT_EQ(S(r), row.expected) << row.why;
    if (row.shared) {
      EXPECT_EQ(r.GetStr(), input.GetStr()) << "shared body: " << row.why;
    }
  }
}

// Random texts built from characters that matter to quoting (quotes, brackets, escapes) and
// from multi-byte characters of every length go through quote and unquote unchanged.
TEST(Quoting, RandomRoundTrips) {
  const std::vector<std::string> pieces = {"a",
                                           "Z",
                                           " ",
                                           "\"",
                                           "'",
                                           "\\",
                                           "[",
                                           "]",
                                           "(",
                                           ")",
                                           "{",
                                           "}",
                                           "^",
                                           "\xC3\xA9",
                                           "\xC3\x80",
                                           "\xE2\x82\xAC",
                                           "\xE2\x80\x9C",
                                           "\xF0\x9F\x98\x80",
                                           "\xF4\x8F\xBF\xBF",
                                           std::string(1, '\0')};
  struct Pair {
    char open, close, escape;
  };
  const Pair pairs[] = {{'"', '"', '\\'},   {'\'', '\'', '\\'}, {'[', 0, '\\'},     {'(', 0, '^'},
                        {'\'', '\'', '\''}, {0, 0, '\\'},       {'"', '"', '\xC3'}, {'{', 0, '}'}};
  std::mt19937 random(20240611);
  for (int round = 0; round < 3000; ++round) {
    std::string text;
    const int count = static_cast<int>(random() % 12);
    for (int i = 0; i < count; ++i) text += pieces[random() % pieces.size()];
    const AnsiStr input = A(text);
    for (const Pair& pair : pairs) {
      const AnsiStr quoted = ExtendedEscapeQuote(input, pair.open, pair.close, pair.escape);
      EXPECT_EQ(S(ExtendedEscapeUnQuote(quoted, pair.open, pair.close, pair.escape)), text)
          << "pair " << int(pair.open) << "/" << int(pair.close) << "/" << int(pair.escape);
    }
    EXPECT_EQ(S(ExtendedUnQuote(ExtendedQuote(input))), text);
    EXPECT_EQ(S(ExtendedUnQuote(ExtendedQuote(input, '\'', '\''))), text);
    EXPECT_EQ(S(SimpleUnQuote(SimpleQuote(input, '<', 0), '<', 0)), text);
    ASSERT_FALSE(HasFailure()) << "text of " << text.size() << " bytes";
  }
}

}  // namespace
}  // namespace OrvGuiBase
