// Tests of the formatter: directive grammar, addressing, fetching, bounded pieces, fast paths.
#include "base/text/Formatter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <cstring>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>

#include "base/text/WideStr.h"

namespace OrvGuiBase {
namespace {

std::string F(const AnsiStr& s) { return std::string(s.GetStr(), s.GetLength()); }

TEST(Formatter, AddressingAndRepetition) {
  EXPECT_EQ(F(FmtArgs("%2$s %1$s", "a", "b")), "b a");
  EXPECT_EQ(F(FmtArgs("%1$s %s", "a", "b")), "") << "mixed addressing is rejected whole";
  EXPECT_EQ(F(FmtArgs("%s %1$s", "a", "b")), "");
  EXPECT_EQ(F(FmtArgs("%1$d %1$d", 7)), "7 7");
  EXPECT_EQ(F(FmtArgs("%3$s-%1$d", 5, 0, "x")), "x-5") << "an unused position is consumed as an integer";
  EXPECT_EQ(F(FmtArgs("%*d|%-*d|", 4, 7, 3, 8)), "   7|8  |");
  EXPECT_EQ(F(FmtArgs("%2$*1$d|", 5, 42)), "   42|");
  EXPECT_EQ(F(FmtArgs("%.*f", 2, 3.14159)), "3.14");
  EXPECT_EQ(F(FmtArgs("%*d", -4, 1)), "1   ") << "a negative width left-aligns";
}

TEST(Formatter, GrammarEdges) {
  struct Row {
    const char* format;
    const char* expected;
  };
  const Row rows[] = {
      {"100%%", "100%"},
      {"%%d", "%d"},
      {"a%qkb", "akb"},  // no conversion: the k is literal text
      {"%n", "n"},
      {"%F", "F"},
      {"x%", "x"},
      {"%5", ""},
      {"caf\xC3\xA9 %%", "caf\xC3\xA9 %"},
  };
  for (const Row& row : rows) EXPECT_EQ(F(FmtList(row.format, nullptr, nullptr)), row.expected) << row.format;
}

TEST(Formatter, IntegerWidthsAndModifiers) {
  EXPECT_EQ(F(FmtArgs("%I64d", int64_t{1} << 32)), "4294967296");
  EXPECT_EQ(F(FmtArgs("%I32d", -1)), "-1");
  EXPECT_EQ(F(FmtArgs("%I32u", -1)), "4294967295") << "widened without sign";
  EXPECT_EQ(F(FmtArgs("%lld|%zu|%jd|%td|%qd|%Ld", int64_t{-1} << 40, size_t{1} << 40, intmax_t{1} << 41,
                      ptrdiff_t{1} << 42, int64_t{3} << 50, int64_t{-5})),
            "-1099511627776|1099511627776|2199023255552|4398046511104|3377699720527872|-5");
  EXPECT_EQ(F(FmtArgs("%hd|%hhd|%d", 70000, 300, INT32_MIN)), "4464|300|-2147483648") << "hh is read as h";
  EXPECT_EQ(F(FmtArgs("%x|%X|%08X|%#x|%o", 0xBEEFu, 0xBEEFu, 0xABu, 255u, 8u)), "beef|BEEF|000000AB|0xff|10");
  EXPECT_EQ(F(FmtArgs("%I16d|%I8x", 65535, 255)), "65535|ff");
  EXPECT_EQ(F(FmtList("%I12d|%qs|end", nullptr, nullptr)), "||end") << "unsupported combinations print nothing";
}

TEST(Formatter, StringsAndPointers) {
  EXPECT_EQ(F(FmtArgs("%s", static_cast<const char*>(nullptr))), "(null)");
  EXPECT_EQ(F(FmtArgs("%10s|%-4s|%.2s", "abc", "x", "xyz")), "       abc|x   |xy");
  EXPECT_EQ(F(FmtArgs("%c%c", 'o', 'k')), "ok");
  std::string big(5000, 'q');
  EXPECT_EQ(F(FmtArgs("[%s]", big.c_str())).size(), 5002u) << "a string piece holds the whole string";
  EXPECT_EQ(F(FmtArgs("[%8s]", big.c_str())).size(), 5002u);
  EXPECT_NE(F(FmtArgs("%p", static_cast<void*>(&big))), "");
  EXPECT_EQ(F(FmtArgs("%ls|%S", L"wide", L"too")), "wide|too");
}

TEST(Formatter, PiecesAreBounded) {
  const std::string plain = F(FmtArgs("%f", 1e300));
  EXPECT_EQ(plain.size(), 128u);
  EXPECT_EQ(plain.substr(0, 5), "10000");
  EXPECT_EQ(F(FmtArgs("%200f", 1e300)).size(), 200u);
  EXPECT_EQ(F(FmtArgs("%.3f", 2.0)), "2.000");
  EXPECT_EQ(F(FmtArgs("%300d", 1)).size(), 300u);
}

TEST(Formatter, BadPointersBecomeError) {
  const char* bad = reinterpret_cast<const char*>(uintptr_t{24});
  EXPECT_EQ(F(FmtArgs("<%s>", bad)), "<(error)>");
  EXPECT_EQ(F(FmtArgs("<%5s|%d>", bad, 3)), "<(error)|3>") << "only the faulting piece is lost";
}

TEST(Formatter, RendersInTheCLocale) {
  if (setlocale(LC_NUMERIC, "de_DE.UTF-8") == nullptr && setlocale(LC_NUMERIC, "C.UTF-8") == nullptr)
    GTEST_SKIP() << "no other locale here";
  EXPECT_EQ(F(FmtArgs("%.2f", 1.5)), "1.50");
  setlocale(LC_NUMERIC, "C");
}

// Every directive the formatter lays out itself prints byte for byte what the runtime's
// printf prints in the "C" locale, cut at the piece's bound, through both the one-pass path
// (FmtArgs) and the table (the callback form).
struct Argument {
  unsigned type;
  int64_t integer;
  double real;
  const char* text;
};
bool FetchArgument(unsigned, unsigned type, FmtValues& value, const void* context) {
  const Argument* a = static_cast<const Argument*>(context);
  if (type != a->type) return false;
  value.int32 = static_cast<int32_t>(a->integer);
  value.int64 = a->integer;
  value.real = a->real;
  value.pointer = a->text;
  return true;
}

TEST(Formatter, LayoutMatchesTheRuntimeFormatter) {
  std::mt19937_64 random(7);
  const char* modifiers[] = {"", "h", "l", "ll", "I64", "I32"};
  const char* texts[] = {"", "x", "component", "caf\xC3\xA9 au lait"};
  const double reals[] = {0.0, -0.0, 0.5, 1.5, 2.5, -3.14159265, 1e-7, 123456.789, 9.9999999, 1e22, -1e300, 5e-324,
                          0.1, 1234567890123.0, 0.000123456};
  for (int i = 0; i < 20000; ++i) {
    std::string pattern = "%";
    for (const char flag : {'-', '+', ' ', '#', '0'})
      if (random() % 4 == 0) pattern += flag;
    const int width = random() % 3 == 0 ? -1 : static_cast<int>(random() % 3 == 0 ? 130 + random() % 4 : random() % 14);
    if (width >= 0) pattern += std::to_string(width);
    const int precision = random() % 3 == 0 ? -1 : static_cast<int>(random() % 5 == 0 ? 140 : random() % 20);
    if (precision >= 0) pattern += random() % 8 == 0 && precision == 0 ? "." : "." + std::to_string(precision);
    const char conversion = "diuoxXcseEfgG"[random() % 13];
    std::string ours = pattern, theirs = pattern;
    Argument a{FmtValues::kInt32, static_cast<int64_t>(random()) >> (random() % 64), reals[random() % 15], texts[random() % 4]};
    if (random() % 3 == 0) a.real = std::ldexp(static_cast<double>(random() % 1000000) - 500000, static_cast<int>(random() % 80) - 60);
    char expected[512];
    if (strchr("diuoxX", conversion) != nullptr) {
      const std::string modifier = modifiers[random() % 6];
      const bool wide = modifier == "l" || modifier == "ll" || modifier == "I64";
      ours += modifier + conversion;
      theirs += (wide ? "ll" : modifier == "h" ? "h" : "") + std::string(1, conversion);
      a.type = wide ? FmtValues::kInt64 : FmtValues::kInt32;
      if (wide) snprintf(expected, sizeof expected, theirs.c_str(), static_cast<long long>(a.integer));
      else snprintf(expected, sizeof expected, theirs.c_str(), static_cast<int>(a.integer));
    } else if (conversion == 'c') {
      ours += conversion;
      a.integer = random() % 5 == 0 ? 0 : 'a' + static_cast<int>(random() % 26);
      snprintf(expected, sizeof expected, ours.c_str(), static_cast<int>(a.integer));
    } else if (conversion == 's') {
      ours += conversion;
      a.type = FmtValues::kPointer;
      snprintf(expected, sizeof expected, ours.c_str(), a.text);
    } else {
      ours += conversion;
      a.type = FmtValues::kDouble;
      snprintf(expected, sizeof expected, ours.c_str(), a.real);
    }
    std::string want(expected, strnlen(expected, sizeof expected));
    if (conversion != 's') want = want.substr(0, std::max(width, 128));
    const std::string format = "<" + ours + ">";
    const std::string onePass = a.type == FmtValues::kDouble ? F(FmtArgs(format.c_str(), a.real))
                                : a.type == FmtValues::kPointer ? F(FmtArgs(format.c_str(), a.text))
                                : a.type == FmtValues::kInt64 ? F(FmtArgs(format.c_str(), static_cast<long long>(a.integer)))
                                                               : F(FmtArgs(format.c_str(), static_cast<int>(a.integer)));
    ASSERT_EQ(onePass, "<" + want + ">") << format << " " << a.integer << " " << a.real;
    ASSERT_EQ(F(FmtList(format.c_str(), &FetchArgument, &a)), onePass) << format;
  }
}

// The one-pass path (a va_list with a plain format) and the table (the callback form always
// builds one) print the same bytes.
struct Values {
  int32_t i32;
  int64_t i64;
  const char* text;
};
bool FetchValues(unsigned number, unsigned type, FmtValues& value, const void* context) {
  const Values* v = static_cast<const Values*>(context);
  if (type == FmtValues::kInt64) value.int64 = v->i64;
  else if (type == FmtValues::kPointer) value.pointer = v->text;
  else value.int32 = number == 6 ? 'a' + (v->i32 & 15) : v->i32;
  return true;
}

TEST(Formatter, OnePassAndTablePathsAgree) {
  std::mt19937_64 random(11);
  const char* texts[] = {"", "x", "caf\xC3\xA9", nullptr};
  const char* format = "<%d|%u|%x|%X|%I64d|%c|%s|%%|%lld>";
  for (int i = 0; i < 500; ++i) {
    const Values v{static_cast<int32_t>(random()), static_cast<int64_t>(random()), texts[i % 4]};
    const AnsiStr table = FmtList(format, &FetchValues, &v);
    const AnsiStr plain = FmtArgs(format, v.i32, v.i32, v.i32, v.i32, v.i64, 'a' + (v.i32 & 15), v.text, v.i64);
    ASSERT_EQ(F(plain), F(table)) << i;
  }
}

TEST(Formatter, EmptyPiecesAnywhere) {
  // A piece with nothing to write, before anything else was written, still has its place.
  EXPECT_EQ(F(FmtArgs("%s", "")), "");
  EXPECT_EQ(F(FmtArgs("%s%s", "", "x")), "x");
  EXPECT_EQ(F(FmtArgs("%.0s|%s", "abc", "")), "|");
  EXPECT_EQ(F(FmtArgs("%-0s%c", "", 'y')), "y");
}

AnsiStr ViaList(const char* format, ...) {
  va_list args;
  va_start(args, format);
  AnsiStr out = FmtList(format, args);
  va_end(args);
  return out;
}

TEST(Formatter, BareIntegerFormatsMatchTheGeneralPaths) {
  // "%d" alone takes a path of its own; "%d%s" with an empty text must read the same.
  const int32_t values[] = {0, 1, -1, 9, 10, 99, 100, 9999, 10000, 99999999, 100000000, INT32_MAX, INT32_MIN, -100000000};
  for (const char* conversion : {"d", "i", "u", "x", "X"}) {
    const std::string bare = std::string("%") + conversion;
    const std::string longer = bare + "%s";
    for (const int32_t v : values) {
      const AnsiStr alone = FmtArgs(bare.c_str(), v);
      EXPECT_EQ(F(alone), F(FmtArgs(longer.c_str(), v, ""))) << bare << " " << v;
      EXPECT_EQ(F(alone), F(ViaList(bare.c_str(), v))) << bare << " " << v;
      char expected[32];
      snprintf(expected, sizeof expected, bare.c_str(), v);
      EXPECT_STREQ(alone.GetStr(), expected) << bare << " " << v;
      EXPECT_EQ(alone.GetLength(), strlen(expected));
    }
  }
}

struct Supply {
  int calls = 0;
  bool failAt3 = false;
};
bool Fetch(unsigned number, unsigned type, FmtValues& value, const void* context) {
  auto* supply = static_cast<Supply*>(const_cast<void*>(context));
  ++supply->calls;
  if (supply->failAt3 && number == 3) return false;
  switch (type) {
    case FmtValues::kInt32: value.int32 = static_cast<int32_t>(number * 10); break;
    case FmtValues::kInt64: value.int64 = int64_t{1} << 40; break;
    case FmtValues::kDouble: value.real = 0.5; break;
    default: value.pointer = "text"; break;
  }
  return true;
}

TEST(Formatter, CallbackFormFetchesByType) {
  Supply supply;
  EXPECT_EQ(F(FmtList("%d %lld %.1f %s", &Fetch, &supply)), "10 1099511627776 0.5 text");
  EXPECT_EQ(supply.calls, 4);
  Supply failing{0, true};
  EXPECT_EQ(F(FmtList("%d %d %d %d", &Fetch, &failing)), "") << "a failing fetch fails the whole result";
}

TEST(Formatter, AtMost127DirectivesAreConverted) {
  std::string format;
  for (int i = 0; i < 130; ++i) format += "%c";
  FmtTable table;
  ASSERT_TRUE(table.Build(format.c_str()));
  EXPECT_EQ(table.GetCount(), 127u);
  std::string escapes;  // "%%" texts do not count, however many there are
  for (int i = 0; i < 300; ++i) escapes += "%%";
  escapes += "%d";
  Supply supply;
  EXPECT_EQ(F(FmtList(escapes.c_str(), &Fetch, &supply)), std::string(300, '%') + "10");
}

TEST(Formatter, WideRendererAndAlignment) {
  WideStr out;
  va_list none{};
  (void)none;
  auto wide = [&out](const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    orvvsnwprintf(out, 8, format, args);
    va_end(args);
  };
  wide(L"%ls=%d", L"k", 5);
  EXPECT_TRUE(out == L"k=5");
  wide(L"%ls", reinterpret_cast<const wchar_t*>(uintptr_t{32}));
  EXPECT_TRUE(out == L"(error)");
  EXPECT_EQ(F(AlignLeft(" ab\n", 4)), "ab  ");
  EXPECT_EQ(F(AlignRight("ab", 4)), "  ab");
  EXPECT_EQ(F(AlignCenter("ab", 5)), "  ab ") << "the odd blank goes left";
  EXPECT_EQ(F(AlignLeft("\xC3\xA9t\xC3\xA9s", 3)), "\xC3\xA9t\xC3\xA9") << "cut by characters, not bytes";
}

}  // namespace
}  // namespace OrvGuiBase
