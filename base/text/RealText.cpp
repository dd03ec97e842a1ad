// RealText.cpp: %.Ng of a double, exactly as printf rounds it, without printf.
//
// A double is m x 2^k with m below 2^53. For precision P its text comes from the integer
// t = x x 10^s rounded to nearest (ties to even), where s = P - 1 - X and X is the decimal
// exponent of x, so that t has exactly P digits. For the doubles met in practice that product
// is exact in 128 bits: m x 5^s fits for s up to 27, and the power of two is a shift (whose
// dropped bits decide the rounding exactly); for large x it is m x 2^k divided by 10^-s with
// its remainder. Whatever falls outside (tiny or huge exponents, precisions above 17, zero
// precision) goes to the runtime's exact converter, which prints the same text.
#include "private/text/RealText.h"

#include <charconv>
#include <cstdint>
#include <cstring>

#include "private/text/DecimalDigits.h"

namespace OrvGuiBase::Internal {

namespace {

using U128 = unsigned __int128;

constexpr uint64_t Power5(int n) {
  uint64_t p = 1;
  while (n-- > 0) p *= 5;
  return p;
}

// Scaled: t = x x 10^s rounded to nearest, ties to even; false when the exact product does not
// fit the arithmetic here.
bool Scaled(uint64_t m, int k, int s, uint64_t& t) {
  static constexpr auto kFives = [] {
    struct {
      uint64_t power[28];
    } table{};
    for (int i = 0; i < 28; ++i) table.power[i] = Power5(i);
    return table;
  }();
  U128 whole;
  U128 rest = 0;
  U128 half = 0;  // rest and half in the same unit; half 0: exact
  if (s >= 0) {
    if (s > 27) return false;
    const U128 n = static_cast<U128>(m) * kFives.power[s];  // below 2^116
    const int shift = k + s;
    if (shift >= 0) {
      if (shift > 10) return false;  // the result would not be below 10^17 anyway
      whole = n << shift;
    } else {
      if (shift <= -128) return false;
      const int down = -shift;
      whole = n >> down;
      rest = n & ((U128{1} << down) - 1);
      half = U128{1} << (down - 1);
    }
  } else {
    if (s < -19 || k < 0 || k > 74) return false;
    const U128 n = static_cast<U128>(m) << k;
    const uint64_t divisor = kPowersOfTen[-s];
    whole = n / divisor;
    rest = n % divisor;
    half = divisor / 2;  // divisor is even: exact
  }
  if (whole >> 64 != 0) return false;
  t = static_cast<uint64_t>(whole);
  if (half != 0 && (rest > half || (rest == half && (t & 1) != 0))) ++t;
  return true;
}

char* Fallback(char* to, char* end, double magnitude, unsigned precision) {
  const std::to_chars_result result = std::to_chars(to, end, magnitude, std::chars_format::general, static_cast<int>(precision));
  return result.ec == std::errc() ? result.ptr : nullptr;
}

}  // namespace

char* WriteGeneral(char* to, char* end, double magnitude, unsigned precision) {
  uint64_t bits;
  memcpy(&bits, &magnitude, sizeof bits);
  const int biased = static_cast<int>(bits >> 52);
  if (precision == 0 || precision > 17 || biased == 0 || biased >= 0x7FF) {
    if (magnitude == 0 && end - to >= 1) {
      *to = '0';
      return to + 1;
    }
    return Fallback(to, end, magnitude, precision);
  }
  const uint64_t m = (bits & ((uint64_t{1} << 52) - 1)) | (uint64_t{1} << 52);
  const int k = biased - 1075;
  const int p = static_cast<int>(precision);
  // X is floor(log10 x) or one more than the estimate from the binary exponent.
  int exponent = ((k + 52) * 78913) >> 18;  // floor((k + 52) log10 2)
  uint64_t t;
  if (!Scaled(m, k, p - 1 - exponent, t)) return Fallback(to, end, magnitude, precision);
  if (t >= kPowersOfTen[p]) {
    ++exponent;
    if (!Scaled(m, k, p - 1 - exponent, t)) return Fallback(to, end, magnitude, precision);
  }
  if (t == kPowersOfTen[p]) {  // rounded up to the next power of ten
    t = kPowersOfTen[p - 1];
    ++exponent;
  }
  // The significant digits without trailing zeros.
  char digits[20];
  char* first = WriteDecimal(digits + p, t);
  int count = p;
  while (count > 1 && first[count - 1] == '0') --count;
  const bool scientific = exponent < -4 || exponent >= p;
  const ptrdiff_t need = scientific ? count + 6 : exponent >= 0 ? (exponent + 1 > count ? exponent + 1 : count + 1) : count - exponent + 1;
  if (end - to < need) return nullptr;
  char* out = to;
  if (scientific) {
    *out++ = first[0];
    if (count > 1) {
      *out++ = '.';
      memcpy(out, first + 1, static_cast<size_t>(count - 1));
      out += count - 1;
    }
    *out++ = 'e';
    *out++ = exponent < 0 ? '-' : '+';
    const unsigned e = static_cast<unsigned>(exponent < 0 ? -exponent : exponent);
    if (e >= 100) *out++ = static_cast<char>('0' + e / 100);
    WritePair(out, e % 100);
    return out + 2;
  }
  if (exponent >= 0) {
    const int whole = exponent + 1;
    if (count <= whole) {
      memcpy(out, first, static_cast<size_t>(count));
      memset(out + count, '0', static_cast<size_t>(whole - count));
      return out + whole;
    }
    memcpy(out, first, static_cast<size_t>(whole));
    out[whole] = '.';
    memcpy(out + whole + 1, first + whole, static_cast<size_t>(count - whole));
    return out + count + 1;
  }
  *out++ = '0';
  *out++ = '.';
  memset(out, '0', static_cast<size_t>(-exponent - 1));
  out += -exponent - 1;
  memcpy(out, first, static_cast<size_t>(count));
  return out + count;
}

}  // namespace OrvGuiBase::Internal
