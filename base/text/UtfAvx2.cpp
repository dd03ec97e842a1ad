// UtfAvx2.cpp: the AVX2 kernels, chosen at run time when the processor has AVX2 (with BMI1,
// BMI2 and POPCNT). Every function of this file is compiled for that instruction set by the
// target pragma below, and only reached through the table at its end; nothing here is
// compiled with a global -mavx2. See UtfSimd.h for the contract of a kernel.
#include <immintrin.h>

#include <array>
#include <cstdint>
#include <cstring>

#include "private/text/UtfSimd.h"

#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2,bmi,bmi2,popcnt"))), apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx2,bmi,bmi2,popcnt")
#endif

namespace OrvGuiBase::UtfSimd {
namespace {

struct Avx2Ops {
  using V = __m256i;
  static constexpr unsigned kWidth = 32;
  static V Load(const unsigned char* p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)); }
  static V Zero() { return _mm256_setzero_si256(); }
  static V Splat(unsigned char c) { return _mm256_set1_epi8(static_cast<char>(c)); }
  static V Or(V a, V b) { return _mm256_or_si256(a, b); }
  static V And(V a, V b) { return _mm256_and_si256(a, b); }
  static V AndNot(V a, V b) { return _mm256_andnot_si256(a, b); }
  static V Xor(V a, V b) { return _mm256_xor_si256(a, b); }
  static V Gt(V a, V b) { return _mm256_cmpgt_epi8(a, b); }
  static V Eq(V a, V b) { return _mm256_cmpeq_epi8(a, b); }
  static V SubSat(V a, V b) { return _mm256_subs_epu8(a, b); }
  static uint32_t Mask(V a) { return static_cast<uint32_t>(_mm256_movemask_epi8(a)); }
  static bool IsZero(V a) { return _mm256_testz_si256(a, a) != 0; }
  template <int N>
  static V Prev(V current, V previous) {
    return _mm256_alignr_epi8(current, _mm256_permute2x128_si256(previous, current, 0x21), 16 - N);
  }
};

}  // namespace
}  // namespace OrvGuiBase::UtfSimd

#include "private/text/UtfBlocks.h"

