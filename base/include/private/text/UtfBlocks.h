// UtfBlocks.h: the UTF-8 block check and the ASCII scans, written once for any vector width.
// Internal to the library. UtfSse2.cpp and UtfAvx2.cpp include it after defining their vector
// operations (the AVX2 file under its target pragma), so everything here has internal linkage
// and each file compiles its own copy for its own instruction set.
//
// The operations a file supplies, as static members of a struct:
//   V; kWidth (bytes per vector); Load(p) (unaligned); Zero(); Splat(byte);
//   Or, And, AndNot(a, b) = b & ~a, Xor; Gt (signed bytes), Eq; SubSat (unsigned, saturating);
//   Mask (the top bit of every byte); IsZero; Prev<N>(current, previous) (the bytes N
//   positions earlier in the stream: the last N of previous, then current without its last N).
#pragma once

#include <cstdint>
#include <cstring>

#include "private/text/UtfSimd.h"

namespace OrvGuiBase::UtfSimd {
namespace {

enum class BlockRules { kLenient, kStrict, kPrintable };

// The last three bytes of a block that a character continues past: F0..FF three bytes before
// the end, E0..FF two before, C0..FF at the end. Subtracting these limits leaves a non-zero
// byte exactly there.
alignas(32) constexpr unsigned char kIncompleteLimit[32] = {
    0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
    0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xEF, 0xDF, 0xBF};

// BlockErrors: a vector with a non-zero byte at every byte of current that breaks the rules,
// given the block before it (zeros before the first block, which starts a character).
//
// Each byte is judged by itself and the three bytes before it:
//   - it must be a continuation byte (10xxxxxx) exactly when one of them requires one: the
//     byte before is a lead (C0..FF), the one before that starts three or four bytes (E0..FF),
//     or the one three back starts four (F0..FF). A lead where a continuation is due, a
//     continuation that nothing requires and a character cut short all show up here;
//   - it must not be F5..FF (a value past U+10FFFF, or no lead at all), and after F4 it must
//     not exceed 8F (past U+10FFFF);
//   - strictly, it must not be C0 or C1 (overlong two-byte forms), and the byte after E0, ED
//     and F0 must lie in A0..BF, 80..9F and 90..BF (overlong, surrogate, overlong);
//   - printably, moreover, it must not be a control other than TAB, LF and CR, nor 7F, nor
//     the 80..9F after C2 that makes a C1 control.
// The range tests after a given lead only look at bytes that must be continuations anyway, so
// they may accept or reject the other bytes freely: the first rule has judged those already.
template <class Ops, BlockRules kRules>
[[gnu::always_inline]] inline typename Ops::V BlockErrors(typename Ops::V current, typename Ops::V previous) {
  using V = typename Ops::V;
  const V back1 = Ops::template Prev<1>(current, previous);
  const V back2 = Ops::template Prev<2>(current, previous);
  const V back3 = Ops::template Prev<3>(current, previous);
  const V continuation = Ops::Gt(Ops::Splat(0xC0), current);  // signed: 80..BF are below C0
  const V required = Ops::Or(Ops::Or(Ops::SubSat(back1, Ops::Splat(0xBF)), Ops::SubSat(back2, Ops::Splat(0xDF))),
                             Ops::SubSat(back3, Ops::Splat(0xEF)));  // 1..7F where required
  V errors = Ops::Xor(continuation, Ops::Gt(required, Ops::Zero()));
  errors = Ops::Or(errors, Ops::SubSat(current, Ops::Splat(0xF4)));
  errors = Ops::Or(errors, Ops::And(Ops::Eq(back1, Ops::Splat(0xF4)), Ops::Gt(current, Ops::Splat(0x8F))));
  if constexpr (kRules != BlockRules::kLenient) {
    errors = Ops::Or(errors, Ops::Eq(Ops::And(current, Ops::Splat(0xFE)), Ops::Splat(0xC0)));
    errors = Ops::Or(errors, Ops::And(Ops::Eq(back1, Ops::Splat(0xE0)), Ops::Gt(Ops::Splat(0xA0), current)));
    errors = Ops::Or(errors, Ops::And(Ops::Eq(back1, Ops::Splat(0xED)), Ops::Gt(current, Ops::Splat(0x9F))));
    errors = Ops::Or(errors, Ops::And(Ops::Eq(back1, Ops::Splat(0xF0)), Ops::Gt(Ops::Splat(0x90), current)));
  }
  if constexpr (kRules == BlockRules::kPrintable) {
    const V control = Ops::And(Ops::Gt(Ops::Splat(0x20), current), Ops::Gt(current, Ops::Splat(0xFF)));
    const V allowed = Ops::Or(Ops::Or(Ops::Eq(current, Ops::Splat(9)), Ops::Eq(current, Ops::Splat(10))),
                              Ops::Eq(current, Ops::Splat(13)));
    errors = Ops::Or(errors, Ops::AndNot(allowed, control));
    errors = Ops::Or(errors, Ops::Eq(current, Ops::Splat(0x7F)));
    errors = Ops::Or(errors, Ops::And(Ops::Eq(back1, Ops::Splat(0xC2)), Ops::Gt(Ops::Splat(0xA0), current)));
  }
  return errors;
}

// CheckBlocks: whether s[0..length) (starting at a character) follows the rules; when counting,
// adds to characters the bytes that start a character and to fours the four-byte characters
// with a value of 10000 or more (an overlong F0 80..8F form stays below).
//
// Invariant: before block k, previous holds block k-1 and every byte of blocks 0..k-1 has been
// judged (a character that block k-1 leaves open is judged by block k's bytes). An ASCII block
// cannot break a rule itself, so it only closes the judgement of its predecessor: nothing may
// continue into it. The tail shorter than a block is judged inside a block of zeros, where a
// character cut by the end of the text meets a zero instead of its continuation; the padding
// is left out of the counts. Finally nothing may continue past the last block.
template <class Ops, BlockRules kRules, bool kCount>
bool CheckBlocks(const unsigned char* s, uint64_t length, uint64_t* characters, uint64_t* fours) {
  using V = typename Ops::V;
  constexpr unsigned kWidth = Ops::kWidth;
  const V incompleteLimit = Ops::Load(kIncompleteLimit + 32 - kWidth);
  V previous = Ops::Zero();
  V errors = Ops::Zero();
  uint64_t starts = 0, fourStarts = 0;
  auto block = [&](V current, uint32_t realMask) {
    const uint32_t high = Ops::Mask(current);
    if (kRules != BlockRules::kPrintable && high == 0) {
      errors = Ops::Or(errors, Ops::SubSat(previous, incompleteLimit));
      if constexpr (kCount) starts += __builtin_popcount(realMask);
    } else {
      errors = Ops::Or(errors, BlockErrors<Ops, kRules>(current, previous));
      if constexpr (kCount) {
        const uint32_t continuation = Ops::Mask(Ops::Gt(Ops::Splat(0xC0), current));
        starts += __builtin_popcount(~continuation & realMask);
        // F0..F4 leads, less the F0 leads followed by 80..8F (counted where that byte lies:
        // the sum is right in the end, though a block may take away before it adds).
        fourStarts += __builtin_popcount(high & Ops::Mask(Ops::Gt(current, Ops::Splat(0xEF))));
        fourStarts -= __builtin_popcount(Ops::Mask(Ops::And(
            Ops::Eq(Ops::template Prev<1>(current, previous), Ops::Splat(0xF0)), Ops::Gt(Ops::Splat(0x90), current))));
      }
    }
    previous = current;
  };
  constexpr uint32_t kFullMask = kWidth == 32 ? 0xFFFFFFFFu : (1u << kWidth) - 1;
  uint64_t at = 0;
  for (; length - at >= kWidth; at += kWidth) {
    block(Ops::Load(s + at), kFullMask);
    if (!Ops::IsZero(errors)) return false;
  }
  if (at < length) {
    alignas(32) unsigned char tail[32] = {};
    memcpy(tail, s + at, length - at);
    block(Ops::Load(tail), (1u << (length - at)) - 1);
  }
  errors = Ops::Or(errors, Ops::SubSat(previous, incompleteLimit));
  if (!Ops::IsZero(errors)) return false;
  if constexpr (kCount) {
    *characters += starts;
    *fours += fourStarts;
  }
  return true;
}

// CheckText: the whole-text check of the kernel tables.
template <class Ops>
bool CheckText(const unsigned char* s, uint64_t length, Utf8Rules rules) {
  return rules == Utf8Rules::kStrict ? CheckBlocks<Ops, BlockRules::kStrict, false>(s, length, nullptr, nullptr)
                                     : CheckBlocks<Ops, BlockRules::kPrintable, false>(s, length, nullptr, nullptr);
}

// AsciiPrefixOf: the length of the prefix of s[0..length) below 0x80.
template <class Ops>
uint64_t AsciiPrefixOf(const unsigned char* s, uint64_t length) {
  uint64_t at = 0;
  for (; length - at >= Ops::kWidth; at += Ops::kWidth) {
    const uint32_t high = Ops::Mask(Ops::Load(s + at));
    if (high != 0) return at + __builtin_ctz(high);
  }
  while (at < length && s[at] < 0x80) ++at;
  return at;
}

// PrintablePrefixOf: the length of the prefix of s[0..length) made of 20..7E, TAB, LF and CR.
template <class Ops>
uint64_t PrintablePrefixOf(const unsigned char* s, uint64_t length) {
  using V = typename Ops::V;
  uint64_t at = 0;
  for (; length - at >= Ops::kWidth; at += Ops::kWidth) {
    const V current = Ops::Load(s + at);
    const V plain = Ops::And(Ops::Gt(current, Ops::Splat(0x1F)), Ops::Gt(Ops::Splat(0x7F), current));
    const V allowed = Ops::Or(Ops::Or(Ops::Eq(current, Ops::Splat(9)), Ops::Eq(current, Ops::Splat(10))),
                              Ops::Eq(current, Ops::Splat(13)));
    const uint32_t bad = ~Ops::Mask(Ops::Or(plain, allowed));
    if (bad != 0 && (Ops::kWidth == 32 || (bad & 0xFFFF) != 0)) return at + __builtin_ctz(bad);
  }
  for (; at < length; ++at) {
    const unsigned char b = s[at];
    if (!((b >= 0x20 && b < 0x7F) || b == 9 || b == 10 || b == 13)) break;
  }
  return at;
}

}  // namespace
}  // namespace OrvGuiBase::UtfSimd
