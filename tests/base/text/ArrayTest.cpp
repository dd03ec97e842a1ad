// Tests of Array<T>: append on access, growth, copy-on-write, release of elements, and the
// failure paths (an access failure event, and the two fatal ends).
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "base/core/LastError.h"
#include "base/core/ParticleAllocator.h"
#include "base/core/ParticleSettings.h"
#include "base/text/AnsiStr.h"
#include "base/text/Array.h"
#include "helpers/EventLog.h"
#include "helpers/ProcessLimits.h"

namespace OrvGuiBase {
namespace {

std::string Join(const Array<AnsiStr>& array) {
  std::string out;
  for (const AnsiStr& element : array) out += std::string(element.GetStr()) + ",";
  return out;
}

// Counted: an 8-byte handle to a token that counts its live handles; all-zero is the empty
// handle, and its bytes may be moved, as the array requires.
struct Token {
  int live = 0;
};
class Counted {
 public:
  Counted() = default;
  explicit Counted(Token* token) : m_token(token) { ++m_token->live; }
  Counted(const Counted& other) : m_token(other.m_token) {
    if (m_token) ++m_token->live;
  }
  Counted& operator=(const Counted& other) {
    if (other.m_token) ++other.m_token->live;
    if (m_token) --m_token->live;
    m_token = other.m_token;
    return *this;
  }
  ~Counted() {
    if (m_token) --m_token->live;
  }
  Token* Get() const { return m_token; }