namespace OrvGuiBase::UtfSimd {
namespace {

// ---- Tables, built by the compiler ----------------------------------------------------------

// kCompact16[m]: the byte shuffle that gathers the 16-bit lanes of a 128-bit lane whose bit is
// set in m to the front, in order; the rest become zero.
struct Compact16Table {
  alignas(16) unsigned char shuffle[256][16];
};
constexpr Compact16Table MakeCompact16() {
  Compact16Table table{};
  for (unsigned mask = 0; mask < 256; ++mask) {
    unsigned to = 0;
    for (unsigned lane = 0; lane < 8; ++lane)
      if ((mask >> lane) & 1) {
        table.shuffle[mask][to++] = static_cast<unsigned char>(2 * lane);
        table.shuffle[mask][to++] = static_cast<unsigned char>(2 * lane + 1);
      }
    while (to < 16) table.shuffle[mask][to++] = 0x80;
  }
  return table;
}
constexpr Compact16Table kCompact16 = MakeCompact16();

// kCompact32[m]: the lane indices that gather the 32-bit lanes whose bit is set in m to the
// front (one byte each, for a lane permutation).
constexpr std::array<uint64_t, 256> MakeCompact32() {
  std::array<uint64_t, 256> table{};
  for (unsigned mask = 0; mask < 256; ++mask) {
    unsigned to = 0;
    for (unsigned lane = 0; lane < 8; ++lane)
      if ((mask >> lane) & 1) table[mask] |= static_cast<uint64_t>(lane) << (8 * to++);
  }
  return table;
}
constexpr std::array<uint64_t, 256> kCompact32 = MakeCompact32();

// kEncode[i]: for four UTF-8 sequences held one per 32-bit lane (first byte lowest), the
// shuffle that writes them one after another, and how many bytes that makes. The index holds
// each sequence's length minus one in two bits, the first sequence lowest.
struct EncodeEntry {
  alignas(16) unsigned char shuffle[16];
  unsigned length;
};
constexpr std::array<EncodeEntry, 256> MakeEncode() {
  std::array<EncodeEntry, 256> table{};
  for (unsigned index = 0; index < 256; ++index) {
    unsigned to = 0;
    for (unsigned lane = 0; lane < 4; ++lane) {
      const unsigned length = ((index >> (2 * lane)) & 3) + 1;
      for (unsigned byte = 0; byte < length; ++byte)
        table[index].shuffle[to++] = static_cast<unsigned char>(4 * lane + byte);
    }
    table[index].length = to;
    while (to < 16) table[index].shuffle[to++] = 0x80;
  }
  return table;
}
constexpr std::array<EncodeEntry, 256> kEncode = MakeEncode();

// kTwoBytes[m]: for eight code points below 800 held one per 16-bit lane as UTF-8 (first byte
// lowest), the shuffle that writes them one after another, where bit k of m says that the k-th
// takes two bytes; and how many bytes that makes.
constexpr std::array<EncodeEntry, 256> MakeTwoBytes() {
  std::array<EncodeEntry, 256> table{};
  for (unsigned mask = 0; mask < 256; ++mask) {
    unsigned to = 0;
    for (unsigned lane = 0; lane < 8; ++lane) {
      table[mask].shuffle[to++] = static_cast<unsigned char>(2 * lane);
      if ((mask >> lane) & 1) table[mask].shuffle[to++] = static_cast<unsigned char>(2 * lane + 1);
    }
    table[mask].length = to;
    while (to < 16) table[mask].shuffle[to++] = 0x80;
  }
  return table;
}
constexpr std::array<EncodeEntry, 256> kTwoBytes = MakeTwoBytes();

// kInterleave[l | h << 4]: the four bits of l and of h interleaved, l's in the even places:
// turns the low and high bits of four two-bit lengths into a kEncode index.
constexpr std::array<unsigned char, 256> MakeInterleave() {
  std::array<unsigned char, 256> table{};
  for (unsigned value = 0; value < 256; ++value)
    for (unsigned bit = 0; bit < 4; ++bit)
      table[value] |=
          static_cast<unsigned char>(((value >> bit) & 1) << (2 * bit) | ((value >> (bit + 4)) & 1) << (2 * bit + 1));
  return table;
}
constexpr std::array<unsigned char, 256> kInterleave = MakeInterleave();

// ---- Small helpers --------------------------------------------------------------------------

inline __m128i Load16(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
inline __m256i Load32(const void* p) { return _mm256_loadu_si256(static_cast<const __m256i*>(p)); }
inline void Store16(void* p, __m128i v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }
inline void Store32(void* p, __m256i v) { _mm256_storeu_si256(static_cast<__m256i*>(p), v); }
inline __m256i Splat16(uint16_t v) { return _mm256_set1_epi16(static_cast<short>(v)); }
inline __m256i Splat32(uint32_t v) { return _mm256_set1_epi32(static_cast<int>(v)); }
// LowBits(n): the n lowest bits, n up to 32.
inline uint32_t LowBits(unsigned n) { return static_cast<uint32_t>((uint64_t{1} << n) - 1); }
inline unsigned PopCount(uint32_t v) { return static_cast<unsigned>(__builtin_popcount(v)); }
// Two 128-bit shuffles from tables as one 256-bit shuffle.
inline __m256i Pair(const unsigned char* low, const unsigned char* high) {
  return _mm256_inserti128_si256(_mm256_castsi128_si256(Load16(low)), Load16(high), 1);
}

// ---- UTF-8 to UTF-16 and UTF-32 -------------------------------------------------------------

template <class Out>
bool CountUtf8(UtfRun<char, Out>& run) {
  uint64_t characters = 0, fours = 0;
  const unsigned char* s = reinterpret_cast<const unsigned char*>(run.source) + run.at;
  if (!CheckBlocks<Avx2Ops, BlockRules::kLenient, true>(s, run.length - run.at, &characters, &fours)) return false;
  run.written += characters + (sizeof(Out) == 2 ? fours : 0);
  run.at = run.length;
  return true;
}

// DecodeHalf: the units made by the 16 bytes at p, for Utf8ToWide below. units has a bit for
// each byte that makes a unit; fours says whether a four-byte lead lies among the bytes or
// just before them; first whether p starts the window (else p[-1], the byte before, is read
// for its four-byte lead). Returns the end of what it wrote.
template <class Out>
[[gnu::always_inline]] inline Out* DecodeHalf(const unsigned char* p, bool first, uint32_t units, bool fours,
                                              Out* out) {
  const __m256i b0 = _mm256_cvtepu8_epi16(Load16(p));
  const __m256i c1 = _mm256_and_si256(_mm256_cvtepu8_epi16(Load16(p + 1)), Splat16(0x3F));
  const __m256i c2 = _mm256_and_si256(_mm256_cvtepu8_epi16(Load16(p + 2)), Splat16(0x3F));
  const __m256i two = _mm256_or_si256(_mm256_slli_epi16(_mm256_and_si256(b0, Splat16(0x1F)), 6), c1);
  const __m256i three = _mm256_or_si256(_mm256_slli_epi16(b0, 12), _mm256_or_si256(_mm256_slli_epi16(c1, 6), c2));
  __m256i value = _mm256_blendv_epi8(two, three, _mm256_cmpgt_epi16(b0, Splat16(0xDF)));
  value = _mm256_blendv_epi8(value, b0, _mm256_cmpgt_epi16(Splat16(0x80), b0));
  __m256i upper = _mm256_setzero_si256();  // UTF-32: the top bits of four-byte values
  if (fours) {
    const __m256i c3 = _mm256_and_si256(_mm256_cvtepu8_epi16(Load16(p + 3)), Splat16(0x3F));
    const __m256i isFour = _mm256_cmpgt_epi16(b0, Splat16(0xEF));
    if constexpr (sizeof(Out) == 2) {
      // high = D800 + ((value - 10000) >> 10), low = DC00 + (value & 3FF): from the lead's lane,
      // and from the lane after it, whose own next two bytes are the lead's last two.
      const __m256i highSurrogate =
          _mm256_add_epi16(_mm256_add_epi16(Splat16(0xD7C0), _mm256_slli_epi16(_mm256_and_si256(b0, Splat16(0x07)), 8)),
                           _mm256_add_epi16(_mm256_slli_epi16(c1, 2), _mm256_srli_epi16(c2, 4)));
      const __m256i lowSurrogate = _mm256_or_si256(
          _mm256_or_si256(Splat16(0xDC00), _mm256_slli_epi16(_mm256_and_si256(c1, Splat16(0x0F)), 6)), c2);
      const __m256i before = first ? _mm256_alignr_epi8(b0, _mm256_permute2x128_si256(b0, b0, 0x08), 14)
                                   : _mm256_cvtepu8_epi16(Load16(p - 1));
      value = _mm256_blendv_epi8(value, highSurrogate, isFour);
      value = _mm256_blendv_epi8(value, lowSurrogate, _mm256_cmpgt_epi16(before, Splat16(0xEF)));
    } else {
      const __m256i low16 = _mm256_or_si256(_mm256_slli_epi16(c1, 12), _mm256_or_si256(_mm256_slli_epi16(c2, 6), c3));
      value = _mm256_blendv_epi8(value, low16, isFour);
      upper = _mm256_and_si256(
          isFour, _mm256_or_si256(_mm256_slli_epi16(_mm256_and_si256(b0, Splat16(0x07)), 2), _mm256_srli_epi16(c1, 4)));
    }
  }
  const __m256i shuffle = Pair(kCompact16.shuffle[units & 0xFF], kCompact16.shuffle[(units >> 8) & 0xFF]);
  const __m256i gathered = _mm256_shuffle_epi8(value, shuffle);
  const unsigned lowCount = PopCount(units & 0xFF);
  if constexpr (sizeof(Out) == 2) {
    Store16(out, _mm256_castsi256_si128(gathered));
    Store16(out + lowCount, _mm256_extracti128_si256(gathered, 1));
  } else {
    __m256i low = _mm256_cvtepu16_epi32(_mm256_castsi256_si128(gathered));
    __m256i high = _mm256_cvtepu16_epi32(_mm256_extracti128_si256(gathered, 1));
    if (fours) {
      const __m256i tops = _mm256_shuffle_epi8(upper, shuffle);
      low = _mm256_or_si256(low, _mm256_slli_epi32(_mm256_cvtepu16_epi32(_mm256_castsi256_si128(tops)), 16));
      high = _mm256_or_si256(high, _mm256_slli_epi32(_mm256_cvtepu16_epi32(_mm256_extracti128_si256(tops, 1)), 16));
    }
    Store32(out, low);
    Store32(out + lowCount, high);
  }
  return out + PopCount(units & 0xFFFF);
}

// Utf8ToWide: UTF-8 to UTF-16 or UTF-32, a window of 32 bytes at a time.
//
// Invariant: at starts a character, and at least 64 source bytes and 32 target units remain.
// A window of 32 ASCII bytes is widened as it stands. Otherwise the window's characters are
// decoded together:
//   1. The window ends before a character that its last three bytes start and that would run
//      past them (so it takes at least 29 bytes). It is judged by the lenient rules
//      (BlockErrors, with ASCII before it: at starts a character), and the byte after its end
//      must not continue its last character either. A window with a broken rule is left to
//      the one-code-point rules, which report the error, or the full target that comes first.
//   2. Every byte position becomes a 16-bit lane with the value that a character starting
//      there would have: the byte alone, two bytes, or three (the lead's own bits shifted out
//      of the lane where they do not belong). A four-byte value does not fit: for UTF-32 the
//      lane keeps its low 16 bits and a second vector its top five; for UTF-16 the lane of the
//      lead holds the high surrogate and the lane of the byte after it the low one, each
//      computed from the bytes that follow its lane. (An overlong F0 80..8F form, which makes
//      one unit and not two, is left to the one-code-point rules.)
//   3. The lanes that make units (bytes that start a character, and for UTF-16 the bytes after
//      four-byte leads) are gathered to the front of each eight lanes with a table shuffle,
//      and stored one after the other (widened to 32 bits for UTF-32, the second vector,
//      gathered alike, making the upper half).
// Each store writes eight units of which only the gathered ones count; what follows them is
// overwritten later, as 32 bytes of source remain to produce at least eight more units.
template <class Out>
bool Utf8ToWide(UtfRun<char, Out>& run) {
  if (run.target == nullptr) return CountUtf8(run);
  const unsigned char* s = reinterpret_cast<const unsigned char*>(run.source);
  const __m256i zero = _mm256_setzero_si256();
  const __m256i incompleteLimit = Avx2Ops::Load(kIncompleteLimit);
  uint64_t at = run.at, written = run.written;
  while (run.length - at >= 64 && run.capacity - written >= 32) {
    Out* out = run.target + written;
    const __m256i bytes = Load32(s + at);
    const uint32_t high = static_cast<uint32_t>(_mm256_movemask_epi8(bytes));
    if (high == 0) {
      if constexpr (sizeof(Out) == 2) {
        Store32(out, _mm256_cvtepu8_epi16(_mm256_castsi256_si128(bytes)));
        Store32(out + 16, _mm256_cvtepu8_epi16(_mm256_extracti128_si256(bytes, 1)));
      } else {
        const __m128i low = _mm256_castsi256_si128(bytes), upper = _mm256_extracti128_si256(bytes, 1);
        Store32(out, _mm256_cvtepu8_epi32(low));
        Store32(out + 8, _mm256_cvtepu8_epi32(_mm_srli_si128(low, 8)));
        Store32(out + 16, _mm256_cvtepu8_epi32(upper));
        Store32(out + 24, _mm256_cvtepu8_epi32(_mm_srli_si128(upper, 8)));
      }
      at += 32;
      written += 32;
      continue;
    }
    const __m256i errors = BlockErrors<Avx2Ops, BlockRules::kLenient>(bytes, zero);
    const uint32_t broken = ~static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(errors, zero)));
    const uint32_t cut =
        ~static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(_mm256_subs_epu8(bytes, incompleteLimit), zero)));
    const unsigned end = cut != 0 ? __builtin_ctz(cut) : 32;
    if ((broken & LowBits(end + 1)) != 0) break;
    const uint32_t continuation =
        static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_cmpgt_epi8(Avx2Ops::Splat(0xC0), bytes)));
    const uint32_t fours = high &
                           static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_cmpgt_epi8(bytes, Avx2Ops::Splat(0xEF)))) &
                           LowBits(end);
    uint32_t units = ~continuation & LowBits(end);
    if (sizeof(Out) == 2 && fours != 0) {
      const uint32_t overlong = static_cast<uint32_t>(
          _mm256_movemask_epi8(_mm256_and_si256(_mm256_cmpeq_epi8(Avx2Ops::Prev<1>(bytes, zero), Avx2Ops::Splat(0xF0)),
                                                _mm256_cmpgt_epi8(Avx2Ops::Splat(0x90), bytes))));
      if ((overlong & LowBits(end)) != 0) break;
      units |= fours << 1;  // the low surrogates, in the lanes after their leads
    }
    out = DecodeHalf(s + at, true, units, (fours & 0xFFFF) != 0, out);
    out = DecodeHalf(s + at + 16, false, units >> 16, (fours >> 15) != 0, out);  // a lead at 15 has its low half here
    at += end;
    written = static_cast<uint64_t>(out - run.target);
  }
  run.at = at;
  run.written = written;
  return true;
}

