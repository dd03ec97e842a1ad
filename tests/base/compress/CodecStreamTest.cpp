// Tests of the stream forms of every codec: pieces of any size in, a source or sink that fails
// part way (its own error must come back, not a codec message), and output bounded by the
// limit on every decoder.
#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <string>

#include "base/compress/BlockCompress.h"
#include "base/compress/Deflate.h"
#include "base/compress/Inflate.h"
#include "base/compress/Lzw.h"
#include "base/core/LastError.h"
#include "tests/base/compress/CompressTestData.h"

namespace OrvGuiBase {
namespace {

using namespace CompressTest;

// PieceSource: hands out the data in pieces of the given sizes (cycled); after failAfter bytes
// it fails with EIO.
struct PieceSource final : ByteSource {
  const Bytes& data;
  std::vector<size_t> pieces;
  size_t failAfter;
  size_t pos = 0, turn = 0;
  PieceSource(const Bytes& d, std::vector<size_t> p, size_t fail = SIZE_MAX) : data(d), pieces(std::move(p)), failAfter(fail) {}
  long Read(uint8_t* buffer, size_t size) override {
    if (pos >= failAfter) {
      SetLastError(EIO);
      return -1;
    }
    size_t n = std::min({size, pieces[turn++ % pieces.size()], data.size() - pos, failAfter - pos});
    std::copy(data.begin() + static_cast<long>(pos), data.begin() + static_cast<long>(pos + n), buffer);
    pos += n;
    return static_cast<long>(n);
  }
};

// FailingSink: takes failAfter bytes, then fails with ENOSPC.
struct FailingSink final : ByteSink {
  Bytes taken;
  size_t failAfter;
  explicit FailingSink(size_t fail) : failAfter(fail) {}
  bool Write(const uint8_t* data, size_t size) override {
    if (taken.size() + size > failAfter) {
      SetLastError(ENOSPC);
      return false;
    }
    taken.insert(taken.end(), data, data + size);
    return true;
  }
};

struct Codec {
  const char* name;
  std::function<bool(ByteSource&, ByteSink&)> compress;
  std::function<bool(ByteSource&, ByteSink&, uint64_t)> expand;
};

std::vector<Codec> Codecs() {
  return {
      {"gzip", [](ByteSource& s, ByteSink& k) { return DeflateStream(DeflateFormat::kGzip, 6, s, k); },
       [](ByteSource& s, ByteSink& k, uint64_t limit) { return Inflater().Run(DeflateFormat::kGzip, s, k, limit); }},
      {"raw deflate", [](ByteSource& s, ByteSink& k) { return DeflateStream(DeflateFormat::kRaw, 1, s, k); },
       [](ByteSource& s, ByteSink& k, uint64_t limit) { return Inflater().Run(DeflateFormat::kRaw, s, k, limit); }},
      {"lzw", [](ByteSource& s, ByteSink& k) { return LzwCompressStream(s, k, 12); },
       [](ByteSource& s, ByteSink& k, uint64_t limit) { return LzwDecompressStream(s, k, limit); }},
      {"block", [](ByteSource& s, ByteSink& k) { return BlockCompressStream(s, k, 1); },
       [](ByteSource& s, ByteSink& k, uint64_t limit) { return BlockDecompressStream(s, k, limit); }},
  };
}

TEST(CodecStreamTest, PiecesOfAnySizeGiveTheSameBytes) {
  const Bytes text = Words(250000, 3);
  for (const Codec& codec : Codecs()) {
    Bytes whole;
    PieceSource all(text, {SIZE_MAX});
    VectorSink wholeSink(whole);
    ASSERT_TRUE(codec.compress(all, wholeSink)) << codec.name;
    for (std::vector<size_t> pieces : {std::vector<size_t>{1}, {7, 1, 4096}, {65537}}) {
      if (pieces[0] == 1 && std::string(codec.name) != "lzw") continue;  // a byte at a time: one codec is enough
      Bytes packed;
      PieceSource in(text, pieces);
      VectorSink sink(packed);
      ASSERT_TRUE(codec.compress(in, sink)) << codec.name;
      EXPECT_TRUE(packed == whole) << codec.name << ": the output depends on how the input was cut";
      Bytes back;
      PieceSource packedIn(packed, pieces);
      VectorSink backSink(back);
      ASSERT_TRUE(codec.expand(packedIn, backSink, UINT64_MAX)) << codec.name << ": " << GetLastErrorMessage().GetStr();
      EXPECT_TRUE(back == text) << codec.name;
    }
  }
}

TEST(CodecStreamTest, FailingSourcesAndSinksKeepTheirOwnError) {
  const Bytes text = Words(400000, 4);
  for (const Codec& codec : Codecs()) {
    Bytes packed;
    PieceSource all(text, {SIZE_MAX});
    VectorSink sink(packed);
    ASSERT_TRUE(codec.compress(all, sink));

    PieceSource brokenIn(text, {4096}, 100000);
    Bytes unused;
    VectorSink unusedSink(unused);
    EXPECT_FALSE(codec.compress(brokenIn, unusedSink)) << codec.name;
    EXPECT_EQ(GetLastError(), EIO) << codec.name << " compressing";

    PieceSource brokenPacked(packed, {4096}, packed.size() / 2);
    Bytes partial;
    VectorSink partialSink(partial);
    EXPECT_FALSE(codec.expand(brokenPacked, partialSink, UINT64_MAX)) << codec.name;
    EXPECT_EQ(GetLastError(), EIO) << codec.name << " expanding";

    PieceSource in(text, {SIZE_MAX});
    FailingSink full(1000);
    EXPECT_FALSE(codec.compress(in, full)) << codec.name;
    EXPECT_EQ(GetLastError(), ENOSPC) << codec.name << " compressing";

    PieceSource packedIn(packed, {SIZE_MAX});
    FailingSink fullOut(150000);
    EXPECT_FALSE(codec.expand(packedIn, fullOut, UINT64_MAX)) << codec.name;
    EXPECT_EQ(GetLastError(), ENOSPC) << codec.name << " expanding";
    EXPECT_TRUE(std::equal(fullOut.taken.begin(), fullOut.taken.end(), text.begin())) << codec.name;

    PieceSource limited(packed, {SIZE_MAX});
    Bytes bounded;
    VectorSink boundedSink(bounded);
    EXPECT_FALSE(codec.expand(limited, boundedSink, 200000)) << codec.name;
    EXPECT_EQ(GetLastError(), E2BIG) << codec.name;
    EXPECT_LE(bounded.size(), 200000u) << codec.name;
  }
}

}  // namespace
}  // namespace OrvGuiBase
