// Tests of natural order comparison and Soundex codes.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "base/text/NaturalSort.h"

namespace OrvGuiBase {
namespace {

std::string S(const AnsiStr& s) { return std::string(s.GetStr(), s.GetLength()); }

TEST(NaturalSort, PairsCompareAsPeopleExpect) {
  struct Row {
    const char* a;
    const char* b;
    bool ignoreCase;
    int expected;
    const char* why;
  };
  const Row rows[] = {
      {"file2", "file10", false, -1, "digit runs by value"},
      {"file10", "file9", false, 1, "longer value is larger"},
      {"a01b", "a1c", false, -1, "equal values: the text after decides"},
      {"a7", "a07", false, -1, "tie: fewer leading zeros first"},
      {"x0", "x00", false, -1, "tie among zeros"},
      {"x007y2", "x7y02", false, 1, "the first leading-zero difference decides the tie"},
      {"v1.10", "v1.9", false, 1, "every run is a number"},
      {"99999999999999999999999", "100000000000000000000000", false, -1, "longer than 64 bits"},
      {"123456789012345678901234", "123456789012345678901235", false, -1, "same length, last digit"},
      {"abc", "abcd", false, -1, "prefix first"},
      {"", "a", false, -1, "empty first"},
      {"", "", false, 0, "both empty"},
      {nullptr, "", false, 0, "null reads as empty"},
      {"a1", "ab", false, -1, "a digit against a letter by character value"},
      {"B", "a", false, -1, "upper case first without ignoreCase"},
      {"B", "a", true, 1, "letters by letter with ignoreCase"},
      {"File", "file", true, -1, "equal without case: byte order breaks the tie"},
      {"file", "file", true, 0, "only identical texts are equal"},
      {"\xC3\xA9", "z", false, 1, "U+00E9 after z"},
      {"\xE2\x82\xAC", "\xF0\x9F\x98\x80", false, -1, "by code point"},
      {"x\xC3\xA9"
       "2",
       "x\xC3\xA9"
       "10",
       false, -1, "numbers after multi-byte characters"},
      {"img 12.png", "img 2.png", false, 1, "numbers inside names"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(NaturalCompare(row.a, row.b, row.ignoreCase), row.expected) << row.why;
    EXPECT_EQ(NaturalCompare(row.b, row.a, row.ignoreCase), -row.expected) << "antisymmetric: " << row.why;
  }
}

TEST(NaturalSort, SortingIsTotalAndIndependentOfInputOrder) {
  const std::vector<std::string> expected = {"a",    "a1", "a01",  "a001",  "a2",    "a02b",   "a10", "a10b", "a011",
                                             "a100", "b",  "b1c1", "b1c01", "b01c1", "b01c01", "ba",  "z9",   "z10"};
  std::vector<std::string> names = expected;
  std::mt19937 random(5);
  for (int round = 0; round < 20; ++round) {
    std::shuffle(names.begin(), names.end(), random);
    std::sort(names.begin(), names.end(),
              [](const std::string& a, const std::string& b) { return NaturalCompare(a.c_str(), b.c_str()) < 0; });
    ASSERT_EQ(names, expected);
  }
  // Transitivity over all triples of a set mixing digits, zeros, case and letters.
  const char* const set[] = {"a", "A", "a0", "a00", "a1", "A1", "a01", "a1b", "a1B", "a10", "1", "01", "", "b"};
  for (bool ignoreCase : {false, true}) {
    for (const char* x : set)
      for (const char* y : set)
        for (const char* z : set)
          if (NaturalCompare(x, y, ignoreCase) < 0 && NaturalCompare(y, z, ignoreCase) < 0) {
            EXPECT_LT(NaturalCompare(x, z, ignoreCase), 0) << x << " " << y << " " << z;
          }
  }
  std::vector<AnsiStr> files = {"doc10", "Doc9", "doc1"};
  std::sort(files.begin(), files.end(), NaturalLess{true});
  EXPECT_EQ(S(files[0]), "doc1");
  EXPECT_EQ(S(files[1]), "Doc9");
  EXPECT_EQ(S(files[2]), "doc10");
}

TEST(NaturalSort, SoundexCodes) {
  struct Row {
    const char* name;
    const char* code;
    const char* why;
  };
  const Row rows[] = {
      {"Robert", "R163", "standard"},
      {"Rupert", "R163", "same sound"},
      {"Rubin", "R150", "padded"},
      {"Ashcraft", "A261", "h does not separate s and c"},
      {"Ashcroft", "A261", "h does not separate s and c"},
      {"Tymczak", "T522", "vowel separates the two 2s"},
      {"Pfister", "P236", "first letter's digit counts"},
      {"Honeyman", "H555", "vowels separate"},
      {"Lee", "L000", "all padding"},
      {"Gutierrez", "G362", "cut to four"},
      {"Jackson", "J250", "c k s together"},
      {"washington", "W252", "lower case"},
      {"O'Brien", "O165", "punctuation skipped"},
      {"  van Dyke", "V532", "leading blanks skipped"},
      {"Sch\xC3\xB6n", "S500", "multi-byte characters skipped"},
      {"", "", "empty"},
      {"1234 !", "", "no letters"},
      {"A", "A000", "one letter"},
  };
  for (const Row& row : rows) EXPECT_EQ(S(Soundex(row.name)), row.code) << row.name << ": " << row.why;
}

}  // namespace
}  // namespace OrvGuiBase
