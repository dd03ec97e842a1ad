// CaseSearch.cpp: in-place case conversion of UTF-8, and the searches built on it.
//
// Every case-insensitive search works the same way: copy the subject (a 256-unit local area,
// else the heap), upper-case the copy and the searched-for text with the same function, search
// with the plain runtime function, and translate a hit back by its offset. That is sound only
// because upper-casing never changes a character's length in bytes (see UTF8CharUpperA).
#include "base/text/CaseSearch.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <cwctype>
#include <memory>

#include "base/text/CharHooks.h"
#include "base/text/Utf.h"

using namespace OrvGuiBase;

namespace {

constexpr size_t kLocalUnits = 256;

// A working copy of n units: in local storage when it fits, else on the heap.
template <class Unit>
class WorkCopy {
 public:
  WorkCopy(const Unit* source, size_t n) {
    m_data = n + 1 <= kLocalUnits ? m_local : (m_heap = std::make_unique<Unit[]>(n + 1)).get();
    memcpy(m_data, source, n * sizeof(Unit));
    m_data[n] = 0;
  }
  Unit* Get() { return m_data; }

 private:
  Unit m_local[kLocalUnits];
  std::unique_ptr<Unit[]> m_heap;
  Unit* m_data;
};

char FoldByte(char c, bool toUpper) {
  if (AnsiCharCaseFoldingHandler hook = GetAnsiCharCaseFoldingHandler()) return hook(c, toUpper);
  const int folded = toUpper ? toupper(static_cast<unsigned char>(c)) : tolower(static_cast<unsigned char>(c));
  return static_cast<char>(folded);
}

char* FoldString(char* s, bool toUpper) {
  if (s == nullptr) return s;
  for (char* p = s; *p != 0;) {
    const unsigned char b = static_cast<unsigned char>(*p);
    if (b < 0x80) {
      if (isalpha(b)) *p = FoldByte(*p, toUpper);
      ++p;
      continue;
    }
    char* next = const_cast<char*>(UTF8CharNextA(p));
    const uint32_t length = static_cast<uint32_t>(next - p);
    char32_t wide = 0;
    if (UTF8toUTF32(p, length, &wide, 1) == 1 && iswalpha(static_cast<wint_t>(wide))) {
      const wchar_t folded = FoldWideChar(static_cast<wchar_t>(wide), toUpper);
      const char32_t foldedUnit = static_cast<char32_t>(folded);
      char encoded[16];
      // Deliberate: a different byte length would move the rest of the string; keep the character.
      if (UTF32toUTF8(&foldedUnit, 1, encoded, sizeof encoded) == length) memcpy(p, encoded, length);
    }
    p = next;
  }
  return s;
}

size_t WideLength(const wchar_t* s, const wchar_t* end) {
  if (end != nullptr) return end > s ? static_cast<size_t>(end - s) : 0;
  return wcslen(s);
}

}  // namespace

namespace OrvGuiBase {

wchar_t FoldWideChar(wchar_t c, bool toUpper) {
  if (WideCharCaseFoldingHandler hook = GetWideCharCaseFoldingHandler()) return hook(c, toUpper);
  return static_cast<wchar_t>(toUpper ? towupper(static_cast<wint_t>(c)) : towlower(static_cast<wint_t>(c)));
}

void FoldWideString(wchar_t* s, bool toUpper) {
  if (s == nullptr) return;
  if (WideStrCaseFoldingHandler hook = GetWideStrCaseFoldingHandler()) {
    hook(s, toUpper);
    return;
  }
  for (wchar_t* p = s; *p != 0; ++p) *p = FoldWideChar(*p, toUpper);
}

}  // namespace OrvGuiBase

char UTF8CharUpperA(char c) { return FoldByte(c, true); }
char UTF8CharLowerA(char c) { return FoldByte(c, false); }
char* UTF8CharUpperA(char* s) { return FoldString(s, true); }
char* UTF8CharLowerA(char* s) { return FoldString(s, false); }

bool UTF8IsCharUpperA(char c) {
  if (GetAnsiCharCaseFoldingHandler() != nullptr) return FoldByte(c, false) != c;
  return isupper(static_cast<unsigned char>(c)) != 0;
}

bool UTF8IsCharLowerA(char c) {
  if (GetAnsiCharCaseFoldingHandler() != nullptr) return FoldByte(c, true) != c;
  return islower(static_cast<unsigned char>(c)) != 0;
}

