// UtfSimd.h: the vector kernels behind the UTF conversions and validators. Internal to the
// library, not part of the umbrella: Utf.cpp picks one kernel table (AVX2 or SSE2) and calls
// through it; UtfSse2.cpp and UtfAvx2.cpp fill the tables.
//
// A conversion kernel works on a UtfRun: it converts (or, without a target, counts) whole code
// points from run.at on, advancing run.at and run.written, and stops before the first code
// point it cannot decide cheaply: an ill-formed or unusual sequence, the last few dozen units
// of the source, a target with little room left. The caller then applies the one-code-point
// rules there, which also produce every error, and calls the kernel again. So a kernel never
// decides an error on its own, with one exception: when counting a UTF-8 source it checks the
// whole remaining source and returns false when that is ill-formed (without a target the only
// possible error is EILSEQ, wherever it lies).
//
// Kernels keep two promises that the callers rely on: they read no unit outside
// source[0..length) and write none outside target[0..capacity); and every unit they write past
// run.written is overwritten by later output whenever the whole conversion succeeds.
#pragma once

#include <cstdint>

namespace OrvGuiBase::UtfSimd {

template <class In, class Out>
struct UtfRun {
  const In* source;
  uint64_t length;    // units in source
  Out* target;        // null when counting
  uint64_t capacity;  // units in target, 0 when counting
  uint64_t at;        // the next source unit, always the start of a code point
  uint64_t written;   // target units written (or counted) so far
};

// The rule sets of the whole-text check.
enum class Utf8Rules {
  kStrict,     // well-formed UTF-8 in the strict sense
  kPrintable,  // strict, and no control but TAB, LF and CR, no 0x7F, no U+0080..U+009F
};

struct UtfKernels {
  bool (*utf8to16)(UtfRun<char, char16_t>& run);
  bool (*utf8to32)(UtfRun<char, char32_t>& run);
  bool (*utf16to8)(UtfRun<char16_t, char>& run);
  bool (*utf16to32)(UtfRun<char16_t, char32_t>& run);
  bool (*utf32to8)(UtfRun<char32_t, char>& run);
  bool (*utf32to16)(UtfRun<char32_t, char16_t>& run);
  // True when s[0..length) follows the rules throughout.
  bool (*check)(const unsigned char* s, uint64_t length, Utf8Rules rules);
  // The length of the prefix of s[0..length) made of ASCII bytes (all below 0x80), or of
  // printable ASCII bytes (0x20..0x7E, TAB, LF, CR).
  uint64_t (*asciiPrefix)(const unsigned char* s, uint64_t length);
  uint64_t (*printablePrefix)(const unsigned char* s, uint64_t length);
};

// The tables; Avx2Kernels only where the processor has AVX2, BMI1, BMI2 and POPCNT.
const UtfKernels& Sse2Kernels();
const UtfKernels& Avx2Kernels();

}  // namespace OrvGuiBase::UtfSimd
