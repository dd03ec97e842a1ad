// Tests of the narrow string, its builder and Blob.
#include "base/text/AnsiStr.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <string>
#include <vector>

#include "base/text/Blob.h"
#include "helpers/EventLog.h"

namespace OrvGuiBase {
namespace {

std::string S(const AnsiStr& s) { return std::string(s.GetStr(), s.GetLength()); }

TEST(AnsiStr, CapacitiesFollowTheSizeRule) {
  struct Row {
    uint64_t request, capacity;
  };
  for (const Row& row : {Row{1, 11}, Row{0, 3}, Row{11, 19}, Row{1001, 1011}, Row{1010, 1027}, Row{1024, 1043},
                         Row{100000, 100019}})
    EXPECT_EQ(AnsiStr::Imp::GetAllocSize(row.request), row.capacity) << row.request;
  EXPECT_EQ(AnsiStr("a").GetCapacity(), 11u) << "block of 27 bytes";
  EXPECT_EQ(AnsiStr().GetCapacity(), 0u) << "the empty string has no body";
  EXPECT_EQ(AnsiStr("").GetCapacity(), 0u);
  EXPECT_STREQ(AnsiStr().GetStr(), "");
}

TEST(AnsiStr, GrowthSteps) {
  struct Row {
    uint64_t n;
    bool fast;
    uint64_t expected;
  };
  const Row rows[] = {
      {0, false, 32},           {511, false, 543},         {512, false, 544},        {8191, false, 8702},
      {8192, false, 8704},      {0xFFFFFDFF, false, 0xFFFFFFFF}, {0xFFFFFE00, false, 0xFFFFFFFF},
      {512, true, 1024},        {513, true, 1026},         {0x4000000, true, 0x8000000},
      {0x4000001, true, 0x8000001}, {0xFBFFFFFF, true, 0xFFFFFFFF}, {0xFC000000, true, 0xFFFFFFFF},
  };
  for (const Row& row : rows)
    EXPECT_EQ(AnsiStr::Imp::GetExtendSize(row.n, row.fast), row.expected) << row.n << (row.fast ? " fast" : "");
  AnsiStr s('x');  // capacity 11
  s.Append('x', 10);  // fits in place: a full body
  ASSERT_EQ(s.GetCapacity(), 11u);
  s.Append("l");
  EXPECT_EQ(s.GetCapacity(), AnsiStr::Imp::GetAllocSize(12 + 32)) << "an append past the capacity grows by the rule";
  const char* body = s.GetStr();
  s.Append("m");
  EXPECT_EQ(s.GetStr(), body) << "and the next one fits in place";
}

TEST(AnsiStr, MutationsTableDriven) {
  struct Row {
    const char* start;
    std::function<void(AnsiStr&)> change;
    const char* expected;
    const char* reason;
  };
  const Row rows[] = {
      {"ab", [](AnsiStr& s) { s.Append("ab", 2); }, "ababab", "append with a repeat count"},
      {"ab", [](AnsiStr& s) { s.Append("ab", 0); }, "ab", "repeat count 0 changes nothing"},
      {"", [](AnsiStr& s) { s.Append('x', 3); }, "xxx", "a character repeated"},
      {"ab", [](AnsiStr& s) { s.Append('\0', 3); }, "ab", "a NUL character is an empty text"},
      {"hello", [](AnsiStr& s) { s.Set("yo", 2); }, "yoyo", "set"},
      {"hello", [](AnsiStr& s) { s.Insert(2, "XY"); }, "heXYllo", "insert"},
      {"hello", [](AnsiStr& s) { s.Insert(99, '!'); }, "hello!", "insert past the end appends"},
      {"hello", [](AnsiStr& s) { s.Overwrite(1, "EL"); }, "hELlo", "overwrite inside"},
      {"hello", [](AnsiStr& s) { s.Overwrite(4, "OOO"); }, "hellOOO", "overwrite past the end grows"},
      {"hello", [](AnsiStr& s) { s.Delete(2); }, "llo", "one-argument delete takes a count"},
      {"hello", [](AnsiStr& s) { s.Delete(1, 3); }, "ho", "delete at a position"},
      {"hello", [](AnsiStr& s) { s.Delete(3, 99); }, "hel", "delete clamps the count"},
      {"hello", [](AnsiStr& s) { s.Trunc(2); }, "he", "trunc"},
      {"hello", [](AnsiStr& s) { s.Trunc(9); }, "hello", "trunc longer does nothing"},
      {"hello", [](AnsiStr& s) { s <<= 2; }, "llo", "shift left in place"},
      {"hi", [](AnsiStr& s) { s >>= 2; }, "  hi", "shift right in place"},
      {"a.b.c", [](AnsiStr& s) { s.Replace('.', '/'); }, "a/b/c", "replace a byte"},
      {"a.b.c", [](AnsiStr& s) { s.Replace('.', '\0'); }, "abc", "replacing by NUL removes"},
      {"aaaa", [](AnsiStr& s) { s.Replace("aa", "b"); }, "bb", "replace a text without overlap"},
      {"xyx", [](AnsiStr& s) { s.Replace("x", "xx"); }, "xxyxx", "replacement containing the pattern"},
      {"abc", [](AnsiStr& s) { s.Replace("", "z"); }, "abc", "empty pattern does nothing"},
      {"MiXeD", [](AnsiStr& s) { s.ToLower(); }, "mixed", "lower"},
      {"MiXeD", [](AnsiStr& s) { s.ToUpper(); }, "MIXED", "upper"},
      {"abc", [](AnsiStr& s) { s.Append(s); }, "abcabc", "appending itself"},
      {"abcdef", [](AnsiStr& s) { s.Insert(1, AnsiSubStr(s.GetStr() + 3, 2)); }, "adebcdef", "inserting a part of itself"},
      {"abc", [](AnsiStr& s) { s.Delete(0, 3); }, "", "deleting everything"},
  };
  for (const Row& row : rows) {
    AnsiStr s(row.start);
    AnsiStr copy = s;  // copy-on-write: the copy never changes
    row.change(s);
    EXPECT_EQ(S(s), row.expected) << row.reason;
    EXPECT_EQ(S(copy), row.start) << row.reason << " (the copy changed)";
    EXPECT_EQ(s.GetLength(), strlen(s.GetStr())) << row.reason;
  }
}

TEST(AnsiStr, ShiftsMakeNewStrings) {
  const AnsiStr hello("hello");
  EXPECT_EQ(S(hello << 2), "llo");
  EXPECT_EQ(S(hello >> 2), "  hello");
  EXPECT_TRUE((hello << 5).IsEmpty());
  EXPECT_TRUE((hello << 9).IsEmpty());
  const AnsiStr same = hello << 0;
  EXPECT_TRUE(same.IsShared()) << "shift by 0 shares the body";
}

TEST(AnsiStr, AllocLeavesTheLengthUnknownUntilMeasured) {
  AnsiStr s;
  char* buffer = s.Alloc(10);
  ASSERT_NE(buffer, nullptr);
  EXPECT_GE(s.GetCapacity(), 10u);
  memcpy(buffer, "abc", 4);
  EXPECT_EQ(s.GetLength(), 3u);
  EXPECT_EQ(S(s), "abc");
  char* again = s.Alloc(5);
  EXPECT_EQ(again, buffer) << "unshared and large enough: the body is reused";
  EXPECT_EQ(s.GetLength(), 0u);
  AnsiStr shared = s;
  EXPECT_NE(s.Alloc(5), buffer) << "a shared body is never written";
  EXPECT_EQ(S(AnsiStr().Append("x")), "x");
  AnsiStr filled;
  filled.Alloc(4, '*');
  EXPECT_EQ(S(filled), "****");
  AnsiStr copied;
  copied.Alloc(3, "abcdef");
  EXPECT_EQ(S(copied), "abc");
  AnsiStr self("hello");
  self.Alloc(20, self.GetStr() + 1);
  EXPECT_EQ(S(self), "ello") << "a source inside the body survives";
}

TEST(AnsiStr, CopiesAndCopyTo) {
  const AnsiStr s("hello world");
  AnsiStr copy = s.Copy();
  EXPECT_FALSE(copy.IsShared());
  EXPECT_EQ(S(s.Copy(6)), "world");
  EXPECT_EQ(S(s.Copy(3, 4)), "lo w");
  EXPECT_EQ(S(s.Copy(20)), "");
  EXPECT_EQ(S(s.Copy(8, 100)), "rld");
  char buffer[16];
  EXPECT_EQ(s.CopyTo(buffer), 11u);
  EXPECT_STREQ(buffer, "hello world");
  EXPECT_EQ(s.CopyTo(buffer, 6u), 5u);
  EXPECT_STREQ(buffer, "hello") << "max counts the terminator";
  EXPECT_EQ(s.CopyTo(buffer, 4u, 3u), 3u);
  EXPECT_STREQ(buffer, "o w");
  EXPECT_EQ(s.CopyTo(buffer, 0u), 0u);
}

TEST(AnsiStr, SearchesTableDriven) {
  const AnsiStr s("abcABCabc");
  EXPECT_EQ(s.Find('b'), 1);
  EXPECT_EQ(s.Find('b', 2), 7);
  EXPECT_EQ(s.Find('B', 2, true), 4);
  EXPECT_EQ(s.Find('\0'), -1) << "NUL finds nothing";
  EXPECT_EQ(s.Find('a', 9), -1) << "a start at the length finds nothing";
  EXPECT_EQ(s.Find("ABC"), 3);
  EXPECT_EQ(s.Find("abc", 1), 6);
  EXPECT_EQ(s.Find("cab", 0, true), 2);
  EXPECT_EQ(s.Find(""), -1);
  EXPECT_EQ(s.Count('a'), 2u);
  EXPECT_EQ(s.Count('a', 0, true), 3u);
  EXPECT_EQ(AnsiStr("aaaa").Count("aa"), 3u) << "each search goes on one byte after the match";
  EXPECT_EQ(s.FindLast('a'), 6);
  EXPECT_EQ(s.FindLast('A', 0, true), 6);
  EXPECT_EQ(s.FindLast('A', 4), -1) << "only from the position on";
  EXPECT_LT(AnsiStr::Compare("abc", "abd"), 0);
  EXPECT_EQ(AnsiStr::Compare("ABC", "abc", true), 0);
  EXPECT_GT(AnsiStr::Compare("b", nullptr), 0);
  EXPECT_EQ(AnsiStr::NCompare("abcX", "abcY", 3), 0);
  EXPECT_EQ(AnsiStr::NCompare("ABcX", "abcY", 3, true), 0);
  EXPECT_NE(AnsiStr::NCompare("ABcX", "abcY", 4, true), 0);
}

TEST(AnsiStr, Utf8Positions) {
  const AnsiStr s("a\xC3\xA9\xE2\x82\xAC" "b");  // a, e-acute (2 bytes), euro (3 bytes), b
  EXPECT_EQ(s.GetLength(), 7u);
  EXPECT_EQ(s.GetCharLen(), 4u);
  struct Row {
    uint32_t input, byteInx, charInx, inx;
  };
  for (const Row& row : {Row{0, 0, 0, 0}, Row{1, 1, 1, 1}, Row{2, 3, 2, 1}, Row{3, 6, 2, 3}, Row{4, 7, 3, 3},
                         Row{5, 7, 3, 3}, Row{6, 7, 3, 6}, Row{9, 7, 4, 7}}) {
    EXPECT_EQ(s.GetByteInx(row.input), row.byteInx) << "GetByteInx " << row.input;
    EXPECT_EQ(s.GetCharInx(row.input), row.charInx) << "GetCharInx " << row.input;
    EXPECT_EQ(s.GetInx(row.input), row.inx) << "GetInx " << row.input;
  }
  EXPECT_EQ(s.GetByteCount(1, 2), 5u);
  EXPECT_EQ(s.GetCharCount(1, 5), 2u);
  EXPECT_EQ(s.GetCount(1, 4), 2u) << "the euro sign does not fit in the rest";
  EXPECT_EQ(s.GetCount(0, 100), 7u);
}

TEST(AnsiStr, OverflowLeavesTheStringUnchanged) {
  EventLog events;
  AnsiStr s("0123456789");
  errno = 0;
  s.Append("0123456789", 0x20000000);  // 5 GiB: past 32 bits before anything is allocated
  EXPECT_EQ(S(s), "0123456789");
  EXPECT_EQ(errno, 12);
  AnsiStr built(AnsiSubStr("ab"), 0x80000000u);
  EXPECT_TRUE(built.IsEmpty());
  const auto log = events.Events();
  ASSERT_EQ(log.size(), 2u);
  EXPECT_EQ(log[0], (std::vector<std::string>{"ORVGUI/2/0/2", "String overflow detected", "length1=10",
                                              "length2=5368709120"}));
}

TEST(AnsiStrBuilder, BuildsWithTheFastRuleAndDetaches) {
  AnsiStrBuilder out;
  for (int i = 0; i < 1000; ++i) out.Append("piece").Append(',');
  EXPECT_EQ(out.GetLength(), 6000u);
  EXPECT_FALSE(out.IsFailed());
  const AnsiStr shared = out.GetResult();
  out.Append("tail");
  EXPECT_EQ(shared.GetLength(), 6000u) << "a result handed out is not changed by later appends";
  AnsiStr text = out.Detach();
  EXPECT_EQ(text.GetLength(), 6004u);
  EXPECT_EQ(out.GetLength(), 0u);
  EXPECT_EQ(text.Find("piece,piece"), 0);

  AnsiStrBuilder reserved;
  char* room = reserved.Reserve(5);
  ASSERT_NE(room, nullptr);
  memcpy(room, "abcde", 5);
  reserved.Commit(3);  // only part of the room becomes text
  reserved.Append("!");
  EXPECT_EQ(S(reserved.GetResult()), "abc!");
  const AnsiStr held = reserved.GetResult();
  room = reserved.Reserve(2000);  // a shared or small body is replaced, never written
  ASSERT_NE(room, nullptr);
  memset(room, 'x', 2000);
  reserved.Commit(2000);
  EXPECT_EQ(S(held), "abc!");
  EXPECT_EQ(reserved.GetLength(), 2004u);

  AnsiStrBuilder small;
  small.Append("x");
  EXPECT_EQ(small.GetResult().GetCapacity(), AnsiStr::Imp::GetAllocSize(1024)) << "fast growth starts at 1024";
  AnsiStrBuilder failing;
  failing.Append("ab", 0x80000001u);
  EXPECT_TRUE(failing.IsFailed());
  failing.Append("more");
  EXPECT_EQ(failing.GetLength(), 0u) << "the failure is sticky";
}

TEST(AnsiStr, ShrinkGivesBackLargeUnusedCapacity) {
  AnsiStr s;
  s.Alloc(5000, "tiny");
  const uint32_t before = s.GetCapacity();
  s.Shrink();
  EXPECT_LT(s.GetCapacity(), before);
  EXPECT_EQ(S(s), "tiny");
  AnsiStr full("0123456789");
  const uint32_t capacity = full.GetCapacity();
  full.Shrink();
  EXPECT_EQ(full.GetCapacity(), capacity) << "not worth it";
}

TEST(Blob, BytesWithCopyOnWrite) {
  const uint8_t bytes[] = {0, 1, 2, 0, 255};
  Blob blob(bytes, sizeof bytes);
  EXPECT_EQ(blob.GetLength(), 5u);
  Blob copy = blob;
  blob.Append(bytes, 2).Insert(1, bytes + 4, 1).Delete(0, 1);
  EXPECT_EQ(blob, Blob((const uint8_t[]){255, 1, 2, 0, 255, 0, 1}, 7));
  EXPECT_EQ(copy, Blob(bytes, sizeof bytes));
  blob.Trunc(2);
  EXPECT_EQ(blob.GetLength(), 2u);
  uint8_t* raw = blob.Alloc(300);
  ASSERT_NE(raw, nullptr);
  memset(raw, 7, 300);
  EXPECT_EQ(blob.GetLength(), 300u);
  blob.Trunc(1).Shrink();
  EXPECT_LT(blob.GetCapacity(), 300u);
  EXPECT_EQ(blob.GetData()[0], 7);
  EXPECT_TRUE(Blob().IsEmpty());
  EXPECT_EQ(Blob().GetData(), nullptr);
}

}  // namespace
}  // namespace OrvGuiBase
