// Tests of the block compressor: the transform against a naive rotation sort, round trips of
// every kind of input at several block sizes, the ratio beside bzip2, and bad input.
#include <bzlib.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <string>

#include "base/compress/BlockCompress.h"
#include "base/core/LastError.h"
#include "tests/base/compress/CompressTestData.h"

namespace OrvGuiBase {
namespace {

using namespace CompressTest;

// NaiveTransform: sorts the suffixes of data + marker (the marker smallest) by comparison.
Bytes NaiveTransform(const Bytes& data, uint32_t& primary) {
  const size_t n = data.size();
  std::vector<size_t> rows(n + 1);
  for (size_t i = 0; i <= n; ++i) rows[i] = i;
  std::sort(rows.begin(), rows.end(), [&](size_t a, size_t b) {
    return std::lexicographical_compare(data.begin() + static_cast<long>(a), data.end(), data.begin() + static_cast<long>(b), data.end());
  });
  Bytes out;
  for (size_t i = 0; i <= n; ++i) {
    if (rows[i] == 0) primary = static_cast<uint32_t>(i);
    else out.push_back(data[rows[i] - 1]);
  }
  return out;
}

TEST(BlockCompressTest, TransformMatchesANaiveSortAndInverts) {
  std::vector<Bytes> inputs = {{'a'}, {'b', 'a', 'n', 'a', 'n', 'a'}, Bytes(1000, 'x'), RandomBytes(3000, 1), Words(5000, 2)};
  Bytes periodic;
  for (int i = 0; i < 4000; ++i) periodic.push_back(static_cast<uint8_t>("abcab"[i % 5]));
  inputs.push_back(periodic);
  Bytes fewSymbols = RandomBytes(4000, 3);
  for (auto& c : fewSymbols) c &= 1;
  inputs.push_back(fewSymbols);
  for (const Bytes& in : inputs) {
    uint32_t expectedPrimary = 0, primary = 0;
    const Bytes expected = NaiveTransform(in, expectedPrimary);
    Bytes out(in.size());
    BurrowsWheeler(in.data(), static_cast<uint32_t>(in.size()), out.data(), primary);
    EXPECT_TRUE(out == expected) << in.size();
    EXPECT_EQ(primary, expectedPrimary);
    Bytes back(in.size());
    ASSERT_TRUE(InverseBurrowsWheeler(out.data(), static_cast<uint32_t>(out.size()), primary, back.data()));
    EXPECT_TRUE(back == in);
  }
  Bytes banana(6);
  EXPECT_FALSE(InverseBurrowsWheeler(banana.data(), 6, 7, banana.data()));
  EXPECT_EQ(GetLastError(), EINVAL);
}

TEST(BlockCompressTest, RoundTripsEveryInput) {
  for (const Sample& s : Samples()) {
    for (int level : {1, 9}) {
      Bytes packed, back;
      ASSERT_TRUE(BlockCompress(s.data.data(), s.data.size(), packed, level)) << s.name;
      ASSERT_TRUE(BlockDecompress(packed.data(), packed.size(), back)) << s.name << " " << level << ": "
                                                                          << GetLastErrorMessage().GetStr();
      ASSERT_TRUE(back == s.data) << s.name << " level " << level;
    }
  }
  Bytes packed;
  EXPECT_FALSE(BlockCompress("x", 1, packed, 0));
  EXPECT_EQ(GetLastError(), EINVAL);
}

TEST(BlockCompressTest, CompressesAboutAsWellAsBzip2) {
  for (const Sample& s : Samples()) {
    if (s.data.size() < 20000) continue;
    Bytes ours;
    ASSERT_TRUE(BlockCompress(s.data.data(), s.data.size(), ours));
    Bytes theirs(s.data.size() + s.data.size() / 100 + 600);
    unsigned size = static_cast<unsigned>(theirs.size());
    ASSERT_EQ(BZ2_bzBuffToBuffCompress(reinterpret_cast<char*>(theirs.data()), &size,
                                       reinterpret_cast<char*>(const_cast<uint8_t*>(s.data.data())),
                                       static_cast<unsigned>(s.data.size()), 9, 0, 0),
              BZ_OK);
    EXPECT_LE(ours.size(), size * 1.05 + 64) << s.name << ": ours " << ours.size() << ", bzip2 " << size;
  }
}

TEST(BlockCompressTest, BadInputFailsWithAClearMessage) {
  const Bytes text = Words(150000, 4);
  Bytes good;
  ASSERT_TRUE(BlockCompress(text.data(), text.size(), good, 1));
  auto with = [&](size_t pos, uint8_t x) { Bytes b = good; b[pos] ^= x; return b; };
  Bytes trailing = good;
  trailing.push_back(0);
  struct Case {
    const char* reason;
    Bytes stream;
    const char* message;
  } cases[] = {
      {"empty", {}, "block: unexpected end of input (truncated stream)"},
      {"magic", with(0, 1), "block: incorrect header (not a block stream)"},
      {"level", with(3, 0x40), "block: invalid block size in the header"},
      {"block longer than the level allows", with(6, 0x10), "block: invalid block length"},
      {"row past the block", with(11, 0x40), "block: invalid transform row"},
      {"coded bytes damaged", with(200, 0x55), nullptr},  // a bad run or the check: either way refused
      {"crc damaged", with(16, 1), "block: incorrect data check"},
      {"no end mark", Bytes(good.begin(), good.end() - 4), "block: unexpected end of input (truncated stream)"},
      {"trailing byte", trailing, "block: trailing data after the end of the stream"},
  };
  for (const Case& c : cases) {
    Bytes out;
    EXPECT_FALSE(BlockDecompress(c.stream.data(), c.stream.size(), out)) << c.reason;
    EXPECT_EQ(GetLastError(), kErrorMessageCode) << c.reason;
    if (c.message != nullptr) {
      EXPECT_STREQ(GetLastErrorMessage().GetStr(), c.message) << c.reason;
    }
    EXPECT_EQ(std::string(GetLastErrorMessage().GetStr()).rfind("block: ", 0), 0u) << c.reason;
  }
  for (size_t cut = 0; cut < good.size(); cut += 97) {
    Bytes out;
    EXPECT_FALSE(BlockDecompress(good.data(), cut, out)) << "cut at " << cut;
  }
  Bytes out;
  EXPECT_FALSE(BlockDecompress(good.data(), good.size(), out, 100000));
  EXPECT_EQ(GetLastError(), E2BIG);
  EXPECT_EQ(out.size(), 100000u);  // the first block, not more
}

}  // namespace
}  // namespace OrvGuiBase
