// Tests of the wide string: size and growth rules, every operation family, copy-on-write, the
// unknown length after Alloc, and the failure paths with their events.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "base/core/LastError.h"
#include "base/core/ParticleAllocator.h"
#include "base/core/ParticleSettings.h"
#include "base/text/WideStr.h"
#include "helpers/EventLog.h"
#include "helpers/ProcessLimits.h"

namespace OrvGuiBase {
namespace {

// ---- Sizes ----------------------------------------------------------------------------------

TEST(WideStr, BodySizeRuleGivesExactCapacities) {
  struct Row {
    uint64_t request, capacity;
    const char* reason;
  };
  const Row rows[] = {
      {0, 0, "block 16: no room beyond the terminator"},
      {1, 2, "block 24"},
      {2, 2, "block 24 still"},
      {3, 4, "block 32"},
      {252, 252, "block 1024 exactly, the largest particle"},
      {253, 256, "block 1032 goes on to 1040, a multiple of 16 above"},
      {256, 260, "block 1040 goes on to 1056"},
      {1000, 1004, "block 4016 goes on to 4032"},
      {0xFFFFFFF8u, 0xFFFFFFFCu, "block 0x400000000, within the limit"},
      {0xFFFFFFFAu, 0xFFFFFFFCu, "still within the limit"},
      {0xFFFFFFFBu, 0xFFFFFFFBu, "past 0x40000000F the capacity is the request"},
      {0xFFFFFFFFu, 0xFFFFFFFFu, "the largest length"},
  };
  for (const Row& row : rows) EXPECT_EQ(WideStr::Imp::GetAllocSize(row.request), row.capacity) << row.reason;

  // Made strings have exactly the capacity of their length.
  EXPECT_EQ(WideStr(L"a").GetCapacity(), 2u);
  EXPECT_EQ(WideStr(L"abc").GetCapacity(), 4u);
  EXPECT_EQ(WideStr(L'x', 253).GetCapacity(), 256u);
  EXPECT_EQ((WideStr(L"ab") + L"cd").GetCapacity(), 4u) << "a join is made at its exact length";
}

TEST(WideStr, GrowthStepsInCharacters) {
  struct Row {
    uint64_t length, capacity;
    const char* reason;
  };
  const Row steps[] = {
      {0, 32, "short: 32 more"},
      {511, 543, "short: 32 more"},
      {512, 544, "medium: a sixteenth more"},
      {8191, 8702, "medium: a sixteenth more"},
      {8192, 8704, "long: 512 more"},
      {0xFFFFFDFEu, 0xFFFFFFFEu, "long: 512 more"},
      {0xFFFFFDFFu, 0xFFFFFFFFu, "reaches the limit exactly"},
      {0xFFFFFE00u, 0xFFFFFFFFu, "capped at the limit"},
  };
  for (const Row& row : steps) EXPECT_EQ(WideStr::Imp::GetExtendSize(row.length), row.capacity) << row.reason;

  // Appending one character at a time: the capacity after each step, and the length at which
  // it was reached.
  const std::vector<std::pair<uint32_t, uint32_t>> expected = {
      {1, 34},    {35, 68},   {69, 102},  {103, 136}, {137, 170}, {171, 204}, {205, 238},
      {239, 276}, {277, 312}, {313, 348}, {349, 384}, {385, 420}, {421, 456}, {457, 492},
      {493, 528}, {529, 564}, {565, 604}, {605, 644}, {645, 688}, {689, 736},
  };
  std::vector<std::pair<uint32_t, uint32_t>> seen;
  WideStr text;
  for (uint32_t length = 1; length <= 700; ++length) {
    const uint32_t before = text.GetCapacity();
    text.Append(L'x');
    if (text.GetCapacity() != before) seen.emplace_back(length, text.GetCapacity());
  }
  EXPECT_EQ(seen, expected);
  EXPECT_EQ(text.GetLen(), 700u);
}

TEST(WideStr, EmptyStringsShareOneBodyThatIsNeverReleased) {
  const WideStr& empty = WideStr::GetEmpty();
  EXPECT_STREQ(empty.GetStr(), L"");
  EXPECT_EQ(empty.GetCapacity(), 0u);
  EXPECT_TRUE(empty.IsShared()) << "the shared body never reads as owned, so it is never written";
  for (int i = 0; i < 1000; ++i) {  // many owners come and go; the body stays
    WideStr a, b = a, c(std::move(b));
    EXPECT_EQ(a.GetStr(), empty.GetStr());
    EXPECT_EQ(b.GetStr(), empty.GetStr()) << "a moved-from string is empty, never null";
    EXPECT_EQ(c.GetStr(), empty.GetStr());
  }
  WideStr text(L"abc");
  text.Clear();
  EXPECT_EQ(text.GetStr(), empty.GetStr());
  EXPECT_EQ(WideStr(L"").GetStr(), empty.GetStr());
  EXPECT_EQ(WideStr(static_cast<const wchar_t*>(nullptr)).GetStr(), empty.GetStr());
  EXPECT_EQ(WideStr(L"abc", 0).GetStr(), empty.GetStr()) << "zero copies make nothing";
  text.Append(L"");  // an empty change of the shared body writes nothing
  EXPECT_EQ(text.GetStr(), empty.GetStr());
}

// ---- Changes --------------------------------------------------------------------------------

struct Change {
  const wchar_t* start;
  std::function<void(WideStr&)> change;
  const wchar_t* expected;
  const char* reason;
};

wchar_t Rot1(wchar_t c) { return c >= L'a' && c <= L'y' ? c + 1 : c; }

const std::vector<Change>& Changes() {
  static const std::vector<Change> changes = {
      // Set
      {L"abc", [](WideStr& s) { s.Set(L"xy"); }, L"xy", "Set replaces"},
      {L"abc", [](WideStr& s) { s.Set(L"xy", 3); }, L"xyxyxy", "Set repeats"},
      {L"abc", [](WideStr& s) { s.Set(L"xy", 0); }, L"abc", "a count of 0 does nothing"},
      {L"abc", [](WideStr& s) { s.Set(L'q', 2); }, L"qq", "Set with a character"},
      {L"abc", [](WideStr& s) { s.Set(L'\0'); }, L"", "a NUL character is an empty text"},
      {L"abc", [](WideStr& s) { s.Set(WideSubStr(L"hello", 2)); }, L"he", "a view sets its length only"},
      {L"abc", [](WideStr& s) { s.Set(WideStr(L"zy"), 2); }, L"zyzy", "Set with a string"},
      {L"abc", [](WideStr& s) { s = L"new"; }, L"new", "assignment of a text"},
      // Append
      {L"", [](WideStr& s) { s.Append(L"ab", 3); }, L"ababab", "two characters three times"},
      {L"x", [](WideStr& s) { s.Append(L"ab", 0); }, L"x", "count 0 leaves the string unchanged"},
      {L"x", [](WideStr& s) { s.Append(L'y', 4); }, L"xyyyy", "one character repeated"},
      {L"x", [](WideStr& s) { s.Append(L'\0', 3); }, L"x", "a NUL character appends nothing"},
      {L"x", [](WideStr& s) { s.Append(WideSubStr(L"abc", 2)); }, L"xab", "a view appends its length"},
      {L"x", [](WideStr& s) { s.Append(WideStr(L"yz"), 2); }, L"xyzyz", "a string repeated"},
      {L"x",
       [](WideStr& s) {
         s += L"y";
         s += L'z';
         s += WideStr(L"!");
       },
       L"xyz!", "operator+="},
      {L"ab", [](WideStr& s) { s.Append(L"0123456789", 7); },
       L"ab0123456789012345678901234567890123456789"
       L"012345678901234567890123456789",
       "repeats copied by doubling"},
      // Insert
      {L"hello", [](WideStr& s) { s.Insert(0, L">"); }, L">hello", "at the start"},
      {L"hello", [](WideStr& s) { s.Insert(2, L"--", 2); }, L"he----llo", "in the middle, repeated"},
      {L"hello", [](WideStr& s) { s.Insert(5, L'!'); }, L"hello!", "at the end"},
      {L"hello", [](WideStr& s) { s.Insert(99, WideStr(L"?")); }, L"hello?", "past the end: at the end"},
      {L"hello", [](WideStr& s) { s.Insert(1, L"x", 0); }, L"hello", "count 0"},
      {L"", [](WideStr& s) { s.Insert(0, L"a"); }, L"a", "into the empty string"},
      // Overwrite
      {L"hello", [](WideStr& s) { s.Overwrite(1, L"EL"); }, L"hELlo", "inside"},
      {L"hello", [](WideStr& s) { s.Overwrite(3, L"pful"); }, L"helpful", "reaching past the end grows"},
      {L"abc", [](WideStr& s) { s.Overwrite(9, L"de"); }, L"abcde", "past the end: at the end"},
      {L"abcdef", [](WideStr& s) { s.Overwrite(0, L"xy", 2); }, L"xyxyef", "repeated"},
      {L"abc", [](WideStr& s) { s.Overwrite(1, L'Z', 5); }, L"aZZZZZ", "a character repeated past the end"},
      {L"abc", [](WideStr& s) { s.Overwrite(1, L""); }, L"abc", "an empty text"},
      // Delete and Trunc
      {L"hello", [](WideStr& s) { s.Delete(2); }, L"llo", "one argument is a count from the start"},
      {L"hello", [](WideStr& s) { s.Delete(1, 3); }, L"ho", "a count from a position"},
      {L"hello", [](WideStr& s) { s.Delete(3, 99); }, L"hel", "a count past the end"},
      {L"hello", [](WideStr& s) { s.Delete(5, 1); }, L"hello", "a position at the end"},
      {L"hello", [](WideStr& s) { s.Delete(99); }, L"", "everything"},
      {L"hello", [](WideStr& s) { s.Delete(0, 0); }, L"hello", "nothing"},
      {L"hello", [](WideStr& s) { s.Trunc(2); }, L"he", "Trunc cuts"},
      {L"hello", [](WideStr& s) { s.Trunc(9); }, L"hello", "Trunc past the end"},
      {L"hello", [](WideStr& s) { s.Trunc(0); }, L"", "Trunc to nothing"},
      {L"abc", [](WideStr& s) { s.Clear(); }, L"", "Clear"},
      // Shifts in place
      {L"hello", [](WideStr& s) { s <<= 2; }, L"llo", "drop two in front"},
      {L"hi", [](WideStr& s) { s <<= 5; }, L"", "drop more than there is"},
      {L"hello", [](WideStr& s) { s >>= 2; }, L"  hello", "two spaces in front"},
      {L"hi", [](WideStr& s) { s >>= 0; }, L"hi", "no spaces"},
      // Replace
      {L"banana", [](WideStr& s) { s.Replace(L'a', L'o'); }, L"bonono", "every character"},
      {L"banana", [](WideStr& s) { s.Replace(L'z', L'o'); }, L"banana", "no occurrence"},
      {L"banana", [](WideStr& s) { s.Replace(L"an", L"AN"); }, L"bANANa", "every text"},
      {L"aaaa", [](WideStr& s) { s.Replace(L"aa", L"b"); }, L"bb", "left to right, not overlapping"},
      {L"abab", [](WideStr& s) { s.Replace(L"ab", L"abab"); }, L"abababab", "the replacement is not rescanned"},
      {L"abc", [](WideStr& s) { s.Replace(L"b", L""); }, L"ac", "replaced by nothing"},
      {L"abc", [](WideStr& s) { s.Replace(WideStr(L"abc"), WideStr()); }, L"", "the whole text"},
      {L"abc", [](WideStr& s) { s.Replace(L"", L"x"); }, L"abc", "an empty text changes nothing"},
      // Case and mapping
      {L"MiXeD 1", [](WideStr& s) { s.ToLower(); }, L"mixed 1", "ToLower"},
      {L"MiXeD 1", [](WideStr& s) { s.ToUpper(); }, L"MIXED 1", "ToUpper"},
      {L"lower", [](WideStr& s) { s.ToLower(); }, L"lower", "nothing to map"},
      {L"hal", [](WideStr& s) { s.Modify(&Rot1); }, L"ibm", "the caller's mapping"},
  };
  return changes;
}

TEST(WideStr, ChangesOfEveryFamilyOnOwnedAndSharedBodies) {
  for (const Change& c : Changes()) {
    // Owned: the body is changed in place when it is large enough.
    WideStr owned(c.start);
    c.change(owned);
    EXPECT_STREQ(owned.GetStr(), c.expected) << c.reason;
    EXPECT_EQ(owned.GetLen(), wcslen(c.expected)) << c.reason;

    // Shared: the change copies first; the other owner keeps the old text.
    WideStr shared(c.start);
    const WideStr copy = shared;
    const wchar_t* before = copy.GetStr();
    c.change(shared);
    EXPECT_STREQ(shared.GetStr(), c.expected) << c.reason << " (shared)";
    EXPECT_STREQ(copy.GetStr(), c.start) << c.reason << ": the copy must not change";
    EXPECT_EQ(copy.GetStr(), before) << c.reason;
    EXPECT_EQ(copy.GetLen(), wcslen(c.start)) << c.reason;
  }
}

TEST(WideStr, OwnedBodiesAreChangedInPlaceWhileTheyFit) {
  WideStr text(L"abcdef");
  const wchar_t* body = text.GetStr();
  text.Delete(1, 2).Insert(0, L"xy").Overwrite(3, L"Q").Trunc(4).ToUpper().Replace(L'X', L'x');
  EXPECT_STREQ(text.GetStr(), L"xYAQ");
  EXPECT_EQ(text.GetStr(), body) << "every step fitted the body of capacity " << text.GetCapacity();
  text.Append(L"toolong");
  EXPECT_NE(text.GetStr(), body) << "growing past the capacity moves to a new body";
  EXPECT_EQ(text.GetCapacity(), WideStr::Imp::GetAllocSize(11 + 32));
}

TEST(WideStr, TextFromTheStringItselfIsReadBeforeItIsOverwritten) {
  WideStr text(L"abc");
  text.Append(text);
  EXPECT_STREQ(text.GetStr(), L"abcabc");
  text.Insert(1, WideSubStr(text.GetStr() + 3, 3));
  EXPECT_STREQ(text.GetStr(), L"aabcbcabc");
  text.Overwrite(0, WideSubStr(text.GetStr() + 6, 3), 2);
  EXPECT_STREQ(text.GetStr(), L"abcabcabc");
  text.Set(WideSubStr(text.GetStr() + 1, 2), 3);
  EXPECT_STREQ(text.GetStr(), L"bcbcbc");
  text.Replace(WideSubStr(text.GetStr(), 2), WideSubStr(text.GetStr() + 1, 3));
  EXPECT_STREQ(text.GetStr(), L"cbccbccbc");
  text.Alloc(20, text.GetStr() + 6);
  EXPECT_STREQ(text.GetStr(), L"cbc");
}

// ---- Results that are new strings -----------------------------------------------------------

TEST(WideStr, ShiftsCopiesAndJoinsMakeNewStrings) {
  const WideStr hello(L"hello");
  struct Row {
    WideStr result;
    const wchar_t* expected;
    const char* reason;
  };
  const Row rows[] = {
      {hello << 2, L"llo", "without the first two"},
      {hello << 5, L"", "n reaches the length"},
      {hello << 99, L"", "n past the length"},
      {hello >> 2, L"  hello", "two spaces in front"},
      {hello >> 0, L"hello", "no spaces"},
      {hello.Copy(), L"hello", "the whole text"},
      {hello.Copy(2), L"llo", "the tail"},
      {hello.Copy(1, 3), L"ell", "a part"},
      {hello.Copy(3, 99), L"lo", "a part cut at the end"},
      {hello.Copy(9), L"", "a tail past the end"},
      {hello + WideStr(L"!"), L"hello!", "string + string"},
      {hello + L" you", L"hello you", "string + text"},
      {L">" + hello, L">hello", "text + string"},
      {hello + L'?', L"hello?", "string + character"},
      {L'<' + hello, L"<hello", "character + string"},
      {hello + L'\0', L"hello", "a NUL character adds nothing"},
      {WideStr(L"ab", 3), L"ababab", "made with a repeat count"},
      {WideStr(L'-', 4), L"----", "a character repeated"},
  };
  for (const Row& row : rows) {
    EXPECT_STREQ(row.result.GetStr(), row.expected) << row.reason;
    EXPECT_EQ(row.result.GetLen(), wcslen(row.expected)) << row.reason;
  }
  EXPECT_EQ((hello << 0).GetStr(), hello.GetStr()) << "a shift by 0 shares the body";
  const WideStr copy = hello.Copy();
  EXPECT_NE(copy.GetStr(), hello.GetStr()) << "Copy makes a body of its own";
  EXPECT_FALSE(copy.IsShared());
  EXPECT_STREQ(hello.GetStr(), L"hello");
}

TEST(WideStr, CopyToTerminatesTheCallersBuffer) {
  const WideStr text(L"hello");
  wchar_t buffer[8];
  struct Row {
    std::function<uint32_t()> copy;
    uint32_t count;
    const wchar_t* expected;
    const char* reason;
  };
  const Row rows[] = {
      {[&] { return text.CopyTo(buffer); }, 5, L"hello", "everything"},
      {[&] { return text.CopyTo(buffer, 8u); }, 5, L"hello", "a buffer larger than the text"},
      {[&] { return text.CopyTo(buffer, 3u); }, 2, L"he", "max counts the terminator"},
      {[&] { return text.CopyTo(buffer, 1u); }, 0, L"", "room for the terminator only"},
      {[&] { return text.CopyTo(buffer, 1u, 3u); }, 3, L"ell", "a part"},
      {[&] { return text.CopyTo(buffer, 3u, 99u); }, 2, L"lo", "a part cut at the end"},
      {[&] { return text.CopyTo(buffer, 7u, 2u); }, 0, L"", "a position past the end"},
  };
  for (const Row& row : rows) {
    wmemset(buffer, L'#', 8);
    EXPECT_EQ(row.copy(), row.count) << row.reason;
    EXPECT_STREQ(buffer, row.expected) << row.reason;
  }
  wmemset(buffer, L'#', 8);
  EXPECT_EQ(text.CopyTo(buffer, 0u), 0u);
  EXPECT_EQ(buffer[0], L'#') << "a buffer of size 0 is not touched";
  EXPECT_EQ(text.CopyTo(nullptr, 5u), 0u);
}

// ---- Searches and comparison ----------------------------------------------------------------

TEST(WideStr, FindFindLastAndCount) {
  constexpr int kNone = -1;
  struct Row {
    const wchar_t* text;
    std::function<int(const WideStr&)> search;
    int expected;
    const char* reason;
  };
  const Row rows[] = {
      {L"hello", [](const WideStr& s) { return s.Find(L'l'); }, 2, "first l"},
      {L"hello", [](const WideStr& s) { return s.Find(L'l', 3); }, 3, "from a start position"},
      {L"hello", [](const WideStr& s) { return s.Find(L'l', 4); }, kNone, "none after the start"},
      {L"hello", [](const WideStr& s) { return s.Find(L'h', 5); }, kNone, "a start at the length"},
      {L"hello", [](const WideStr& s) { return s.Find(L'\0'); }, kNone, "NUL is never found"},
      {L"hello", [](const WideStr& s) { return s.Find(L'H'); }, kNone, "case counts"},
      {L"hello", [](const WideStr& s) { return s.Find(L'H', 0, true); }, 0, "unless ignored"},
      {L"hello", [](const WideStr& s) { return s.Find(L"lo"); }, 3, "a text"},
      {L"aab", [](const WideStr& s) { return s.Find(L"ab"); }, 1, "after a false start"},
      {L"hello", [](const WideStr& s) { return s.Find(L"LO"); }, kNone, "a text, case counts"},
      {L"hello", [](const WideStr& s) { return s.Find(L"LL", 0, true); }, 2, "a text, case ignored"},
      {L"hello", [](const WideStr& s) { return s.Find(L""); }, kNone, "an empty text"},
      {L"hello", [](const WideStr& s) { return s.Find(L"hello!"); }, kNone, "longer than the string"},
      {L"hello", [](const WideStr& s) { return s.Find(WideSubStr(L"lox", 2), 3); }, 3, "a view at the end"},
      {L"", [](const WideStr& s) { return s.Find(L'a'); }, kNone, "the empty string"},
      {L"hello", [](const WideStr& s) { return s.FindLast(L'l'); }, 3, "last l"},
      {L"hello", [](const WideStr& s) { return s.FindLast(L'l', 4); }, kNone, "none at or after the start"},
      {L"hello", [](const WideStr& s) { return s.FindLast(L'L', 0, true); }, 3, "last, case ignored"},
      {L"hello", [](const WideStr& s) { return s.FindLast(L'o', 4); }, 4, "at the start itself"},
      {L"hello", [](const WideStr& s) { return s.FindLast(L'\0'); }, kNone, "NUL is never found"},
      {L"aaaa", [](const WideStr& s) { return s.Count(L"aa"); }, 3, "overlapping matches count"},
      {L"banana", [](const WideStr& s) { return s.Count(L'a', 1); }, 3, "characters from 1"},
      {L"banana", [](const WideStr& s) { return s.Count(L'a', 2); }, 2, "characters from 2"},
      {L"banana", [](const WideStr& s) { return s.Count(L"AN", 0, true); }, 2, "a text, case ignored"},
      {L"banana", [](const WideStr& s) { return s.Count(L'a', 6); }, 0, "a start at the length"},
      {L"banana", [](const WideStr& s) { return s.Count(L""); }, 0, "an empty text"},
      {L"banana", [](const WideStr& s) { return s.Count(L'\0'); }, 0, "a NUL character"},
  };
  for (const Row& row : rows) EXPECT_EQ(row.search(WideStr(row.text)), row.expected) << row.reason;
}

TEST(WideStr, CompareAndNCompare) {
  struct Row {
    const wchar_t* a;
    const wchar_t* b;
    int n;  // -1: Compare, otherwise NCompare over n characters
    bool ignoreCase;
    int expected;
    const char* reason;
  };
  const Row rows[] = {
      {L"abc", L"abc", -1, false, 0, "equal"},
      {L"abc", L"abd", -1, false, -1, "less"},
      {L"abd", L"abc", -1, false, 1, "greater"},
      {L"ab", L"abc", -1, false, -1, "a prefix is less"},
      {L"ABC", L"abc", -1, false, -1, "upper case is less"},
      {L"ABC", L"abc", -1, true, 0, "unless case is ignored"},
      {L"abc", L"ABD", -1, true, -1, "ignoring case still orders"},
      {nullptr, L"", -1, false, 0, "null reads as empty"},
      {nullptr, L"a", -1, true, -1, "null reads as empty, ignoring case"},
      {L"\x10000", L"\xFFFF", -1, false, 1, "by character value"},
      {L"abcX", L"abcY", 3, false, 0, "equal over three"},
      {L"abcX", L"abcY", 4, false, -1, "differ at the fourth"},
      {L"ABx", L"abY", 2, true, 0, "equal over two, case ignored"},
      {L"ab", L"abc", 5, true, -1, "the shorter ends first"},
      {L"x", L"y", 0, false, 0, "nothing compared"},
  };
  for (const Row& row : rows) {
    const int result = row.n < 0 ? WideStr::Compare(row.a, row.b, row.ignoreCase)
                                 : WideStr::NCompare(row.a, row.b, static_cast<uint32_t>(row.n), row.ignoreCase);
    EXPECT_EQ(result, row.expected) << row.reason;
  }
  EXPECT_TRUE(WideStr(L"abc") == WideStr(L"abc"));
  EXPECT_TRUE(WideStr(L"abc") == L"abc");
  EXPECT_TRUE(WideStr(L"abc") != L"abd");
  EXPECT_FALSE(WideStr(WideSubStr(L"a\0b", 3)) == L"a") << "equality compares the whole length";
  EXPECT_TRUE(WideStr(L"abc") < WideStr(L"abd"));
  const WideStr text(L"ab");
  EXPECT_EQ(text[1], L'b');
  EXPECT_EQ(text[2], 0) << "the terminator";
  EXPECT_EQ(text[99], 0) << "past the end reads 0";
}

// ---- Buffers --------------------------------------------------------------------------------

TEST(WideStr, AllocLeavesTheLengthUnknownUntilItIsAsked) {
  WideStr text;
  wchar_t* buffer = text.Alloc(10);
  ASSERT_NE(buffer, nullptr);
  EXPECT_GE(text.GetCapacity(), 10u);
  EXPECT_EQ(buffer[0], 0);
  EXPECT_EQ(buffer[10], 0);
  EXPECT_EQ(text.GetLen(), 0u) << "nothing written yet";
  wcscpy(buffer, L"abc");
  const WideStr copy = text;  // the copy shares the body whose length is not known yet
  EXPECT_EQ(copy.GetLen(), 3u);
  EXPECT_EQ(text.GetLen(), 3u);
  EXPECT_STREQ(text.GetStr(), L"abc");

  buffer = text.Alloc(10);  // shared: a new body; the copy keeps its text
  wcscpy(buffer, L"xyz12");
  text.Append(L"!");  // a change counts the written text first
  EXPECT_STREQ(text.GetStr(), L"xyz12!");
  EXPECT_EQ(text.GetLen(), 6u);
  EXPECT_STREQ(copy.GetStr(), L"abc");
}

TEST(WideStr, AllocReusesAnOwnedBodyAndFillsOrCopies) {
  WideStr text(L"0123456789ABCDEF");
  const wchar_t* body = text.GetStr();
  wchar_t* buffer = text.Alloc(5);
  EXPECT_EQ(buffer, body) << "an owned body large enough is reused";
  EXPECT_EQ(buffer[0], 0);
  EXPECT_EQ(buffer[5], 0) << "position n is cleared as well";
  EXPECT_TRUE(text.IsEmpty());

  buffer = text.Alloc(0);
  ASSERT_NE(buffer, nullptr) << "a buffer of at least one character";
  EXPECT_EQ(text.GetLen(), 0u);

  struct Row {
    std::function<wchar_t*(WideStr&)> alloc;
    const wchar_t* expected;
    const char* reason;
  };
  const Row rows[] = {
      {[](WideStr& s) { return s.Alloc(4, L'z'); }, L"zzzz", "filled with a character"},
      {[](WideStr& s) { return s.Alloc(3, L"abcdef"); }, L"abc", "a source cut at n"},
      {[](WideStr& s) { return s.Alloc(10, L"ab"); }, L"ab", "a source up to its NUL"},
      {[](WideStr& s) { return s.Alloc(10, nullptr); }, L"", "no source"},
  };
  for (const Row& row : rows) {
    WideStr fresh(L"old text");
    const WideStr copy = fresh;
    ASSERT_NE(row.alloc(fresh), nullptr) << row.reason;
    EXPECT_STREQ(fresh.GetStr(), row.expected) << row.reason;
    EXPECT_EQ(fresh.GetLen(), wcslen(row.expected)) << row.reason;
    EXPECT_STREQ(copy.GetStr(), L"old text") << row.reason;
  }
}

TEST(WideStr, ShrinkReleasesCapacityOnlyWhenMostIsUnused) {
  WideStr text;
  text.Alloc(1000);
  text.Set(L"abc");  // fits: stays in the 1004-character body
  ASSERT_EQ(text.GetCapacity(), 1004u);
  text.Shrink();
  EXPECT_EQ(text.GetCapacity(), 4u) << "4 is below a fifth of 1004";
  EXPECT_STREQ(text.GetStr(), L"abc");

  WideStr kept;
  kept.Alloc(100);
  kept.Set(WideStr(L'x', 20));  // 20 needs 20, not below a fifth of 100
  kept.Shrink();
  EXPECT_EQ(kept.GetCapacity(), 100u);

  WideStr emptied(L'x', 100);
  emptied.Trunc(0).Shrink();
  EXPECT_EQ(emptied.GetStr(), WideStr::GetEmpty().GetStr()) << "nothing left: the shared empty body";

  WideStr shared;
  shared.Alloc(1000);
  shared.Set(L"ab");
  const WideStr copy = shared;
  shared.Shrink();
  EXPECT_EQ(shared.GetCapacity(), 2u);
  EXPECT_EQ(copy.GetCapacity(), 1004u) << "the other owner keeps the old body";
  EXPECT_STREQ(copy.GetStr(), L"ab");
}

// ---- Failures -------------------------------------------------------------------------------

TEST(WideStr, AnOverflowLeavesTheStringUnchangedWithLastError12) {
  struct Row {
    std::function<void(WideStr&)> change;
    const char* length1;
    const char* length2;
    const wchar_t* after;
    const char* reason;
  };
  const Row rows[] = {
      {[](WideStr& s) { s.Append(L"xy", 0x80000000u); }, "2", "4294967296", L"ab", "Append: 2 + 2^32"},
      {[](WideStr& s) { s.Insert(1, L"xyz", 0x55555556u); }, "2", "4294967298", L"ab", "Insert"},
      {[](WideStr& s) { s.Overwrite(0, L"xy", 0x80000000u); }, "0", "4294967296", L"ab", "Overwrite of all"},
      {[](WideStr& s) { s.Set(L"xy", 0x80000000u); }, "0", "4294967296", L"ab", "Set"},
      {[](WideStr& s) { s >>= 0xFFFFFFFFu; }, "2", "4294967295", L"ab", "a shift in place"},
      {[](WideStr& s) { s = s >> 0xFFFFFFFEu; }, "4294967294", "2", L"", "a shifted copy is made empty"},
      {[](WideStr& s) { s = WideStr(s, 0x80000000u); }, "4294967296", "0", L"", "a repeated copy is made empty"},
  };
  for (const Row& row : rows) {
    EventLog log;
    WideStr text(L"ab");
    const wchar_t* body = text.GetStr();
    SetLastError(0);
    row.change(text);
    EXPECT_EQ(GetLastError(), 12) << row.reason;
    const auto events = log.Events();
    ASSERT_EQ(events.size(), 1u) << row.reason;
    EXPECT_EQ(events[0],
              (std::vector<std::string>{"ORVGUI/601/0/2", "String overflow detected",
                                        std::string("length1=") + row.length1, std::string("length2=") + row.length2}))
        << row.reason;
    EXPECT_STREQ(text.GetStr(), row.after) << row.reason;
    EXPECT_EQ(text.GetLen(), wcslen(row.after)) << row.reason;
    if (*row.after != 0) {
      EXPECT_EQ(text.GetStr(), body) << row.reason << ": the same body, untouched";
    }
  }
}

TEST(WideStr, BodiesGoBackToTheParticleClassTheyCameFrom) {
  // 100 characters: block (4 * 100 + 23) & ~7 = 416 bytes, capacity 100.
  if (!UseParticles()) GTEST_SKIP() << "particles are off in this process";
  uint32_t held = 0;
  {
    const WideStr text(L'x', 100);
    ASSERT_EQ(text.GetCapacity(), 100u);
    held = GetThreadParticleCount(416);
  }
  EXPECT_EQ(GetThreadParticleCount(416), held + 1) << "released with the size it was taken with";
}

#ifndef ORVGUI_TEST_SANITIZED
void AllocationFailuresInALimitedProcess() {
  LimitAddressSpace();
  EventLog log;
  WideStr text(L"keep");
  bool ok = true;
  SetLastError(0);
  ok &= text.Alloc(200000000) == nullptr && GetLastError() == 12 && text == L"keep";
  SetLastError(0);
  text.Append(L'x', 300000000);
  ok &= GetLastError() == 12 && text == L"keep" && text.GetLen() == 4;
  const auto events = log.Events();
  ok &= events.size() == 2 &&
        events[0] == std::vector<std::string>{"ORVGUI/600/0/2", "String allocation failed", "bytes=800000032",
                                              "codeunits=200000004"} &&
        events[1] == std::vector<std::string>{"ORVGUI/600/0/2", "String allocation failed", "bytes=1200002096",
                                              "codeunits=300000520"};
  if (!ok) fprintf(stderr, "allocation failure handled wrongly (%zu events)\n", events.size());
  _exit(ok ? 0 : 1);
}

TEST(WideStrDeathTest, AnAllocationFailureReportsAndKeepsTheString) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(AllocationFailuresInALimitedProcess(), testing::ExitedWithCode(0), "");
}
#endif

}  // namespace
}  // namespace OrvGuiBase
