// NumberParse.cpp: the floating parsers Str2Double and Str2Float.
//
// The reader walks the text once and collects the significant digits (from the first non-zero
// one) into a bounded decimal mantissa with a power of ten, then lets the C runtime's correctly
// rounding conversion (in the "C" locale, whatever the process locale) produce the binary value
// from the plain text "<digits>e<power>". At most kKeptDigits significant digits are kept; a
// non-zero digit dropped beyond them is remembered as one trailing "1", which is enough to
// round halfway cases the right way (a double needs at most 767 significant digits to decide).
#include <cerrno>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <locale.h>

#include "base/core/LazyStatic.h"
#include "base/process/Setup.h"
#include "private/text/NumberSign.h"
#include "base/text/NumberText.h"

namespace OrvGuiBase {

namespace {

constexpr size_t kKeptDigits = 780;
constexpr long kExponentClamp = 100000;

struct CLocale {
  locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
  ~CLocale() {
    if (locale != nullptr) freelocale(locale);
  }
};
constinit LazyStatic<CLocale> g_cLocale;

inline bool IsDigit(char c) { return static_cast<unsigned char>(c - '0') < 10; }

inline bool StartsWith(const char* p, const char* prefix, size_t length) {
  return length > 0 && strncmp(p, prefix, length) == 0;
}

// Mantissa: the kept significant digits and the power of ten that scales them.
struct Mantissa {
  char digits[kKeptDigits + 2];
  size_t count = 0;
  long power = 0;       // value = digits * 10^power
  bool sticky = false;  // a non-zero digit was dropped

  // AddDigit: one digit of the number; fraction digits lower the power.
  void AddDigit(char c, bool fraction) {
    if (count == 0 && c == '0') {
      if (fraction) --power;
      return;
    }
    if (count < kKeptDigits) {
      digits[count++] = c;
      if (fraction) --power;
    } else {
      if (!fraction) ++power;
      if (c != '0') sticky = true;
    }
  }
};

// GroupFollows: at a thousands separator of the given length, whether exactly three digits
// follow it.
inline bool GroupFollows(const char* p, size_t separatorLength) {
  const char* q = p + separatorLength;
  return IsDigit(q[0]) && IsDigit(q[1]) && IsDigit(q[2]) && !IsDigit(q[3]);
}

enum class Converted { kValue, kTooLarge };

// ConvertDigits: digits * 10^power as double or float through the runtime.
template <class F>
Converted ConvertDigits(Mantissa& m, bool negative, long exponent, F& out) {
  if (m.count == 0) {
    out = negative ? -F(0) : F(0);
    return Converted::kValue;
  }
  if (m.sticky) {
    m.digits[m.count++] = '1';
    --m.power;
  }
  long power = m.power + exponent;
  if (power > kExponentClamp) power = kExponentClamp;
  if (power < -kExponentClamp) power = -kExponentClamp;
  char text[kKeptDigits + 40];
  memcpy(text, m.digits, m.count);
  snprintf(text + m.count, sizeof text - m.count, "e%ld", power);
  CLocale* c = g_cLocale.Get();
  const locale_t locale = c != nullptr && c->locale != nullptr ? c->locale : LC_GLOBAL_LOCALE;
  const int saved = errno;
  F value;
  if constexpr (sizeof(F) == sizeof(float)) value = strtof_l(text, nullptr, locale);
  else value = strtod_l(text, nullptr, locale);
  errno = saved;
  out = negative ? -value : value;
  return std::isinf(value) ? Converted::kTooLarge : Converted::kValue;
}

template <class F>
int32_t ParseFloating(const char* text, const char** end, F* value, bool allowSign, uint32_t maxIntDigits,
                      uint32_t maxFracDigits) {
  if (end != nullptr) *end = text;
  if (value != nullptr) *value = 0;
  if (text == nullptr) return -1;
  const char* p = Internal::SkipBlanksAndNbsp(text);
  if (*p == 0) return -1;

  // The renderers' out-of-range words.
  for (const char* word : {"overflow", "underflow"}) {
    const size_t length = strlen(word);
    if (strncmp(p, word, length) != 0) continue;
    const char* after = p + length;
    if (end != nullptr) *end = after;
    if (value != nullptr) *value = word[0] == 'o' ? F(HUGE_VAL) : -F(HUGE_VAL);
    return -2;
  }

  const Internal::SignRead sign = Internal::ReadSign(p, allowSign, true);
  if (sign.result != 0) return sign.result;
  p = sign.next;

  const NumberSymbols& symbols = Setup::GetNumberSymbols();
  const size_t thousandLength = strlen(symbols.thousand);
  const size_t commaLength = strlen(symbols.comma);
  const bool dotIsComma = strcmp(symbols.thousand, ".") != 0;

  Mantissa m;
  uint32_t intDigits = 0;
  uint32_t groupLength = 0;
  bool grouped = false;
  for (;;) {
    if (IsDigit(*p) && intDigits < maxIntDigits) {
      m.AddDigit(*p++, false);
      ++intDigits;
      ++groupLength;
      continue;
    }
    // A thousands separator belongs to the number only between proper groups.
    if (intDigits > 0 && intDigits < maxIntDigits && StartsWith(p, symbols.thousand, thousandLength) &&
        (grouped ? groupLength == 3 : groupLength <= 3) && GroupFollows(p, thousandLength)) {
      p += thousandLength;
      grouped = true;
      groupLength = 0;
      continue;
    }
    break;
  }
  uint32_t fracDigits = 0;
  size_t separator = 0;
  if (StartsWith(p, symbols.comma, commaLength)) separator = commaLength;
  else if (*p == '.' && dotIsComma) separator = 1;
  if (separator > 0 && (intDigits > 0 || (IsDigit(p[separator]) && maxFracDigits > 0))) {
    p += separator;
    for (; IsDigit(*p) && fracDigits < maxFracDigits; ++p, ++fracDigits) m.AddDigit(*p, true);
  }
  if (intDigits == 0 && fracDigits == 0) {
    if (end != nullptr) return 0;  // no number here: *end stays at text
    return -2;
  }
  long exponent = 0;
  if ((*p | 0x20) == 'e') {
    const char* q = p + 1;
    bool negativeExponent = false;
    if (*q == '+' || *q == '-') negativeExponent = *q++ == '-';
    if (IsDigit(*q)) {
      for (; IsDigit(*q); ++q)
        if (exponent < kExponentClamp) exponent = exponent * 10 + (*q - '0');
      if (negativeExponent) exponent = -exponent;
      p = q;
    }
  }
  if (end == nullptr) {
    p = Internal::SkipBlanksAndNbsp(p);
    if (*p != 0) return -2;
  }
  F result;
  const Converted converted = ConvertDigits(m, sign.negative, exponent, result);
  if (end != nullptr) *end = p;
  if (value != nullptr) *value = result;
  return converted == Converted::kValue ? 0 : -2;
}

}  // namespace

int32_t Str2Double(const char* text, const char** end, double* value, bool allowSign, uint32_t maxIntDigits,
                   uint32_t maxFracDigits) {
  return ParseFloating(text, end, value, allowSign, maxIntDigits, maxFracDigits);
}

int32_t Str2Float(const char* text, const char** end, float* value, bool allowSign, uint32_t maxIntDigits,
                  uint32_t maxFracDigits) {
  return ParseFloating(text, end, value, allowSign, maxIntDigits, maxFracDigits);
}

}  // namespace OrvGuiBase
