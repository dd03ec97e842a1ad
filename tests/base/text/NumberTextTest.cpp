// Tests of the integer writers and parsers, the floating renderers and parsers, digit
// generation, and the installation's number symbols they honour.
#include <gtest/gtest.h>
#include <langinfo.h>
#include <locale.h>

#include <cerrno>
#include <cfloat>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "base/core/LastError.h"
#include "base/process/Setup.h"
#include "base/text/NumberText.h"

namespace OrvGuiBase {
namespace {

const char* const kNbsp = "\xC2\xA0";
const char* const kMinusSign = "\xE2\x88\x92";  // U+2212

// SymbolsGuard: a test that changes the installation's symbols restores the defaults after.
class NumberSymbolsTest : public ::testing::Test {
 protected:
  void TearDown() override { Setup::ResetNumberSymbols(); }
};

// ToText: the decimal text of any integer (128-bit so that "one past the limit" is expressible).
std::string ToText(__int128 value) {
  if (value == 0) return "0";
  const bool negative = value < 0;
  unsigned __int128 magnitude = negative ? -static_cast<unsigned __int128>(value) : value;
  std::string digits;
  while (magnitude != 0) {
    digits.insert(digits.begin(), static_cast<char>('0' + static_cast<int>(magnitude % 10)));
    magnitude /= 10;
  }
  return negative ? "-" + digits : digits;
}

std::string ToHex(unsigned __int128 value, bool negative = false) {
  std::string digits;
  do {
    digits.insert(digits.begin(), "0123456789abcdef"[static_cast<int>(value % 16)]);
    value /= 16;
  } while (value != 0);
  return (negative ? "-0x" : "0x") + digits;
}

// ---------------------------------------------------------------------------------------------
// Writers

template <class T>
void CheckWriter(char* (*writer)(char*, T), const char* name) {
  const std::vector<T> values = {std::numeric_limits<T>::min(), static_cast<T>(std::numeric_limits<T>::min() + 1),
                                 T(0), T(1), T(9), T(10), T(99), T(100), T(101), T(999), T(1000),
                                 static_cast<T>(std::numeric_limits<T>::max() - 1), std::numeric_limits<T>::max(),
                                 static_cast<T>(std::numeric_limits<T>::max() / 10),
                                 static_cast<T>(std::numeric_limits<T>::max() / 10 + 1)};
  std::mt19937_64 random(7);
  std::vector<T> all = values;
  for (int i = 0; i < 2000; ++i) all.push_back(static_cast<T>(random() >> (random() % 64)));
  for (int i = 0; i < 200; ++i) all.push_back(static_cast<T>(-static_cast<T>(random() % 1000)));
  for (T value : all) {
    char buffer[kMaxIntegerText];
    memset(buffer, 'x', sizeof buffer);
    char expected[32];
    *std::to_chars(expected, expected + sizeof expected, value).ptr = 0;
    EXPECT_EQ(writer(buffer, value), buffer);
    EXPECT_STREQ(buffer, expected) << name;
    EXPECT_EQ(buffer[strlen(expected) + 1], 'x') << name << ": writes nothing past the NUL";
  }
  EXPECT_EQ(writer(nullptr, T(5)), nullptr) << name;
}

TEST(IntegerWriters, EveryWidthAgreesWithToCharsAtItsEdges) {
  CheckWriter<int16_t>(Short2Str, "Short2Str");
  CheckWriter<uint16_t>(UShort2Str, "UShort2Str");
  CheckWriter<int32_t>(Int2Str, "Int2Str");
  CheckWriter<uint32_t>(UInt2Str, "UInt2Str");
  CheckWriter<int64_t>(Long2Str, "Long2Str");
  CheckWriter<uint64_t>(ULong2Str, "ULong2Str");
  CheckWriter<int64_t>(Hyper2Str, "Hyper2Str");
  CheckWriter<uint64_t>(UHyper2Str, "UHyper2Str");
}

TEST(IntegerWriters, UnsignedToTextInEveryRadix) {
  std::mt19937_64 random(11);
  std::vector<uint64_t> values = {0, 1, 15, 16, 35, 36, UINT64_MAX, UINT64_MAX - 1, uint64_t{1} << 63};
  for (int i = 0; i < 300; ++i) values.push_back(random() >> (random() % 64));
  for (unsigned radix = 2; radix <= 36; ++radix) {
    for (uint64_t value : values) {
      char buffer[kMaxIntegerText];
      char expected[70];
      *std::to_chars(expected, expected + sizeof expected, value, static_cast<int>(radix)).ptr = 0;
      EXPECT_EQ(_unsignedtotext(value, buffer, radix), strlen(expected));
      EXPECT_STREQ(buffer, expected) << "radix " << radix;
    }
  }
  char buffer[kMaxIntegerText] = "keep";
  SetLastError(0);
  EXPECT_EQ(_unsignedtotext(5, buffer, 1), 0u);
  EXPECT_EQ(GetLastError(), EINVAL);
  EXPECT_EQ(_unsignedtotext(5, buffer, 37), 0u);
  EXPECT_STREQ(buffer, "keep") << "a bad radix writes nothing";
  EXPECT_EQ(_unsignedtotext(5, nullptr, 10), 0u);
}

// ---------------------------------------------------------------------------------------------
// Integer parsers

template <class T>
using Parser = int32_t (*)(const char*, const char**, T*, bool, uint32_t);

// CheckLimits: the last value that fits and the first that does not, in decimal and hex, with
// and without an end pointer, for one width.
template <class T>
void CheckLimits(Parser<T> parse, const char* name) {
  const __int128 max = std::numeric_limits<T>::max();
  const __int128 min = std::numeric_limits<T>::min();
  struct Row {
    std::string text;
    int32_t result;
    __int128 value;
    const char* why;
  };
  std::vector<Row> rows = {
      {ToText(max), 0, max, "the maximum"},
      {ToText(max + 1), -2, 0, "one past the maximum"},
      {ToText(max * 10), -2, 0, "a digit more than the maximum"},
      {"000" + ToText(max), 0, max, "leading zeros do not count against the limit"},
      {ToHex(static_cast<unsigned __int128>(max)), 0, max, "the hexadecimal maximum"},
      {ToHex(static_cast<unsigned __int128>(max) + 1), -2, 0, "one past the hexadecimal maximum"},
      {"0X" + ToHex(static_cast<unsigned __int128>(max)).substr(2), 0, max, "upper-case prefix"},
      {"-0", 0, 0, "minus zero"},
      {"-0x0", 0, 0, "hexadecimal minus zero"},
      {ToText(max / 10), 0, max / 10, "one digit short of the maximum"},
  };
  if (min < 0) {
    rows.push_back({ToText(min), 0, min, "the minimum"});
    rows.push_back({ToText(min - 1), -2, 0, "one past the minimum"});
    rows.push_back({ToHex(static_cast<unsigned __int128>(max), true), 0, -max, "negative hexadecimal maximum"});
    rows.push_back({ToHex(static_cast<unsigned __int128>(max) + 1, true), -2, 0,
                    "hexadecimal magnitudes stop at the maximum whatever the sign"});
  } else {
    rows.push_back({"-1", -2, 0, "an unsigned type takes no negative number"});
    rows.push_back({"-0x1", -2, 0, "not in hexadecimal either"});
  }
  for (const Row& row : rows) {
    T value = 17;
    EXPECT_EQ(parse(row.text.c_str(), nullptr, &value, true, UINT32_MAX), row.result) << name << " " << row.text << ": " << row.why;
    EXPECT_TRUE(value == static_cast<T>(row.value)) << name << " " << row.text << ": " << row.why;
    const char* end = nullptr;
    value = 17;
    EXPECT_EQ(parse(row.text.c_str(), &end, &value, true, UINT32_MAX), row.result) << name << " " << row.text;
    EXPECT_TRUE(value == static_cast<T>(row.value)) << name << " " << row.text;
    EXPECT_EQ(end, row.result == 0 ? row.text.c_str() + row.text.size() : row.text.c_str()) << name << " " << row.text;
  }
}

TEST(IntegerParsers, LimitsOfEveryWidth) {
  CheckLimits<int16_t>(Str2Short, "Str2Short");
  CheckLimits<uint16_t>(Str2UShort, "Str2UShort");
  CheckLimits<int32_t>(Str2Int, "Str2Int");
  CheckLimits<uint32_t>(Str2UInt, "Str2UInt");
  CheckLimits<int64_t>(Str2Long, "Str2Long");
  CheckLimits<uint64_t>(Str2ULong, "Str2ULong");
  CheckLimits<int64_t>(Str2Hyper, "Str2Hyper");
  CheckLimits<uint64_t>(Str2UHyper, "Str2UHyper");
}

TEST(IntegerParsers, EndPointerBlanksAndSigns) {
  struct Row {
    const char* text;
    bool allowSign;
    uint32_t maxDigits;
    int32_t withEnd;      // result with an end pointer
    int32_t value;        // value then
    int endOffset;        // where *end points then
    int32_t withoutEnd;   // result without an end pointer
    const char* why;
  };
  const Row rows[] = {
      {"  42abc", true, UINT32_MAX, 0, 42, 4, -2, "the end stops at the first non-digit"},
      {"abc", true, UINT32_MAX, 0, 0, 0, -2, "no digit: end unchanged"},
      {"  abc", true, UINT32_MAX, 0, 0, 0, -2, "no digit after blanks: end still unchanged"},
      {"", true, UINT32_MAX, -1, 0, 0, -1, "empty"},
      {" \t\r\n\v\f", true, UINT32_MAX, -1, 0, 0, -1, "only blanks"},
      {"\t\n 42 \r\n", true, UINT32_MAX, 0, 42, 5, 0, "blanks on both sides"},
      {"-5", false, UINT32_MAX, 0, 0, 0, -2, "signs refused"},
      {"+5", false, UINT32_MAX, 0, 0, 0, -2, "plus refused too"},
      {"-5", true, UINT32_MAX, 0, -5, 2, 0, "minus"},
      {"+5", true, UINT32_MAX, 0, 5, 2, 0, "plus"},
      {"- \t5", true, UINT32_MAX, 0, -5, 4, 0, "blanks after the sign"},
      {"-", true, UINT32_MAX, -2, 0, 0, -2, "a sign and nothing after it"},
      {" +  ", true, UINT32_MAX, -2, 0, 0, -2, "a sign and only blanks"},
      {"-x", true, UINT32_MAX, 0, 0, 0, -2, "a sign without digits"},
      {"--5", true, UINT32_MAX, 0, 0, 0, -2, "one sign only"},
      {"12345", true, 3, 0, 123, 3, -2, "the digit limit ends the number"},
      {"12345", true, 5, 0, 12345, 5, 0, "exactly the digit limit"},
      {"00012", true, 3, 0, 0, 3, -2, "leading zeros count as digits"},
      {"12345", true, 0, 0, 0, 0, -2, "a zero digit limit reads nothing"},
      {"0x1234", true, 2, 0, 0x12, 4, -2, "the limit counts hexadecimal digits after the prefix"},
      {"0x7fffffff", true, UINT32_MAX, 0, 0x7fffffff, 10, 0, "the hexadecimal maximum"},
      {"0x80000000", true, UINT32_MAX, -2, 0, 0, -2, "one past it"},
      {"0xg", true, UINT32_MAX, 0, 0, 1, -2, "a prefix without a hexadecimal digit is the number 0"},
      {"0x", true, UINT32_MAX, 0, 0, 1, -2, "the same at the end of the text"},
      {"0xAbCdEf", true, UINT32_MAX, 0, 0xabcdef, 8, 0, "mixed case hexadecimal"},
      {"12 34", true, UINT32_MAX, 0, 12, 2, -2, "a blank inside the number ends it"},
      {"1.5", true, UINT32_MAX, 0, 1, 1, -2, "integers only"},
      {"2147483648", true, UINT32_MAX, -2, 0, 0, -2, "overflow even with an end pointer"},
      {"-2147483648", true, UINT32_MAX, 0, INT32_MIN, 11, 0, "the minimum"},
      {"99999999999999999999999", true, 9, 0, 999999999, 9, -2, "the digit limit comes before overflow"},
      {"\xC2\xA0" "5", true, UINT32_MAX, 0, 0, 0, -2, "a no-break space is no blank by default"},
  };
  for (const Row& row : rows) {
    const char* end = reinterpret_cast<const char*>(&row);
    int32_t value = 99;
    EXPECT_EQ(Str2Int(row.text, &end, &value, row.allowSign, row.maxDigits), row.withEnd) << row.text << ": " << row.why;
    EXPECT_EQ(value, row.value) << row.text << ": " << row.why;
    EXPECT_EQ(end - row.text, row.endOffset) << row.text << ": " << row.why;
    value = 99;
    EXPECT_EQ(Str2Int(row.text, nullptr, &value, row.allowSign, row.maxDigits), row.withoutEnd) << row.text << ": " << row.why;
    EXPECT_EQ(value, row.withoutEnd == 0 ? row.value : 0) << row.text << ": " << row.why;
    EXPECT_EQ(Str2Int(row.text, nullptr, nullptr, row.allowSign, row.maxDigits), row.withoutEnd) << "value may be null";
  }
  const char* end = "unchanged?";
  int32_t value = 3;
  EXPECT_EQ(Str2Int(nullptr, &end, &value), -1);
  EXPECT_EQ(end, nullptr) << "end is set to the (null) text";
  EXPECT_EQ(value, 0);
}

TEST_F(NumberSymbolsTest, ParsersHonourTheInstallationsSigns) {
  ASSERT_TRUE(Setup::SetNegativeSign(kMinusSign));
  ASSERT_TRUE(Setup::SetPositiveSign("\xE2\x8A\x95"));  // U+2295
  struct Row {
    std::string text;
    int32_t result;
    int64_t value;
    const char* why;
  };
  const Row rows[] = {
      {std::string(kMinusSign) + "17", 0, -17, "the installation's negative sign"},
      {std::string(kMinusSign) + " 17", 0, -17, "blanks after it"},
      {"\xE2\x8A\x95" "17", 0, 17, "the installation's positive sign"},
      {"-17", 0, -17, "the ASCII minus still works"},
      {"+17", 0, 17, "the ASCII plus still works"},
      {std::string(kMinusSign) + "9223372036854775808", 0, INT64_MIN, "the minimum behind a multi-byte sign"},
      {std::string(kMinusSign), -2, 0, "the sign alone"},
      {"\xE2\x88" "17", -2, 0, "a broken sign is no sign"},
  };
  for (const Row& row : rows) {
    int64_t value = 1;
    EXPECT_EQ(Str2Long(row.text.c_str(), nullptr, &value), row.result) << row.why;
    EXPECT_EQ(value, row.value) << row.why;
  }
  int64_t value = 1;
  EXPECT_EQ(Str2Long((std::string(kMinusSign) + "5").c_str(), nullptr, &value, false), -2) << "signs refused";
  double real = 0;
  EXPECT_EQ(Str2Double((std::string(kMinusSign) + " 2.5").c_str(), nullptr, &real), 0) << "the floating parser too";
  EXPECT_EQ(real, -2.5);
  EXPECT_EQ(Str2Double("\xE2\x8A\x95" "2.5", nullptr, &real), 0);
  EXPECT_EQ(real, 2.5);

  // A no-break space as sign symbol is a blank instead.
  ASSERT_TRUE(Setup::SetPositiveSign(kNbsp));
  int32_t small = 1;
  EXPECT_EQ(Str2Int("\xC2\xA0 \xC2\xA0" "42\xC2\xA0", nullptr, &small), 0);
  EXPECT_EQ(small, 42);
  EXPECT_EQ(Str2Int("42\xC2\xA0", nullptr, &small), 0) << "a trailing no-break space after a plain number";
  EXPECT_EQ(small, 42);
  EXPECT_EQ(Str2Int("-\xC2\xA0" "42", nullptr, &small), 0) << "blank after the minus";
  EXPECT_EQ(small, -42);
  EXPECT_EQ(Str2Int("\xC2\xA0", nullptr, &small), -1) << "only blanks";
  const char* text = "\xC2\xA0" "7x";
  const char* end = nullptr;
  EXPECT_EQ(Str2Int(text, &end, &small), 0);
  EXPECT_EQ(end, text + 3);
}

// ---------------------------------------------------------------------------------------------
// Digit generation

TEST(DigitGeneration, FcvtAndEcvtIntoAnAnsiStr) {
  struct Row {
    double value;
    int count;
    bool fixed;
    const char* digits;
    int32_t decimalPoint;
    int32_t sign;
  };
  const Row rows[] = {
      {123.456, 2, true, "12346", 3, 0},
      {-0.05, 2, true, "5", -1, 1},
      {0.001, 2, true, "", -2, 0},
      {0.0, 2, true, "000", 1, 0},
      {123.456, 5, false, "12346", 3, 0},
      {-0.000123456, 3, false, "123", -3, 1},
  };
  for (const Row& row : rows) {
    AnsiStr digits("old");
    int32_t decimalPoint = 99;
    int32_t sign = 99;
    const bool ok = row.fixed ? orvfcvt(row.value, row.count, digits, &decimalPoint, &sign)
                              : orvecvt(row.value, row.count, digits, &decimalPoint, &sign);
    EXPECT_TRUE(ok);
    EXPECT_STREQ(digits.GetStr(), row.digits) << row.value;
    EXPECT_EQ(decimalPoint, row.decimalPoint) << row.value;
    EXPECT_EQ(sign != 0, row.sign != 0) << row.value;
  }
  // The largest doubles with the most decimals still fit the work buffer.
  AnsiStr digits;
  int32_t decimalPoint = 0;
  EXPECT_TRUE(orvfcvt(-DBL_MAX, 17, digits, &decimalPoint, nullptr));
  EXPECT_EQ(decimalPoint, 309);
  EXPECT_GE(digits.GetLength(), 309u + 15u);
  EXPECT_TRUE(orvecvt(DBL_MIN, 17, digits, nullptr, nullptr));
  EXPECT_EQ(digits.GetLength(), 17u);
}

// ---------------------------------------------------------------------------------------------
// Floating renderers

struct RenderRow {
  double value;
  unsigned decimals;
  const char* text;
  const char* why;
};

TEST(FloatingRenderers, RoundingAtTheFifteenthDigitAndThroughNines) {
  const RenderRow rows[] = {
      {0.0, 2, "0.00", "zero"},
      {1.0, 0, "1", "no decimals, no separator"},
      {0.5, 3, "0.500", "missing decimals read as zeros"},
      {0.05, 1, "0.1", "rounded at the last decimal"},
      {-2.25, 3, "-2.250", "negative"},
      {-0.001, 2, "0.00", "a negative value that rounds to zero has no sign"},
      {-0.0, 1, "0.0", "minus zero"},
      {123456789012345.67, 2, "123456789012346.00", "the 16th digit rounds the 15th up, then zeros"},
      {1234567890123455.0, 0, "1234567890123460", "a 16th digit of five rounds up"},
      {1234567890123454.0, 0, "1234567890123450", "a 16th digit of four is cut"},
      {123456789012345.4, 1, "123456789012345.0", "the 16th digit below five: cut"},
      {99999999999999.99, 2, "100000000000000.00", "carry through nines past the first digit"},
      {999999999999999.9, 1, "1000000000000000.0", "carry through nines into a new digit"},
      {1234.567890123456789, 15, "1234.567890123460000", "decimals past the 15th digit become zeros"},
      {0.1234567890123456789, 15, "0.123456789012346", "15 decimals of a value below one"},
      {0.000123456789012345678, 15, "0.000123456789012", "leading zeros are not significant"},
      {0.99999999999999999, 15, "1.000000000000000", "a double that is one"},
      {1e16, 3, "10000000000000000.000", "the bound itself is a number"},
      {1e17, 2, "overflow", "above the bound"},
      {-1e17, 2, "underflow", "below the negative bound: the word for large negative values"},
      {HUGE_VAL, 2, "overflow", "infinity"},
      {-HUGE_VAL, 2, "underflow", "negative infinity"},
      {1e-300, 2, "0.00", "tiny values are zero, not underflow"},
      {3.0, 17, "3.000000000000000", "17 decimals are 15"},
      {3.0, 4000000000u, "3.000000000000000", "any count above 15 is 15"},
  };
  for (const RenderRow& row : rows) EXPECT_STREQ(Double2Str(row.value, row.decimals).GetStr(), row.text) << row.why;
  EXPECT_EQ(Double2Str(1.0 / 3, 17), Double2Str(1.0 / 3, 15));
  EXPECT_STREQ(Double2Str(std::nextafter(1e16, 1e17), 0).GetStr(), "overflow");

  SetLastError(0);
  EXPECT_TRUE(Double2Str(std::nan(""), 2).IsEmpty());
  EXPECT_EQ(GetLastError(), EDOM);
}

TEST(FloatingRenderers, FloatKeepsSixDigits) {
  struct Row {
    float value;
    unsigned decimals;
    const char* text;
    const char* why;
  };
  const Row rows[] = {
      {3.14159265f, 10, "3.141590", "six decimals and six significant digits"},
      {123456.789f, 2, "123457.00", "the 7th digit rounds the 6th"},
      {999999.5f, 1, "1000000.0", "carry through nines"},
      {1e9f, 1, "1000000000.0", "the bound itself"},
      {2e9f, 1, "overflow", "above the bound"},
      {-2e9f, 1, "underflow", "below the negative bound"},
      {-0.25f, 3, "-0.250", "negative"},
      {0.1f, 7, "0.100000", "the float's binary error stays hidden"},
  };
  for (const Row& row : rows) EXPECT_STREQ(Float2Str(row.value, row.decimals).GetStr(), row.text) << row.why;
}

TEST_F(NumberSymbolsTest, RenderersGroupAndUseTheInstallationsSymbols) {
  ASSERT_TRUE(Setup::SetThousand(","));
  const RenderRow grouped[] = {
      {1234567.891, 2, "1,234,567.89", "groups of three"},
      {-1234567.891, 2, "-1,234,567.89", "negative, grouped"},
      {123.0, 0, "123", "no separator below a thousand"},
      {1000.0, 0, "1,000", "the first group"},
      {100000.0, 1, "100,000.0", "three full groups"},
      {999.9, 0, "1,000", "rounding makes a new group"},
      {99999999999999.99, 2, "100,000,000,000,000.00", "carry through nines, grouped"},
      {0.5, 2, "0.50", "no integer digits"},
  };
  for (const RenderRow& row : grouped) EXPECT_STREQ(Double2Str(row.value, row.decimals).GetStr(), row.text) << row.why;
  EXPECT_STREQ(Float2Str(-123456.0f, 1).GetStr(), "-123,456.0");

  ASSERT_TRUE(Setup::SetThousand(kNbsp));
  ASSERT_TRUE(Setup::SetComma(","));
  ASSERT_TRUE(Setup::SetNegativeSign(kMinusSign));
  EXPECT_STREQ(Double2Str(-1234.5, 2).GetStr(), "\xE2\x88\x92" "1\xC2\xA0" "234,50");
  EXPECT_STREQ(Double2Str(1e16, 0).GetStr(), "10\xC2\xA0" "000\xC2\xA0" "000\xC2\xA0" "000\xC2\xA0" "000\xC2\xA0" "000");
}

// ---------------------------------------------------------------------------------------------
// Floating parsers

TEST_F(NumberSymbolsTest, FloatingParserContract) {
  ASSERT_TRUE(Setup::SetThousand(","));
  struct Row {
    const char* text;
    int32_t withEnd;
    double value;
    int endOffset;
    int32_t withoutEnd;
    const char* why;
  };
  const Row rows[] = {
      {"1,234.5", 0, 1234.5, 7, 0, "grouping and decimals"},
      {"12,345,678", 0, 12345678, 10, 0, "several groups"},
      {"1,23", 0, 1, 1, -2, "a group of two ends the number before the separator"},
      {"1,2345", 0, 1, 1, -2, "a group of four too"},
      {"1234,567", 0, 1234, 4, -2, "a first group of four takes no separator"},
      {"1,234,56", 0, 1234, 5, -2, "a later short group ends the number"},
      {",123", 0, 0, 0, -2, "no separator before the first digit"},
      {".5", 0, 0.5, 2, 0, "no integer digits"},
      {"5.", 0, 5, 2, 0, "no decimals"},
      {".", 0, 0, 0, -2, "a separator alone is no number"},
      {"-.5", 0, -0.5, 3, 0, "sign and fraction"},
      {"  -0.25 \t", 0, -0.25, 7, 0, "blanks"},
      {"\xC2\xA0" "7.5\xC2\xA0", 0, 7.5, 5, 0, "no-break spaces are blanks here"},
      {"1e3", 0, 1000, 3, 0, "an exponent"},
      {"2.5E-3", 0, 0.0025, 6, 0, "a negative exponent"},
      {"1e", 0, 1, 1, -2, "an e without digits is not an exponent"},
      {"1e+", 0, 1, 1, -2, "nor with only its sign"},
      {"1e400", -2, HUGE_VAL, 5, -2, "beyond the double's range"},
      {"-1e400", -2, -HUGE_VAL, 6, -2, "beyond it on the negative side"},
      {"1e-400", 0, 0, 6, 0, "too small is zero"},
      {"overflow", -2, HUGE_VAL, 8, -2, "the renderer's word for too large"},
      {"underflow", -2, -HUGE_VAL, 9, -2, "and for too large negative"},
      {"", -1, 0, 0, -1, "empty"},
      {"   ", -1, 0, 0, -1, "blank"},
      {"-", -2, 0, 0, -2, "a sign alone"},
      {"abc", 0, 0, 0, -2, "no number"},
      {"nan", 0, 0, 0, -2, "the renderers never write nan"},
      {"0x10", 0, 0, 1, -2, "decimal only"},
      {"4.9406564584124654e-324", 0, 4.9406564584124654e-324, 23, 0, "the smallest subnormal"},
      {"1.7976931348623157e308", 0, DBL_MAX, 22, 0, "the largest double"},
  };
  for (const Row& row : rows) {
    const char* end = nullptr;
    double value = 42;
    EXPECT_EQ(Str2Double(row.text, &end, &value), row.withEnd) << row.text << ": " << row.why;
    EXPECT_EQ(value, row.value) << row.text << ": " << row.why;
    EXPECT_EQ(end - row.text, row.endOffset) << row.text << ": " << row.why;
    value = 42;
    EXPECT_EQ(Str2Double(row.text, nullptr, &value), row.withoutEnd) << row.text << ": " << row.why;
  }
  double value = 1;
  EXPECT_EQ(Str2Double("-5", nullptr, &value, false), -2) << "signs refused";
  EXPECT_EQ(Str2Double("12345.6789", nullptr, &value, true, 3, 2), -2) << "digit limits end the number";
  const char* text = "12345.6789";
  const char* end = nullptr;
  EXPECT_EQ(Str2Double(text, &end, &value, true, 3, 2), 0);
  EXPECT_EQ(value, 123.0) << "three integer digits, then the limit";
  EXPECT_EQ(Str2Double(text, &end, &value, true, 5, 2), 0);
  EXPECT_EQ(value, 12345.67);
  EXPECT_EQ(end, text + 8);
  EXPECT_EQ(Str2Double(nullptr, &end, &value), -1);
  float small = 1;
  EXPECT_EQ(Str2Float("1e39", nullptr, &small), -2) << "beyond the float's range";
  EXPECT_EQ(small, HUGE_VALF);
  EXPECT_EQ(Str2Float("3.4028234e38", nullptr, &small), 0);
  EXPECT_EQ(small, FLT_MAX);

  // The installation's comma replaces "."; "." still reads unless it is the thousands separator.
  ASSERT_TRUE(Setup::SetThousand(""));
  ASSERT_TRUE(Setup::SetComma(","));
  ASSERT_TRUE(Setup::SetThousand("."));
  EXPECT_EQ(Str2Double("1.234,5", nullptr, &value), 0);
  EXPECT_EQ(value, 1234.5);
  EXPECT_EQ(Str2Double("1.5", nullptr, &value), -2) << "\".\" groups here";
  ASSERT_TRUE(Setup::SetThousand(""));
  EXPECT_EQ(Str2Double("1.5", nullptr, &value), 0);
  EXPECT_EQ(value, 1.5);
}

TEST(FloatingParsers, LongDigitRunsRoundCorrectly) {
  // Long texts against the C runtime: more digits than the parser keeps, halfway cases.
  std::mt19937_64 random(5);
  std::vector<std::string> texts = {
      "0." + std::string(900, '0') + "1",
      "1" + std::string(300, '0'),
      "0." + std::string(1000, '0') + "1e1200",
      "1" + std::string(400, '0') + "e-300",
      // Halfway between 1 and the next double, then a tiny bit more far down the digits.
      "1.00000000000000011102230246251565404236316680908203125",
      "1.00000000000000011102230246251565404236316680908203125" + std::string(900, '0') + "1",
      "1.00000000000000011102230246251565404236316680908203124" + std::string(900, '9'),
  };
  for (int i = 0; i < 200; ++i) {
    std::string text = std::to_string(random() % 1000) + ".";
    const size_t length = 700 + random() % 200;
    for (size_t k = 0; k < length; ++k) text += static_cast<char>('0' + random() % 10);
    texts.push_back(text);
  }
  for (const std::string& text : texts) {
    double value = 0;
    ASSERT_EQ(Str2Double(text.c_str(), nullptr, &value), 0) << text.substr(0, 40);
    EXPECT_EQ(value, strtod(text.c_str(), nullptr)) << text.substr(0, 60);
  }
}

// PlainForm: the text with the installation's separators turned into the C runtime's form.
std::string PlainForm(const std::string& text, const std::string& thousand, const std::string& comma,
                      const std::string& minus) {
  std::string plain;
  for (size_t i = 0; i < text.size();) {
    if (!thousand.empty() && text.compare(i, thousand.size(), thousand) == 0) i += thousand.size();
    else if (text.compare(i, comma.size(), comma) == 0) plain += '.', i += comma.size();
    else if (text.compare(i, minus.size(), minus) == 0) plain += '-', i += minus.size();
    else plain += text[i++];
  }
  return plain;
}

TEST_F(NumberSymbolsTest, RoundTripsReadBackEverythingTheRenderersWrite) {
  struct Symbols {
    const char* thousand;
    const char* comma;
    const char* minus;
  };
  const Symbols settings[] = {{"", ".", "-"}, {",", ".", "-"}, {kNbsp, ",", kMinusSign}, {".", ",", "-"}, {"'", ".", "-"}};
  std::mt19937_64 random(2024);
  std::uniform_real_distribution<double> unit(-1.0, 1.0);
  for (const Symbols& s : settings) {
    Setup::ResetNumberSymbols();
    ASSERT_TRUE(Setup::SetComma(s.comma));
    ASSERT_TRUE(Setup::SetThousand(s.thousand));
    ASSERT_TRUE(Setup::SetNegativeSign(s.minus));
    for (int i = 0; i < 4000; ++i) {
      double value = unit(random) * std::pow(10.0, static_cast<int>(random() % 40) - 20);
      if (i % 10 == 0) {  // any bit pattern, too
        const uint64_t bits = random();
        memcpy(&value, &bits, sizeof value);
        if (std::isnan(value)) continue;
      }
      const unsigned decimals = static_cast<unsigned>(random() % 18);
      const AnsiStr text = Double2Str(value, decimals);
      double back = 0;
      const int32_t result = Str2Double(text.GetStr(), nullptr, &back);
      if (text == "overflow" || text == "underflow") {
        EXPECT_EQ(result, -2);
        EXPECT_EQ(back, text == "overflow" ? HUGE_VAL : -HUGE_VAL);
        continue;
      }
      ASSERT_EQ(result, 0) << text.GetStr() << " from " << value;
      EXPECT_EQ(back, strtod(PlainForm(text.GetStr(), s.thousand, s.comma, s.minus).c_str(), nullptr)) << text.GetStr();
      EXPECT_STREQ(Double2Str(back, decimals).GetStr(), text.GetStr()) << "the text reads back to itself";

      const float single = static_cast<float>(value);
      const AnsiStr floatText = Float2Str(single, decimals);
      float floatBack = 0;
      const int32_t floatResult = Str2Float(floatText.GetStr(), nullptr, &floatBack);
      if (floatText == "overflow" || floatText == "underflow") {
        EXPECT_EQ(floatResult, -2);
        continue;
      }
      ASSERT_EQ(floatResult, 0) << floatText.GetStr();
      EXPECT_STREQ(Float2Str(floatBack, decimals).GetStr(), floatText.GetStr());
    }
  }
}

// ---------------------------------------------------------------------------------------------
// Setup values

TEST_F(NumberSymbolsTest, DefaultsAreTheCLocales) {
  const locale_t c = newlocale(LC_ALL_MASK, "C", nullptr);
  ASSERT_NE(c, nullptr);
  EXPECT_STREQ(Setup::GetComma(), nl_langinfo_l(RADIXCHAR, c));
  EXPECT_STREQ(Setup::GetThousand(), nl_langinfo_l(THOUSEP, c));
  freelocale(c);
  EXPECT_STREQ(Setup::GetPositiveSign(), "+");
  EXPECT_STREQ(Setup::GetNegativeSign(), "-");
  EXPECT_EQ(Setup::GetFractions(), 2u);
}

TEST_F(NumberSymbolsTest, SettersCheckTheirValues) {
  struct Row {
    bool (*set)(const char*);
    const char* value;
    bool accepted;
    const char* why;
  };
  const Row rows[] = {
      {Setup::SetComma, ",", true, "a comma"},
      {Setup::SetComma, "", false, "the comma may not be empty"},
      {Setup::SetComma, nullptr, false, "nor null"},
      {Setup::SetComma, "12345678", false, "longer than seven bytes"},
      {Setup::SetComma, "1", false, "a digit"},
      {Setup::SetComma, " ", false, "a blank"},
      {Setup::SetComma, "\xFF", false, "not UTF-8"},
      {Setup::SetThousand, "", true, "no grouping"},
      {Setup::SetThousand, kNbsp, true, "a no-break space"},
      {Setup::SetThousand, Setup::GetComma(), false, "the comma itself"},
      {Setup::SetNegativeSign, kMinusSign, true, "a multi-byte sign"},
      {Setup::SetNegativeSign, "", false, "an empty sign"},
      {Setup::SetPositiveSign, "-", false, "the same as the negative sign"},
  };
  for (const Row& row : rows) {
    Setup::ResetNumberSymbols();
    const NumberSymbols* before = &Setup::GetNumberSymbols();
    SetLastError(0);
    EXPECT_EQ(row.set(row.value), row.accepted) << row.why;
    if (!row.accepted) {
      EXPECT_EQ(GetLastError(), EINVAL) << row.why;
      EXPECT_EQ(&Setup::GetNumberSymbols(), before) << row.why << ": nothing changes";
    }
  }
  EXPECT_TRUE(Setup::SetFractions(15));
  EXPECT_EQ(Setup::GetFractions(), 15u);
  EXPECT_FALSE(Setup::SetFractions(16));
  EXPECT_EQ(Setup::GetFractions(), 15u);
}

TEST_F(NumberSymbolsTest, TextsStayValidAndSnapshotsAreReused) {
  const char* comma = Setup::GetComma();
  ASSERT_TRUE(Setup::SetComma(","));
  EXPECT_STREQ(comma, ".") << "a text handed out before stays as it was";
  EXPECT_STREQ(Setup::GetComma(), ",");
  const NumberSymbols* withComma = &Setup::GetNumberSymbols();
  for (int i = 0; i < 1000; ++i) {
    ASSERT_TRUE(Setup::SetComma("."));
    ASSERT_TRUE(Setup::SetComma(","));
  }
  EXPECT_EQ(&Setup::GetNumberSymbols(), withComma) << "toggling reuses the snapshots";
  Setup::ResetNumberSymbols();
  EXPECT_STREQ(Setup::GetComma(), ".");
}

TEST(SetupTimeZone, BiasFromThePlatformAndAHostsOverride) {
  const time_t now = time(nullptr);
  tm local{};
  localtime_r(&now, &local);
  const int platform = static_cast<int>(-local.tm_gmtoff / 60);
  EXPECT_EQ(Setup::GetTimeZoneBiasAt(now), platform);
  Setup::SetTimeZoneBias(-330);
  EXPECT_EQ(Setup::GetTimeZoneBias(), -330);
  EXPECT_EQ(GetTimeZoneBias(), -330) << "the free function forwards";
  Setup::ResetTimeZoneBias();
  EXPECT_EQ(GetTimeZoneBias(), Setup::GetTimeZoneBias());
  const int bias = Setup::GetTimeZoneBias();
  EXPECT_TRUE(bias == Setup::GetStandardBias() || bias == Setup::GetDaylightBias());
  for (int zoneBias : {Setup::GetStandardBias(), Setup::GetDaylightBias()}) {
    EXPECT_GE(zoneBias, -14 * 60);
    EXPECT_LE(zoneBias, 12 * 60);
  }
}

}  // namespace
}  // namespace OrvGuiBase
