// NumberText.h: numbers to decimal text and back.
//
//   char buffer[kMaxIntegerText];
//   Int2Str(buffer, -42);                                    // "-42"
//   int value = 0;
//   if (Str2Int(" 17 ", nullptr, &value) == 0) ...           // 17
//   AnsiStr price = Double2Str(1234.5, 2);                   // "1234.50" ("1,234.50" with a "," thousands separator)
//
// The parsers and the floating renderers honour the installation's symbols (Setup.h): the
// positive and negative signs, the decimal separator ("comma") and the thousands separator.
// All functions are thread-safe; only those that produce an AnsiStr allocate.
//
// Depends on core, process/Setup and the string classes.
#pragma once

#include <cstdint>

#include "base/core/Export.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiBase {

// kMaxIntegerText: a buffer of this size holds any integer text below ("-9223372036854775808"
// or the 64 binary digits of _unsignedtotext) with its NUL.
inline constexpr unsigned kMaxIntegerText = 68;

// Integer writers: write the value's decimal digits ("-" first for a negative value, "0" for
// zero) and a NUL into buffer, which must hold 21 bytes for the 64-bit types (7 for 16-bit, 12
// for 32-bit). Return buffer; a null buffer writes nothing and returns null.
ORVGUI_API char* Short2Str(char* buffer, int16_t value);
ORVGUI_API char* UShort2Str(char* buffer, uint16_t value);
ORVGUI_API char* Int2Str(char* buffer, int32_t value);
ORVGUI_API char* UInt2Str(char* buffer, uint32_t value);
ORVGUI_API char* Long2Str(char* buffer, int64_t value);
ORVGUI_API char* ULong2Str(char* buffer, uint64_t value);
ORVGUI_API char* Hyper2Str(char* buffer, int64_t value);
ORVGUI_API char* UHyper2Str(char* buffer, uint64_t value);

// _unsignedtotext: writes value in radix 2 to 36 (lower-case letters above 9, no prefix, no
// padding) and a NUL into buffer (at most 65 bytes), and returns the count of digits. A null
// buffer or a radix outside 2..36 writes nothing and returns 0 with last error EINVAL.
ORVGUI_API unsigned _unsignedtotext(uint64_t value, char* buffer, unsigned radix);

// Integer parsers: Str2Int reads a decimal or "0x"-prefixed hexadecimal integer from text.
//
// Results: 0 success; -1 no number at all (null text, or only blanks); -2 malformed or out of
// range. On any result other than 0, *value is 0 and *end is text. end and value may be null.
//
// The text: ASCII blanks (space, \t \n \v \f \r); then, when allowSign is true, one sign: "+",
// "-", or the installation's positive or negative sign symbol, followed by optional blanks (a
// sign and nothing after it is -2). A sign symbol that is the no-break space U+00A0 is read as a
// blank, not as a sign. Then "0x" or "0X" followed by a hexadecimal digit switches to base 16
// (a "0x" without one is the number 0 followed by "x"). At most maxDigits digits are read;
// further digits end the number as any other character would.
//
// Limits: decimal magnitudes up to the type's maximum, and for a negative number up to the
// magnitude of its minimum (-2147483648 reads; -2147483649 is -2). Hexadecimal magnitudes up to
// the type's maximum whatever the sign (0x7FFFFFFF for Str2Int: 0x80000000 is -2). An unsigned
// type takes a "-" only before a zero magnitude.
//
// With end: reading stops at the first character that is not a digit of the number and *end
// points there; the result is 0 even when no digit was read, in which case *end is text and
// *value is 0 (that is how a caller sees that there was no number). Without end: only blanks
// may follow the number, and a text without digits is -2.
//
// Long and Hyper are the same 64-bit type under two names, as are ULong and UHyper.
ORVGUI_API int32_t Str2Short(const char* text, const char** end, int16_t* value, bool allowSign = true,
                             uint32_t maxDigits = UINT32_MAX);
ORVGUI_API int32_t Str2UShort(const char* text, const char** end, uint16_t* value, bool allowSign = true,
                              uint32_t maxDigits = UINT32_MAX);
ORVGUI_API int32_t Str2Int(const char* text, const char** end, int32_t* value, bool allowSign = true,
                           uint32_t maxDigits = UINT32_MAX);
ORVGUI_API int32_t Str2UInt(const char* text, const char** end, uint32_t* value, bool allowSign = true,
                            uint32_t maxDigits = UINT32_MAX);
