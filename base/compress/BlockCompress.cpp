// BlockCompress.cpp: the block compressor.
//
// Suffix sorting is induced sorting (SA-IS): suffixes are typed S (smaller than the next) or L
// (larger); the leftmost S suffixes of each S run (LMS) are placed at the ends of their
// buckets, L suffixes are induced from them left to right and S suffixes right to left. That
// sorts the LMS substrings; when two of them are equal the names of the substrings form a
// shorter string that is sorted the same way, recursively. A final induction from the sorted
// LMS suffixes sorts everything. Linear time, whatever the input (long runs included).
//
// The coder: after move-to-front, a block is a sequence of ranks, mostly zeros in runs. A run
// of zeros is sent as its length (Elias gamma, every bit modelled); any other rank as its
// bit length in unary and its remaining bits along a binary tree, both in the context of the
// previous rank's bit length. Whether a run comes next is a bit of its own, except after a
// run, where it cannot. Every bit has an adaptive probability (the mean of a fast and a slow
// estimate) and goes through a binary range coder with carry propagation.
#include "base/compress/BlockCompress.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <new>

#include "base/compress/Checksum.h"
#include "base/core/LastError.h"

namespace OrvGuiBase {

namespace {

constexpr char kCodec[] = "block";
constexpr uint32_t kBlockUnit = 100000;

// ---- suffix sorting ----

// GetBuckets: where each value's bucket starts (or ends), from the counts of the values.
void GetBuckets(const int32_t* counts, int32_t* bucket, int32_t k, bool end) {
  int32_t sum = 0;
  for (int32_t i = 0; i <= k; ++i) {
    sum += counts[i];
    bucket[i] = end ? sum : sum - counts[i];
  }
}

// Sais: Char is an unsigned type whose top bit is free; the sort keeps each suffix's type in
// it (set: S), so that one look-up gives both the value and the type.
template <typename Char>
struct Sais {
  static constexpr Char kS = static_cast<Char>(Char{1} << (sizeof(Char) * 8 - 1));
  static constexpr Char kValue = static_cast<Char>(~kS);

  Char* s;
  int32_t* sa;
  int32_t n;
  int32_t k;
  std::vector<int32_t> bucket;
  std::vector<int32_t> counts;

  bool IsS(int32_t i) const { return (s[i] & kS) != 0; }
  Char Value(int32_t i) const { return static_cast<Char>(s[i] & kValue); }
  bool IsLms(int32_t i) const { return i > 0 && IsS(i) && !IsS(i - 1); }

  void InduceL() {
    GetBuckets(counts.data(), bucket.data(), k, false);
    for (int32_t i = 0; i < n; ++i) {
      const int32_t j = sa[i] - 1;
      if (j < 0) continue;
      const Char c = s[j];
      if (!(c & kS)) sa[bucket[c]++] = j;
    }
  }
  void InduceS() {
    GetBuckets(counts.data(), bucket.data(), k, true);
    for (int32_t i = n - 1; i >= 0; --i) {
      const int32_t j = sa[i] - 1;
      if (j < 0) continue;
      const Char c = s[j];
      if (c & kS) sa[--bucket[c & kValue]] = j;
    }
  }

