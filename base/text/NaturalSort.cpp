// NaturalSort.cpp: natural order comparison and American Soundex.
#include "base/text/NaturalSort.h"

#include "base/text/CaseSearch.h"
#include "private/text/TextBytes.h"

namespace OrvGuiBase {
namespace {

inline bool IsDigit(unsigned char b) { return b >= '0' && b <= '9'; }
using Internal::IsContinuation;

// NextChar: the Unicode value of the UTF-8 character at p, advancing p past it. A byte that
// starts no complete sequence stands for itself.
char32_t NextChar(const unsigned char*& p) {
  const unsigned char lead = *p;
  uint32_t extra = 0;
  char32_t value = lead;
  if (lead >= 0xC0 && lead < 0xE0)
    extra = 1, value = lead & 0x1F;
  else if (lead >= 0xE0 && lead < 0xF0)
    extra = 2, value = lead & 0x0F;
  else if (lead >= 0xF0 && lead < 0xF8)
    extra = 3, value = lead & 0x07;
  for (uint32_t i = 1; i <= extra; ++i) {
    if (!IsContinuation(p[i])) {
      ++p;
      return lead;
    }
    value = (value << 6) | (p[i] & 0x3F);
  }
  p += extra + 1;
  return value;
}

char32_t Fold(char32_t c) {
  if (c < 0x80) return c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c;
  return static_cast<char32_t>(FoldWideChar(static_cast<wchar_t>(c), false));
}

int Sign(long long v) { return v < 0 ? -1 : (v > 0 ? 1 : 0); }

}  // namespace

// NaturalCompare walks both texts together. At a place where both hold a digit, the two digit
// runs are compared: without their leading zeros, the longer run is the larger value, and runs
// of the same length compare digit by digit. The first difference in leading zeros is kept as
// the tie-break. Elsewhere one character of each text is compared. Only when the texts are
// equal throughout do the tie-break and then the byte order decide.
int NaturalCompare(const char* a, const char* b, bool ignoreCase) {
  const unsigned char* p = reinterpret_cast<const unsigned char*>(a != nullptr ? a : "");
  const unsigned char* q = reinterpret_cast<const unsigned char*>(b != nullptr ? b : "");
  const unsigned char* const startA = p;
  const unsigned char* const startB = q;
  int tie = 0;
  while (*p != 0 && *q != 0) {
    if (IsDigit(*p) && IsDigit(*q)) {
      const unsigned char* runA = p;
      const unsigned char* runB = q;
      while (*p == '0') ++p;
      while (*q == '0') ++q;
      const unsigned char* digitsA = p;
      const unsigned char* digitsB = q;
      while (IsDigit(*p)) ++p;
      while (IsDigit(*q)) ++q;
      const long long lengthA = p - digitsA;
      const long long lengthB = q - digitsB;
      if (lengthA != lengthB) return Sign(lengthA - lengthB);
      for (long long i = 0; i < lengthA; ++i)
        if (digitsA[i] != digitsB[i]) return digitsA[i] < digitsB[i] ? -1 : 1;
      if (tie == 0) tie = Sign((digitsA - runA) - (digitsB - runB));
      continue;
    }
    char32_t ca = NextChar(p);
    char32_t cb = NextChar(q);
    if (ignoreCase) {
      ca = Fold(ca);
      cb = Fold(cb);
    }
    if (ca != cb) return ca < cb ? -1 : 1;
  }
  if (*p != *q) return *p == 0 ? -1 : 1;
  if (tie != 0) return tie;
  for (p = startA, q = startB; *p == *q && *p != 0; ++p, ++q) {
  }
  return *p == *q ? 0 : (*p < *q ? -1 : 1);
}

AnsiStr Soundex(AnsiSubStr text) {
  // The digit of each letter a..z; '0' for vowels (they separate), 'h' for h and w (they do not).
  static constexpr char kCodes[] = "01230120022455012623010202";
  constexpr char kSkip = 'h';
  const char* p = text.GetStr();
  const uint32_t length = text.GetLength();
  char code[5] = {0, '0', '0', '0', 0};
  uint32_t written = 0;
  char last = 0;
  for (uint32_t i = 0; i < length && written < 4; ++i) {
    unsigned char c = static_cast<unsigned char>(p[i]);
    if (c >= 'A' && c <= 'Z') c = static_cast<unsigned char>(c - 'A' + 'a');
    if (c < 'a' || c > 'z') continue;
    const char digit = (c == 'h' || c == 'w') ? kSkip : kCodes[c - 'a'];
    if (written == 0) {
      code[written++] = static_cast<char>(c - 'a' + 'A');
      last = digit == kSkip ? '0' : digit;
      continue;
    }
    if (digit == kSkip) continue;
    if (digit != '0' && digit != last) code[written++] = digit;
    last = digit;
  }
  return written == 0 ? AnsiStr() : AnsiStr(code, 4);
}

}  // namespace OrvGuiBase