ORVGUI_API int32_t Str2Long(const char* text, const char** end, int64_t* value, bool allowSign = true,
                            uint32_t maxDigits = UINT32_MAX);
ORVGUI_API int32_t Str2ULong(const char* text, const char** end, uint64_t* value, bool allowSign = true,
                             uint32_t maxDigits = UINT32_MAX);
ORVGUI_API int32_t Str2Hyper(const char* text, const char** end, int64_t* value, bool allowSign = true,
                             uint32_t maxDigits = UINT32_MAX);
ORVGUI_API int32_t Str2UHyper(const char* text, const char** end, uint64_t* value, bool allowSign = true,
                              uint32_t maxDigits = UINT32_MAX);

// orvfcvt: the digits of value rounded to decimals places (fcvt_r). orvecvt: the digits of
// value rounded to count significant digits (ecvt_r). On success digits receives the digit
// text (leading zeros dropped, so it may be empty for a value that rounds to 0), *decimalPoint
// the position of the decimal point relative to the first digit, *sign non-zero for a negative
// value, and the result is true. When the digits do not fit the 328-byte work buffer the
// result is false with the last error set to the runtime function's non-zero result (-1), and
// digits is left as it was. decimalPoint and sign may be null.
ORVGUI_API bool orvfcvt(double value, int decimals, AnsiStr& digits, int32_t* decimalPoint, int32_t* sign);
ORVGUI_API bool orvecvt(double value, int count, AnsiStr& digits, int32_t* decimalPoint, int32_t* sign);

// Double2Str: value with min(decimals, 15) decimals and at most 15 significant digits.
// Values above 1e16 give "overflow" and below -1e16 "underflow" (deliberately the word for
// large negative values, not tiny ones: callers show it as is). Otherwise: digits past the
// 15th significant one are rounded half up into it (carrying through nines) and written as
// zeros; the integer part is grouped by threes with the installation's thousands separator,
// the decimals follow the installation's decimal separator, and a negative value starts with
// the installation's negative sign. A value that rounds to zero is written without a sign
// ("0.00", never "-0.00"). A NaN gives the empty string with last error EDOM; when digit
// generation fails the result is the empty string with orvfcvt's last error.
ORVGUI_API AnsiStr Double2Str(double value, unsigned decimals);
// Float2Str: the same with bounds of +-1e9, min(decimals, 6) decimals and 6 significant digits.
ORVGUI_API AnsiStr Float2Str(float value, unsigned decimals);

// Str2Double / Str2Float: read a decimal number, and everything Double2Str and Float2Str write.
//
// The text: blanks (ASCII blanks and the no-break space U+00A0); an optional sign as for the
// integer parsers (allowSign); the integer digits, which may be grouped by the installation's
// thousands separator (the first group has 1 to 3 digits, every separator is followed by
// exactly 3 digits; a separator not followed so ends the number before it); then optionally the
// installation's decimal separator, or "." when "." is not the thousands separator, and the
// fraction digits; then optionally an exponent: "e" or "E", an optional "+" or "-", digits.
// A number needs at least one digit before or after the separator. At most maxIntDigits integer
// digits and maxFracDigits fraction digits are read; further digits end the number.
// The words "overflow" and "underflow" (after the blanks, without a sign) read as out of range.
//
// Results: 0 success; -1 no number (null text or only blanks); -2 malformed or out of range.
// The value is rounded correctly to the nearest double (float). A value beyond the type's range,
// and the two words, give -2 with *value set to +HUGE_VAL (HUGE_VALF) or its negative and *end
// past the number; a tiny value becomes the nearest subnormal or zero with result 0. On other
// failures *value is 0 and *end is text. End semantics as for the integer parsers: with end
// the number ends at the first character that does not belong to it and the result is 0 even
// without digits (*end is then text); without end only blanks may follow.
ORVGUI_API int32_t Str2Double(const char* text, const char** end, double* value, bool allowSign = true,
                              uint32_t maxIntDigits = UINT32_MAX, uint32_t maxFracDigits = UINT32_MAX);
ORVGUI_API int32_t Str2Float(const char* text, const char** end, float* value, bool allowSign = true,
                             uint32_t maxIntDigits = UINT32_MAX, uint32_t maxFracDigits = UINT32_MAX);

}  // namespace OrvGuiBase
