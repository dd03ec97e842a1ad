// AnsiChar.h and WideChar: single characters of narrow (UTF-8) and wide (UTF-32) text.
//
//   AnsiChar euro(L'\u20AC');                  // the three UTF-8 bytes E2 82 AC
//   WideChar c("\xC3\xA9t\xC3\xA9");           // U+00E9, the first character
//   c.ToUpper();                               // U+00C9
//   if (AnsiChar::Compare("a", "B", true) < 0) ...
//
// An AnsiChar holds one character as a NUL-terminated sequence of up to 7 bytes; the empty
// value (a lone NUL) stands for no character and is what every failed construction leaves. A
// WideChar holds one wchar_t; 0 stands for none. Narrow classification uses the C runtime's
// isalpha family on a one-byte character (a multi-byte character is classified through its
// wide value); wide classification uses iswalpha and its family. Upper and lower case go
// through the case-folding hooks (CharHooks.h) when set, else the C runtime.
//
// Compare (characters or strings) returns -1, 0 or 1: with a character collation hook set the
// hook decides alone; otherwise the characters are compared as one-character strings through
// the string collation hook when set, else strcoll (wcscoll); with ignoreCase and no hooks the
// upper-cased forms are compared.
#pragma once

#include <cstdint>

#include "base/core/Export.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiBase {

class WideChar;
class WideStr;

class ORVGUI_API AnsiChar {
 public:
  AnsiChar() noexcept { m_text[0] = 0; }
  // From one byte: kept when mblen accepts it as a complete character in the current locale.
  explicit AnsiChar(char c) noexcept;
  // From the first character of a narrow text (empty for null, "" or a sequence over 7 bytes).
  explicit AnsiChar(const char* text) noexcept;
  explicit AnsiChar(const AnsiStr& text) noexcept : AnsiChar(text.GetStr()) {}
  // From a wide character (or the first of a wide text): its UTF-8 encoding; on success the
  // last error is set to 0, otherwise the value is empty.
  explicit AnsiChar(wchar_t c) noexcept;
  explicit AnsiChar(const WideChar& c) noexcept;
  explicit AnsiChar(const wchar_t* text) noexcept;
  explicit AnsiChar(const WideStr& text) noexcept;
  // The (bool, unsigned int, source) forms: the flag asks that the last error be left as it was
  // on success; the number is the code page of the narrow side, of which only 65001 (UTF-8) and
  // 0 (the library's narrow encoding, also UTF-8) are accepted: any other leaves the value
  // empty with last error 38.
  AnsiChar(bool keepLastError, unsigned int codePage, wchar_t c) noexcept;
  AnsiChar(bool keepLastError, unsigned int codePage, const wchar_t* text) noexcept;

  const char* GetStr() const noexcept { return m_text; }
  operator const char*() const noexcept { return m_text; }  // NOLINT(google-explicit-constructor)
  uint32_t GetLength() const noexcept;
  bool IsEmpty() const noexcept { return m_text[0] == 0; }

  bool IsAlpha() const;
  bool IsAlphaNumeric() const;
  bool IsNumeric() const;
  bool IsHexNumeric() const;
  bool IsSpace() const;
  bool IsCntrl() const;
  bool IsPunct() const;
  bool IsPrint() const;
  bool IsGraph() const;
  bool IsUpper() const;
  bool IsLower() const;
  // ToUpper / ToLower: in place; a character whose other case has another byte length stays.
  AnsiChar& ToUpper();
  AnsiChar& ToLower();

  static int Compare(const AnsiChar& a, const AnsiChar& b, bool ignoreCase = false);
  static int Compare(const char* a, const char* b, bool ignoreCase = false);
  bool IsEqual(const AnsiChar& other, bool ignoreCase = false) const { return Compare(*this, other, ignoreCase) == 0; }
  bool IsDifferent(const AnsiChar& other, bool ignoreCase = false) const { return !IsEqual(other, ignoreCase); }
  friend bool operator==(const AnsiChar& a, const AnsiChar& b) { return strcmp(a.m_text, b.m_text) == 0; }

  // GetMaxLen: the C runtime's MB_CUR_MAX. IsValid: whether mblen accepts the text (16 bytes,
  // or the given length).
  static unsigned GetMaxLen();
  static bool IsValid(const char* text);
  static bool IsValid(const char* text, unsigned int length);

 private:
  void SetWide(const wchar_t* c, bool keepLastError) noexcept;
  char m_text[8];
};

class ORVGUI_API WideChar {
 public:
  constexpr WideChar() noexcept = default;
  constexpr WideChar(wchar_t c) noexcept : m_char(c) {}  // NOLINT(google-explicit-constructor)
  // From narrow text: the first character decoded as UTF-8; 0 for NUL or undecodable input.
  explicit WideChar(char c) noexcept;
  explicit WideChar(const AnsiChar& c) noexcept : WideChar(c.GetStr()) {}
  explicit WideChar(const char* text) noexcept;
  explicit WideChar(const AnsiStr& text) noexcept : WideChar(text.GetStr()) {}

  wchar_t Get() const noexcept { return m_char; }
  operator wchar_t() const noexcept { return m_char; }  // NOLINT(google-explicit-constructor)
  bool IsEmpty() const noexcept { return m_char == 0; }

  bool IsAlpha() const;
  bool IsAlphaNumeric() const;
  bool IsNumeric() const;
  bool IsHexNumeric() const;
  bool IsSpace() const;
  bool IsCntrl() const;
  bool IsPunct() const;
  bool IsPrint() const;
  bool IsGraph() const;
  bool IsUpper() const;
  bool IsLower() const;
  WideChar& ToUpper();
  WideChar& ToLower();

  static int Compare(WideChar a, WideChar b, bool ignoreCase = false);
  static int Compare(const wchar_t* a, const wchar_t* b, bool ignoreCase = false);
  bool IsEqual(WideChar other, bool ignoreCase = false) const { return Compare(*this, other, ignoreCase) == 0; }
  bool IsDifferent(WideChar other, bool ignoreCase = false) const { return !IsEqual(other, ignoreCase); }

 private:
  wchar_t m_char = 0;
};

}  // namespace OrvGuiBase
