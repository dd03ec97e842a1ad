// Tests of CRC-32, Adler-32, deflate and inflate, with zlib as the oracle in both directions.
#include <gtest/gtest.h>
#include <zlib.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "base/compress/Checksum.h"
#include "base/compress/Deflate.h"
#include "base/compress/Inflate.h"
#include "base/core/LastError.h"
#include "tests/base/compress/CompressTestData.h"

namespace OrvGuiBase {
namespace {

using namespace CompressTest;

constexpr DeflateFormat kFormats[] = {DeflateFormat::kRaw, DeflateFormat::kZlib, DeflateFormat::kGzip};

int WindowBits(DeflateFormat f) { return f == DeflateFormat::kRaw ? -15 : f == DeflateFormat::kZlib ? 15 : 31; }
const char* Name(DeflateFormat f) { return f == DeflateFormat::kRaw ? "raw" : f == DeflateFormat::kZlib ? "zlib" : "gzip"; }

// EveryLevel: every level runs on the smaller samples; the largest (up to 1 MiB) keep the
// stored, fastest, default and best levels, which is where the code paths differ.
bool EveryLevel(const Sample& s, int level) {
  return s.data.size() <= 200000 || level == 0 || level == 1 || level == 6 || level == 9;
}

Bytes ZlibDeflate(DeflateFormat f, int level, int strategy, const Bytes& in) {
  z_stream z{};
  EXPECT_EQ(deflateInit2(&z, level, Z_DEFLATED, WindowBits(f), 8, strategy), Z_OK);
  Bytes out(deflateBound(&z, in.size()) + 64);
  z.next_in = const_cast<Bytef*>(in.data());
  z.avail_in = static_cast<uInt>(in.size());
  z.next_out = out.data();
  z.avail_out = static_cast<uInt>(out.size());
  EXPECT_EQ(deflate(&z, Z_FINISH), Z_STREAM_END);
  out.resize(z.total_out);
  deflateEnd(&z);
  return out;
}

bool ZlibInflate(DeflateFormat f, const Bytes& in, Bytes& out) {
  z_stream z{};
  if (inflateInit2(&z, WindowBits(f)) != Z_OK) return false;
  out.clear();
  z.next_in = const_cast<Bytef*>(in.data());
  z.avail_in = static_cast<uInt>(in.size());
  int rc;
  do {
    uint8_t buffer[65536];
    z.next_out = buffer;
    z.avail_out = sizeof buffer;
    rc = inflate(&z, Z_NO_FLUSH);
    out.insert(out.end(), buffer, buffer + (sizeof buffer - z.avail_out));
  } while (rc == Z_OK);
  const bool ok = rc == Z_STREAM_END && z.avail_in == 0;
  inflateEnd(&z);
  return ok;
}

// Crafted streams: bits least significant first, as the format sends them.
struct BitWriter {
  Bytes bytes;
  uint32_t bit = 0;
  void Put(uint32_t value, int count) {
    for (int i = 0; i < count; ++i) {
      if (bit % 8 == 0) bytes.push_back(0);
      bytes.back() |= static_cast<uint8_t>(((value >> i) & 1) << (bit % 8));
      ++bit;
    }
  }
  void PutReversed(uint32_t code, int count) {  // a prefix code, most significant bit first
    for (int i = count - 1; i >= 0; --i) Put((code >> i) & 1, 1);
  }
  void Align() { bit = (bit + 7) & ~7u; }
  void Stored(const Bytes& data, bool last, uint16_t nlenXor = 0xFFFF) {
    Put(last ? 1 : 0, 3);
    Align();
    const uint16_t n = static_cast<uint16_t>(data.size());
    for (uint16_t v : {n, static_cast<uint16_t>(n ^ nlenXor)}) bytes.push_back(v & 0xFF), bytes.push_back(v >> 8), bit += 16;
    bytes.insert(bytes.end(), data.begin(), data.end());
    bit += static_cast<uint32_t>(data.size() * 8);
  }
  // Fixed-code symbols.
  void Literal(uint8_t c) { c < 144 ? PutReversed(0x30 + c, 8) : PutReversed(0x190 + c - 144, 9); }
  void EndOfBlock() { PutReversed(0, 7); }
  void Length258() { PutReversed(0xC5, 8); }         // symbol 285
  void Distance32768() { PutReversed(29, 5), Put(8191, 13); }  // symbol 29, base 24577 + 8191
  // Dynamic: a dynamic block header for the given code lengths, sent with a code-length code
  // that gives the values 0..15 four bits each.
  void Dynamic(const std::vector<uint8_t>& lit, const std::vector<uint8_t>& dist) {
    Put(1, 1), Put(2, 2);
    Put(static_cast<uint32_t>(lit.size() - 257), 5), Put(static_cast<uint32_t>(dist.size() - 1), 5), Put(15, 4);
    for (int symbol : {16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15}) Put(symbol < 16 ? 4 : 0, 3);
    for (uint8_t v : lit) PutReversed(v, 4);
    for (uint8_t v : dist) PutReversed(v, 4);
  }
};

// LitLengths: 257 literal/length lengths (258 with one length symbol), all 0 but the given.
std::vector<uint8_t> LitLengths(std::initializer_list<std::pair<int, uint8_t>> set, size_t count = 258) {
  std::vector<uint8_t> l(count, 0);
  for (auto [symbol, length] : set) l[static_cast<size_t>(symbol)] = length;
  return l;
}

TEST(InflateTest, CodeSetsFollowTheFormatsRules) {
  // 'a' 1 bit (0), end of block 2 bits (10), length 3 2 bits (11); one distance code of 1 bit:
  // incomplete, and allowed for distances only.
  BitWriter single;
  single.Dynamic(LitLengths({{'a', 1}, {256, 2}, {257, 2}}), {1});
  single.PutReversed(0, 1), single.PutReversed(3, 2), single.PutReversed(0, 1), single.PutReversed(2, 2);
  BitWriter noDistances;  // only literals: no distance code at all
  noDistances.Dynamic(LitLengths({{'a', 1}, {256, 1}}, 257), {0});
  noDistances.PutReversed(0, 1), noDistances.PutReversed(0, 1), noDistances.PutReversed(1, 1);
  BitWriter incompleteLiterals;
  incompleteLiterals.Dynamic(LitLengths({{'a', 1}, {256, 2}}), {1});
  BitWriter noEnd;
  noEnd.Dynamic(LitLengths({{'a', 1}, {257, 1}}), {1});
  BitWriter twoDistancesOfOneBitPlusOne;
  twoDistancesOfOneBitPlusOne.Dynamic(LitLengths({{'a', 1}, {256, 2}, {257, 2}}), {1, 1, 1});

  struct Case {
    const char* reason;
    Bytes stream;
    const char* result;  // the output, or the message
    bool ok;
  } cases[] = {
      {"single distance code", single.bytes, "aaaa", true},
      {"no distance codes", noDistances.bytes, "aa", true},
      {"incomplete literal code", incompleteLiterals.bytes, "inflate: invalid code lengths (incomplete)", false},
      {"no end-of-block code", noEnd.bytes, "inflate: missing end-of-block code", false},
      {"over-subscribed distances", twoDistancesOfOneBitPlusOne.bytes, "inflate: invalid code lengths (over-subscribed)", false},
  };
  for (const Case& c : cases) {
    Bytes out, z;
    const bool zlibOk = ZlibInflate(DeflateFormat::kRaw, c.stream, z);
    EXPECT_EQ(zlibOk, c.ok) << "zlib disagrees on the case: " << c.reason;
    EXPECT_EQ(Inflate(DeflateFormat::kRaw, c.stream.data(), c.stream.size(), out), c.ok) << c.reason;
    if (c.ok) {
      EXPECT_EQ(std::string(out.begin(), out.end()), c.result) << c.reason;
    } else {
      EXPECT_STREQ(GetLastErrorMessage().GetStr(), c.result) << c.reason;
    }
  }
}

TEST(ChecksumTest, MatchesZlibAtEveryLengthAndSplit) {
  const Bytes data = RandomBytes(70000, 9);
  for (size_t size : {0u, 1u, 7u, 8u, 9u, 15u, 16u, 17u, 63u, 5551u, 5552u, 5553u, 65536u, 70000u}) {
    for (size_t offset : {0u, 1u, 3u}) {
      if (offset + size > data.size()) continue;
      const uint8_t* p = data.data() + offset;
      EXPECT_EQ(Crc32(0, p, size), crc32(0, p, static_cast<uInt>(size))) << size << "@" << offset;
      EXPECT_EQ(Adler32(1, p, size), adler32(1, p, static_cast<uInt>(size))) << size << "@" << offset;
      const size_t half = size / 3;
      EXPECT_EQ(Crc32(Crc32(0, p, half), p + half, size - half), crc32(0, p, static_cast<uInt>(size)));
      EXPECT_EQ(Adler32(Adler32(1, p, half), p + half, size - half), adler32(1, p, static_cast<uInt>(size)));
    }
  }
  EXPECT_EQ(Crc32(0, "123456789", 9), 0xCBF43926u);  // the check value of the CRC-32 catalogue
  const Bytes ff(100000, 0xFF);                        // Adler-32's worst case for the deferred modulo
  EXPECT_EQ(Adler32(1, ff.data(), ff.size()), adler32(1, ff.data(), static_cast<uInt>(ff.size())));
}

TEST(InflateTest, DecodesZlibOutputAtEveryLevelAndStrategy) {
  for (const Sample& s : Samples()) {
    for (DeflateFormat f : kFormats) {
      for (int level = 0; level <= 9; ++level) {
        if (!EveryLevel(s, level)) continue;
        for (int strategy : {Z_DEFAULT_STRATEGY, Z_FIXED, Z_HUFFMAN_ONLY, Z_RLE, Z_FILTERED}) {
          if (strategy != Z_DEFAULT_STRATEGY && level != 6) continue;
          const Bytes packed = ZlibDeflate(f, level, strategy, s.data);
          Bytes out;
          ASSERT_TRUE(Inflate(f, packed.data(), packed.size(), out))
              << s.name << " " << Name(f) << " level " << level << " strategy " << strategy << ": "
              << GetLastErrorMessage().GetStr();
          ASSERT_TRUE(out == s.data) << s.name << " " << Name(f) << " level " << level;
        }
      }
    }
  }
}

TEST(DeflateTest, ZlibDecodesOurOutputAtEveryLevel) {
  for (const Sample& s : Samples()) {
    for (DeflateFormat f : kFormats) {
      for (int level = -1; level <= 9; ++level) {
        if (!EveryLevel(s, level)) continue;
        Bytes packed, out;
        ASSERT_TRUE(Deflate(f, s.data.data(), s.data.size(), packed, level)) << s.name;
        ASSERT_TRUE(ZlibInflate(f, packed, out)) << s.name << " " << Name(f) << " level " << level;
        ASSERT_TRUE(out == s.data) << s.name << " " << Name(f) << " level " << level;
        Bytes ours;
        ASSERT_TRUE(Inflate(f, packed.data(), packed.size(), ours)) << s.name;
        ASSERT_TRUE(ours == s.data);
      }
    }
  }
}

TEST(DeflateTest, CompressesLikeZlib) {
  // Ratio and shape: incompressible data costs at most the stored overhead, repeats almost
  // nothing, and the default level stays within 2% of zlib's size on real text.
  for (const Sample& s : Samples()) {
    if (s.data.size() < 10000) continue;
    Bytes ours;
    ASSERT_TRUE(Deflate(DeflateFormat::kZlib, s.data.data(), s.data.size(), ours));
    const Bytes theirs = ZlibDeflate(DeflateFormat::kZlib, 6, Z_DEFAULT_STRATEGY, s.data);
    EXPECT_LE(ours.size(), theirs.size() * 1.02 + 16) << s.name;
    EXPECT_LE(ours.size(), s.data.size() * 1.001 + 64) << s.name;  // stored blocks cost 5 bytes each
  }
  Bytes stored;
  const Bytes random = RandomBytes(200000, 11);
  ASSERT_TRUE(Deflate(DeflateFormat::kRaw, random.data(), random.size(), stored, 0));
  EXPECT_EQ(stored.size(), random.size() + 5 * 4);  // four stored blocks of at most 65535
  // The first block's kind (bits 1-2 of a bare stream): each input gets the cheapest one.
  struct Kind {
    const char* reason;
    Bytes data;
    int level;
    int blockType;
  } kinds[] = {
      {"a few bytes: the fixed codes", {'a', 'b', 'c', 'a', 'b', 'c'}, 6, 1},
      {"noise: stored", RandomBytes(5000, 12), 6, 0},
      {"text: its own codes", Words(5000, 13), 6, 2},
      {"level 0: always stored", Words(5000, 13), 0, 0},
  };
  for (const Kind& k : kinds) {
    Bytes raw;
    ASSERT_TRUE(Deflate(DeflateFormat::kRaw, k.data.data(), k.data.size(), raw, k.level));
    EXPECT_EQ((raw[0] >> 1) & 3, k.blockType) << k.reason;
  }
  Bytes fast, best;
  const Bytes text = Words(300000, 2);
  ASSERT_TRUE(Deflate(DeflateFormat::kRaw, text.data(), text.size(), fast, 1));
  ASSERT_TRUE(Deflate(DeflateFormat::kRaw, text.data(), text.size(), best, 9));
  EXPECT_LT(best.size(), fast.size());
}

TEST(DeflateTest, StreamingGivesTheOneShotBytes) {
  const Bytes text = Words(400000, 6);
  for (int level : {0, 1, 6, 9}) {
    Bytes whole;
    ASSERT_TRUE(Deflate(DeflateFormat::kGzip, text.data(), text.size(), whole, level));
    Bytes pieces;
    VectorSink sink(pieces);
    Deflater deflater;
    ASSERT_TRUE(deflater.Begin(DeflateFormat::kGzip, level, sink));
    std::mt19937 rng(level);
    for (size_t pos = 0; pos < text.size();) {
      const size_t n = std::min<size_t>(text.size() - pos, rng() % 5000);
      ASSERT_TRUE(deflater.Write(text.data() + pos, n));
      pos += n;
    }
    ASSERT_TRUE(deflater.Finish());
    EXPECT_TRUE(pieces == whole) << "level " << level;
    EXPECT_EQ(deflater.GetTotalIn(), text.size());
    EXPECT_EQ(deflater.GetTotalOut(), whole.size());
    EXPECT_FALSE(deflater.Write("x", 1));  // finished
  }
  Bytes unused;
  errno = 0;
  EXPECT_FALSE(Deflate(DeflateFormat::kRaw, "x", 1, unused, 10));
  EXPECT_EQ(GetLastError(), EINVAL);
}

// A source that hands out one byte at a time: every state of the decoder meets the end of
// its input buffer.
struct TrickleSource final : ByteSource {
  const Bytes& data;
  size_t pos = 0;
  explicit TrickleSource(const Bytes& d) : data(d) {}
  long Read(uint8_t* buffer, size_t) override {
    if (pos == data.size()) return 0;
    *buffer = data[pos++];
    return 1;
  }
};

TEST(InflateTest, StreamsFromAByteAtATime) {
  const Bytes text = Words(200000, 7);
  for (DeflateFormat f : kFormats) {
    for (int level : {0, 1, 9}) {
      const Bytes packed = ZlibDeflate(f, level, Z_DEFAULT_STRATEGY, text);
      TrickleSource source(packed);
      Bytes out;
      VectorSink sink(out);
      Inflater inflater;
      ASSERT_TRUE(inflater.Run(f, source, sink)) << Name(f) << " " << GetLastErrorMessage().GetStr();
      EXPECT_TRUE(out == text);
      EXPECT_EQ(inflater.GetTotalIn(), packed.size());
      EXPECT_EQ(inflater.GetTotalOut(), text.size());
    }
  }
}

TEST(InflateTest, FormatEdgeCases) {
  const Bytes history = RandomBytes(32768, 12);
  const Bytes full = RandomBytes(65535, 13);

  BitWriter farthest;  // 32 KiB stored, then a 258-byte match at distance 32768
  farthest.Stored(history, false);
  farthest.Put(3, 3);
  farthest.Length258();
  farthest.Distance32768();
  farthest.EndOfBlock();
  Bytes expected = history;
  for (int i = 0; i < 258; ++i) expected.push_back(expected[expected.size() - 32768]);

  BitWriter maxStored;  // two stored blocks of the largest size and an empty last one
  maxStored.Stored(full, false);
  maxStored.Stored(full, false);
  maxStored.Stored({}, true);
  Bytes twice = full;
  twice.insert(twice.end(), full.begin(), full.end());

  BitWriter overlap;  // one literal and a length-258 copy at distance 1 (a run)
  overlap.Put(3, 3);
  overlap.Literal('z');
  overlap.Length258();
  overlap.PutReversed(0, 5);  // distance symbol 0: distance 1
  overlap.EndOfBlock();

  struct Case {
    const char* reason;
    Bytes stream;
    Bytes expected;
  } cases[] = {
      {"distance 32768 with length 258", farthest.bytes, expected},
      {"stored blocks of 65535 bytes", maxStored.bytes, twice},
      {"overlapping copy of 258", overlap.bytes, Bytes(259, 'z')},
  };
  for (const Case& c : cases) {
    Bytes out;
    ASSERT_TRUE(Inflate(DeflateFormat::kRaw, c.stream.data(), c.stream.size(), out)) << c.reason << ": "
                                                                                     << GetLastErrorMessage().GetStr();
    EXPECT_TRUE(out == c.expected) << c.reason;
    Bytes z;
    EXPECT_TRUE(ZlibInflate(DeflateFormat::kRaw, c.stream, z) && z == c.expected) << "zlib disagrees: " << c.reason;
  }
}

TEST(InflateTest, BadInputFailsWithAClearMessage) {
  const Bytes text = Words(100000, 8);
  const Bytes zlibStream = ZlibDeflate(DeflateFormat::kZlib, 6, Z_DEFAULT_STRATEGY, text);
  const Bytes gzipStream = ZlibDeflate(DeflateFormat::kGzip, 6, Z_DEFAULT_STRATEGY, text);
  auto with = [](Bytes b, size_t pos, uint8_t x) { b[pos] ^= x; return b; };
  auto plus = [](Bytes b, const Bytes& tail) { b.insert(b.end(), tail.begin(), tail.end()); return b; };

  BitWriter tooFar;  // a match reaching before the first byte
  tooFar.Put(3, 3);
  tooFar.Literal('a');
  tooFar.Length258();
  tooFar.PutReversed(1, 5);  // distance 2, one byte written
  tooFar.EndOfBlock();
  BitWriter badType;
  badType.Put(7, 3);
  BitWriter badStored;
  badStored.Stored({'a', 'b'}, true, 0xFFFE);
  BitWriter overSubscribed;  // dynamic block whose code-length code has four codes of length 1
  overSubscribed.Put(5, 3);
  overSubscribed.Put(0, 5), overSubscribed.Put(0, 5), overSubscribed.Put(0, 4);
  for (int i = 0; i < 4; ++i) overSubscribed.Put(1, 3);

  struct Case {
    const char* reason;
    DeflateFormat format;
    Bytes stream;
    const char* message;
  } cases[] = {
      {"distance before the start", DeflateFormat::kRaw, tooFar.bytes, "inflate: invalid distance too far back"},
      {"block type 3", DeflateFormat::kRaw, badType.bytes, "inflate: invalid block type"},
      {"stored length check", DeflateFormat::kRaw, badStored.bytes, "inflate: invalid stored block lengths"},
      {"over-subscribed code", DeflateFormat::kRaw, overSubscribed.bytes, "inflate: invalid code lengths (over-subscribed)"},
      {"empty input", DeflateFormat::kRaw, {}, "inflate: unexpected end of input (truncated stream)"},
      {"zlib header check", DeflateFormat::kZlib, with(zlibStream, 1, 1), "inflate: incorrect header check"},
      {"zlib method", DeflateFormat::kZlib, {0x79, 0x9C - 0x01 + 0x01}, "inflate: unknown compression method"},
      {"zlib dictionary", DeflateFormat::kZlib, {0x78, 0xBB}, "inflate: preset dictionary not supported"},
      {"zlib data check", DeflateFormat::kZlib, with(zlibStream, zlibStream.size() - 1, 1), "inflate: incorrect data check"},
      {"zlib trailing data", DeflateFormat::kZlib, plus(zlibStream, {0}), "inflate: trailing data after the end of the stream"},
      {"gzip magic", DeflateFormat::kGzip, with(gzipStream, 0, 2), "inflate: incorrect header (not gzip)"},
      {"gzip crc", DeflateFormat::kGzip, with(gzipStream, gzipStream.size() - 8, 1), "inflate: incorrect data check"},
      {"gzip size", DeflateFormat::kGzip, with(gzipStream, gzipStream.size() - 4, 1), "inflate: incorrect length check"},
      {"gzip garbage after member", DeflateFormat::kGzip, plus(gzipStream, {1, 2, 3}), "inflate: unexpected end of input (truncated stream)"},
  };
  for (const Case& c : cases) {
    Bytes out;
    SetLastError(0);
    EXPECT_FALSE(Inflate(c.format, c.stream.data(), c.stream.size(), out)) << c.reason;
    EXPECT_EQ(GetLastError(), kErrorMessageCode) << c.reason;
    EXPECT_STREQ(GetLastErrorMessage().GetStr(), c.message) << c.reason;
  }
  // Every truncation of a valid stream fails; none is taken for a complete one.
  for (DeflateFormat f : kFormats) {
    const Bytes packed = ZlibDeflate(f, 9, Z_DEFAULT_STRATEGY, Words(3000, 9));
    for (size_t cut = 0; cut < packed.size(); ++cut) {
      Bytes out;
      EXPECT_FALSE(Inflate(f, packed.data(), cut, out)) << Name(f) << " cut at " << cut;
    }
  }
}

TEST(InflateTest, OutputLimitBoundsABomb) {
  const Bytes zeros(10 << 20, 0);
  const Bytes bomb = ZlibDeflate(DeflateFormat::kGzip, 9, Z_DEFAULT_STRATEGY, zeros);
  ASSERT_LT(bomb.size(), 20000u);
  struct Case {
    uint64_t limit;
    bool ok;
  } cases[] = {{1 << 20, false}, {zeros.size() - 1, false}, {zeros.size(), true}, {UINT64_MAX, true}};
  for (const Case& c : cases) {
    Bytes out;
    EXPECT_EQ(Inflate(DeflateFormat::kGzip, bomb.data(), bomb.size(), out, c.limit), c.ok) << c.limit;
    if (c.ok) continue;
    EXPECT_EQ(GetLastError(), E2BIG);
    EXPECT_NE(std::string(GetLastErrorMessage().GetStr()).find("inflate: output exceeds the limit of"), std::string::npos);
    EXPECT_LE(out.size(), c.limit);
  }
}

// GzipMember: a member with every optional header field (extra, name, comment, header CRC).
Bytes GzipMember(const Bytes& data, bool goodHeaderCrc) {
  Bytes m = {0x1F, 0x8B, 8, 0x04 | 0x08 | 0x10 | 0x02, 1, 2, 3, 4, 0, 3, 5, 0, 'x', 'y', 'z', 'w', 'v'};
  for (const char* s : {"name.txt", "a comment"}) m.insert(m.end(), s, s + std::strlen(s) + 1);
  const uint32_t headerCrc = crc32(0, m.data(), static_cast<uInt>(m.size())) ^ (goodHeaderCrc ? 0 : 1);
  m.push_back(static_cast<uint8_t>(headerCrc));
  m.push_back(static_cast<uint8_t>(headerCrc >> 8));
  const Bytes body = ZlibDeflate(DeflateFormat::kRaw, 6, Z_DEFAULT_STRATEGY, data);
  m.insert(m.end(), body.begin(), body.end());
  const uint32_t crc = crc32(0, data.data(), static_cast<uInt>(data.size())), size = static_cast<uint32_t>(data.size());
  for (uint32_t v : {crc, size}) {
    for (int i = 0; i < 4; ++i) m.push_back(static_cast<uint8_t>(v >> (8 * i)));
  }
  return m;
}

TEST(InflateTest, ReadsEveryGzipHeaderField) {
  const Bytes text = Words(10000, 14);
  const Bytes good = GzipMember(text, true);
  Bytes out;
  ASSERT_TRUE(Inflate(DeflateFormat::kGzip, good.data(), good.size(), out)) << GetLastErrorMessage().GetStr();
  EXPECT_TRUE(out == text);
  Bytes viaZlib;
  EXPECT_TRUE(ZlibInflate(DeflateFormat::kGzip, good, viaZlib) && viaZlib == text) << "the crafted member is not valid";
  const Bytes bad = GzipMember(text, false);
  EXPECT_FALSE(Inflate(DeflateFormat::kGzip, bad.data(), bad.size(), out));
  EXPECT_STREQ(GetLastErrorMessage().GetStr(), "inflate: header crc mismatch");
  for (size_t cut = 1; cut < 40; ++cut) {  // cut inside the header fields
    EXPECT_FALSE(Inflate(DeflateFormat::kGzip, good.data(), cut, out)) << cut;
    EXPECT_STREQ(GetLastErrorMessage().GetStr(), "inflate: unexpected end of input (truncated stream)") << cut;
  }
}

TEST(InflateTest, DecodesEveryMemberOfAGzipFile) {
  const Bytes a = Words(70000, 10), b = RandomBytes(1000, 10);
  Bytes file = ZlibDeflate(DeflateFormat::kGzip, 6, Z_DEFAULT_STRATEGY, a);
  const Bytes second = ZlibDeflate(DeflateFormat::kGzip, 1, Z_DEFAULT_STRATEGY, b);
  file.insert(file.end(), second.begin(), second.end());
  Bytes out;
  ASSERT_TRUE(Inflate(DeflateFormat::kGzip, file.data(), file.size(), out)) << GetLastErrorMessage().GetStr();
  Bytes expected = a;
  expected.insert(expected.end(), b.begin(), b.end());
  EXPECT_TRUE(out == expected);
}

}  // namespace
}  // namespace OrvGuiBase
