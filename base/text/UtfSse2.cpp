// UtfSse2.cpp: the SSE2 kernels, which every x86-64 processor runs: the UTF-8 block check,
// and conversions that take runs of ASCII and of code points below U+10000 sixteen bytes at a
// time. Everything else is left to the one-code-point rules (see UtfSimd.h for the contract).
#include <emmintrin.h>

#include <cstdint>
#include <cstring>

#include "private/text/UtfSimd.h"

namespace OrvGuiBase::UtfSimd {
namespace {

struct Sse2Ops {
  using V = __m128i;
  static constexpr unsigned kWidth = 16;
  static V Load(const unsigned char* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
  static V Zero() { return _mm_setzero_si128(); }
  static V Splat(unsigned char c) { return _mm_set1_epi8(static_cast<char>(c)); }
  static V Or(V a, V b) { return _mm_or_si128(a, b); }
  static V And(V a, V b) { return _mm_and_si128(a, b); }
  static V AndNot(V a, V b) { return _mm_andnot_si128(a, b); }
  static V Xor(V a, V b) { return _mm_xor_si128(a, b); }
  static V Gt(V a, V b) { return _mm_cmpgt_epi8(a, b); }
  static V Eq(V a, V b) { return _mm_cmpeq_epi8(a, b); }
  static V SubSat(V a, V b) { return _mm_subs_epu8(a, b); }
  static uint32_t Mask(V a) { return static_cast<uint32_t>(_mm_movemask_epi8(a)); }
  static bool IsZero(V a) { return _mm_movemask_epi8(_mm_cmpeq_epi8(a, _mm_setzero_si128())) == 0xFFFF; }
  template <int N>
  static V Prev(V current, V previous) {
    return _mm_or_si128(_mm_slli_si128(current, N), _mm_srli_si128(previous, 16 - N));
  }
};

}  // namespace
}  // namespace OrvGuiBase::UtfSimd

#include "private/text/UtfBlocks.h"

namespace OrvGuiBase::UtfSimd {
namespace {

inline __m128i Load16(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
inline void Store16(void* p, __m128i v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }

// Counting a UTF-8 source checks all of it at once (see UtfSimd.h).
template <class Out>
bool CountUtf8(UtfRun<char, Out>& run) {
  uint64_t characters = 0, fours = 0;
  const unsigned char* s = reinterpret_cast<const unsigned char*>(run.source) + run.at;
  if (!CheckBlocks<Sse2Ops, BlockRules::kLenient, true>(s, run.length - run.at, &characters, &fours)) return false;
  run.written += characters + (sizeof(Out) == 2 ? fours : 0);
  run.at = run.length;
  return true;
}

// UTF-8 to UTF-16 or UTF-32: the ASCII bytes, sixteen at a time, widened.
template <class Out>
bool Utf8ToWide(UtfRun<char, Out>& run) {
  if (run.target == nullptr) return CountUtf8(run);
  const unsigned char* s = reinterpret_cast<const unsigned char*>(run.source);
  const __m128i zero = _mm_setzero_si128();
  while (run.length - run.at >= 16 && run.capacity - run.written >= 16) {
    const __m128i bytes = Load16(s + run.at);
    const uint32_t high = static_cast<uint32_t>(_mm_movemask_epi8(bytes));
    const unsigned count = high == 0 ? 16 : __builtin_ctz(high);
    Out* out = run.target + run.written;
    const __m128i low = _mm_unpacklo_epi8(bytes, zero), high8 = _mm_unpackhi_epi8(bytes, zero);
    if (count == 16) {
      if constexpr (sizeof(Out) == 2) {
        Store16(out, low);
        Store16(out + 8, high8);
      } else {
        Store16(out, _mm_unpacklo_epi16(low, zero));
        Store16(out + 4, _mm_unpackhi_epi16(low, zero));
        Store16(out + 8, _mm_unpacklo_epi16(high8, zero));
        Store16(out + 12, _mm_unpackhi_epi16(high8, zero));
      }
    } else {
      for (unsigned i = 0; i < count; ++i) out[i] = s[run.at + i];
    }
    run.at += count;
    run.written += count;
    if (count < 16) break;
  }
  return true;
}

// Per unit of UTF-16: whether it is 80 or above, 800 or above, a surrogate (16-bit masks).
struct Utf16Classes {
  __m128i above7F, above7FF, surrogate;
};
inline Utf16Classes Classify16(__m128i units) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i top5 = _mm_and_si128(units, _mm_set1_epi16(static_cast<short>(0xF800)));
  return {_mm_xor_si128(_mm_cmpeq_epi16(_mm_and_si128(units, _mm_set1_epi16(static_cast<short>(0xFF80))), zero),
                        _mm_set1_epi8(-1)),
          _mm_xor_si128(_mm_cmpeq_epi16(top5, zero), _mm_set1_epi8(-1)),
          _mm_cmpeq_epi16(top5, _mm_set1_epi16(static_cast<short>(0xD800)))};
}

// UTF-16 to UTF-8: blocks of eight ASCII units narrowed; counting: blocks without surrogates.
bool Utf16ToUtf8(UtfRun<char16_t, char>& run) {
  while (run.length - run.at >= 8) {
    const __m128i units = Load16(run.source + run.at);
    const Utf16Classes classes = Classify16(units);
    if (run.target == nullptr) {
      if (_mm_movemask_epi8(classes.surrogate) != 0) break;
      run.written += 8 + (__builtin_popcount(_mm_movemask_epi8(classes.above7F)) +
                          __builtin_popcount(_mm_movemask_epi8(classes.above7FF))) /
                             2;
    } else {
      if (run.capacity - run.written < 8 || _mm_movemask_epi8(classes.above7F) != 0) break;
      _mm_storel_epi64(reinterpret_cast<__m128i*>(run.target + run.written), _mm_packus_epi16(units, units));
      run.written += 8;
    }
    run.at += 8;
  }
  return true;
}

// UTF-16 to UTF-32: blocks of eight units without surrogates widened (or counted).
bool Utf16ToUtf32(UtfRun<char16_t, char32_t>& run) {
  const __m128i zero = _mm_setzero_si128();
  while (run.length - run.at >= 8) {
    const __m128i units = Load16(run.source + run.at);
    if (_mm_movemask_epi8(Classify16(units).surrogate) != 0) break;
    if (run.target != nullptr) {
      if (run.capacity - run.written < 8) break;
      Store16(run.target + run.written, _mm_unpacklo_epi16(units, zero));
      Store16(run.target + run.written + 4, _mm_unpackhi_epi16(units, zero));
    }
    run.at += 8;
    run.written += 8;
  }
  return true;
}

// Per unit of UTF-32 (32-bit masks): 80 or above, 800 or above, 10000 or above, and above
// 10FFFF (compared with the sign bit flipped, as SSE2 compares only signed).
struct Utf32Classes {
  __m128i above7F, above7FF, aboveFFFF, invalid;
};
inline Utf32Classes Classify32(__m128i units) {
  const __m128i flip = _mm_set1_epi32(static_cast<int>(0x80000000u));
  const __m128i flipped = _mm_xor_si128(units, flip);
  auto above = [&](uint32_t limit) {
    return _mm_cmpgt_epi32(flipped, _mm_set1_epi32(static_cast<int>(limit ^ 0x80000000u)));
  };
  return {above(0x7F), above(0x7FF), above(0xFFFF), above(0x10FFFF)};
}

// UTF-32 to UTF-8: blocks of four ASCII units narrowed; counting: blocks of valid values.
bool Utf32ToUtf8(UtfRun<char32_t, char>& run) {
  while (run.length - run.at >= 4) {
    const __m128i units = Load16(run.source + run.at);
    const Utf32Classes classes = Classify32(units);
    if (_mm_movemask_epi8(classes.invalid) != 0) break;
    if (run.target == nullptr) {
      run.written += 4 + (__builtin_popcount(_mm_movemask_epi8(classes.above7F)) +
                          __builtin_popcount(_mm_movemask_epi8(classes.above7FF)) +
                          __builtin_popcount(_mm_movemask_epi8(classes.aboveFFFF))) /
                             4;
    } else {
      if (run.capacity - run.written < 4 || _mm_movemask_epi8(classes.above7F) != 0) break;
      const __m128i words = _mm_packs_epi32(units, units);
      const int bytes = _mm_cvtsi128_si32(_mm_packus_epi16(words, words));
      memcpy(run.target + run.written, &bytes, 4);
      run.written += 4;
    }
    run.at += 4;
  }
  return true;
}

// UTF-32 to UTF-16: blocks of four values below 10000 narrowed (or counted). SSE2 packs only
// with signed saturation, so the values are moved into the signed range and back.
bool Utf32ToUtf16(UtfRun<char32_t, char16_t>& run) {
  while (run.length - run.at >= 4) {
    const __m128i units = Load16(run.source + run.at);
    const Utf32Classes classes = Classify32(units);
    if (_mm_movemask_epi8(classes.invalid) != 0) break;
    if (run.target == nullptr) {
      run.written += 4 + __builtin_popcount(_mm_movemask_epi8(classes.aboveFFFF)) / 4;
    } else {
      if (run.capacity - run.written < 4 || _mm_movemask_epi8(classes.aboveFFFF) != 0) break;
      const __m128i shifted = _mm_sub_epi32(units, _mm_set1_epi32(0x8000));
      const __m128i words =
          _mm_add_epi16(_mm_packs_epi32(shifted, shifted), _mm_set1_epi16(static_cast<short>(0x8000)));
      _mm_storel_epi64(reinterpret_cast<__m128i*>(run.target + run.written), words);
      run.written += 4;
    }
    run.at += 4;
  }
  return true;
}

constexpr UtfKernels kSse2Kernels = {
    Utf8ToWide<char16_t>,
    Utf8ToWide<char32_t>,
    Utf16ToUtf8,
    Utf16ToUtf32,
    Utf32ToUtf8,
    Utf32ToUtf16,
    CheckText<Sse2Ops>,
    AsciiPrefixOf<Sse2Ops>,
    PrintablePrefixOf<Sse2Ops>,
};

}  // namespace

const UtfKernels& Sse2Kernels() { return kSse2Kernels; }

}  // namespace OrvGuiBase::UtfSimd