// ---- UTF-16 and UTF-32 to UTF-8 -------------------------------------------------------------

// The surrogates among sixteen UTF-16 units, as bit masks (bit i for unit i).
struct Surrogates {
  uint32_t highs, lows;
};
inline Surrogates FindSurrogates(__m256i units) {
  const __m256i top6 = _mm256_and_si256(units, Splat16(0xFC00));
  const __m256i highs = _mm256_cmpeq_epi16(top6, Splat16(0xD800)), lows = _mm256_cmpeq_epi16(top6, Splat16(0xDC00));
  // Packing puts each half's highs before its lows; the permutation puts both halves' highs first.
  const uint32_t both =
      static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_permute4x64_epi64(_mm256_packs_epi16(highs, lows), 0xD8)));
  return {both & 0xFFFF, both >> 16};
}

// PairedEnd: how many of sixteen units, from a code point's start, form whole code points:
// up to the first low surrogate without a high before it, or high without a low after it,
// and never ending between the two halves of a pair.
inline unsigned PairedEnd(Surrogates s) {
  const unsigned first = __builtin_ctz((s.lows ^ (s.highs << 1)) | 0x10000);
  return first == 0 ? 0 : first - ((s.highs >> (first - 1)) & 1);
}

// EncodeLanes: the UTF-8 forms of eight code points below 10000 (UTF-16 units widened, or
// UTF-32 values), one per 32-bit lane, first byte lowest, with the length of each less one as
// two bit masks: bit k of low and of high are the two bits for lane k.
struct Encoded {
  __m256i bytes;
  uint32_t low, high;  // the low and high bits of each length minus one
};
inline Encoded EncodeLanes(__m256i value) {
  const __m256i c0 = _mm256_and_si256(value, Splat32(0x3F));
  const __m256i c1 = _mm256_and_si256(_mm256_srli_epi32(value, 6), Splat32(0x3F));
  const __m256i two =
      _mm256_or_si256(_mm256_or_si256(Splat32(0x80C0), _mm256_srli_epi32(value, 6)), _mm256_slli_epi32(c0, 8));
  const __m256i three = _mm256_or_si256(_mm256_or_si256(Splat32(0x8080E0), _mm256_srli_epi32(value, 12)),
                                        _mm256_or_si256(_mm256_slli_epi32(c1, 8), _mm256_slli_epi32(c0, 16)));
  const __m256i longer = _mm256_cmpgt_epi32(value, Splat32(0x7F));
  const __m256i longest = _mm256_cmpgt_epi32(value, Splat32(0x7FF));
  __m256i bytes = _mm256_blendv_epi8(value, two, longer);
  bytes = _mm256_blendv_epi8(bytes, three, longest);
  const uint32_t a = static_cast<uint32_t>(_mm256_movemask_ps(_mm256_castsi256_ps(longer)));
  const uint32_t b = static_cast<uint32_t>(_mm256_movemask_ps(_mm256_castsi256_ps(longest)));
  return {bytes, a ^ b, b};
}

