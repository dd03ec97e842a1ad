// UtfTest.cpp: the UTF conversions, the strict validator and the repairers.
//
// Every check runs on each implementation the processor has (scalar, SSE2, AVX2); the
// differential tests demand that the vector paths match the scalar one on random and hostile
// input, errors included. glibc iconv is the oracle for the encodings themselves.
#include <gtest/gtest.h>
#include <iconv.h>
#include <sys/mman.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "base/text/Utf.h"

namespace {

using namespace OrvGuiBase;
using Internal::UtfPath;

constexpr int kUntouched = 7777;  // errno before a call: a success must leave it

std::vector<UtfPath> Paths() {
  std::vector<UtfPath> paths = {UtfPath::Scalar, UtfPath::Sse2};
  if (Internal::SetUtfPath(UtfPath::Avx2)) paths.push_back(UtfPath::Avx2);
  Internal::SetUtfPath(UtfPath::Automatic);
  return paths;
}

const char* Name(UtfPath path) { return path == UtfPath::Scalar ? "scalar" : path == UtfPath::Sse2 ? "sse2" : "avx2"; }

// Runs body on every path, then restores the automatic choice.
template <class Body>
void OnEveryPath(Body body) {
  for (UtfPath path : Paths()) {
    ASSERT_TRUE(Internal::SetUtfPath(path));
    SCOPED_TRACE(Name(path));
    body(path);
  }
  Internal::SetUtfPath(UtfPath::Automatic);
}

template <class In, class Out>
using Conversion = uint32_t (*)(const In*, uint32_t, Out*, uint32_t);

// What a call did: its result, errno, and the whole target (exactly targetLength units, filled
// with 0x5A5A... beforehand, so that a write past the result or past the end shows).
template <class Out>
struct Outcome {
  uint32_t result;
  int error;
  std::vector<Out> target;
  bool operator==(const Outcome&) const = default;
};

template <class In, class Out>
Outcome<Out> Call(Conversion<In, Out> convert, const std::vector<In>& source, uint32_t targetLength,
                  bool terminated = false) {
  std::vector<Out> target(targetLength, static_cast<Out>(0x5A5A5A5A));
  errno = kUntouched;
  const uint32_t result =
      convert(source.empty() ? nullptr : source.data(), terminated ? 0xFFFFFFFF : static_cast<uint32_t>(source.size()),
              targetLength == 0 ? nullptr : target.data(), targetLength);
  const int error = errno;
  if (result == 0) target.clear();  // a failed call leaves the target unspecified
  return {result, error, target};
}

std::vector<char> Bytes(const std::string& s) { return std::vector<char>(s.begin(), s.end()); }

// ---- The common rules -------------------------------------------------------------------

TEST(Utf, CommonRules) {
  const char16_t wide16[] = u"abc";
  const char32_t wide32[] = U"abc";
  char16_t out16[8];
  OnEveryPath([&](UtfPath) {
    struct Row {
      std::function<uint32_t()> call;
      uint32_t expected;
      int error;  // errno after the call, kUntouched for a success
      const char* reason;
    };
    const Row rows[] = {
        {[&] { return UTF8toUTF16(nullptr, 3, out16, 8); }, 0, EINVAL, "null source"},
        {[&] { return UTF8toUTF16("abc", 0, out16, 8); }, 0, EINVAL, "source length 0"},
        {[&] { return UTF8toUTF16("abc", 3, nullptr, 8); }, 0, EINVAL, "null target with a length"},
        {[&] { return UTF16toUTF8(nullptr, 1, nullptr, 0); }, 0, EINVAL, "null UTF-16 source"},
        {[&] { return UTF32toUTF16(wide32, 0, nullptr, 0); }, 0, EINVAL, "UTF-32 source length 0"},
        {[&] { return UTF8toUTF16("abc", 3, nullptr, 0); }, 3, kUntouched, "measuring"},
        {[&] { return UTF8toUTF16("abc", 0xFFFFFFFF, nullptr, 0); }, 4, kUntouched, "terminated: the NUL counts"},
        {[&] { return UTF8toUTF32("abc", 0xFFFFFFFF, nullptr, 0); }, 4, kUntouched, "terminated, to UTF-32"},
        {[&] { return UTF16toUTF8(wide16, 0xFFFFFFFF, nullptr, 0); }, 4, kUntouched, "terminated UTF-16"},
        {[&] { return UTF16toUTF32(wide16, 0xFFFFFFFF, nullptr, 0); }, 4, kUntouched, "terminated UTF-16 to 32"},
        {[&] { return UTF32toUTF8(wide32, 0xFFFFFFFF, nullptr, 0); }, 4, kUntouched, "terminated UTF-32"},
        {[&] { return UTF32toUTF16(wide32, 0xFFFFFFFF, nullptr, 0); }, 4, kUntouched, "terminated UTF-32 to 16"},
        {[&] { return UTF8toUTF16("\xF0\x9F\x98\x80", 4, out16, 1); }, 0, ENOBUFS, "a pair needs two units"},
        {[&] { return UTF8toUTF16("\xED\xA0\x80", 3, out16, 8); }, 1, kUntouched, "an encoded surrogate passes"},
        {[&] { return UTF8toUTF16("a\x80", 2, nullptr, 0); }, 0, EILSEQ, "measuring still finds EILSEQ"},
    };
    for (const Row& row : rows) {
      errno = kUntouched;
      EXPECT_EQ(row.call(), row.expected) << row.reason;
      EXPECT_EQ(errno, row.error) << row.reason;
    }
  });
  char16_t pair[2];
  errno = 0;
  ASSERT_EQ(UTF8toUTF16("\xF0\x9F\x98\x80", 4, pair, 2), 2u);
  EXPECT_EQ(pair[0], 0xD83D);
  EXPECT_EQ(pair[1], 0xDE00);
  char16_t terminated[4];
  ASSERT_EQ(UTF8toUTF16("abc", 0xFFFFFFFF, terminated, 4), 4u);
  EXPECT_EQ(terminated[3], 0);
}

// A result past 31 bits: 2 GiB of NUL bytes, mapped from the zero page (no memory is used).
TEST(Utf, ResultPast31BitsIsERANGE) {
  const size_t size = 0x80000000u;
  void* zeros = mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(zeros, MAP_FAILED);
  for (UtfPath path : {UtfPath::Automatic, UtfPath::Sse2}) {
    ASSERT_TRUE(Internal::SetUtfPath(path));
    errno = 0;
    EXPECT_EQ(UTF8toUTF32(static_cast<const char*>(zeros), 0x80000000u, nullptr, 0), 0u);
    EXPECT_EQ(errno, ERANGE);
    errno = 0;
    EXPECT_EQ(UTF8toUTF16(static_cast<const char*>(zeros), 0x7FFFFFFFu, nullptr, 0), 0x7FFFFFFFu) << "the limit";
  }
  Internal::SetUtfPath(UtfPath::Automatic);
  munmap(zeros, size);
}

// ---- The lenient decoder and the strict validator, boundary by boundary ---------------------

struct Boundary {
  const char* bytes;
  int64_t lenient;  // the value the converters decode, or -1 for EILSEQ
  bool strict;      // IsValidUTF8
  const char* reason;
};

const Boundary kBoundaries[] = {
    {"\x7F", 0x7F, true, "last ASCII"},
    {"\x80", -1, false, "continuation as lead"},
    {"\xBF", -1, false, "last continuation as lead"},
    {"\xC0\x80", 0, false, "overlong NUL: lenient decodes, strict refuses"},
    {"\xC1\xBF", 0x7F, false, "last overlong two-byte"},
    {"\xC2\x80", 0x80, true, "first two-byte"},
    {"\xDF\xBF", 0x7FF, true, "last two-byte"},
    {"\xC2\x7F", -1, false, "continuation below 80"},
    {"\xC2\xC0", -1, false, "continuation above BF"},
    {"\xE0\x80\x80", 0, false, "overlong three-byte"},
    {"\xE0\x9F\xBF", 0x7FF, false, "last overlong three-byte"},
    {"\xE0\xA0\x80", 0x800, true, "first three-byte"},
    {"\xEC\xBF\xBF", 0xCFFF, true, "before ED"},
    {"\xED\x80\x80", 0xD000, true, "first after ED"},
    {"\xED\x9F\xBF", 0xD7FF, true, "last before the surrogates"},
    {"\xED\xA0\x80", 0xD800, false, "first surrogate: lenient decodes"},
    {"\xED\xBF\xBF", 0xDFFF, false, "last surrogate"},
    {"\xEE\x80\x80", 0xE000, true, "first after the surrogates"},
    {"\xEF\xBF\xBF", 0xFFFF, true, "last three-byte"},
    {"\xE0\xA0", -1, false, "three-byte cut short"},
    {"\xE1\x80\x7F", -1, false, "third byte not a continuation"},
    {"\xF0\x80\x80\x80", 0, false, "overlong four-byte"},
    {"\xF0\x8F\xBF\xBF", 0xFFFF, false, "last overlong four-byte"},
    {"\xF0\x90\x80\x80", 0x10000, true, "first four-byte"},
    {"\xF3\xBF\xBF\xBF", 0xFFFFF, true, "before F4"},
    {"\xF4\x8F\xBF\xBF", 0x10FFFF, true, "last code point"},
    {"\xF4\x90\x80\x80", -1, false, "past U+10FFFF"},
    {"\xF5\x80\x80\x80", -1, false, "F5 lead"},
    {"\xF7\xBF\xBF\xBF", -1, false, "last four-byte lead, past U+10FFFF"},
    {"\xF0\x90\x80", -1, false, "four-byte cut short"},
    {"\xF0\x90\x80\xC0", -1, false, "fourth byte not a continuation"},
    {"\xF8\x88\x80\x80\x80", -1, false, "five-byte lead"},
    {"\xFC\x84\x80\x80\x80\x80", -1, false, "six-byte lead"},
    {"\xFE", -1, false, "FE"},
    {"\xFF", -1, false, "FF"},
};

// The first n bytes of s, less a character that n would cut.
std::string PrefixOf(const std::string& s, size_t n) {
  while (n > 0 && n < s.size() && (static_cast<unsigned char>(s[n]) & 0xC0) == 0x80) --n;
  return s.substr(0, n);
}

// Each boundary alone and inside text at every offset across two 32-byte blocks, so that every
// kernel sees it at every position of its vectors.
TEST(Utf, LenientAndStrictBoundaries) {
  const std::string filler = "The quick brown fox \xD0\x96 jumps \xE4\xB8\xAD over the lazy dog \xF0\x9F\x98\x80! ";
  OnEveryPath([&](UtfPath) {
    for (const Boundary& row : kBoundaries) {
      const std::string bytes = row.bytes;
      EXPECT_EQ(IsValidUTF8(bytes.c_str()), row.strict) << row.reason;
      EXPECT_EQ(IsValidUTF8(bytes.data(), bytes.size()), row.strict) << row.reason;
      const Outcome<char32_t> alone = Call(UTF8toUTF32, Bytes(bytes), 4);
      if (row.lenient < 0) {
        EXPECT_EQ(alone.result, 0u) << row.reason;
        EXPECT_EQ(alone.error, EILSEQ) << row.reason;
      } else {
        ASSERT_EQ(alone.result, 1u) << row.reason;
        EXPECT_EQ(alone.target[0], static_cast<char32_t>(row.lenient)) << row.reason;
        const Outcome<char16_t> utf16 = Call(UTF8toUTF16, Bytes(bytes), 2);
        EXPECT_EQ(utf16.result, row.lenient >= 0x10000 ? 2u : 1u) << row.reason;
      }
      for (size_t offset = 0; offset < 70; ++offset) {
        const std::string cut = PrefixOf(filler + filler, offset);
        const std::string text = cut + bytes + filler + filler;
        SCOPED_TRACE(testing::Message() << row.reason << " at " << offset);
        const uint32_t before = UTF8toUTF32(cut.data(), static_cast<uint32_t>(cut.size()), nullptr, 0);
        EXPECT_EQ(IsValidUTF8(text.data(), text.size()), row.strict);
        for (uint32_t room : {0u, 200u}) {
          const Outcome<char32_t> inside = Call(UTF8toUTF32, Bytes(text), room);
          EXPECT_EQ(inside.result != 0, row.lenient >= 0);
          if (row.lenient >= 0 && room != 0 && inside.result != 0) {
            EXPECT_EQ(inside.target[before], static_cast<char32_t>(row.lenient));
          }
          if (row.lenient < 0) {
            EXPECT_EQ(inside.error, EILSEQ);
          }
        }
      }
    }
    EXPECT_FALSE(IsValidUTF8(nullptr));
    EXPECT_FALSE(IsValidUTF8(nullptr, 0));
    EXPECT_TRUE(IsValidUTF8(""));
    EXPECT_TRUE(IsValidUTF8("\xFF", 0)) << "length 0";
    EXPECT_FALSE(IsValidUTF8("\xE2\x82\xAC", 2)) << "a sequence running past the length";
    EXPECT_TRUE(IsValidUTF8("a\0b", 3)) << "a NUL inside the counted form";
  });
}

// ---- The stress file -------------------------------------------------------------------------

struct StressEntry {
  std::string id, label, payload;
};

// The numbered cases of the stress file with the bytes between their quotes (one line, or
// several for the long ones). A payload opens at a quote after ':' or '=', or at a quote that
// starts an indented line; quotes inside the prose do neither.
std::vector<StressEntry> ReadStressFile() {
  std::ifstream file(ORVGUI_TEST_CORPUS "/utf8/UTF-8-test.txt", std::ios::binary);
  std::vector<StressEntry> entries;
  std::string line, id;
  bool open = false;
  while (std::getline(file, line)) {
    if (open) {
      const size_t close = line.rfind('"');
      entries.back().payload += (close == std::string::npos ? line + "\n" : line.substr(0, close));
      open = close == std::string::npos;
      continue;
    }
    const size_t number = line.find_first_not_of("0123456789.");  // "2.1.1  ..." names a case
    if (number > 0 && number != std::string::npos && isdigit(static_cast<unsigned char>(line[0])) &&
        line[number] == ' ')
      id = line.substr(0, number);
    const size_t quote = line.find('"');
    if (id.empty() || quote == std::string::npos || quote == 0) continue;
    const size_t before = line.find_last_not_of(' ', quote - 1);
    if (before != std::string::npos && line[before] != ':' && line[before] != '=') continue;
    const size_t close = line.rfind('"');
    entries.push_back({id, line.substr(0, quote),
                       close > quote ? line.substr(quote + 1, close - quote - 1) : line.substr(quote + 1) + "\n"});
    open = close == quote;
  }
  return entries;
}

// The code points a case names: "U+D800", "U-0010FFFF", or a range "U+FDD0 .. U+FDEF".
std::vector<char32_t> NamedValues(const std::string& label) {
  std::vector<char32_t> values;
  for (size_t at = label.find('U'); at != std::string::npos && at + 2 < label.size(); at = label.find('U', at + 1)) {
    if (label[at + 1] != '+' && label[at + 1] != '-') continue;
    const size_t end = std::min(label.find_first_not_of("0123456789ABCDEFabcdef", at + 2), label.size());
    if (end - (at + 2) >= 4 && end - (at + 2) <= 8)
      values.push_back(static_cast<char32_t>(std::stoul(label.substr(at + 2, end - (at + 2)), nullptr, 16)));
  }
  if (values.size() == 2 && label.find("..") != std::string::npos) {
    const char32_t first = values[0], last = values[1];
    values.clear();
    for (char32_t c = first; c <= last; ++c) values.push_back(c);
  }
  return values;
}

// Verdicts by the file's own sections: 1 correct text; 2 boundaries, valid while the named value
// is a code point; 3 malformed; 4 overlong (the converters decode them while the lead starts at
// most four bytes); 5.1 and 5.2 surrogates (decoded by the converters, refused by the
// validator); 5.3 noncharacters, which are well-formed.
TEST(Utf, StressFile) {
  const std::vector<StressEntry> entries = ReadStressFile();
  // 77 numbered cases, the Greek word of section 1 and the concatenation of 3.4.
  ASSERT_EQ(entries.size(), 79u) << "the file was not found or not understood";
  std::map<std::string, int> perSection;
  OnEveryPath([&](UtfPath) {
    for (const StressEntry& e : entries) {
      SCOPED_TRACE(e.id + " " + e.label);
      const std::string section = e.id.substr(0, e.id.find('.'));
      const std::string subsection = e.id.substr(0, 3);
      const std::vector<char32_t> named = NamedValues(e.label);
      bool strict = true, lenient = true;
      if (section == "2") strict = lenient = !named.empty() && named[0] <= 0x10FFFF;
      if (section == "3") strict = lenient = false;
      if (section == "4") {
        strict = false;
        lenient = static_cast<unsigned char>(e.payload[0]) < 0xF8;
      }
      if (subsection == "5.1" || subsection == "5.2") strict = false;
      EXPECT_EQ(IsValidUTF8(e.payload.data(), e.payload.size()), strict);
      const Outcome<char32_t> decoded = Call(UTF8toUTF32, Bytes(e.payload), static_cast<uint32_t>(e.payload.size()));
      EXPECT_EQ(decoded.result != 0, lenient);
      if (lenient && !named.empty() && section != "1") {
        EXPECT_EQ(std::vector<char32_t>(decoded.target.begin(), decoded.target.begin() + decoded.result), named);
      }
      ++perSection[section];
    }
  });
  for (const char* section : {"1", "2", "3", "4", "5"}) {
    EXPECT_GT(perSection[section], 0) << section;
  }
}

// ---- Surrogates in every direction ------------------------------------------------------------

TEST(Utf, Surrogates) {
  OnEveryPath([&](UtfPath) {
    struct Row16 {
      std::vector<char16_t> units;
      uint32_t utf8, utf32;  // units each conversion yields, 0 for EILSEQ
      const char* reason;
    };
    const Row16 rows[] = {
        {{0xD83D, 0xDE00}, 4, 1, "a pair"},
        {{0xDBFF, 0xDFFF}, 4, 1, "the last pair"},
        {{0xD800}, 0, 0, "a high surrogate at the end"},
        {{0xD800, 0x0041}, 0, 0, "a high surrogate before a letter"},
        {{0xD800, 0xD800, 0xDC00}, 0, 0, "a high surrogate before a high one"},
        {{0xDC00}, 0, 0, "a lone low surrogate"},
        {{0xDC00, 0xD800}, 0, 0, "a reversed pair"},
        {{0x0041, 0xDFFF}, 0, 0, "a low surrogate after a letter"},
        {{0xD7FF, 0xE000}, 6, 2, "the units around the surrogates"},
    };
    for (const Row16& row : rows) {
      std::vector<char16_t> padded(40, u'x');  // the same, at the end of a longer text
      padded.insert(padded.end(), row.units.begin(), row.units.end());
      for (const auto& units : {row.units, padded}) {
        const uint32_t extra = static_cast<uint32_t>(units.size() - row.units.size());
        const Outcome<char> utf8 = Call(UTF16toUTF8, units, 64);
        const Outcome<char32_t> utf32 = Call(UTF16toUTF32, units, 64);
        EXPECT_EQ(utf8.result, row.utf8 == 0 ? 0 : row.utf8 + extra) << row.reason;
        EXPECT_EQ(utf32.result, row.utf32 == 0 ? 0 : row.utf32 + extra) << row.reason;
        if (row.utf8 == 0) {
          EXPECT_EQ(utf8.error, EILSEQ) << row.reason;
        }
        if (row.utf32 == 0) {
          EXPECT_EQ(utf32.error, EILSEQ) << row.reason;
        }
      }
    }
    // UTF-32 and UTF-8 carry surrogate values through unchanged; UTF-16 makes them one unit.
    const Outcome<char> fromValue = Call(UTF32toUTF8, std::vector<char32_t>{0xD800}, 8);
    EXPECT_EQ(std::string(fromValue.target.data(), fromValue.result), "\xED\xA0\x80");
    const Outcome<char16_t> lone = Call(UTF32toUTF16, std::vector<char32_t>{0xDC00, 0x10000}, 8);
    EXPECT_EQ(std::vector<char16_t>(lone.target.begin(), lone.target.begin() + lone.result),
              (std::vector<char16_t>{0xDC00, 0xD800, 0xDC00}));
    const Outcome<char16_t> sixBytes = Call(UTF8toUTF16, Bytes("\xED\xA0\x80\xED\xB0\x80"), 8);
    EXPECT_EQ(sixBytes.result, 2u) << "an encoded pair decodes as two units";
    EXPECT_EQ(Call(UTF8toUTF32, Bytes("\xED\xA0\x80\xED\xB0\x80"), 8).result, 2u) << "and as two values";
    EXPECT_EQ(Call(UTF32toUTF16, std::vector<char32_t>{0x110000}, 8).error, EILSEQ);
    EXPECT_EQ(Call(UTF32toUTF8, std::vector<char32_t>{0xFFFFFFFF}, 8).error, EILSEQ);
  });
}

// ---- Full targets ------------------------------------------------------------------------------

// ENOBUFS exactly where the target fills: for every target length below what a text needs, and
// EILSEQ instead once the target holds everything before an ill-formed sequence.
template <class In, class Out>
void SweepTargets(Conversion<In, Out> convert, const std::vector<In>& valid, size_t broken, const char* name) {
  SCOPED_TRACE(name);
  const uint32_t needed = Call(convert, valid, 0).result;
  ASSERT_GT(needed, 0u);
  auto continues = [](In unit) {
    return sizeof(In) == 1 ? (unit & 0xC0) == 0x80 : sizeof(In) == 2 ? unit >= 0xDC00 && unit <= 0xDFFF : false;
  };
  while (continues(valid[broken])) --broken;  // break the text where a code point starts
  std::vector<In> cut(valid.begin(), valid.begin() + broken);
  const uint32_t before = Call(convert, cut, 0).result;
  std::vector<In> bad = valid;
  bad[broken] = static_cast<In>(sizeof(In) == 1 ? 0xFF : sizeof(In) == 2 ? 0xDC00 : 0x110000);
  for (uint32_t room = 1; room <= needed + 2; ++room) {
    const Outcome<Out> ok = Call(convert, valid, room);
    EXPECT_EQ(ok.result, room >= needed ? needed : 0) << room;
    if (room < needed) {
      EXPECT_EQ(ok.error, ENOBUFS) << room;
    }
    const Outcome<Out> fails = Call(convert, bad, room);
    EXPECT_EQ(fails.result, 0u);
    EXPECT_EQ(fails.error, room < before ? ENOBUFS : EILSEQ) << room;
  }
}

TEST(Utf, NoBufferAtTheExactUnit) {
  std::string text;
  for (int i = 0; i < 4; ++i)
    text +=
        "ascii words, d\xC3\xA9j\xC3\xA0 \xD0\x9C\xD0\xB8\xD1\x80 \xE4\xB8\xAD\xE6\x96\x87 "
        "\xF0\x9F\x98\x80\xF0\x9F\x8E\x89 and more";
  std::vector<char32_t> values(text.size());
  values.resize(UTF8toUTF32(text.data(), static_cast<uint32_t>(text.size()), values.data(),
                            static_cast<uint32_t>(values.size())));
  std::vector<char16_t> units(2 * values.size());
  units.resize(UTF32toUTF16(values.data(), static_cast<uint32_t>(values.size()), units.data(),
                            static_cast<uint32_t>(units.size())));
  ASSERT_FALSE(units.empty());
  OnEveryPath([&](UtfPath) {
    SweepTargets(UTF8toUTF16, Bytes(text), text.size() - 20, "UTF8toUTF16");
    SweepTargets(UTF8toUTF32, Bytes(text), text.size() - 20, "UTF8toUTF32");
    SweepTargets(UTF16toUTF8, units, units.size() - 10, "UTF16toUTF8");
    SweepTargets(UTF16toUTF32, units, units.size() - 10, "UTF16toUTF32");
    SweepTargets(UTF32toUTF8, values, values.size() - 10, "UTF32toUTF8");
    SweepTargets(UTF32toUTF16, values, values.size() - 10, "UTF32toUTF16");
  });
}

// ---- Round trips over all of Unicode, with iconv as the oracle -----------------------------------

template <class Out>
std::vector<Out> Iconv(const char* to, const char* from, const void* data, size_t bytes) {
  iconv_t cd = iconv_open(to, from);
  EXPECT_NE(cd, reinterpret_cast<iconv_t>(-1));
  std::vector<Out> out(bytes * 2 / sizeof(Out) + 16);
  char* in = static_cast<char*>(const_cast<void*>(data));
  char* outPtr = reinterpret_cast<char*>(out.data());
  size_t inLeft = bytes, outLeft = out.size() * sizeof(Out);
  EXPECT_NE(iconv(cd, &in, &inLeft, &outPtr, &outLeft), static_cast<size_t>(-1));
  iconv_close(cd);
  out.resize((reinterpret_cast<Out*>(outPtr) - out.data()));
  return out;
}

TEST(Utf, RoundTripsOverAllScalarValues) {
  std::vector<char32_t> all;
  for (char32_t c = 0; c <= 0x10FFFF; ++c)
    if (c < 0xD800 || c > 0xDFFF) all.push_back(c);
  const std::vector<char> utf8 = Iconv<char>("UTF-8", "UTF-32LE", all.data(), all.size() * 4);
  const std::vector<char16_t> utf16 = Iconv<char16_t>("UTF-16LE", "UTF-32LE", all.data(), all.size() * 4);
  ASSERT_EQ(utf8.size(), 0x80u + 0x780 * 2 + (0x10000 - 0x800 - 0x800) * 3 + 0x100000 * 4u);
  OnEveryPath([&](UtfPath) {
    EXPECT_EQ(Call(UTF32toUTF8, all, static_cast<uint32_t>(utf8.size())).target, utf8);
    EXPECT_EQ(Call(UTF32toUTF16, all, static_cast<uint32_t>(utf16.size())).target, utf16);
    const Outcome<char16_t> to16 = Call(UTF8toUTF16, utf8, static_cast<uint32_t>(utf16.size()));
    EXPECT_EQ(to16.target, utf16);
    EXPECT_EQ(Call(UTF16toUTF8, to16.target, static_cast<uint32_t>(utf8.size())).target, utf8);
    const Outcome<char32_t> to32 = Call(UTF8toUTF32, utf8, static_cast<uint32_t>(all.size()));
    EXPECT_EQ(to32.target, all);
    EXPECT_EQ(Call(UTF32toUTF8, to32.target, static_cast<uint32_t>(utf8.size())).target, utf8);
    EXPECT_EQ(Call(UTF16toUTF32, utf16, static_cast<uint32_t>(all.size())).target, all);
    EXPECT_EQ(Call(UTF8toUTF16, utf8, 0).result, utf16.size()) << "measured";
    EXPECT_EQ(Call(UTF16toUTF8, utf16, 0).result, utf8.size()) << "measured";
    EXPECT_TRUE(IsValidUTF8(utf8.data(), utf8.size()));
  });
}

// ---- Repair ------------------------------------------------------------------------------------

TEST(Utf, EnsureUTF8AndPrintable) {
  struct Row {
    std::string in;
    char replacement;
    std::string repaired;
    std::string printable;
    const char* reason;
  };
  const std::string longText(70, 'x');
  const Row rows[] = {
      {"a\xFF"
       "b",
       '?', "a?b",
       "a\xEF\xBF\xBD"
       "b",
       "one bad byte"},
      {"a\xFF"
       "b",
       '\0', "ab",
       "a\xEF\xBF\xBD"
       "b",
       "dropped"},
      {"a\x01\tb", '?', "a\x01\tb", "a\xEF\xBF\xBD\tb", "controls are well-formed, TAB is printable"},
      {"\xC2\x85\xC2\xA0\x7F\r\n", '?', "\xC2\x85\xC2\xA0\x7F\r\n", "\xEF\xBF\xBD\xC2\xA0\xEF\xBF\xBD\r\n",
       "C1 control, NBSP, DEL"},
      {"\xE2\x82", '#', "##", "\xEF\xBF\xBD\xEF\xBF\xBD", "cut short: byte by byte"},
      {"\xED\xA0\x80z", '#', "###z", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBDz", "a surrogate is repaired"},
      {longText + "\xC0\xAF" + longText, '_', longText + "__" + longText,
       longText + "\xEF\xBF\xBD\xEF\xBF\xBD" + longText, "overlong inside long runs"},
      {longText + "\xF0\x9F\x98\x80", '_', longText + "\xF0\x9F\x98\x80", longText + "\xF0\x9F\x98\x80", "well-formed"},
  };
  OnEveryPath([&](UtfPath) {
    for (const Row& row : rows) {
      std::string buffer = row.in;
      EXPECT_EQ(EnsureUTF8(buffer.data(), row.replacement), row.repaired == row.in) << row.reason;
      EXPECT_EQ(std::string(buffer.c_str()), row.repaired) << row.reason;
      EXPECT_STREQ(EnsureUTF8(AnsiStr(row.in.c_str()), row.replacement).GetStr(), row.repaired.c_str()) << row.reason;
      const AnsiStr source(row.in.c_str());
      const AnsiStr printable = EnsurePrintableUTF8(source);
      EXPECT_EQ(std::string(printable.GetStr(), printable.GetLength()), row.printable) << row.reason;
      if (row.printable == row.in) {
        EXPECT_EQ(printable.GetStr(), source.GetStr()) << "shared, not copied";
      }
    }
    EXPECT_FALSE(EnsureUTF8(nullptr, '?'));
  });
}

// ---- The vector paths against the scalar one -------------------------------------------------

// Text in segments of one kind each (ASCII, two-, three- and four-byte characters, or a mix),
// so that runs and mixtures of every kind meet the block boundaries.
std::vector<char32_t> RandomValues(std::mt19937& rng, size_t count) {
  static const char32_t kLow[] = {0x00, 0x80, 0x800, 0x10000, 0xE000},
                        kHigh[] = {0x7F, 0x7FF, 0xD7FF, 0x10FFFF, 0xFFFF};
  std::vector<char32_t> values;
  while (values.size() < count) {
    const unsigned kind = rng() % 6, run = 1 + rng() % 40;
    for (unsigned i = 0; i < run && values.size() < count; ++i) {
      const unsigned k = kind == 5 ? rng() % 5 : kind;
      values.push_back(kLow[k] + rng() % (kHigh[k] - kLow[k] + 1));
    }
  }
  return values;
}

template <class In, class Out>
void Differ(Conversion<In, Out> convert, const std::vector<In>& source, const std::vector<UtfPath>& paths) {
  std::vector<uint32_t> rooms = {0, 1, 7, 64, 1000};
  Internal::SetUtfPath(UtfPath::Scalar);
  const uint32_t needed = Call(convert, source, 0).result;
  if (needed > 0) rooms.insert(rooms.end(), {needed, needed - 1, needed / 2, needed + 33});
  // The same again up to a terminator, when the source holds no NUL of its own.
  std::vector<In> terminated = source;
  const bool asTerminated = std::find(source.begin(), source.end(), In(0)) == source.end();
  terminated.push_back(0);
  std::vector<Outcome<Out>> expected;
  for (uint32_t room : rooms) expected.push_back(Call(convert, source, room));
  if (asTerminated) expected.push_back(Call(convert, terminated, needed + 1, true));
  for (UtfPath path : paths) {
    Internal::SetUtfPath(path);
    for (size_t i = 0; i < expected.size(); ++i) {
      const Outcome<Out> got =
          i < rooms.size() ? Call(convert, source, rooms[i]) : Call(convert, terminated, needed + 1, true);
      if (!(got == expected[i])) {
        ADD_FAILURE() << Name(path) << " differs from scalar: case " << i << ", result " << got.result << " vs "
                      << expected[i].result << ", errno " << got.error << " vs " << expected[i].error << ", source of "
                      << source.size();
        return;
      }
    }
  }
}

void DifferUtf8(const std::string& text, const std::vector<UtfPath>& paths) {
  Differ(UTF8toUTF16, Bytes(text), paths);
  Differ(UTF8toUTF32, Bytes(text), paths);
  Internal::SetUtfPath(UtfPath::Scalar);
  std::string repaired = text;
  const bool clean = EnsureUTF8(repaired.data(), '?');
  const bool valid = IsValidUTF8(text.data(), text.size());
  const AnsiStr printable = EnsurePrintableUTF8(AnsiStr(AnsiSubStr(text.data(), static_cast<uint32_t>(text.size()))));
  for (UtfPath path : paths) {
    Internal::SetUtfPath(path);
    std::string again = text;
    EXPECT_EQ(EnsureUTF8(again.data(), '?'), clean) << Name(path);
    EXPECT_EQ(again, repaired) << Name(path);
    EXPECT_EQ(IsValidUTF8(text.data(), text.size()), valid) << Name(path);
    EXPECT_STREQ(EnsurePrintableUTF8(AnsiStr(AnsiSubStr(text.data(), static_cast<uint32_t>(text.size())))).GetStr(),
                 printable.GetStr())
        << Name(path);
  }
}

TEST(Utf, VectorPathsMatchScalarOnRandomText) {
  std::vector<UtfPath> paths = Paths();
  paths.erase(paths.begin());  // compared with the scalar path
  std::mt19937 rng(20240607);
  for (int round = 0; round < 300; ++round) {
    const std::vector<char32_t> values = RandomValues(rng, rng() % 400);
    if (values.empty()) continue;
    Internal::SetUtfPath(UtfPath::Scalar);
    std::vector<char> utf8(values.size() * 4);
    utf8.resize(UTF32toUTF8(values.data(), static_cast<uint32_t>(values.size()), utf8.data(),
                            static_cast<uint32_t>(utf8.size())));
    std::vector<char16_t> utf16(values.size() * 2);
    utf16.resize(UTF32toUTF16(values.data(), static_cast<uint32_t>(values.size()), utf16.data(),
                              static_cast<uint32_t>(utf16.size())));
    DifferUtf8(std::string(utf8.begin(), utf8.end()), paths);
    Differ(UTF16toUTF8, utf16, paths);
    Differ(UTF16toUTF32, utf16, paths);
    Differ(UTF32toUTF8, values, paths);
    Differ(UTF32toUTF16, values, paths);
  }
  Internal::SetUtfPath(UtfPath::Automatic);
}

// Hostile input: one bad unit (or a cut) at every offset of a text long enough for every
// kernel, so that the fault meets every position of every vector and window.
TEST(Utf, VectorPathsMatchScalarOnBrokenText) {
  std::vector<UtfPath> paths = Paths();
  paths.erase(paths.begin());  // compared with the scalar path
  std::mt19937 rng(7);
  const std::vector<char32_t> values = RandomValues(rng, 150);
  Internal::SetUtfPath(UtfPath::Scalar);
  std::vector<char> utf8(values.size() * 4);
  utf8.resize(UTF32toUTF8(values.data(), static_cast<uint32_t>(values.size()), utf8.data(),
                          static_cast<uint32_t>(utf8.size())));
  std::vector<char16_t> utf16(values.size() * 2);
  utf16.resize(UTF32toUTF16(values.data(), static_cast<uint32_t>(values.size()), utf16.data(),
                            static_cast<uint32_t>(utf16.size())));
  const std::string text(utf8.begin(), utf8.end());
  const std::string ascii = std::string(100, 'a') + "\xC3\xA9\xE4\xB8\xAD" + std::string(100, 'b');
  const char* faults[] = {"\x80", "\xBF", "\xC0", "\xC1\x81", "\xE0\x80",     "\xED\xA0", "\xF0\x8F", "\xF4\x90",
                          "\xF5", "\xFF", "\xC3", "\xE4\xB8", "\xF0\x9F\x98", "\x01",     "\x7F",     "\xC2\x85"};
  for (const std::string& base : {text, ascii}) {
    for (size_t offset = 0; offset < std::min<size_t>(base.size(), 200); ++offset) {
      for (const char* fault : faults) {
        std::string broken = base;
        broken.replace(offset, std::min(strlen(fault), broken.size() - offset), fault);
        DifferUtf8(broken, paths);
      }
      DifferUtf8(base.substr(0, offset), paths);
      DifferUtf8(base.substr(offset), paths);
    }
  }
  for (size_t offset = 0; offset < utf16.size(); ++offset) {
    for (char16_t fault : {0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0x0000, 0xFFFF}) {
      std::vector<char16_t> broken = utf16;
      broken[offset] = fault;
      Differ(UTF16toUTF8, broken, paths);
      Differ(UTF16toUTF32, broken, paths);
    }
    Differ(UTF16toUTF8, std::vector<char16_t>(utf16.begin(), utf16.begin() + offset + 1), paths);
    Differ(UTF16toUTF32, std::vector<char16_t>(utf16.begin() + offset, utf16.end()), paths);
  }
  for (size_t offset = 0; offset < values.size(); ++offset) {
    for (char32_t fault : {0x110000u, 0xFFFFFFFFu, 0x80000000u, 0xD800u, 0x10FFFFu, 0x10000u}) {
      std::vector<char32_t> broken = values;
      broken[offset] = fault;
      Differ(UTF32toUTF8, broken, paths);
      Differ(UTF32toUTF16, broken, paths);
    }
  }
  Internal::SetUtfPath(UtfPath::Automatic);
}

}  // namespace
