// NumberSign.h: the blank and sign rules shared by the library's number parsers (internal).
//
// Blanks are the ASCII white-space characters. The installation's sign symbols come from
// Setup; a sign symbol that is the no-break space U+00A0 is read as a blank, not as a sign
// (installations that write positive numbers with a no-break space in front rely on it).
#pragma once

#include <cstdint>
#include <cstring>

#include "base/process/Setup.h"

namespace OrvGuiBase::Internal {

inline bool IsAsciiBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

inline const char* SkipAsciiBlanks(const char* p) {
  while (IsAsciiBlank(*p)) ++p;
  return p;
}

inline bool IsNbspAt(const char* p) { return p[0] == '\xC2' && p[1] == '\xA0'; }
inline bool IsNbspSymbol(const char* symbol) { return IsNbspAt(symbol) && symbol[2] == 0; }

// SkipBlanksAndNbsp: ASCII blanks and no-break spaces.
inline const char* SkipBlanksAndNbsp(const char* p) {
  for (;;) {
    if (IsAsciiBlank(*p)) ++p;
    else if (IsNbspAt(p)) p += 2;
    else return p;
  }
}

// NbspIsBlank: whether an installation sign symbol makes the no-break space a blank.
inline bool NbspIsBlank() {
  const NumberSymbols& symbols = Setup::GetNumberSymbols();
  return IsNbspSymbol(symbols.positiveSign) || IsNbspSymbol(symbols.negativeSign);
}

// SkipTrailingBlanks: the blanks after a number; no-break spaces too when nbspBlank is true or
// the installation makes them blanks.
inline const char* SkipTrailingBlanks(const char* p, bool nbspBlank) {
  p = SkipAsciiBlanks(p);
  if (IsNbspAt(p) && (nbspBlank || NbspIsBlank())) p = SkipBlanksAndNbsp(p);
  return p;
}

// SignRead: the outcome of ReadSign. result is 0 (go on at next), -1 (only blanks) or -2 (a
// sign with nothing after it). nbspBlank says that no-break spaces count as blanks.
struct SignRead {
  const char* next;
  int32_t result;
  bool negative;
  bool nbspBlank;
};

// ReadSign: at p (after the ASCII blanks), reads the blanks that the no-break space rules add
// and, when allowSign is true, one sign ("+", "-", or the installation's symbols) with the
// blanks after it. nbspAlwaysBlank makes no-break spaces blanks whatever the sign symbols.
inline SignRead ReadSign(const char* p, bool allowSign, bool nbspAlwaysBlank = false) {
  const NumberSymbols& symbols = Setup::GetNumberSymbols();
  const bool positiveIsBlank = IsNbspSymbol(symbols.positiveSign);
  const bool negativeIsBlank = IsNbspSymbol(symbols.negativeSign);
  const bool nbspBlank = nbspAlwaysBlank || positiveIsBlank || negativeIsBlank;
  if (nbspBlank) p = SkipBlanksAndNbsp(p);
  if (*p == 0) return {p, -1, false, nbspBlank};
  if (!allowSign) return {p, 0, false, nbspBlank};
  size_t length = 0;
  bool negative = false;
  if (*p == '+') {
    length = 1;
  } else if (*p == '-') {
    length = 1;
    negative = true;
  } else if (!positiveIsBlank && strncmp(p, symbols.positiveSign, strlen(symbols.positiveSign)) == 0) {
    length = strlen(symbols.positiveSign);
  } else if (!negativeIsBlank && strncmp(p, symbols.negativeSign, strlen(symbols.negativeSign)) == 0) {
    length = strlen(symbols.negativeSign);
    negative = true;
  }
  if (length == 0) return {p, 0, false, nbspBlank};
  p += length;
  p = nbspBlank ? SkipBlanksAndNbsp(p) : SkipAsciiBlanks(p);
  if (*p == 0) return {p, -2, false, nbspBlank};
  return {p, 0, negative, nbspBlank};
}

}  // namespace OrvGuiBase::Internal