  // Run: sa becomes the suffix array of s[0..n), whose last value is a unique smallest
  // sentinel 0; values lie in 0..k. The type bits are left set in s.
  void Run() {
    bucket.assign(static_cast<size_t>(k + 1), 0);
    counts.assign(static_cast<size_t>(k + 1), 0);
    for (int32_t i = 0; i < n; ++i) ++counts[s[i]];
    s[n - 1] |= kS;
    for (int32_t i = n - 3; i >= 0; --i) {
      if (Value(i) < Value(i + 1) || (Value(i) == Value(i + 1) && IsS(i + 1))) s[i] |= kS;
    }

    GetBuckets(counts.data(), bucket.data(), k, true);
    for (int32_t i = 0; i < n; ++i) sa[i] = -1;
    for (int32_t i = 1; i < n; ++i) {
      if (IsLms(i)) sa[--bucket[Value(i)]] = i;
    }
    InduceL();
    InduceS();

    int32_t n1 = 0;
    for (int32_t i = 0; i < n; ++i) {
      if (IsLms(sa[i])) sa[n1++] = sa[i];
    }
    for (int32_t i = n1; i < n; ++i) sa[i] = -1;
    int32_t name = 0, prev = -1;
    for (int32_t i = 0; i < n1; ++i) {
      const int32_t pos = sa[i];
      bool diff = false;
      for (int32_t d = 0; d < n; ++d) {
        if (prev == -1 || s[pos + d] != s[prev + d]) {  // value or type differs
          diff = true;
          break;
        }
        if (d > 0 && (IsLms(pos + d) || IsLms(prev + d))) break;
      }
      if (diff) {
        ++name;
        prev = pos;
      }
      sa[n1 + pos / 2] = name - 1;
    }
    for (int32_t i = n - 1, j = n - 1; i >= n1; --i) {
      if (sa[i] >= 0) sa[j--] = sa[i];
    }

    int32_t* sa1 = sa;
    int32_t* s1 = sa + n - n1;
    if (name < n1) {
      // The names are below n1, so their top bit is free; signed and unsigned views of the
      // same integers may alias.
      Sais<uint32_t> sub{reinterpret_cast<uint32_t*>(s1), sa1, n1, name - 1, {}, {}};
      sub.Run();
    } else {
      for (int32_t i = 0; i < n1; ++i) sa1[s1[i]] = i;
    }

    GetBuckets(counts.data(), bucket.data(), k, true);
    for (int32_t i = 1, j = 0; i < n; ++i) {
      if (IsLms(i)) s1[j++] = i;
    }
    for (int32_t i = 0; i < n1; ++i) sa1[i] = s1[sa1[i]];
    for (int32_t i = n1; i < n; ++i) sa[i] = -1;
    for (int32_t i = n1 - 1; i >= 0; --i) {
      const int32_t j = sa[i];
      sa[i] = -1;
      sa[--bucket[Value(j)]] = j;
    }
    InduceL();
    InduceS();
  }
};

// ---- binary range coder ----

struct Probability {
  uint16_t fast = 32768, slow = 32768;
  uint32_t Get() const { return (uint32_t{fast} + slow) >> 1; }
  void Update(uint32_t bit) {
    if (bit) {
      fast = static_cast<uint16_t>(fast - (fast >> 4));
      slow = static_cast<uint16_t>(slow - (slow >> 7));
    } else {
      fast = static_cast<uint16_t>(fast + ((65536 - fast) >> 4));
      slow = static_cast<uint16_t>(slow + ((65536 - slow) >> 7));
    }
  }
};

class RangeEncoder {
 public:
  explicit RangeEncoder(std::vector<uint8_t>& out) : m_out(out) {}
  void Encode(Probability& p, uint32_t bit) {
    const uint32_t bound = (m_range >> 16) * p.Get();
    if (bit) {
      m_low += bound;
      m_range -= bound;
    } else {
      m_range = bound;
    }
    p.Update(bit);
    while (m_range < (1u << 24)) {
      m_range <<= 8;
      ShiftLow();
    }
  }
  void Finish() {
    for (int i = 0; i < 5; ++i) ShiftLow();
  }

 private:
  void ShiftLow() {
    if (m_low < 0xFF000000u || m_low >= (uint64_t{1} << 32)) {
      const uint8_t carry = static_cast<uint8_t>(m_low >> 32);
      uint8_t temp = m_cache;
      do {
        m_out.push_back(static_cast<uint8_t>(temp + carry));
        temp = 0xFF;
      } while (--m_cacheSize != 0);
      m_cache = static_cast<uint8_t>(m_low >> 24);
    }
    ++m_cacheSize;
    m_low = (m_low & 0x00FFFFFFu) << 8;
  }
  std::vector<uint8_t>& m_out;
  uint64_t m_low = 0;
  uint32_t m_range = 0xFFFFFFFFu;
  uint8_t m_cache = 0;
  uint64_t m_cacheSize = 1;
};

class RangeDecoder {
 public:
  RangeDecoder(const uint8_t* data, size_t size) : m_data(data), m_size(size) {
    for (int i = 0; i < 5; ++i) m_code = (m_code << 8) | Next();
  }
  uint32_t Decode(Probability& p) {
    const uint32_t bound = (m_range >> 16) * p.Get();
    uint32_t bit;
    if (m_code < bound) {
      m_range = bound;
      bit = 0;
    } else {
      m_code -= bound;
      m_range -= bound;
      bit = 1;
    }
    p.Update(bit);
    while (m_range < (1u << 24)) {
      m_range <<= 8;
      m_code = (m_code << 8) | Next();
    }
    return bit;
  }
  // Overrun: the coded bytes ended before the block did.
  bool Overrun() const { return m_pos > m_size; }

