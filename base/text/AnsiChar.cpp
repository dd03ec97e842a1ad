// AnsiChar.cpp: narrow and wide characters, their classes, case and collation.
#include "base/text/AnsiChar.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <cwctype>

#include "base/text/CaseSearch.h"
#include "base/text/CharHooks.h"
#include "base/text/Utf.h"
#include "base/text/WideStr.h"

namespace OrvGuiBase {

namespace {

int Sign(int value) { return value < 0 ? -1 : value > 0 ? 1 : 0; }

// Narrow strings: the string collation hook, else strcoll; with ignoreCase and no hook, the
// upper-cased copies.
int CollateNarrow(const char* a, const char* b, bool ignoreCase) {
  a = a != nullptr ? a : "";
  b = b != nullptr ? b : "";
  if (AnsiStrCollationHandler hook = GetAnsiStrCollationHandler()) return Sign(hook(a, b, 0, false, ignoreCase));
  if (!ignoreCase) return Sign(strcoll(a, b));
  AnsiStr left = AnsiStr(a).Copy(), right = AnsiStr(b).Copy();
  char* l = left.Alloc(left.GetLength(), a);
  char* r = right.Alloc(right.GetLength(), b);
  if (l == nullptr || r == nullptr) return Sign(strcoll(a, b));
  UTF8CharUpperA(l);
  UTF8CharUpperA(r);
  return Sign(strcoll(l, r));
}

int CollateWide(const wchar_t* a, const wchar_t* b, bool ignoreCase) {
  a = a != nullptr ? a : L"";
  b = b != nullptr ? b : L"";
  if (WideStrCollationHandler hook = GetWideStrCollationHandler()) return Sign(hook(a, b, 0, false, ignoreCase));
  return Sign(ignoreCase ? wcsicoll(a, b) : wcscoll(a, b));
}

}  // namespace

// ---- AnsiChar --------------------------------------------------------------------------------

AnsiChar::AnsiChar(char c) noexcept {
  m_text[0] = 0;
  if (c != 0 && mblen(&c, 1) == 1) {
    m_text[0] = c;
    m_text[1] = 0;
  }
}

AnsiChar::AnsiChar(const char* text) noexcept {
  m_text[0] = 0;
  if (text == nullptr || *text == 0) return;
  const size_t length = static_cast<size_t>(UTF8CharNextA(text) - text);
  if (length <= 7) {
    memcpy(m_text, text, length);
    m_text[length] = 0;
  }
}

void AnsiChar::SetWide(const wchar_t* c, bool keepLastError) noexcept {
  m_text[0] = 0;
  if (c == nullptr || *c == 0) return;
  const int saved = errno;
  char encoded[8];
  const char32_t unit = static_cast<char32_t>(*c);
  const uint32_t length = UTF32toUTF8(&unit, 1, encoded, sizeof encoded);
  if (length >= 1 && length <= 7) {
    memcpy(m_text, encoded, length);
    m_text[length] = 0;
    errno = keepLastError ? saved : 0;
  }
}

AnsiChar::AnsiChar(wchar_t c) noexcept { SetWide(&c, false); }
AnsiChar::AnsiChar(const WideChar& c) noexcept : AnsiChar(c.Get()) {}
AnsiChar::AnsiChar(const wchar_t* text) noexcept { SetWide(text, false); }
AnsiChar::AnsiChar(const WideStr& text) noexcept { SetWide(text.GetStr(), false); }

AnsiChar::AnsiChar(bool keepLastError, unsigned int codePage, wchar_t c) noexcept
    : AnsiChar(keepLastError, codePage, &c) {}

AnsiChar::AnsiChar(bool keepLastError, unsigned int codePage, const wchar_t* text) noexcept {
  m_text[0] = 0;
  if (codePage != 0 && codePage != 65001) {
    errno = ENOSYS;
    return;
  }
  SetWide(text, keepLastError);
}

uint32_t AnsiChar::GetLength() const noexcept { return static_cast<uint32_t>(strlen(m_text)); }

// One-byte characters use the narrow class functions; longer ones are classified by their
// wide value.
#define ORVGUI_NARROW_CLASS(Name, narrow)                                                  \
  bool AnsiChar::Name() const {                                                          \
    if (m_text[0] == 0) return false;                                                    \
    if (m_text[1] == 0) return narrow(static_cast<unsigned char>(m_text[0])) != 0;       \
    return WideChar(m_text).Name();                                                      \
  }
ORVGUI_NARROW_CLASS(IsAlpha, isalpha)
ORVGUI_NARROW_CLASS(IsAlphaNumeric, isalnum)
ORVGUI_NARROW_CLASS(IsNumeric, isdigit)
ORVGUI_NARROW_CLASS(IsHexNumeric, isxdigit)
ORVGUI_NARROW_CLASS(IsSpace, isspace)
ORVGUI_NARROW_CLASS(IsCntrl, iscntrl)
ORVGUI_NARROW_CLASS(IsPunct, ispunct)
ORVGUI_NARROW_CLASS(IsPrint, isprint)
ORVGUI_NARROW_CLASS(IsGraph, isgraph)
#undef ORVGUI_NARROW_CLASS

bool AnsiChar::IsUpper() const {
  if (m_text[0] == 0) return false;
  return m_text[1] == 0 ? UTF8IsCharUpperA(m_text[0]) : WideChar(m_text).IsUpper();
}

bool AnsiChar::IsLower() const {
  if (m_text[0] == 0) return false;
  return m_text[1] == 0 ? UTF8IsCharLowerA(m_text[0]) : WideChar(m_text).IsLower();
}

AnsiChar& AnsiChar::ToUpper() {
  UTF8CharUpperA(m_text);
  return *this;
}

AnsiChar& AnsiChar::ToLower() {
  UTF8CharLowerA(m_text);
  return *this;
}

int AnsiChar::Compare(const AnsiChar& a, const AnsiChar& b, bool ignoreCase) {
  if (AnsiCharCollationHandler hook = GetAnsiCharCollationHandler()) return hook(a.m_text[0], b.m_text[0], ignoreCase);
  return CollateNarrow(a.m_text, b.m_text, ignoreCase);
}

int AnsiChar::Compare(const char* a, const char* b, bool ignoreCase) { return CollateNarrow(a, b, ignoreCase); }

unsigned AnsiChar::GetMaxLen() { return static_cast<unsigned>(MB_CUR_MAX); }
bool AnsiChar::IsValid(const char* text) { return text != nullptr && mblen(text, 16) != -1; }
bool AnsiChar::IsValid(const char* text, unsigned int length) { return text != nullptr && mblen(text, length) != -1; }

// ---- WideChar --------------------------------------------------------------------------------

WideChar::WideChar(char c) noexcept {
  char32_t unit = 0;
  if (c != 0 && UTF8toUTF32(&c, 1, &unit, 1) == 1) m_char = static_cast<wchar_t>(unit);
}

WideChar::WideChar(const char* text) noexcept {
  if (text == nullptr || *text == 0) return;
  const int saved = errno;
  char32_t unit = 0;
  const uint32_t length = static_cast<uint32_t>(UTF8CharNextA(text) - text);
  if (UTF8toUTF32(text, length, &unit, 1) == 1) m_char = static_cast<wchar_t>(unit);
  else errno = saved;
}

#define ORVGUI_WIDE_CLASS(Name, wide) \
  bool WideChar::Name() const { return m_char != 0 && wide(static_cast<wint_t>(m_char)) != 0; }
ORVGUI_WIDE_CLASS(IsAlpha, iswalpha)
ORVGUI_WIDE_CLASS(IsAlphaNumeric, iswalnum)
ORVGUI_WIDE_CLASS(IsNumeric, iswdigit)
ORVGUI_WIDE_CLASS(IsHexNumeric, iswxdigit)
ORVGUI_WIDE_CLASS(IsSpace, iswspace)
ORVGUI_WIDE_CLASS(IsCntrl, iswcntrl)
ORVGUI_WIDE_CLASS(IsPunct, iswpunct)
ORVGUI_WIDE_CLASS(IsPrint, iswprint)
ORVGUI_WIDE_CLASS(IsGraph, iswgraph)
#undef ORVGUI_WIDE_CLASS

// With a case-folding hook, a character is upper case when folding it down changes it.
bool WideChar::IsUpper() const {
  if (m_char == 0) return false;
  if (GetWideCharCaseFoldingHandler() != nullptr) return FoldWideChar(m_char, false) != m_char;
  return iswupper(static_cast<wint_t>(m_char)) != 0;
}

bool WideChar::IsLower() const {
  if (m_char == 0) return false;
  if (GetWideCharCaseFoldingHandler() != nullptr) return FoldWideChar(m_char, true) != m_char;
  return iswlower(static_cast<wint_t>(m_char)) != 0;
}

WideChar& WideChar::ToUpper() {
  m_char = FoldWideChar(m_char, true);
  return *this;
}

WideChar& WideChar::ToLower() {
  m_char = FoldWideChar(m_char, false);
  return *this;
}

int WideChar::Compare(WideChar a, WideChar b, bool ignoreCase) {
  if (WideCharCollationHandler hook = GetWideCharCollationHandler()) return hook(a.m_char, b.m_char, ignoreCase);
  const wchar_t left[2] = {a.m_char, 0};
  const wchar_t right[2] = {b.m_char, 0};
  return CollateWide(left, right, ignoreCase);
}

int WideChar::Compare(const wchar_t* a, const wchar_t* b, bool ignoreCase) { return CollateWide(a, b, ignoreCase); }

}  // namespace OrvGuiBase