// StoreEncoded: writes the first lanes (four or eight) of an Encoded one after another at out;
// returns the bytes written. Each 128-bit store writes sixteen bytes of which the sequences'
// bytes count; what they write past those ends at most 16 bytes past the returned length.
inline unsigned StoreEncoded(const Encoded& e, unsigned lanes, char* out) {
  const EncodeEntry& first = kEncode[kInterleave[(e.low & 0xF) | (e.high & 0xF) << 4]];
  const EncodeEntry& second = kEncode[kInterleave[(e.low >> 4) | (e.high & 0xF0)]];
  const __m256i packed = _mm256_shuffle_epi8(e.bytes, Pair(first.shuffle, second.shuffle));
  Store16(out, _mm256_castsi256_si128(packed));
  Store16(out + first.length, _mm256_extracti128_si256(packed, 1));  // counted for eight lanes only
  return first.length + (lanes == 8 ? second.length : 0);
}

// StoreTwoBytes: writes sixteen code points below 800, held in 16-bit lanes, as UTF-8 at out:
// one or two bytes each in their own lanes, gathered by a table shuffle. Returns the bytes
// written; each of the two stores writes sixteen bytes of which those count.
inline unsigned StoreTwoBytes(__m256i units, char* out) {
  const __m256i longer = _mm256_cmpgt_epi16(units, Splat16(0x7F));
  const __m256i two = _mm256_or_si256(_mm256_or_si256(Splat16(0x80C0), _mm256_srli_epi16(units, 6)),
                                      _mm256_slli_epi16(_mm256_and_si256(units, Splat16(0x3F)), 8));
  const uint32_t mask = static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_packs_epi16(longer, _mm256_setzero_si256())));
  const EncodeEntry& first = kTwoBytes[mask & 0xFF];
  const EncodeEntry& second = kTwoBytes[(mask >> 16) & 0xFF];
  const __m256i packed =
      _mm256_shuffle_epi8(_mm256_blendv_epi8(units, two, longer), Pair(first.shuffle, second.shuffle));
  Store16(out, _mm256_castsi256_si128(packed));
  Store16(out + first.length, _mm256_extracti128_si256(packed, 1));
  return first.length + second.length;
}

