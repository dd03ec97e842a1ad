// Tests of the JSON reader and writer: error texts, the value mapping, the output forms, the
// test suite corpus, round trips of real documents and the nesting limit on a small stack.
#include "base/data/Json.h"

#include <dirent.h>
#include <pthread.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "base/text/Formatter.h"

namespace OrvGuiBase {
namespace {

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

bool Parse(const std::string& text, Val& value, AnsiStr& error) {
  return JSON2Val(AnsiStr(text.data(), static_cast<uint32_t>(text.size())), value, error);
}

std::string Compact(const Val& value) {
  AnsiStr text, error;
  EXPECT_TRUE(Val2JSON(value, text, error, true, false)) << error.GetStr();
  return text.GetStr();
}

TEST(Json, EveryErrorText) {
  const std::string kTooDeep(kJSONMaxDepth + 1, '[');
  struct Row {
    const char* text;
    const char* error;
  };
  const Row rows[] = {
      {"{\"a\":1,}", "string or '}' expected"},
      {"{1:2}", "string or '}' expected"},
      {"{\"a\" 1}", "':' expected"},
      {"{\"a\":1 \"b\"}", "'}' expected"},
      {"[1 2]", "']' expected"},
      {"[,]", "value expected"},
      {"", "value expected"},
      {"01", "leading zeros are not allowed"},
      {"-01", "negative leading zeros are not allowed"},
      {"1.", "real truncated at point"},
      {"1.e5", "real truncated at point"},
      {"1e999", "number out of range (overflow)"},
      {"-1e999", "number out of range (overflow)"},
      {"-", "invalid number [-]"},
      {"99999999999999999999", "invalid number [99999999999999999999]"},
      {"1 2", "EOF expected"},
      {"1e", "EOF expected"},
      {"truex", "EOF expected"},
      {"[truex]", "']' expected"},
      {"tru", "invalid token"},
      {"\x01", "invalid token"},
      {"+1", "invalid token"},
      {"[\"a\tb\"]", "invalid control character"},
      {"[\"\\x\"]", "invalid escape"},
      {"[\"abc", "unterminated string"},
      {"[\"\\u12\"]", "invalid unicode (digits missing)"},
      {"[\"\\u12G4\"]", "invalid unicode (digits invalid)"},
      {"[\"\\ud800\\u0041\"]", "invalid unicode (second surrogate invalid \"\\ud800\\u0041\")"},
      {"[\"\\ud834x\"]", "invalid unicode (second surrogate missing \"\\ud834\")"},
      {"[\"\\udc00\"]", "invalid unicode (range \"\\udc00\")"},
      {"[\"\\u0000\"]", "invalid unicode (zero)"},
      {"[\"\xF8\x88\x80\x80\x80\"]", "invalid unicode (200000)"},
      {"[\"\x80\"]", "invalid leading continuation byte encountered"},
      {"[\"\xC1\xBF\"]", "invalid overlong encoding of basic ASCII characters"},
      {"[\"\xFF\"]", "invalid utf-8 sequence"},
      {"[\"\xE2\x82\"]", "continuation byte missing"},
      {"[\"\xF4\x90\x80\x80\"]", "invalid unicode (overflow 110000)"},
      {"[\"\xED\xA0\x80\"]", "invalid unicode (surrogate halves d800)"},
      {"[\"\xE0\x80\xAF\"]", "invalid unicode (overlong encoding 2f)"},
      {kTooDeep.c_str(), "nesting too deep (more than 512 levels)"},
  };
  for (const Row& row : rows) {
    Val value(7);
    AnsiStr error;
    EXPECT_FALSE(JSON2Val(row.text, value, error)) << row.text;
    EXPECT_EQ(error, row.error) << row.text;
    EXPECT_TRUE(value.IsNil()) << row.text;
  }
  Val value;
  AnsiStr error;
  EXPECT_FALSE(Parse(std::string("[1]\0", 4), value, error)) << "a zero before the end is no terminator";
  EXPECT_EQ(error, "EOF expected");
  AnsiStrBuilder builder;
  EXPECT_FALSE(UnQuoteEscapeJSON("abc\"", builder, error, nullptr));
  EXPECT_EQ(error, "quote is missing");
  EXPECT_TRUE(UnQuoteEscapeJSON("\"a\tb\"", builder, error, nullptr, false)) << "lenient: raw controls pass";
}

TEST(Json, ValuesReadAndWritten) {
  struct Row {
    const char* text;
    unsigned type;
    const char* compact;
  };
  const Row rows[] = {
      {"null", VAL_NIL, "null"},
      {" true ", VAL_BOOL, "true"},
      {"false", VAL_BOOL, "false"},
      {"-9223372036854775808", VAL_INT, "-9223372036854775808"},
      {"9223372036854775807", VAL_INT, "9223372036854775807"},
      {"-0", VAL_INT, "0"},
      {"0.333333333333333333", VAL_FLOAT, "0.333333333333333"},
      {"1.0", VAL_FLOAT, "1"},
      {"1E2", VAL_FLOAT, "100"},
      {"-2.5e-3", VAL_FLOAT, "-0.0025"},
      {"1e-400", VAL_FLOAT, "0"},
      {"1.5e300", VAL_FLOAT, "1.5e+300"},
      {"\"\\u00e9\\ud834\\udd1e\\/\\b\"", VAL_STR, "\"\xC3\xA9\xF0\x9D\x84\x9E/\\b\""},
      {"\"\x7F\x01\"", VAL_STR, nullptr},
      {"[]", VAL_VEC, "[]"},
      {"{}", VAL_DIC, "{}"},
      {"{\"b\":1,\"a\":[true,{\"c\":null}],\"b\":2}", VAL_DIC, "{\"b\":2,\"a\":[true,{\"c\":null}]}"},
  };
  for (const Row& row : rows) {
    Val value;
    AnsiStr error;
    if (row.compact == nullptr) {
      EXPECT_FALSE(JSON2Val(row.text, value, error)) << row.text;
      continue;
    }
    ASSERT_TRUE(JSON2Val(row.text, value, error)) << row.text << ": " << error.GetStr();
    EXPECT_EQ(value.GetType(), row.type) << row.text;
    EXPECT_EQ(Compact(value), row.compact) << row.text;
  }
}

// Reals are read to the nearest double, exactly as strtod reads them in the C locale: random
// digit strings of every length and scale, the halfway cases of the fast path, and every
// number of the benchmark documents.
TEST(Json, RealsReadAsStrtodReadsThem) {
  std::vector<std::string> numbers = {"9007199254740993.0", "0.1", "2.2250738585072011e-308", "4.9e-324",
                                      "1.7976931348623157e308", "123456789012345678e-27", "8.98846567431158e307",
                                      "0.000000000000000000000000000001", "-0.0", "5e-1", "1.00000000000000011102230246251565"};
  uint64_t state = 0x9E3779B97F4A7C15ull;
  auto next = [&state] { return (state = state * 6364136223846793005ull + 1442695040888963407ull) >> 33; };
  for (int i = 0; i < 200000; ++i) {
    std::string digits = std::to_string(1 + next() % 9);
    for (uint64_t n = next() % 20; n > 0; --n) digits += static_cast<char>('0' + next() % 10);
    const size_t point = 1 + next() % std::min<size_t>(digits.size(), 18);  // integral parts fit 64 bits
    std::string text = digits.substr(0, point) + "." + (point < digits.size() ? digits.substr(point) : "0");
    if (next() % 2 != 0) text += "e" + std::to_string(static_cast<int>(next() % 70) - 35);
    numbers.push_back(text);
  }
  for (const char* name : {"canada.json", "citm_catalog.json", "twitter.json"}) {
    const std::string document = ReadFile(std::string(ORVGUI_TEST_CORPUS) + "/json/bench/" + name);
    for (size_t at = 0; (at = document.find_first_of("-0123456789", at)) != std::string::npos;) {
      const size_t end = document.find_first_not_of("-+.eE0123456789", at);
      const std::string text = document.substr(at, end - at);
      const bool outsideStrings = strchr("[,: \n", document[at - 1]) != nullptr && strchr(",]}\r\n ", document[end]) != nullptr;
      if (outsideStrings && text.find_first_of(".eE") != std::string::npos) numbers.push_back(text);
      at = end;
    }
  }
  size_t wrong = 0;
  for (const std::string& text : numbers) {
    Val value;
    AnsiStr error;
    ASSERT_TRUE(JSON2Val(text.c_str(), value, error)) << text << ": " << error.GetStr();
    const double expected = strtod(text.c_str(), nullptr);
    const double got = value.GetFloat();
    if (memcmp(&expected, &got, sizeof got) != 0 && ++wrong < 10) ADD_FAILURE() << text;
  }
  EXPECT_EQ(wrong, 0u) << "of " << numbers.size();
}

// Names are shared between members only when their bytes are equal: thousands of short
// names from a small alphabet, many of one length landing on one cache slot, come back exactly.
TEST(Json, NamesSharedOnlyWhenEqual) {
  std::vector<std::string> names;
  uint64_t state = 7;
  std::string text = "[";
  for (int round = 0; round < 2; ++round) {
    text += round == 0 ? "{" : ",{";
    for (int i = 0; i < 3000; ++i) {
      if (round == 0) {
        std::string name;
        for (uint64_t n = 1 + (state = state * 6364136223846793005ull + 1) % 20; n > 0; --n)
          name += static_cast<char>('a' + ((state = state * 6364136223846793005ull + 1) >> 60) % 3);
        names.push_back(name + std::to_string(i));  // unique, and of every length up to 25
      }
      text += (i == 0 ? "\"" : ",\"") + names[static_cast<size_t>(i)] + "\":" + std::to_string(i);
    }
    text += "}";
  }
  text += "]";
  Val value;
  AnsiStr error;
  ASSERT_TRUE(Parse(text, value, error)) << error.GetStr();
  for (uint32_t object = 0; object < 2; ++object) {
    const ValDic dic = value.GetVec()[object].GetDic();
    ASSERT_EQ(dic.GetKeys().GetCount(), names.size());
    for (uint32_t i = 0; i < names.size(); ++i) ASSERT_STREQ(dic.GetKeys()[i].GetStr(), names[i].c_str()) << i;
  }
}

TEST(Json, PrettyFormAndWriterFailures) {
  Val value;
  AnsiStr error, text;
  ASSERT_TRUE(JSON2Val("{\"a\":[1,{}],\"b\":{\"c\":\"x\"},\"d\":[]}", value, error));
  ASSERT_TRUE(Val2JSON(value, text, error, false, false));
  EXPECT_EQ(text,
            "{\r\n  \"a\":[\r\n    1,\r\n    {}\r\n  ],\r\n  \"b\":{\r\n    \"c\":\"x\"\r\n  },\r\n  \"d\":[]\r\n}");

  ValDic dic;
  dic.Set("q\"\n\xC3\xA9\xF0\x9D\x84\x9E", "\x01");
  ASSERT_TRUE(Val2JSON(Val(dic), text, error, true, true));
  EXPECT_EQ(text, "{\"q\\\"\\n\\u00e9\\ud834\\udd1e\":\"\\u0001\"}");

  Val piu;
  piu.SetPiu(&dic);
  struct Row {
    Val value;
    const char* error;
  };
  const Row rows[] = {{piu, "unsupported value (IUnknown)"},
                      {Val(INFINITY), "unsupported value (infinite or NaN real)"},
                      {Val("\xC3"), "continuation byte missing"}};
  for (const Row& row : rows) {
    EXPECT_FALSE(Val2JSON(row.value, text, error, true, false));
    EXPECT_EQ(error, row.error);
    EXPECT_TRUE(text.IsEmpty());
  }
  EXPECT_EQ(Compact(Val(DateTime64::Make(datetime{{2024, 3, 1}, {12, 30, 5}}, 0, 0))), "\"2024-03-01T12:30:05.000Z\"");
  EXPECT_EQ(Compact(Val(Blob("ab", 2))), "null");

  Array<Val> deep;
  for (unsigned i = 1; i < kJSONMaxDepth; ++i) {  // [] and 511 around it
    Array<Val> outer;
    outer.Append(Val(deep));
    deep = outer;
  }
  EXPECT_TRUE(Val2JSON(Val(deep), text, error));
  Array<Val> tooDeep;
  tooDeep.Append(Val(deep));
  EXPECT_FALSE(Val2JSON(Val(tooDeep), text, error));
  EXPECT_EQ(error, "nesting too deep (more than 512 levels)");
}

// Equal: values equal up to the writer's 15 significant digits (an integral real that was
// written without a point reads back as an integer).
bool Equal(const Val& a, const Val& b) {
  const bool numbers = (a.GetType() == VAL_INT || a.GetType() == VAL_FLOAT) &&
                       (b.GetType() == VAL_INT || b.GetType() == VAL_FLOAT);
  if (numbers) {
    const double x = a.GetType() == VAL_INT ? static_cast<double>(a.GetInt()) : a.GetFloat();
    const double y = b.GetType() == VAL_INT ? static_cast<double>(b.GetInt()) : b.GetFloat();
    return std::fabs(x - y) <= 1e-14 * std::fabs(x);
  }
  if (a.GetType() != b.GetType()) return false;
  if (a.GetType() == VAL_VEC) {
    uint32_t n, m;
    const Val* x = a.GetVecData(&n);
    const Val* y = b.GetVecData(&m);
    for (uint32_t i = 0; n == m && i < n; ++i)
      if (!Equal(x[i], y[i])) return false;
    return n == m;
  }
  if (a.GetType() == VAL_DIC) {
    const ValDic x = a.GetDic(), y = b.GetDic();
    for (uint32_t i = 0; x.GetCount() == y.GetCount() && i < x.GetCount(); ++i)
      if (!(x.GetKey(i) == y.GetKey(i)) || !Equal(x.GetValue(i), y.GetValue(i))) return false;
    return x.GetCount() == y.GetCount();
  }
  return a == b;
}

TEST(Json, BenchmarkDocumentsRoundTrip) {
  for (const char* name : {"twitter.json", "citm_catalog.json", "canada.json"}) {
    const std::string text = ReadFile(std::string(ORVGUI_TEST_CORPUS) + "/json/bench/" + name);
    ASSERT_FALSE(text.empty()) << name;
    Val first, second, third;
    AnsiStr error, compact, pretty;
    ASSERT_TRUE(Parse(text, first, error)) << name << ": " << error.GetStr();
    ASSERT_TRUE(Val2JSON(first, compact, error, true, false)) << error.GetStr();
    ASSERT_TRUE(Val2JSON(first, pretty, error, false, false)) << error.GetStr();
    EXPECT_EQ(std::string(compact.GetStr()).find_first_of("\r\n"), std::string::npos);
    ASSERT_TRUE(JSON2Val(compact, second, error)) << error.GetStr();
    ASSERT_TRUE(JSON2Val(pretty, third, error)) << error.GetStr();
    EXPECT_TRUE(Equal(first, second)) << name;
    EXPECT_TRUE(Equal(second, third)) << name;
    EXPECT_EQ(Compact(second), compact.GetStr()) << name << ": the second print is stable";
  }
  Val doc;
  AnsiStr error;
  ASSERT_TRUE(Parse(ReadFile(std::string(ORVGUI_TEST_CORPUS) + "/json/bench/twitter.json"), doc, error));
  const Val status = doc.GetDic().Get("statuses").GetVec()[0];
  EXPECT_EQ(status.GetDic().Get("id").GetInt(), 505874924095815700) << "ids beyond 56 bits are kept";
  EXPECT_EQ(status.GetDic().GetKey(0), "metadata") << "members keep document order";
}

const char kSuiteExpectations[] =
#include "JsonSuiteExpectations.inc"
    ;

// The JSONTestSuite: y_ files are accepted and n_ files rejected, except where the expectations
// file records a deliberate decision; every i_ decision is recorded there too.
TEST(Json, TestSuiteDecisions) {
  const std::string dir = std::string(ORVGUI_TEST_CORPUS) + "/json/JSONTestSuite/test_parsing/";
  std::map<std::string, std::string> expected;
  std::istringstream list(kSuiteExpectations);
  for (std::string line; std::getline(list, line);) {
    if (line.empty() || line[0] == '#' || line[0] == 'R' || line[0] == ')') continue;
    std::istringstream fields(line);
    std::string file, decision;
    fields >> file >> decision;
    expected[file] = decision;
  }
  ASSERT_EQ(expected.size(), 37u) << "two y_ decisions and every i_ file";
  DIR* directory = opendir(dir.c_str());
  ASSERT_NE(directory, nullptr);
  int files = 0;
  std::string record;
  while (dirent* entry = readdir(directory)) {
    const std::string name = entry->d_name;
    if (name.size() < 2 || name[1] != '_') continue;
    ++files;
    Val value;
    AnsiStr error;
    const bool accepted = Parse(ReadFile(dir + name), value, error);
    std::string want = name[0] == 'y' ? "accept" : name[0] == 'n' ? "reject" : "";
    if (expected.count(name) != 0) want = expected[name];
    EXPECT_EQ(accepted ? "accept" : "reject", want) << name << ": " << error.GetStr();
    if (name[0] == 'i') record += name + " " + (accepted ? "accept" : "reject") + "\n";
  }
  closedir(directory);
  EXPECT_EQ(files, 318);
  if (getenv("JSON_SUITE_RECORD") != nullptr) printf("%s", record.c_str());
}

// A document at the nesting limit on a thread with a 256 KiB stack: parsed, printed, freed.
void* ParseAtTheLimit(void* result) {
  std::string text;
  for (unsigned i = 0; i < kJSONMaxDepth; ++i) text += i % 2 ? "{\"k\":" : "[";
  text += "0";
  for (unsigned i = kJSONMaxDepth; i-- > 0;) text += i % 2 ? "}" : "]";
  bool ok;
  {
    Val value;
    AnsiStr error, out;
    ok = JSON2Val(text.c_str(), value, error) && Val2JSON(value, out, error, false) && JSON2Val(out, value, error) &&
         Val2JSON(value, out, error) && out == text.c_str();
    if (!ok) fprintf(stderr, "at the limit: %s\n", error.GetStr());
  }
  *static_cast<bool*>(result) = ok;
  return nullptr;
}

TEST(Json, NestingLimitOnA256KiBStack) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, 256 * 1024);
  bool ok = false;
  pthread_t thread;
  ASSERT_EQ(pthread_create(&thread, &attributes, ParseAtTheLimit, &ok), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
  EXPECT_TRUE(ok);
}

}  // namespace
}  // namespace OrvGuiBase
