// Tests of the LZW codec: round trips at every code width, the dictionary reset, the widths
// on the wire, and bad input.
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "base/compress/Lzw.h"
#include "base/core/LastError.h"
#include "tests/base/compress/CompressTestData.h"

namespace OrvGuiBase {
namespace {

using namespace CompressTest;

TEST(LzwTest, RoundTripsAtEveryWidth) {
  for (const Sample& s : Samples()) {
    for (int bits = 9; bits <= 16; ++bits) {
      if (bits != 9 && bits != 12 && bits != 16 && s.data.size() > 300000) continue;
      Bytes packed, back;
      ASSERT_TRUE(LzwCompress(s.data.data(), s.data.size(), packed, bits)) << s.name;
      ASSERT_TRUE(LzwDecompress(packed.data(), packed.size(), back)) << s.name << " " << bits << ": "
                                                                        << GetLastErrorMessage().GetStr();
      ASSERT_TRUE(back == s.data) << s.name << " width " << bits;
    }
  }
  Bytes packed;
  errno = 0;
  EXPECT_FALSE(LzwCompress("x", 1, packed, 17));
  EXPECT_EQ(GetLastError(), EINVAL);
}

TEST(LzwTest, CompressesRepeatsAndKeepsItsWireFormat) {
  // "abababab": a, b, then the codes 258 (ab), 260 (aba), 259 (ba)... each 9 bits wide.
  Bytes packed;
  ASSERT_TRUE(LzwCompress("ababababab", 10, packed, 12));
  ASSERT_GE(packed.size(), 4u);
  EXPECT_EQ(std::string(packed.begin(), packed.begin() + 4), std::string("LZW\x0C"));
  const uint32_t expectedCodes[] = {'a', 'b', 258, 260, 259, 'b', 257};
  uint64_t bits = 0;
  for (size_t i = 0; i < 8 && 4 + i < packed.size(); ++i) bits |= uint64_t{packed[4 + i]} << (8 * i);
  for (uint32_t code : expectedCodes) {
    EXPECT_EQ(bits & 0x1FF, code);
    bits >>= 9;
  }
  EXPECT_EQ(packed.size(), 4u + (7 * 9 + 7) / 8 + 4);  // 7 codes of 9 bits, then the CRC-32

  const Bytes zeros(1 << 20, 0);
  ASSERT_TRUE(LzwCompress(zeros.data(), zeros.size(), packed));
  EXPECT_LT(packed.size(), 4000u);
  const Bytes random = RandomBytes(1 << 18, 5);  // incompressible: grows, but boundedly
  ASSERT_TRUE(LzwCompress(random.data(), random.size(), packed, 16));
  EXPECT_LT(packed.size(), random.size() * 3 / 2);
}

TEST(LzwTest, BadInputFailsWithAClearMessage) {
  Bytes good;
  const Bytes text = Words(20000, 1);
  ASSERT_TRUE(LzwCompress(text.data(), text.size(), good, 12));
  auto with = [&](size_t pos, uint8_t x) { Bytes b = good; b[pos] ^= x; return b; };
  Bytes trailing = good;
  trailing.push_back(0);
  const Bytes highCode = {'L', 'Z', 'W', 9, 0xFF, 0x01};  // first code 511: not yet defined
  struct Case {
    const char* reason;
    Bytes stream;
    const char* message;
  } cases[] = {
      {"empty", {}, "lzw: unexpected end of input (truncated stream)"},
      {"magic", with(0, 1), "lzw: incorrect header (not an LZW stream)"},
      {"width 8", {'L', 'Z', 'W', 8}, "lzw: invalid code width in the header"},
      {"width 17", {'L', 'Z', 'W', 17}, "lzw: invalid code width in the header"},
      {"undefined code", highCode, "lzw: invalid code"},
      {"check", with(good.size() - 2, 0x10), "lzw: incorrect data check"},
      {"trailing byte", trailing, "lzw: trailing data after the end of the stream"},
  };
  for (const Case& c : cases) {
    Bytes out;
    EXPECT_FALSE(LzwDecompress(c.stream.data(), c.stream.size(), out)) << c.reason;
    EXPECT_EQ(GetLastError(), kErrorMessageCode) << c.reason;
    EXPECT_STREQ(GetLastErrorMessage().GetStr(), c.message) << c.reason;
  }
  for (size_t cut = 0; cut < good.size(); cut += 7) {
    Bytes out;
    EXPECT_FALSE(LzwDecompress(good.data(), cut, out)) << "cut at " << cut;
  }
  Bytes out;
  EXPECT_FALSE(LzwDecompress(good.data(), good.size(), out, text.size() - 1));
  EXPECT_EQ(GetLastError(), E2BIG);
  EXPECT_TRUE(LzwDecompress(good.data(), good.size(), out, text.size()));
}

}  // namespace
}  // namespace OrvGuiBase