// Utf16ToUtf8: sixteen UTF-16 units at a time.
//
// Invariant: at starts a code point, at least 32 source units and 64 target bytes remain.
// Sixteen ASCII units are narrowed as they stand, sixteen below 800 go to StoreTwoBytes.
// Otherwise the units up to PairedEnd are encoded in groups of four, each unit in a 32-bit
// lane (EncodeLanes). A surrogate pair takes
// two lanes that share its four bytes: the high surrogate's lane holds the first two, from the
// top bits of the value ((high & 3FF) + 40, as the value is 10000 + (high & 3FF) << 10 + ...),
// the low surrogate's lane the last two, from its own bits and the two low bits of the high
// surrogate before it. So every lane makes one to three bytes and one table of shuffles gathers
// them. Only whole groups of four are taken, and never a group that ends inside a pair: what is
// left goes to the next round or to the one-code-point rules. The stores leave at most 16
// bytes past the output, which the 16 units still ahead overwrite.
bool Utf16ToUtf8(UtfRun<char16_t, char>& run);

bool CountUtf16ToUtf8(UtfRun<char16_t, char>& run) {
  while (run.length - run.at >= 16) {
    const __m256i units = Load32(run.source + run.at);
    const Surrogates s = FindSurrogates(units);
    const unsigned end = (s.highs | s.lows) == 0 ? 16 : PairedEnd(s);
    if (end == 0) break;
    // One byte per unit, one more from 80 on, one more again from 800 on but for surrogates
    // (two bytes each). The masks have two bits per unit.
    const __m256i zero = _mm256_setzero_si256();
    const __m256i top5 = _mm256_and_si256(units, Splat16(0xF800));
    const uint32_t ascii =
        static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi16(_mm256_and_si256(units, Splat16(0xFF80)), zero)));
    const uint32_t noThird = static_cast<uint32_t>(_mm256_movemask_epi8(
        _mm256_or_si256(_mm256_cmpeq_epi16(top5, zero), _mm256_cmpeq_epi16(top5, Splat16(0xD800)))));
    const uint32_t counted = LowBits(2 * end);
    run.written += end + (PopCount(~ascii & counted) + PopCount(~noThird & counted)) / 2;
    run.at += end;
  }
  return true;
}

