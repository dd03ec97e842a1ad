// Tests of Val and ValDic: word layout, boxes, references, texts, hashing and order.
#include "base/data/Val.h"

#include <gtest/gtest.h>

#include <cmath>
#include <thread>
#include <vector>

#include "base/data/KVMap.h"
#include "base/text/Formatter.h"

namespace OrvGuiBase {
namespace {

TEST(Val, WordLayoutOfScalars) {
  struct Row {
    Val value;
    uint64_t word;
    const char* why;
  };
  const Row rows[] = {
      {Val(), 0, "nil is the zero word"},
      {Val(false), 0x1, "false"},
      {Val(true), 0x101, "true: payload bit 8"},
      {Val(800), 0x32002, "integer shifted by eight"},
      {Val(-1), 0xFFFFFFFFFFFFFF02, "negative integer keeps its sign bits"},
      {Val(int64_t{0x7FFFFFFFFFFFFF}), 0x7FFFFFFFFFFFFF02, "largest in-place integer"},
      {Val(AnsiStr()), 0x05, "the empty string holds no body"},
  };
  for (const Row& row : rows) EXPECT_EQ(row.value.GetWord(), row.word) << row.why;
}

TEST(Val, RealsAndBigIntegersAreBoxedWhenTheyDoNotFit) {
  struct Row {
    double real;
    bool boxed;
  };
  const Row rows[] = {{0.0, false}, {1.5, true}, {-2.25e300, true}, {4.9e-324, false}, {-0.0, true}};
  for (const Row& row : rows) {
    const Val value(row.real);
    EXPECT_EQ((value.GetWord() & 0xFF) == 0x83, row.boxed) << row.real;
    EXPECT_EQ(std::signbit(value.GetFloat()), std::signbit(row.real));
    EXPECT_EQ(value.GetFloat(), row.real);
    EXPECT_EQ(Val(value).GetFloat(), row.real) << "a copy shares the box";
  }
  const Val big(int64_t{-0x123456789ABCDEF0});
  EXPECT_EQ(big.GetWord() & 0xFF, 0x82u);
  EXPECT_EQ(big.GetInt(), int64_t{-0x123456789ABCDEF0});
}

TEST(Val, OwnBoxIsReusedSharedBoxIsNot) {
  Val value(1.5);
  const uint64_t first = value.GetWord();
  value.SetFloat(2.5);
  EXPECT_EQ(value.GetWord(), first) << "count 1: the box is reused";
  const Val copy = value;
  value.SetFloat(3.5);
  EXPECT_NE(value.GetWord(), first);
  EXPECT_EQ(copy.GetFloat(), 2.5);
  EXPECT_EQ(value.GetFloat(), 3.5);
}

TEST(Val, StringsAreSharedReferences) {
  const AnsiStr text("shared text");
  Val value(text);
  EXPECT_EQ(value.GetWord() & 0xFF, 0x85u);
  EXPECT_TRUE(text.IsShared());
  {
    const Val copy = value;
    EXPECT_EQ(copy.GetStr(), text);
  }
  value.SetNil();
  EXPECT_FALSE(text.IsShared()) << "the value's reference is gone";
}

TEST(Val, CopiesOnManyThreadsKeepTheCountExact) {
  const Val value("counted");
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < 20000; ++i) {
        Val copy = value;
        Val other = std::move(copy);
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(static_cast<const Reference*>(value.GetPointer())->GetCount(), 1);
}

TEST(Val, ToStrAndGetInfo) {
  ValDic one;
  one.Set("k", 1);
  ValDic empty;
  empty.Set("gone", 1);
  empty.Remove("gone");
  Array<Val> three;
  three.Append(Val(1)).Append(Val(2)).Append(Val(3));
  VShapeType* shape = VShapeType::Create("point", Array<AnsiStr>().Append("x").Append("y"));
  VShapedObject* object = VShapedObject::Create(shape, 42, "P-42");
  Val objectValue;
  objectValue.SetObj(object);
  VShapedObject::Release(object);
  VShapeType::Release(shape);
  const char bytes[] = {1, 2, 3, 4, 5};
  struct Row {
    Val value;
    const char* text;
    const char* info;
  };
  const Row rows[] = {
      {Val(), "", "VAL_NIL"},
      {Val(true), "true", "VAL_BOOL: true"},
      {Val(-12), "-12", "VAL_INT: -12"},
      {Val("abc"), "abc", "VAL_STR: len 3 abc)"},
      {Val(one), "[1 entry]", "VAL_DIC: len 1"},
      {Val(empty), "[0 entries]", "VAL_DIC: len 0"},
      {Val(three), "[3 entries]", "VAL_VEC: len 3"},
      {Val(Blob(bytes, 5)), "[5 bytes]", "VAL_BLOB: len 5"},
      {objectValue, "[2 entries]", "VAL_OBJ: len 2 id 42 ident P-42"},
      {Val(DateTime64::Make(datetime{{2024, 3, 1}, {12, 30, 5}}, 7, 0)), "2024-03-01T12:30:05.007Z",
       "VAL_DATE: 2024-03-01T12:30:05.007Z"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.value.ToStr(), row.text);
    EXPECT_EQ(row.value.GetInfo(), row.info);
  }
  EXPECT_EQ(Val(0.5).GetInfo(), "VAL_FLOAT: 0.500000");
  EXPECT_STREQ(GetValTypeName(12), "VAL_???");
}

TEST(Val, TaggedSetValReleasesWhatTheWordHeld) {
  const AnsiStr text("tagged");
  Val word(text);
  TaggedValue<ValType, Val>::SetVal(word, VAL_INT, uint64_t{77});
  EXPECT_EQ(word.GetInt(), 77);
  EXPECT_FALSE(text.IsShared());
  ValDic dic;
  dic.Set("a", 1);
  TaggedValue<ValType, Val>::SetVal(word, VAL_DIC, static_cast<void*>(dic.GetImp()));
  EXPECT_EQ(word.GetWord() & 0xFF, 0x87u);
  EXPECT_EQ(dic.GetImp()->GetCount(), 1u);
  EXPECT_EQ(static_cast<const Reference*>(word.GetPointer())->GetCount(), 2);
}

TEST(ValDeathTest, PointerOutsideThePayloadIsFatal) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  Val word;
  EXPECT_DEATH(word.SetPiu(reinterpret_cast<void*>(uintptr_t{0x0100000000000000})),
               "Pointer value 0x100000000000000 not within supported range");
}

TEST(ValDic, HashUsesSignedBytes) {
  struct Row {
    const char* key;
    uint32_t hash;
    unsigned bucket;
  };
  const Row rows[] = {
      {"", 0, 0},
      {"a", 97, 6},
      {"ab", 97 * 31 + 98, (97 * 31 + 98) % 13},
      {"\xC3\xA9", 4294965318u, 7},  // -61 * 31 - 87
  };
  for (const Row& row : rows) {
    EXPECT_EQ(ValDic::Imp::Hash(row.key), row.hash) << row.key;
    EXPECT_EQ(ValDic::Imp::GetBucket(row.key), row.bucket) << row.key;
  }
}

TEST(ValDic, InsertionOrderBucketsAndReplacement) {
  ValDic dic;
  for (const char* key : {"b", "a", "x"}) dic.Set(key, key);
  dic.Set("a", 5);  // replaced in place
  ASSERT_EQ(dic.GetCount(), 3u);
  EXPECT_EQ(dic.GetKey(0), "b");
  EXPECT_EQ(dic.GetKey(1), "a");
  EXPECT_EQ(dic.GetKey(2), "x");
  EXPECT_EQ(dic.Get("a").GetInt(), 5);
  EXPECT_TRUE(dic.Get("missing").IsNil());
  const ValDic::Imp* body = dic.GetImp();
  // "a" (97) and "x" (120) share bucket 6 and 3; each bucket holds the key indices.
  EXPECT_EQ(body->buckets[ValDic::Imp::GetBucket("a")]->items[0], 1u);
  EXPECT_EQ(body->buckets[ValDic::Imp::GetBucket("x")]->items[0], 2u);
  EXPECT_GE(body->FindKey("zz", 2, ValDic::Imp::GetBucket("zz")), dic.GetCount());
  EXPECT_EQ(body->FindKey("x", 1, ValDic::Imp::GetBucket("x")), 2u);
}

TEST(ValDic, GrowthRuleAndShrink) {
  struct Row {
    uint32_t capacity, next;
  };
  const Row rows[] = {{0, 11}, {11, 21}, {19, 29}, {20, 30}, {99999, 149998}, {100000, 150000}, {0xFFFFFFF0u, 0xFFFFFFFFu}};
  for (const Row& row : rows) EXPECT_EQ(ValDic::GetGrowCapacity(row.capacity), row.next) << row.capacity;

  ValDic dic;
  for (int i = 0; i < 40; ++i) dic.Set(FmtArgs("k%d", i), i);
  EXPECT_EQ(dic.GetImp()->keys.GetCapacity(), 46u) << "11, 21, 31, 46";
  const uint32_t remove[] = {0, 39, 7, 7};
  ASSERT_TRUE(dic.GetImp()->Shrink(remove, 4));
  ASSERT_EQ(dic.GetCount(), 37u);
  EXPECT_EQ(dic.GetImp()->keys.GetCapacity(), 37u);
  EXPECT_EQ(dic.GetKey(0), "k1");
  EXPECT_EQ(dic.GetKey(6), "k8");
  for (int i = 1; i < 39; ++i) EXPECT_EQ(dic.Get(FmtArgs("k%d", i)).GetInt(), i == 7 ? 0 : i) << i;
  uint32_t indexed = 0;
  for (const ValDic::IndexArray* bucket : dic.GetImp()->buckets) indexed += bucket != nullptr ? bucket->count : 0;
  EXPECT_EQ(indexed, 37u) << "every surviving key is in exactly one bucket";
}

TEST(ValDic, BuildKeepsFirstPositionOfRepeatedKeys) {
  ValDic::Imp::Entry entries[] = {{"a", ValDic::Imp::Hash("a"), Val(1)},
                                  {"b", ValDic::Imp::Hash("b"), Val(2)},
                                  {"a", ValDic::Imp::Hash("a"), Val(3)}};
  ValDic dic = ValDic::Adopt(ValDic::Imp::Build(entries, 3));
  ASSERT_EQ(dic.GetCount(), 2u);
  EXPECT_EQ(dic.GetKey(0), "a");
  EXPECT_EQ(dic.Get("a").GetInt(), 3);
  EXPECT_EQ(dic.GetImp()->keys.GetCapacity(), 2u);
}

}  // namespace
}  // namespace OrvGuiBase
