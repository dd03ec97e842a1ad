// NumberText.cpp: the integer writers and parsers, digit generation and the floating renderers.
//
// The floating parsers live in NumberParse.cpp; both share the blank and sign rules through
// NumberSign.h.
#include "base/text/NumberText.h"

#include <bit>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <type_traits>

#include "base/core/LastError.h"
#include "base/process/Setup.h"
#include "private/text/DecimalDigits.h"
#include "private/text/NumberSign.h"

namespace OrvGuiBase {

namespace {

// ---------------------------------------------------------------------------------------------
// Writers.
//
// Digits are written backwards from their final place (see DecimalDigits.h).

using Internal::DecimalLength;

template <class U>
inline char* WriteUnsigned(char* buffer, U magnitude, bool negative) {
  if (buffer == nullptr) return nullptr;
  char* p = buffer;
  if (negative) *p++ = '-';
  const unsigned length = DecimalLength(magnitude);
  p[length] = 0;
  Internal::WriteDecimal(p + length, static_cast<uint64_t>(magnitude));
  return buffer;
}

template <class S>
inline char* WriteSigned(char* buffer, S value) {
  using U = std::make_unsigned_t<S>;
  const U magnitude = value < 0 ? static_cast<U>(U{0} - static_cast<U>(value)) : static_cast<U>(value);
  return WriteUnsigned(buffer, magnitude, value < 0);
}

// ---------------------------------------------------------------------------------------------
// Integer parsers.
//
// One reader serves all widths: it takes the limits of the target type as constants, reads the
// magnitude into 64 bits and leaves the sign to the caller. Overflow is tested before each
// multiplication (above limit / base, or equal to it with a digit above limit % base), so the
// magnitude never wraps. The fast path (blanks, then digits) touches no setup value; the
// installation's sign symbols are read only when the first character is not a digit.

inline bool IsDigit(char c) { return static_cast<unsigned char>(c - '0') < 10; }

inline int HexValue(char c) {
  if (IsDigit(c)) return c - '0';
  const char lower = static_cast<char>(c | 0x20);
  if (lower >= 'a' && lower <= 'f') return lower - 'a' + 10;
  return -1;
}

struct IntegerRead {
  uint64_t magnitude = 0;
  bool negative = false;
};

template <uint64_t kPositive, uint64_t kNegative, uint64_t kHex>
int32_t ReadInteger(const char* text, const char** end, IntegerRead& out, bool allowSign, uint32_t maxDigits) {
  if (end != nullptr) *end = text;
  if (text == nullptr) return -1;
  const char* p = Internal::SkipAsciiBlanks(text);
  bool nbspBlank = false;
  if (!IsDigit(*p)) [[unlikely]] {
    if (*p == 0) return -1;
    const Internal::SignRead sign = Internal::ReadSign(p, allowSign);
    if (sign.result != 0) return sign.result;
    p = sign.next;
    out.negative = sign.negative;
    nbspBlank = sign.nbspBlank;
  }
  const char* const digitsStart = p;
  uint64_t magnitude = 0;
  if (p[0] == '0' && (p[1] | 0x20) == 'x' && HexValue(p[2]) >= 0 && maxDigits > 0) {
    p += 2;
    uint32_t count = 0;
    for (int digit; count < maxDigits && (digit = HexValue(*p)) >= 0; ++p, ++count) {
      if (magnitude > kHex / 16 || (magnitude == kHex / 16 && static_cast<uint64_t>(digit) > kHex % 16)) return -2;
      magnitude = magnitude * 16 + static_cast<unsigned>(digit);
    }
  } else {
    const uint64_t limit = out.negative ? kNegative : kPositive;
    const uint64_t limitTenth = limit / 10;
    const unsigned limitLast = static_cast<unsigned>(limit % 10);
    uint32_t count = 0;
    for (; count < maxDigits && IsDigit(*p); ++p, ++count) {
      const unsigned digit = static_cast<unsigned>(*p - '0');
      if (magnitude >= limitTenth && (magnitude > limitTenth || digit > limitLast)) [[unlikely]]
        return -2;
      magnitude = magnitude * 10 + digit;
    }
  }
  // An unsigned type takes a minus only before zero ("-0x5" would otherwise wrap).
  if (out.negative && magnitude > kNegative) return -2;
  if (p == digitsStart) {
    // No digit: with an end pointer that is "no number here" (end unchanged), else malformed.
    out.negative = false;
    return end != nullptr ? 0 : -2;
  }
  if (end != nullptr) {
    *end = p;
  } else {
    if (*Internal::SkipTrailingBlanks(p, nbspBlank) != 0) return -2;
  }
  out.magnitude = magnitude;
  return 0;
}

template <class T>
inline int32_t ParseInteger(const char* text, const char** end, T* value, bool allowSign, uint32_t maxDigits) {
  using U = std::make_unsigned_t<T>;
  constexpr uint64_t kMax = static_cast<uint64_t>(std::numeric_limits<T>::max());
  constexpr uint64_t kNegative = std::is_signed_v<T> ? kMax + 1 : 0;
  IntegerRead read;
  const int32_t result = ReadInteger<kMax, kNegative, kMax>(text, end, read, allowSign, maxDigits);
  if (result != 0) {
    if (end != nullptr) *end = text;
    if (value != nullptr) *value = 0;
    return result;
  }
  if (value != nullptr) {
    const U magnitude = static_cast<U>(read.magnitude);
    *value = static_cast<T>(read.negative ? static_cast<U>(U{0} - magnitude) : magnitude);
  }
  return 0;
}

// ---------------------------------------------------------------------------------------------
// Digit generation and the floating renderers.

constexpr size_t kConvertBuffer = 328;

// Digits: the NUL-terminated digits of fcvt_r or ecvt_r with room to grow by one on a carry.
struct Digits {
  char text[kConvertBuffer + 2];
  int decimalPoint = 0;
  int sign = 0;
};

// Convert: fcvt_r or ecvt_r into the 328-byte work area; the runtime's result (0 success).
int Convert(double value, int count, bool fixed, Digits& out) {
  return fixed ? fcvt_r(value, count, &out.decimalPoint, &out.sign, out.text, kConvertBuffer)
               : ecvt_r(value, count, &out.decimalPoint, &out.sign, out.text, kConvertBuffer);
}

bool ConvertToStr(double value, int count, bool fixed, AnsiStr& digits, int32_t* decimalPoint, int32_t* sign) {
  Digits out;
  const int result = Convert(value, count, fixed, out);
  if (result != 0) {
    SetLastError(result);
    return false;
  }
  digits.Set(out.text);
  if (decimalPoint != nullptr) *decimalPoint = out.decimalPoint;
  if (sign != nullptr) *sign = out.sign;
  return true;
}

// AppendText: appends a NUL-terminated symbol to the output area.
inline char* AppendText(char* out, const char* text) {
  while (*text != 0) *out++ = *text++;
  return out;
}

// RenderFloating: the common body of Double2Str and Float2Str.
//
// fcvt_r gives the digits d[0..length) of |value| rounded to `decimals` places, digit i
// standing for 10^(decimalPoint - 1 - i). We keep at most `significant` digits from the first
// non-zero one: the digit after the last kept one decides rounding half up, a carry runs left
// through nines (and past the first digit by prepending a "1" and moving the decimal point,
// which keeps the count of decimals), and the dropped digits become zeros. Then the integer
// part (or "0") is written in groups of three, and the decimals after the separator, missing
// digits reading as zeros.
AnsiStr RenderFloating(double value, unsigned decimals, double bound, unsigned maxDecimals, unsigned significant) {
  if (std::isnan(value)) {
    SetLastError(EDOM);
    return AnsiStr();
  }
  if (value > bound) return AnsiStr("overflow");
  if (value < -bound) return AnsiStr("underflow");
  const unsigned places = decimals < maxDecimals ? decimals : maxDecimals;
  Digits digits;
  const int result = Convert(value, static_cast<int>(places), true, digits);
  if (result != 0) {
    SetLastError(result);
    return AnsiStr();
  }
  char* d = digits.text;
  size_t length = strlen(d);
  size_t first = 0;
  while (first < length && d[first] == '0') ++first;
  if (length - first > significant) {
    const size_t cut = first + significant;
    const bool up = d[cut] >= '5';
    memset(d + cut, '0', length - cut);
    if (up) {
      size_t i = cut;
      while (i > first && d[i - 1] == '9') d[--i] = '0';
      if (i > first) {
        ++d[i - 1];
      } else if (first > 0) {
        d[first - 1] = '1';  // the carry lands on a leading zero
      } else {
        // The carry ran past the first digit: 999.. became 1000..
        memmove(d + 1, d, length + 1);
        d[0] = '1';
        ++length;
        ++digits.decimalPoint;
      }
    }
  }
  bool nonZero = false;
  for (size_t i = 0; i < length && !nonZero; ++i) nonZero = d[i] != '0';

  const NumberSymbols& symbols = Setup::GetNumberSymbols();
  char out[256];
  char* o = out;
  if (digits.sign != 0 && nonZero) o = AppendText(o, symbols.negativeSign);
  const long decimalPoint = digits.decimalPoint;
  if (decimalPoint <= 0) {
    *o++ = '0';
  } else {
    const bool group = symbols.thousand[0] != 0;
    for (long i = 0; i < decimalPoint; ++i) {
      if (group && i > 0 && (decimalPoint - i) % 3 == 0) o = AppendText(o, symbols.thousand);
      *o++ = static_cast<size_t>(i) < length ? d[i] : '0';
    }
  }
  if (places > 0) {
    o = AppendText(o, symbols.comma);
    for (unsigned k = 0; k < places; ++k) {
      const long at = decimalPoint + static_cast<long>(k);
      *o++ = at >= 0 && static_cast<size_t>(at) < length ? d[at] : '0';
    }
  }
  return AnsiStr(out, static_cast<uint32_t>(o - out));
}

}  // namespace

char* Short2Str(char* buffer, int16_t value) { return WriteSigned(buffer, value); }
char* UShort2Str(char* buffer, uint16_t value) { return WriteUnsigned(buffer, value, false); }
char* Int2Str(char* buffer, int32_t value) { return WriteSigned(buffer, value); }
char* UInt2Str(char* buffer, uint32_t value) { return WriteUnsigned(buffer, value, false); }
char* Long2Str(char* buffer, int64_t value) { return WriteSigned(buffer, value); }
char* ULong2Str(char* buffer, uint64_t value) { return WriteUnsigned(buffer, value, false); }
char* Hyper2Str(char* buffer, int64_t value) { return WriteSigned(buffer, value); }
char* UHyper2Str(char* buffer, uint64_t value) { return WriteUnsigned(buffer, value, false); }

unsigned _unsignedtotext(uint64_t value, char* buffer, unsigned radix) {
  if (buffer == nullptr || radix < 2 || radix > 36) {
    SetLastError(EINVAL);
    return 0;
  }
  static constexpr char kDigits[] = "0123456789abcdefghijklmnopqrstuvwxyz";
  char local[64];
  char* p = local + sizeof local;
  if (radix == 16) {
    do {
      *--p = kDigits[value & 15];
      value >>= 4;
    } while (value != 0);
  } else {
    do {
      *--p = kDigits[value % radix];
      value /= radix;
    } while (value != 0);
  }
  const unsigned count = static_cast<unsigned>(local + sizeof local - p);
  memcpy(buffer, p, count);
  buffer[count] = 0;
  return count;
}

int32_t Str2Short(const char* text, const char** end, int16_t* value, bool allowSign, uint32_t maxDigits) {
  return ParseInteger(text, end, value, allowSign, maxDigits);
}
int32_t Str2UShort(const char* text, const char** end, uint16_t* value, bool allowSign, uint32_t maxDigits) {
  return ParseInteger(text, end, value, allowSign, maxDigits);
}
int32_t Str2Int(const char* text, const char** end, int32_t* value, bool allowSign, uint32_t maxDigits) {
  return ParseInteger(text, end, value, allowSign, maxDigits);
}
int32_t Str2UInt(const char* text, const char** end, uint32_t* value, bool allowSign, uint32_t maxDigits) {
  return ParseInteger(text, end, value, allowSign, maxDigits);
}
int32_t Str2Long(const char* text, const char** end, int64_t* value, bool allowSign, uint32_t maxDigits) {
  return ParseInteger(text, end, value, allowSign, maxDigits);
}
int32_t Str2ULong(const char* text, const char** end, uint64_t* value, bool allowSign, uint32_t maxDigits) {
  return ParseInteger(text, end, value, allowSign, maxDigits);
}
int32_t Str2Hyper(const char* text, const char** end, int64_t* value, bool allowSign, uint32_t maxDigits) {
  return ParseInteger(text, end, value, allowSign, maxDigits);
}
int32_t Str2UHyper(const char* text, const char** end, uint64_t* value, bool allowSign, uint32_t maxDigits) {
  return ParseInteger(text, end, value, allowSign, maxDigits);
}

bool orvfcvt(double value, int decimals, AnsiStr& digits, int32_t* decimalPoint, int32_t* sign) {
  return ConvertToStr(value, decimals, true, digits, decimalPoint, sign);
}
bool orvecvt(double value, int count, AnsiStr& digits, int32_t* decimalPoint, int32_t* sign) {
  return ConvertToStr(value, count, false, digits, decimalPoint, sign);
}

AnsiStr Double2Str(double value, unsigned decimals) { return RenderFloating(value, decimals, 1e16, 15, 15); }
AnsiStr Float2Str(float value, unsigned decimals) { return RenderFloating(value, decimals, 1e9, 6, 6); }

}  // namespace OrvGuiBase