bool Utf16ToUtf8(UtfRun<char16_t, char>& run) {
  if (run.target == nullptr) return CountUtf16ToUtf8(run);
  uint64_t at = run.at, written = run.written;
  while (run.length - at >= 32 && run.capacity - written >= 64) {
    const __m256i units = Load32(run.source + at);
    char* out = run.target + written;
    if (_mm256_testz_si256(units, Splat16(0xFF80))) {
      Store16(out, _mm_packus_epi16(_mm256_castsi256_si128(units), _mm256_extracti128_si256(units, 1)));
      at += 16;
      written += 16;
      continue;
    }
    if (_mm256_testz_si256(units, Splat16(0xF800))) {
      at += 16;
      written += StoreTwoBytes(units, out);
      continue;
    }
    const Surrogates s = FindSurrogates(units);
    const bool paired = (s.highs | s.lows) != 0;
    unsigned taken = 16;
    if (paired) {
      taken = PairedEnd(s) & ~3u;
      while (taken != 0 && ((s.highs >> (taken - 1)) & 1)) taken -= 4;
      if (taken == 0) break;
    }
    // The unit before each unit (zero before the first), for the low halves of pairs.
    const __m256i before = _mm256_alignr_epi8(units, _mm256_permute2x128_si256(units, units, 0x08), 14);
    for (unsigned group = 0; group < 2 && 8 * group < taken; ++group) {
      const __m128i half = group == 0 ? _mm256_castsi256_si128(units) : _mm256_extracti128_si256(units, 1);
      const __m256i value = _mm256_cvtepu16_epi32(half);
      Encoded e = EncodeLanes(value);
      if (paired) {
        const __m256i top = _mm256_add_epi32(_mm256_and_si256(value, Splat32(0x3FF)), Splat32(0x40));
        const __m256i highPart =
            _mm256_or_si256(_mm256_or_si256(Splat32(0x80F0), _mm256_srli_epi32(top, 8)),
                            _mm256_slli_epi32(_mm256_and_si256(_mm256_srli_epi32(top, 2), Splat32(0x3F)), 8));
        const __m256i previous =
            _mm256_cvtepu16_epi32(group == 0 ? _mm256_castsi256_si128(before) : _mm256_extracti128_si256(before, 1));
        const __m256i lowPart = _mm256_or_si256(
            _mm256_or_si256(Splat32(0x8080), _mm256_slli_epi32(_mm256_and_si256(previous, Splat32(3)), 4)),
            _mm256_or_si256(_mm256_and_si256(_mm256_srli_epi32(value, 6), Splat32(0xF)),
                            _mm256_slli_epi32(_mm256_and_si256(value, Splat32(0x3F)), 8)));
        const __m256i top6 = _mm256_and_si256(value, Splat32(0xFC00));
        e.bytes = _mm256_blendv_epi8(e.bytes, highPart, _mm256_cmpeq_epi32(top6, Splat32(0xD800)));
        e.bytes = _mm256_blendv_epi8(e.bytes, lowPart, _mm256_cmpeq_epi32(top6, Splat32(0xDC00)));
        // Two bytes each: length minus one is 1 (low bit set, high bit clear).
        const uint32_t halves = ((s.highs | s.lows) >> (8 * group)) & 0xFF;
        e.low |= halves;
        e.high &= ~halves;
      }
      out += StoreEncoded(e, taken - 8 * group >= 8 ? 8 : 4, out);
    }
    at += taken;
    written = static_cast<uint64_t>(out - run.target);
  }
  run.at = at;
  run.written = written;
  return true;
}

// The first of eight UTF-32 values above 10FFFF (8 when none).
inline unsigned FirstInvalid32(__m256i values) {
  const __m256i invalid = _mm256_cmpeq_epi32(_mm256_max_epu32(values, Splat32(0x110000)), values);
  return __builtin_ctz(static_cast<uint32_t>(_mm256_movemask_ps(_mm256_castsi256_ps(invalid))) | 0x100);
}

