// CaseSearch.h: case conversion of UTF-8 text and the case-insensitive searches, under the
// platform's names.
//
//   char* hit = StrStrIA("Hello World", "WORLD");          // points at "World" in the subject
//   UTF8CharUpperA(text);                                   // upper-cases text in place
//
// Case conversion goes through the case-folding hooks when they are set (CharHooks.h), else
// through the C runtime (toupper/towupper in the process's locale). A character whose other
// case would take a different number of bytes is deliberately left as it is, so that a string
// never moves while it is converted in place and every position found in an upper-cased copy
// is the same position in the original. The searches copy the subject into a local area when it
// fits in 256 bytes (units), else onto the heap; they return pointers into the caller's string,
// or null.
#pragma once

#include <cwchar>

#include "base/core/Export.h"

// UTF8CharUpperA / UTF8CharLowerA (one byte): the ANSI case-folding hook, else toupper/tolower.
ORVGUI_API char UTF8CharUpperA(char c);
ORVGUI_API char UTF8CharLowerA(char c);
// UTF8CharUpperA / UTF8CharLowerA (string): converts the UTF-8 string in place; returns it.
ORVGUI_API char* UTF8CharUpperA(char* s);
ORVGUI_API char* UTF8CharLowerA(char* s);
// UTF8IsCharUpperA / UTF8IsCharLowerA: whether one byte is an upper (lower) case letter.
ORVGUI_C_API bool UTF8IsCharUpperA(char c);
ORVGUI_C_API bool UTF8IsCharLowerA(char c);
// UTF8CharNextA: the start of the next character: p itself at the terminator, else one byte on
// and over every continuation byte (10xxxxxx), stopping at the terminator.
ORVGUI_C_API const char* UTF8CharNextA(const char* p);

// StrChrIA / StrStrIA: the first c / find in s, without regard to case.
ORVGUI_C_API char* StrChrIA(const char* s, char c);
ORVGUI_C_API char* StrStrIA(const char* s, const char* find);
// StrRChrA / StrRChrIA: the last c in [start, end) (end null: up to the terminator), with and
// without regard to case; null when start is at or past end.
ORVGUI_C_API char* StrRChrA(const char* start, const char* end, char c);
ORVGUI_C_API char* StrRChrIA(const char* start, const char* end, char c);
// The wide counterparts.
ORVGUI_C_API wchar_t* StrChrIW(const wchar_t* s, wchar_t c);
ORVGUI_C_API wchar_t* StrStrIW(const wchar_t* s, const wchar_t* find);
ORVGUI_C_API wchar_t* StrRChrW(const wchar_t* start, const wchar_t* end, wchar_t c);
ORVGUI_C_API wchar_t* StrRChrIW(const wchar_t* start, const wchar_t* end, wchar_t c);
// wcsicoll: wcscoll of upper-cased copies (the wide string case-folding hook, else towupper).
ORVGUI_C_API int wcsicoll(const wchar_t* a, const wchar_t* b);

namespace OrvGuiBase {
// FoldWideChar: one wide character through the wide case-folding hook, else towupper/towlower.
ORVGUI_API wchar_t FoldWideChar(wchar_t c, bool toUpper);
// FoldWideString: a NUL-terminated wide string in place through the wide string case-folding
// hook, else FoldWideChar per unit.
ORVGUI_API void FoldWideString(wchar_t* s, bool toUpper);
}  // namespace OrvGuiBase