 private:
  uint32_t Next() { return m_pos < m_size ? m_data[m_pos++] : (++m_pos, 0u); }
  const uint8_t* m_data;
  size_t m_size;
  size_t m_pos = 0;
  uint32_t m_code = 0;
  uint32_t m_range = 0xFFFFFFFFu;
};

// ---- the rank model ----

inline uint32_t BitLength(uint32_t v) { return 32 - static_cast<uint32_t>(__builtin_clz(v)); }

struct RankModel {
  Probability runFlag[17];
  Probability runUnary[25];
  Probability runBits[25][25];
  Probability rankUnary[16][8];
  Probability rankTree[8][256];
};

// Context of a rank: the previous non-zero rank's bit length, and whether a run came between.
inline uint32_t RankContext(uint32_t previousBucket, bool afterRun) { return previousBucket + (afterRun ? 8 : 0); }

void EncodeRun(RangeEncoder& rc, RankModel& m, uint32_t length) {
  const uint32_t bits = BitLength(length);
  for (uint32_t i = 1; i < bits; ++i) rc.Encode(m.runUnary[i - 1], 1);
  rc.Encode(m.runUnary[bits - 1], 0);
  for (int32_t b = static_cast<int32_t>(bits) - 2; b >= 0; --b) rc.Encode(m.runBits[bits][b], (length >> b) & 1);
}

void EncodeRank(RangeEncoder& rc, RankModel& m, uint32_t context, uint32_t v) {
  const uint32_t bucket = BitLength(v) - 1;
  for (uint32_t i = 0; i < bucket; ++i) rc.Encode(m.rankUnary[context][i], 1);
  if (bucket < 7) rc.Encode(m.rankUnary[context][bucket], 0);
  uint32_t node = 1;
  for (int32_t b = static_cast<int32_t>(bucket) - 1; b >= 0; --b) {
    const uint32_t bit = (v >> b) & 1;
    rc.Encode(m.rankTree[bucket][node], bit);
    node = node * 2 + bit;
  }
}

// EncodeRanks: the coded bytes of the ranks of one block.
void EncodeRanks(const uint8_t* ranks, uint32_t n, std::vector<uint8_t>& out) {
  std::unique_ptr<RankModel> m(new RankModel);
  RangeEncoder rc(out);
  uint32_t bucket = 0;
  bool afterRun = false, start = true;
  for (uint32_t i = 0; i < n;) {
    if (ranks[i] == 0) {
      uint32_t run = 1;
      while (i + run < n && ranks[i + run] == 0) ++run;
      rc.Encode(m->runFlag[start ? 16 : RankContext(bucket, afterRun)], 1);
      EncodeRun(rc, *m, run);
      i += run;
      afterRun = true;
      start = false;
      if (i == n) break;
      EncodeRank(rc, *m, RankContext(bucket, true), ranks[i]);
    } else {
      rc.Encode(m->runFlag[start ? 16 : RankContext(bucket, afterRun)], 0);
      EncodeRank(rc, *m, RankContext(bucket, afterRun), ranks[i]);
      afterRun = false;
      start = false;
    }
    bucket = BitLength(ranks[i]) - 1;
    ++i;
  }
  rc.Finish();
}

bool DecodeRanks(const uint8_t* data, size_t size, uint8_t* ranks, uint32_t n) {
  std::unique_ptr<RankModel> m(new RankModel);
  RangeDecoder rc(data, size);
  uint32_t bucket = 0;
  bool afterRun = false, start = true;
  auto decodeRank = [&](uint32_t context) {
    uint32_t k = 0;
    while (k < 7 && rc.Decode(m->rankUnary[context][k])) ++k;
    uint32_t node = 1;
    for (uint32_t b = 0; b < k; ++b) node = node * 2 + rc.Decode(m->rankTree[k][node]);
    return node;
  };
  for (uint32_t i = 0; i < n;) {
    if (rc.Overrun()) return SetCodecError(kCodec, "unexpected end of coded data");
    const bool run = rc.Decode(m->runFlag[start ? 16 : RankContext(bucket, afterRun)]);
    start = false;
    uint32_t context = RankContext(bucket, afterRun);
    if (run) {
      uint32_t bits = 1;
      while (rc.Decode(m->runUnary[bits - 1])) {
        if (++bits > 24) return SetCodecError(kCodec, "invalid run length");
      }
      uint32_t length = 1;
      for (int32_t b = static_cast<int32_t>(bits) - 2; b >= 0; --b) length = length * 2 + rc.Decode(m->runBits[bits][b]);
      if (length > n - i) return SetCodecError(kCodec, "invalid run length");
      std::memset(ranks + i, 0, length);
      i += length;
      afterRun = true;
      if (i == n) break;
      context = RankContext(bucket, true);
    }
    const uint32_t v = decodeRank(context);
    ranks[i++] = static_cast<uint8_t>(v);
    bucket = BitLength(v) - 1;
    afterRun = run;
  }
  if (rc.Overrun()) return SetCodecError(kCodec, "unexpected end of coded data");
  return true;
}

}  // namespace

// ---- transform ----

void BurrowsWheeler(const uint8_t* in, uint32_t n, uint8_t* out, uint32_t& primary) {
  primary = 0;
  if (n == 0) return;
  // The bytes as 1..256 and a 0 after them, the unique smallest value the sort needs.
  std::vector<uint16_t> text(n + 1);
  std::vector<int32_t> sa(n + 1);
  for (uint32_t i = 0; i < n; ++i) text[i] = static_cast<uint16_t>(in[i] + 1);
  text[n] = 0;
  Sais<uint16_t> sorter{text.data(), sa.data(), static_cast<int32_t>(n + 1), 256, {}, {}};
  sorter.Run();
  // Row 0 is the marker's suffix, preceded by the last byte; the row of the whole block is
  // preceded by the marker, which is left out and remembered as primary.
  uint32_t o = 0;
  for (uint32_t i = 0; i <= n; ++i) {
    const int32_t p = sa[i];
    if (p == 0) {
      primary = i;
    } else {
      out[o++] = in[p - 1];
    }
  }
}

bool InverseBurrowsWheeler(const uint8_t* in, uint32_t n, uint32_t primary, uint8_t* out) {
  if (n == 0) return true;
  if (primary < 1 || primary > n) {
    SetLastError(EINVAL);
    return false;
  }
  // Row i of the full last column (n + 1 rows) is in[i] before primary, in[i - 1] after it.
  uint32_t count[257] = {};
  for (uint32_t i = 0; i < n; ++i) ++count[in[i] + 1];
  // The marker sorts first (row 0); byte c's rows begin at base[c].
  uint32_t base[256];
  uint32_t sum = 1;
  for (int c = 0; c < 256; ++c) {
    base[c] = sum;
    sum += count[c + 1];
  }
  std::vector<uint32_t> lf(n + 1);
  uint32_t seen[256] = {};
  for (uint32_t row = 0; row <= n; ++row) {
    if (row == primary) {
      lf[row] = 0;
      continue;
    }
    const uint8_t c = in[row < primary ? row : row - 1];
    lf[row] = base[c] + seen[c]++;
  }
  uint32_t row = 0;
  for (uint32_t k = n; k-- > 0;) {
    out[k] = in[row < primary ? row : row - 1];
    row = lf[row];
  }
  return true;
}

// ---- framing ----

namespace {

void Store32(uint8_t* p, uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}
uint32_t Load32(const uint8_t* p) { return uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24; }

// ReadFull: exactly size bytes from source; 0 bytes at once means the end (ended set).
bool ReadFull(ByteSource& source, uint8_t* buffer, size_t size, size_t& got) {
  got = 0;
  while (got < size) {
    const long n = source.Read(buffer + got, size - got);
    if (n < 0) return false;
    if (n == 0) break;
    got += static_cast<size_t>(n);
  }
  return true;
}

void MoveToFront(const uint8_t* in, uint32_t n, uint8_t* ranks) {
  uint8_t order[256];
  for (int i = 0; i < 256; ++i) order[i] = static_cast<uint8_t>(i);
  for (uint32_t i = 0; i < n; ++i) {
    const uint8_t c = in[i];
    if (order[0] == c) {  // the common case after the transform
      ranks[i] = 0;
      continue;
    }
    const uint32_t r = static_cast<uint32_t>(static_cast<const uint8_t*>(std::memchr(order, c, 256)) - order);
    std::memmove(order + 1, order, r);
    order[0] = c;
    ranks[i] = static_cast<uint8_t>(r);
  }
}

void UndoMoveToFront(const uint8_t* ranks, uint32_t n, uint8_t* out) {
  uint8_t order[256];
  for (int i = 0; i < 256; ++i) order[i] = static_cast<uint8_t>(i);
  for (uint32_t i = 0; i < n; ++i) {
    const uint32_t r = ranks[i];
    const uint8_t c = order[r];
    std::memmove(order + 1, order, r);
    order[0] = c;
    out[i] = c;
  }
}

}  // namespace

bool BlockCompressStream(ByteSource& source, ByteSink& sink, int level) {
  if (level < 1 || level > 9) {
    SetLastError(EINVAL);
    return false;
  }
  const uint32_t blockSize = static_cast<uint32_t>(level) * kBlockUnit;
  try {
    std::vector<uint8_t> block(blockSize), bwt(blockSize), ranks(blockSize), coded;
    const uint8_t header[4] = {'O', 'B', 'W', static_cast<uint8_t>('0' + level)};
    if (!sink.Write(header, 4)) return false;
    for (;;) {
      size_t got = 0;
      if (!ReadFull(source, block.data(), blockSize, got)) return false;
      if (got == 0) break;
      const uint32_t n = static_cast<uint32_t>(got);
      uint32_t primary = 0;
      BurrowsWheeler(block.data(), n, bwt.data(), primary);
      MoveToFront(bwt.data(), n, ranks.data());
      coded.assign(16, 0);
      EncodeRanks(ranks.data(), n, coded);
      Store32(coded.data(), n);
      Store32(coded.data() + 4, primary);
      Store32(coded.data() + 8, static_cast<uint32_t>(coded.size() - 16));
      Store32(coded.data() + 12, Crc32(0, block.data(), n));
      if (!sink.Write(coded.data(), coded.size())) return false;
      if (got < blockSize) break;
    }
    const uint8_t end[4] = {};
    return sink.Write(end, 4);
  } catch (const std::bad_alloc&) {
    return SetOutOfMemory(kCodec);
  }
}

bool BlockDecompressStream(ByteSource& source, ByteSink& sink, uint64_t limit) {
  try {
    uint8_t header[16];
    size_t got = 0;
    if (!ReadFull(source, header, 4, got)) return false;
    if (got < 4) return SetCodecError(kCodec, "unexpected end of input (truncated stream)");
    if (header[0] != 'O' || header[1] != 'B' || header[2] != 'W') return SetCodecError(kCodec, "incorrect header (not a block stream)");
    if (header[3] < '1' || header[3] > '9') return SetCodecError(kCodec, "invalid block size in the header");
    const uint32_t blockSize = static_cast<uint32_t>(header[3] - '0') * kBlockUnit;
    std::vector<uint8_t> coded, ranks(blockSize), bwt(blockSize), block(blockSize);
    uint64_t total = 0;
    for (;;) {
      if (!ReadFull(source, header, 4, got)) return false;
      if (got < 4) return SetCodecError(kCodec, "unexpected end of input (truncated stream)");
      const uint32_t n = Load32(header);
      if (n == 0) break;
      if (!ReadFull(source, header + 4, 12, got)) return false;
      if (got < 12) return SetCodecError(kCodec, "unexpected end of input (truncated stream)");
      const uint32_t primary = Load32(header + 4), codedSize = Load32(header + 8), crc = Load32(header + 12);
      if (n > blockSize) return SetCodecError(kCodec, "invalid block length");
      if (primary < 1 || primary > n) return SetCodecError(kCodec, "invalid transform row");
      if (codedSize > 2 * uint64_t{n} + 64) return SetCodecError(kCodec, "invalid coded length");
      coded.resize(codedSize);
      if (!ReadFull(source, coded.data(), codedSize, got)) return false;
      if (got < codedSize) return SetCodecError(kCodec, "unexpected end of input (truncated stream)");
      if (!DecodeRanks(coded.data(), codedSize, ranks.data(), n)) return false;
      UndoMoveToFront(ranks.data(), n, bwt.data());
      InverseBurrowsWheeler(bwt.data(), n, primary, block.data());
      if (Crc32(0, block.data(), n) != crc) return SetCodecError(kCodec, "incorrect data check");
      if (n > limit - total) return SetLimitError(kCodec, limit);
      total += n;
      if (!sink.Write(block.data(), n)) return false;
    }
    uint8_t extra = 0;
    if (!ReadFull(source, &extra, 1, got)) return false;
    if (got != 0) return SetCodecError(kCodec, "trailing data after the end of the stream");
    return true;
  } catch (const std::bad_alloc&) {
    return SetOutOfMemory(kCodec);
  }
}

bool BlockCompress(const void* data, size_t size, std::vector<uint8_t>& out, int level) {
  return RunOnBuffer(data, size, out, [&](ByteSource& in, ByteSink& to) { return BlockCompressStream(in, to, level); });
}

bool BlockDecompress(const void* data, size_t size, std::vector<uint8_t>& out, uint64_t limit) {
  return RunOnBuffer(data, size, out, [&](ByteSource& in, ByteSink& to) { return BlockDecompressStream(in, to, limit); });
}

}  // namespace OrvGuiBase
