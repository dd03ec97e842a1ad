// Fuzz target: the integer parsers against the C runtime's strtoll and strtoull.
//
// The library's rules differ from the runtime's on purpose in a few places (blanks after a sign,
// hexadecimal magnitudes capped at the type's maximum whatever the sign, no negation into an
// unsigned type, a digit limit, "-2" where the runtime clamps). So the oracle is compared only
// where both sides accept the text, and everywhere else the library's own invariants are
// checked: a failed parse leaves value 0 and end at the text, every width agrees with the 64-bit
// reading, and a digit limit at least as large as the digits read changes nothing.
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

#include "base/text/NumberText.h"

using namespace OrvGuiBase;

namespace {

bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool IsHexDigit(char c) { return (c >= '0' && c <= '9') || ((c | 0x20) >= 'a' && (c | 0x20) <= 'f'); }

void Check(bool condition) {
  if (!condition) abort();
}

// Base: the base the library reads the text in (a "0x" counts only before a hexadecimal digit),
// and whether a blank follows the sign (which the runtime does not accept).
struct Shape {
  int base = 10;
  bool blankAfterSign = false;
  bool negative = false;
};

Shape ShapeOf(const char* text) {
  Shape shape;
  const char* p = text;
  while (IsBlank(*p)) ++p;
  if (*p == '+' || *p == '-') {
    shape.negative = *p == '-';
    ++p;
    shape.blankAfterSign = IsBlank(*p);
    while (IsBlank(*p)) ++p;
  }
  if (p[0] == '0' && (p[1] | 0x20) == 'x' && IsHexDigit(p[2])) shape.base = 16;
  return shape;
}

// Narrow: a narrower parser must agree with the 64-bit reading: the same end and value when the
// value fits its limits, -2 otherwise.
template <class T>
void CheckNarrow(int32_t (*parse)(const char*, const char**, T*, bool, uint32_t), const char* text, int32_t wide,
                 __int128 wideValue, const char* wideEnd, const Shape& shape) {
  T value = 1;
  const char* end = nullptr;
  const int32_t result = parse(text, &end, &value, true, UINT32_MAX);
  if (wide != 0) {
    // A 64-bit overflow may still be a narrower overflow; -1 and -2 stay as they are.
    Check(result == wide || (wide == -2 && result == -2));
    Check(value == 0 && end == text);
    return;
  }
  const __int128 max = std::numeric_limits<T>::max();
  const __int128 min = std::numeric_limits<T>::min();
  bool fits = wideValue <= max && wideValue >= min;
  if (shape.base == 16) fits = (wideValue < 0 ? -wideValue : wideValue) <= max;
  if (fits) {
    Check(result == 0 && value == static_cast<T>(wideValue) && end == wideEnd);
  } else {
    Check(result == -2 && value == 0 && end == text);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 256) return 0;
  const std::string input(reinterpret_cast<const char*>(data), size);
  const char* text = input.c_str();
  const Shape shape = ShapeOf(text);

  // The signed 64-bit reader against strtoll.
  int64_t value = 1;
  const char* end = nullptr;
  const int32_t result = Str2Long(text, &end, &value, true, UINT32_MAX);
  Check(result == 0 || result == -1 || result == -2);
  if (result != 0) Check(value == 0 && end == text);
  if (result == 0 && end == text) Check(value == 0);

  errno = 0;
  char* runtimeEnd = nullptr;
  const long long runtime = strtoll(text, &runtimeEnd, shape.base);
  const bool runtimeRead = runtimeEnd != text;
  const bool runtimeRange = errno == ERANGE;
  if (runtimeRead && !runtimeRange) {
    const bool capped = shape.base == 16 && runtime == std::numeric_limits<long long>::min();
    if (capped) Check(result == -2);
    else Check(result == 0 && value == runtime && end == runtimeEnd);
  } else if (runtimeRead && runtimeRange) {
    Check(result == -2);
  } else if (result == 0 && end != text) {
    Check(shape.blankAfterSign);  // the one text the library reads and the runtime does not
  }

  // Without an end pointer: success exactly when the number is followed by blanks only.
  int64_t whole = 1;
  const int32_t wholeResult = Str2Long(text, nullptr, &whole, true, UINT32_MAX);
  if (result == 0 && end != text) {
    const char* rest = end;
    while (IsBlank(*rest)) ++rest;
    Check(wholeResult == (*rest == 0 ? 0 : -2));
    if (wholeResult == 0) Check(whole == value);
  } else if (result == 0) {
    Check(wholeResult == -2 && whole == 0);
  } else {
    Check(wholeResult == result && whole == 0);
  }

  // The unsigned 64-bit reader against strtoull, which negates where the library refuses.
  uint64_t unsignedValue = 1;
  const char* unsignedEnd = nullptr;
  const int32_t unsignedResult = Str2ULong(text, &unsignedEnd, &unsignedValue, true, UINT32_MAX);
  errno = 0;
  const unsigned long long runtimeUnsigned = strtoull(text, &runtimeEnd, shape.base);
  if (runtimeEnd != text && errno != ERANGE) {
    if (shape.negative && runtimeUnsigned != 0) Check(unsignedResult == -2);
    else Check(unsignedResult == 0 && unsignedValue == runtimeUnsigned && unsignedEnd == runtimeEnd);
  } else if (runtimeEnd != text) {
    Check(unsignedResult == -2);
  }
  Check(Str2UHyper(text, &unsignedEnd, &unsignedValue, true, UINT32_MAX) == unsignedResult);
  Check(Str2Hyper(text, nullptr, &whole, true, UINT32_MAX) == wholeResult);

  // Narrower widths agree with the 64-bit reading.
  CheckNarrow<int32_t>(Str2Int, text, result, value, end, shape);
  CheckNarrow<int16_t>(Str2Short, text, result, value, end, shape);
  const __int128 wideUnsigned = unsignedResult == 0 ? static_cast<__int128>(unsignedValue) : 0;
  CheckNarrow<uint32_t>(Str2UInt, text, unsignedResult, wideUnsigned, unsignedEnd, shape);
  CheckNarrow<uint16_t>(Str2UShort, text, unsignedResult, wideUnsigned, unsignedEnd, shape);

  // A digit limit that covers the digits read changes nothing; one digit less never reads more.
  if (result == 0 && end != text) {
    const uint32_t digits = static_cast<uint32_t>(end - text);  // an upper bound of the digit count
    int64_t limited = 1;
    const char* limitedEnd = nullptr;
    Check(Str2Long(text, &limitedEnd, &limited, true, digits) == 0 && limited == value && limitedEnd == end);
    if (Str2Long(text, &limitedEnd, &limited, true, 1) == 0 && limitedEnd != text)
      Check(limited >= -15 && limited <= 15);
  }
  return 0;
}