 private:
  Token* m_token = nullptr;
};

TEST(Array, AskingPastTheCountAppendsExactlyOneElement) {
  Array<AnsiStr> names;
  EXPECT_EQ(names.GetCount(), 0u);
  EXPECT_EQ(names.GetData(), nullptr) << "no body while empty";
  names[7] = "first";
  EXPECT_EQ(names.GetCount(), 1u) << "index 7 of an empty array appends one element, not eight";
  EXPECT_EQ(names.Get(0), "first");
  names[0] = "changed";
  EXPECT_EQ(names.GetCount(), 1u) << "an index inside the array appends nothing";
  names[names.GetCount()] = "second";
  names[1000] = "third";
  EXPECT_EQ(Join(names), "changed,second,third,");
  EXPECT_TRUE(names[3].IsEmpty()) << "the appended element starts empty";
  EXPECT_EQ(names.GetCount(), 4u);
}

TEST(Array, GrowthAndBlockSizes) {
  struct Row {
    uint64_t needed;
    uint32_t capacity;
    const char* reason;
  };
  const Row rows[] = {
      {1, 4, "at least four slots"},
      {4, 6, "half as much again"},
      {5, 7, "half as much again"},
      {1000, 1500, "half as much again"},
      {0xAAAAAAAAu, 0xFFFFFFFFu, "exactly the limit"},
      {0xB0000000u, 0xFFFFFFFFu, "capped at the limit"},
  };
  for (const Row& row : rows) EXPECT_EQ(ArrayImp::GetGrowCapacity(row.needed), row.capacity) << row.reason;
  EXPECT_EQ(ArrayImp::GetBlockSize(4), 56u);

  // Appending one at a time: the capacity changes at these counts.
  std::vector<std::pair<uint32_t, uint32_t>> seen;
  Array<AnsiStr> array;
  for (uint32_t i = 1; i <= 30; ++i) {
    const uint32_t before = array.GetCapacity();
    array.Append(AnsiStr("x"));
    if (array.GetCapacity() != before) seen.emplace_back(i, array.GetCapacity());
  }
  EXPECT_EQ(seen, (std::vector<std::pair<uint32_t, uint32_t>>{{1, 4}, {5, 7}, {8, 12}, {13, 19}, {20, 30}}));
  array.Reserve(100);
  EXPECT_EQ(array.GetCapacity(), 100u) << "Reserve asks for exactly what it is given";
  array.Reserve(50);
  EXPECT_EQ(array.GetCapacity(), 100u) << "Reserve never shrinks";
  EXPECT_EQ(array.GetCount(), 30u);

  if (UseParticles()) {  // the body goes back to the class it came from: 8 * 4 + 24 = 56 bytes
    uint32_t held = 0;
    {
      Array<AnsiStr> small;
      small.Append(AnsiStr("a"));
      ASSERT_EQ(small.GetCapacity(), 4u);
      held = GetThreadParticleCount(56);
    }
    EXPECT_EQ(GetThreadParticleCount(56), held + 1);
  }
}

TEST(Array, EveryElementIsReleasedExactlyOnce) {
  Token a, b, c;
  {
    Array<Counted> first;
    first.Append(Counted(&a), 2).Append(Counted(&b));
    EXPECT_EQ(a.live, 2);
    EXPECT_EQ(b.live, 1);
    for (int i = 0; i < 50; ++i) first.Append(Counted(&c));  // growth relocates, never copies
    EXPECT_EQ(c.live, 50);

    Array<Counted> second = first;  // shared: no element copied
    EXPECT_TRUE(first.IsShared());
    EXPECT_EQ(a.live, 2);
    second[0] = Counted(&b);  // copy-on-write: the new body owns copies of all elements
    EXPECT_FALSE(first.IsShared());
    EXPECT_EQ(a.live, 3) << "first holds two, second one";
    EXPECT_EQ(b.live, 3) << "first holds one, second two";
    EXPECT_EQ(c.live, 100);
    EXPECT_EQ(first.Get(0).Get(), &a) << "the original keeps its element";

    second.Delete(2, 10);  // second was b, a, b, 50 c: drops the b at 2 and nine c
    EXPECT_EQ(b.live, 2);
    EXPECT_EQ(c.live, 91);
    second.SetCount(5);  // b, a and three c remain
    EXPECT_EQ(c.live, 53);
    EXPECT_EQ(second.GetCount(), 5u);
    second.SetCount(8);
    EXPECT_EQ(second.Get(7).Get(), nullptr) << "grown elements are empty";
    second.Clear();
    EXPECT_EQ(a.live, 2);
    EXPECT_EQ(c.live, 50);
    EXPECT_EQ(second.GetCount(), 0u);

    Array<Counted> third = first;
    third = Array<Counted>();  // the last but one owner lets go: nothing released
    EXPECT_EQ(c.live, 50);
  }
  EXPECT_EQ(a.live, 0) << "the last owner releases every element";
  EXPECT_EQ(b.live, 0);
  EXPECT_EQ(c.live, 0);
}

TEST(Array, HeapSizedElementsAreReleased) {
  // Bodies above 1024 bytes come from the heap, so the leak checker of the ASan build sees any
  // element an array forgets to release.
  const AnsiStr big(std::string(2000, 'x').c_str());
  const AnsiStr other(std::string(3000, 'y').c_str());
  Array<AnsiStr> first;
  for (int i = 0; i < 20; ++i) first.Append(AnsiStr(std::string(1500 + i, 'a').c_str()));
  first.Append(big, 5);
  Array<AnsiStr> second = first;
  second[3] = other;  // copy-on-write
  second.Delete(0, 2).SetCount(10);
  second[second.GetCount()] = AnsiStr(std::string(1100, 'z').c_str());
  EXPECT_EQ(second.GetCount(), 11u);
  EXPECT_EQ(second.Get(1).GetLength(), 3000u);
  EXPECT_EQ(first.Get(3).GetLength(), 1503u) << "the shared original is untouched";
  first.Clear();
  EXPECT_EQ(second.Get(0).GetLength(), 1502u);
}

TEST(Array, InsertDeleteAndSetCountKeepTheOrder) {
  struct Row {
    void (*change)(Array<AnsiStr>&);
    const char* expected;
    const char* reason;
  };
  const Row rows[] = {
      {[](Array<AnsiStr>& a) { a.Insert(0, "x"); }, "x,a,b,c,", "in front"},
      {[](Array<AnsiStr>& a) { a.Insert(2, "x", 2); }, "a,b,x,x,c,", "in the middle, twice"},
      {[](Array<AnsiStr>& a) { a.Insert(99, "x"); }, "a,b,c,x,", "past the count: at the end"},
      {[](Array<AnsiStr>& a) { a.Insert(1, "x", 0); }, "a,b,c,", "count 0"},
      {[](Array<AnsiStr>& a) { a.Append(a.Get(0), 3); }, "a,b,c,a,a,a,", "an element of the array itself"},
      {[](Array<AnsiStr>& a) { a.Delete(1); }, "a,c,", "one element"},
      {[](Array<AnsiStr>& a) { a.Delete(1, 99); }, "a,", "to the end"},
      {[](Array<AnsiStr>& a) { a.Delete(3); }, "a,b,c,", "at the count: nothing"},
      {[](Array<AnsiStr>& a) { a.SetCount(1); }, "a,", "cut"},
      {[](Array<AnsiStr>& a) { a.SetCount(5); }, "a,b,c,,,", "grown with empty elements"},
      {[](Array<AnsiStr>& a) { a.Clear(); }, "", "cleared"},
  };
  for (const Row& row : rows) {
    Array<AnsiStr> array;
    array.Append("a").Append("b").Append("c");
    const Array<AnsiStr> copy = array;
    row.change(array);
    EXPECT_EQ(Join(array), row.expected) << row.reason;
    EXPECT_EQ(Join(copy), "a,b,c,") << row.reason << ": the copy must not change";
  }
}

TEST(Array, ReadingPastTheCountReportsAnAccessFailure) {
  Array<AnsiStr> array;
  array.Append("only");
  const Array<AnsiStr>& view = array;
  EventLog log;
  SetLastError(0);
  EXPECT_TRUE(view[5].IsEmpty());
  EXPECT_EQ(GetLastError(), 12);
  EXPECT_EQ(view.Get(0), "only");
  EXPECT_EQ(array.GetCount(), 1u) << "a const read never appends";
  ASSERT_EQ(log.Events().size(), 1u);
  EXPECT_EQ(log.Events()[0],
            (std::vector<std::string>{"ORVGUI/800/0/2", "Array access failed", "index=5", "length=1"}));
}

// The fatal ends. The child writes its events as JSON lines to standard error.
void OverflowTheCount() {
  setenv("LOGTYPE", "stderr", 1);
  Array<AnsiStr> array;
  array.Append("one");
  array.Append("two", 0xFFFFFFFFu);  // 1 + 0xFFFFFFFF elements do not fit in 32 bits
}

TEST(ArrayDeathTest, ACountPast32BitsEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(OverflowTheCount(),
               "\"message\":\"Array overflow detected\".*\"length1\":1,\"length2\":4294967295,"
               "\"id\":\"ORVGUI-00801\".*UInt32 overflow");
}

#ifndef ORVGUI_TEST_SANITIZED
void FailToAllocate() {
  setenv("LOGTYPE", "stderr", 1);
  LimitAddressSpace();
  Array<AnsiStr> array;
  array.Reserve(200000000);  // 1.6 GB
}

TEST(ArrayDeathTest, ABodyThatCannotBeAllocatedEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(FailToAllocate(),
               "\"message\":\"Array allocation failed\".*\"size_bytes\":1600000024,\"length\":200000000,"
               "\"id\":\"ORVGUI-00800\".*Could not allocate array");
}
#endif

}  // namespace
}  // namespace OrvGuiBase
