// DecimalDigits.h: decimal digits of unsigned integers, written backwards from their last place
// (internal).
//
// Digits come least significant first. Rather than writing them forwards and reversing the run,
// the writers count them first (from the bit width, corrected by one comparison with a power of
// ten) and write them backwards from their final place, two at a time from a table of the pairs
// 00..99, eight at a time from a 64-bit value: short dependency chains, no reversal, no copy.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace OrvGuiBase::Internal {

inline constexpr char kDigitPairs[] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
    "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
    "8081828384858687888990919293949596979899";

inline constexpr uint64_t kPowersOfTen[20] = {1ull,
                                              10ull,
                                              100ull,
                                              1000ull,
                                              10000ull,
                                              100000ull,
                                              1000000ull,
                                              10000000ull,
                                              100000000ull,
                                              1000000000ull,
                                              10000000000ull,
                                              100000000000ull,
                                              1000000000000ull,
                                              10000000000000ull,
                                              100000000000000ull,
                                              1000000000000000ull,
                                              10000000000000000ull,
                                              100000000000000000ull,
                                              1000000000000000000ull,
                                              10000000000000000000ull};

// DecimalLength: the count of decimal digits of value (1 for 0). 1233 / 4096 is just above
// log10(2), so the estimate is the length or one less. Setting the lowest bit makes 0 count as
// 1 and never crosses a power of ten (those are even, the numbers just below them odd).
inline unsigned DecimalLength(uint64_t value) {
  value |= 1;
  const unsigned estimate = (static_cast<unsigned>(std::bit_width(value)) * 1233) >> 12;
  return estimate + (value >= kPowersOfTen[estimate] ? 1 : 0);
}

inline void WritePair(char* to, unsigned n) { memcpy(to, kDigitPairs + 2 * n, 2); }

inline void WriteFour(char* to, unsigned n) {  // exactly four digits: two independent halves
  WritePair(to, n / 100);
  WritePair(to + 2, n % 100);
}

// WriteDecimal: the digits of value ending at end; returns their start.
inline char* WriteDecimal(char* end, uint64_t value) {
  while (value >= 100000000) {
    const uint64_t high = value / 100000000;
    const auto low = static_cast<uint32_t>(value - high * 100000000);
    end -= 8;
    WriteFour(end, low / 10000);
    WriteFour(end + 4, low % 10000);
    value = high;
  }
  auto n = static_cast<uint32_t>(value);
  if (n >= 10000) {
    end -= 4;
    WriteFour(end, n % 10000);
    n /= 10000;
  }
  if (n >= 100) {
    end -= 2;
    WritePair(end, n % 100);
    n /= 100;
  }
  if (n >= 10) {
    end -= 2;
    WritePair(end, n);
  } else {
    *--end = static_cast<char>('0' + n);
  }
  return end;
}

}  // namespace OrvGuiBase::Internal