const char* UTF8CharNextA(const char* p) {
  if (p == nullptr || *p == 0) return p;
  ++p;
  while ((static_cast<unsigned char>(*p) & 0xC0) == 0x80) ++p;
  return p;
}

char* StrChrIA(const char* s, char c) {
  if (s == nullptr) return nullptr;
  const size_t n = strlen(s);
  WorkCopy<char> copy(s, n);
  FoldString(copy.Get(), true);
  const char* hit = strchr(copy.Get(), UTF8CharUpperA(c));
  return hit != nullptr ? const_cast<char*>(s + (hit - copy.Get())) : nullptr;
}

char* StrStrIA(const char* s, const char* find) {
  if (s == nullptr || find == nullptr) return nullptr;
  WorkCopy<char> subject(s, strlen(s));
  WorkCopy<char> wanted(find, strlen(find));
  FoldString(subject.Get(), true);
  FoldString(wanted.Get(), true);
  const char* hit = strstr(subject.Get(), wanted.Get());
  return hit != nullptr ? const_cast<char*>(s + (hit - subject.Get())) : nullptr;
}

char* StrRChrA(const char* start, const char* end, char c) {
  if (start == nullptr) return nullptr;
  const char* stop = end != nullptr ? end : start + strlen(start);
  for (const char* p = stop; p-- > start;)
    if (*p == c) return const_cast<char*>(p);
  return nullptr;
}

char* StrRChrIA(const char* start, const char* end, char c) {
  if (start == nullptr) return nullptr;
  const size_t n = end != nullptr ? (end > start ? static_cast<size_t>(end - start) : 0) : strlen(start);
  if (n == 0) return nullptr;
  WorkCopy<char> copy(start, n);
  FoldString(copy.Get(), true);
  const char* hit = StrRChrA(copy.Get(), copy.Get() + n, UTF8CharUpperA(c));
  return hit != nullptr ? const_cast<char*>(start + (hit - copy.Get())) : nullptr;
}

wchar_t* StrChrIW(const wchar_t* s, wchar_t c) {
  if (s == nullptr) return nullptr;
  WorkCopy<wchar_t> copy(s, wcslen(s));
  FoldWideString(copy.Get(), true);
  const wchar_t* hit = wcschr(copy.Get(), FoldWideChar(c, true));
  return hit != nullptr ? const_cast<wchar_t*>(s + (hit - copy.Get())) : nullptr;
}

wchar_t* StrStrIW(const wchar_t* s, const wchar_t* find) {
  if (s == nullptr || find == nullptr) return nullptr;
  WorkCopy<wchar_t> subject(s, wcslen(s));
  WorkCopy<wchar_t> wanted(find, wcslen(find));
  FoldWideString(subject.Get(), true);
  FoldWideString(wanted.Get(), true);
  const wchar_t* hit = wcsstr(subject.Get(), wanted.Get());
  return hit != nullptr ? const_cast<wchar_t*>(s + (hit - subject.Get())) : nullptr;
}

wchar_t* StrRChrW(const wchar_t* start, const wchar_t* end, wchar_t c) {
  if (start == nullptr) return nullptr;
  const wchar_t* stop = start + WideLength(start, end);
  for (const wchar_t* p = stop; p-- > start;)
    if (*p == c) return const_cast<wchar_t*>(p);
  return nullptr;
}

wchar_t* StrRChrIW(const wchar_t* start, const wchar_t* end, wchar_t c) {
  if (start == nullptr) return nullptr;
  const size_t n = WideLength(start, end);
  if (n == 0) return nullptr;
  WorkCopy<wchar_t> copy(start, n);
  FoldWideString(copy.Get(), true);
  const wchar_t* hit = StrRChrW(copy.Get(), copy.Get() + n, FoldWideChar(c, true));
  return hit != nullptr ? const_cast<wchar_t*>(start + (hit - copy.Get())) : nullptr;
}

int wcsicoll(const wchar_t* a, const wchar_t* b) {
  WorkCopy<wchar_t> left(a != nullptr ? a : L"", a != nullptr ? wcslen(a) : 0);
  WorkCopy<wchar_t> right(b != nullptr ? b : L"", b != nullptr ? wcslen(b) : 0);
  FoldWideString(left.Get(), true);
  FoldWideString(right.Get(), true);
  return wcscoll(left.Get(), right.Get());
}