// Utf32ToUtf8: sixteen values at a time, as Utf16ToUtf8 but with four-byte sequences in a lane
// of their own (the length minus one is up to three), and with the first invalid value ending
// the round; when that leaves half a group, the call is bound to fail and the bytes stored
// past the output do not matter. Values are not paired, so those below 800 need no check
// before StoreTwoBytes.
bool Utf32ToUtf8(UtfRun<char32_t, char>& run) {
  uint64_t at = run.at, written = run.written;
  if (run.target == nullptr) {
    for (; run.length - at >= 8; at += 8) {
      const __m256i values = Load32(run.source + at);
      const unsigned end = FirstInvalid32(values);
      const uint32_t valid = LowBits(end);
      auto count = [&](uint32_t limit) {
        return PopCount(
            static_cast<uint32_t>(_mm256_movemask_ps(_mm256_castsi256_ps(_mm256_cmpgt_epi32(values, Splat32(limit))))) &
            valid);
      };
      written += end + count(0x7F) + count(0x7FF) + count(0xFFFF);
      if (end < 8) {
        at += end;
        break;
      }
    }
    run.at = at;
    run.written = written;
    return true;
  }
  while (run.length - at >= 32 && run.capacity - written >= 96) {
    const __m256i first = Load32(run.source + at), second = Load32(run.source + at + 8);
    char* out = run.target + written;
    if (_mm256_testz_si256(_mm256_or_si256(first, second), Splat32(0xFFFFFF80))) {
      const __m256i words = _mm256_permute4x64_epi64(_mm256_packus_epi32(first, second), 0xD8);
      Store16(out, _mm_packus_epi16(_mm256_castsi256_si128(words), _mm256_extracti128_si256(words, 1)));
      at += 16;
      written += 16;
      continue;
    }
    if (_mm256_testz_si256(_mm256_or_si256(first, second), Splat32(0xFFFFF800))) {
      at += 16;
      written += StoreTwoBytes(_mm256_permute4x64_epi64(_mm256_packus_epi32(first, second), 0xD8), out);
      continue;
    }
    unsigned taken = 0;
    const __m256i groups[2] = {first, second};
    for (const __m256i& values : groups) {
      const unsigned lanes = FirstInvalid32(values) & ~3u;
      if (lanes == 0) break;
      const __m256i c0 = _mm256_and_si256(values, Splat32(0x3F));
      const __m256i c1 = _mm256_and_si256(_mm256_srli_epi32(values, 6), Splat32(0x3F));
      const __m256i c2 = _mm256_and_si256(_mm256_srli_epi32(values, 12), Splat32(0x3F));
      const __m256i four =
          _mm256_or_si256(_mm256_or_si256(Splat32(0x808080F0), _mm256_srli_epi32(values, 18)),
                          _mm256_or_si256(_mm256_slli_epi32(c2, 8),
                                          _mm256_or_si256(_mm256_slli_epi32(c1, 16), _mm256_slli_epi32(c0, 24))));
      const __m256i fourMask = _mm256_cmpgt_epi32(values, Splat32(0xFFFF));
      Encoded e = EncodeLanes(values);
      e.bytes = _mm256_blendv_epi8(e.bytes, four, fourMask);
      // Four bytes: length minus one 3 (lanes past an invalid value are not stored).
      const uint32_t fourBits = static_cast<uint32_t>(_mm256_movemask_ps(_mm256_castsi256_ps(fourMask)));
      e.low |= fourBits;
      out += StoreEncoded(e, lanes, out);
      taken += lanes;
      if (lanes < 8) break;
    }
    if (taken == 0) break;
    at += taken;
    written = static_cast<uint64_t>(out - run.target);
  }
  run.at = at;
  run.written = written;
  return true;
}

// ---- UTF-16 and UTF-32 to each other --------------------------------------------------------

// Utf16ToUtf32: sixteen units at a time. Without surrogates they are widened as they stand.
// Otherwise, up to PairedEnd, each unit's lane takes its own value, a high surrogate's lane the
// pair's value (from the unit after it, loaded one unit further on), and the low surrogates'
// lanes are dropped by a table permutation; each group of eight is one 32-byte store of which
// the gathered lanes count, the rest overwritten by the 16 units still ahead.
bool Utf16ToUtf32(UtfRun<char16_t, char32_t>& run) {
  uint64_t at = run.at, written = run.written;
  const bool counting = run.target == nullptr;
  while (run.length - at >= 32 && (counting || run.capacity - written >= 16)) {
    const __m256i units = Load32(run.source + at);
    const __m256i top5 = _mm256_and_si256(units, Splat16(0xF800));
    if (_mm256_testz_si256(_mm256_cmpeq_epi16(top5, Splat16(0xD800)), _mm256_set1_epi8(-1))) {
      if (!counting) {
        Store32(run.target + written, _mm256_cvtepu16_epi32(_mm256_castsi256_si128(units)));
        Store32(run.target + written + 8, _mm256_cvtepu16_epi32(_mm256_extracti128_si256(units, 1)));
      }
      at += 16;
      written += 16;
      continue;
    }
    const Surrogates s = FindSurrogates(units);
    const unsigned end = PairedEnd(s);
    if (end == 0) break;
    const uint32_t keep = ~s.lows & LowBits(end);
    if (!counting) {
      char32_t* out = run.target + written;
      for (unsigned group = 0; group < 2 && 8 * group < end; ++group) {
        const __m256i value = _mm256_cvtepu16_epi32(Load16(run.source + at + 8 * group));
        const __m256i next = _mm256_cvtepu16_epi32(Load16(run.source + at + 8 * group + 1));
        const __m256i pair = _mm256_sub_epi32(_mm256_add_epi32(_mm256_slli_epi32(value, 10), next), Splat32(0x35FDC00));
        const __m256i isHigh = _mm256_cmpeq_epi32(_mm256_and_si256(value, Splat32(0xFC00)), Splat32(0xD800));
        const __m256i result = _mm256_blendv_epi8(value, pair, isHigh);
        const uint32_t groupKeep = (keep >> (8 * group)) & 0xFF;
        const __m256i order = _mm256_cvtepu8_epi32(_mm_cvtsi64_si128(static_cast<long long>(kCompact32[groupKeep])));
        Store32(out, _mm256_permutevar8x32_epi32(result, order));
        out += PopCount(groupKeep);
      }
    }
    at += end;
    written += PopCount(keep);
  }
  run.at = at;
  run.written = written;
  return true;
}

// Utf32ToUtf16: sixteen values at a time. Values below 10000 are narrowed as they stand.
// Otherwise, in groups of eight up to the first invalid value, each 32-bit lane takes its
// value, or for a value of 10000 or more its surrogate pair (high in the low 16 bits), and a
// table shuffle gathers each 128-bit half's 16-bit lanes that count: the low one of every valid
// lane, the high one where a pair was made. Each half's store writes eight units of which the
// gathered ones count; the rest is overwritten by the sixteen values still ahead.
bool Utf32ToUtf16(UtfRun<char32_t, char16_t>& run) {
  uint64_t at = run.at, written = run.written;
  const bool counting = run.target == nullptr;
  while (run.length - at >= 24 && (counting || run.capacity - written >= 32)) {
    const __m256i first = Load32(run.source + at), second = Load32(run.source + at + 8);
    if (_mm256_testz_si256(_mm256_or_si256(first, second), Splat32(0xFFFF0000))) {
      if (!counting) Store32(run.target + written, _mm256_permute4x64_epi64(_mm256_packus_epi32(first, second), 0xD8));
      at += 16;
      written += 16;
      continue;
    }
    const unsigned end = FirstInvalid32(first);
    if (end == 0) break;
    const __m256i valid = _mm256_cmpgt_epi32(Splat32(end), _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7));
    const __m256i pairs = _mm256_and_si256(valid, _mm256_cmpgt_epi32(first, Splat32(0xFFFF)));
    const uint32_t pairBits = static_cast<uint32_t>(_mm256_movemask_ps(_mm256_castsi256_ps(pairs)));
    if (!counting) {
      const __m256i offset = _mm256_sub_epi32(first, Splat32(0x10000));
      const __m256i high = _mm256_add_epi32(_mm256_srli_epi32(offset, 10), Splat32(0xD800));
      const __m256i low = _mm256_add_epi32(_mm256_and_si256(offset, Splat32(0x3FF)), Splat32(0xDC00));
      const __m256i result = _mm256_blendv_epi8(first, _mm256_or_si256(high, _mm256_slli_epi32(low, 16)), pairs);
      const __m256i counted =
          _mm256_or_si256(_mm256_and_si256(valid, Splat32(0xFFFF)), _mm256_andnot_si256(Splat32(0xFFFF), pairs));
      const uint32_t lanes =
          static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_packs_epi16(counted, _mm256_setzero_si256())));
      const uint32_t lowLanes = lanes & 0xFF, highLanes = (lanes >> 16) & 0xFF;
      const __m256i gathered =
          _mm256_shuffle_epi8(result, Pair(kCompact16.shuffle[lowLanes], kCompact16.shuffle[highLanes]));
      char16_t* out = run.target + written;
      Store16(out, _mm256_castsi256_si128(gathered));
      Store16(out + PopCount(lowLanes), _mm256_extracti128_si256(gathered, 1));
    }
    at += end;
    written += end + PopCount(pairBits);
  }
  run.at = at;
  run.written = written;
  return true;
}

constexpr UtfKernels kAvx2Kernels = {
    Utf8ToWide<char16_t>,
    Utf8ToWide<char32_t>,
    Utf16ToUtf8,
    Utf16ToUtf32,
    Utf32ToUtf8,
    Utf32ToUtf16,
    CheckText<Avx2Ops>,
    AsciiPrefixOf<Avx2Ops>,
    PrintablePrefixOf<Avx2Ops>,
};

}  // namespace

const UtfKernels& Avx2Kernels() { return kAvx2Kernels; }

}  // namespace OrvGuiBase::UtfSimd

#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif
