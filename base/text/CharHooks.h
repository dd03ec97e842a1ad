// CharHooks.h: the process-wide hooks through which an application replaces case folding and
// collation.
//
//   SetWideCharCaseFoldingHandler(&MyFold);       // every wide upper/lower case goes through it
//
// All seven start empty, which selects the built-in behaviour (the C runtime's toupper,
// towupper, strcoll, wcscoll in the process's locale). A setter stores the pointer (null
// restores the built-in behaviour); a getter returns it. Set them at start-up: replacing a hook
// while other threads convert is not guarded beyond the pointer itself being read atomically.
#pragma once

#include "base/core/Export.h"

namespace OrvGuiBase {

// int (a, b, ignoreCase): negative, 0 or positive.
typedef int (*AnsiCharCollationHandler)(char a, char b, bool ignoreCase);
typedef int (*WideCharCollationHandler)(wchar_t a, wchar_t b, bool ignoreCase);
// c folded to upper case (toUpper true) or lower case (false).
typedef char (*AnsiCharCaseFoldingHandler)(char c, bool toUpper);
typedef wchar_t (*WideCharCaseFoldingHandler)(wchar_t c, bool toUpper);
// (a, b, length (0 = whole strings), reserved (always false here), ignoreCase).
typedef int (*AnsiStrCollationHandler)(const char* a, const char* b, unsigned int length, bool reserved,
                                       bool ignoreCase);
typedef int (*WideStrCollationHandler)(const wchar_t* a, const wchar_t* b, unsigned int length, bool reserved,
                                       bool ignoreCase);
// Folds a NUL-terminated string in place; toUpper true for upper case.
typedef void (*WideStrCaseFoldingHandler)(wchar_t* s, bool toUpper);

ORVGUI_API void SetAnsiCharCollationHandler(AnsiCharCollationHandler handler);
ORVGUI_API AnsiCharCollationHandler GetAnsiCharCollationHandler();
ORVGUI_API void SetWideCharCollationHandler(WideCharCollationHandler handler);
ORVGUI_API WideCharCollationHandler GetWideCharCollationHandler();
ORVGUI_API void SetAnsiCharCaseFoldingHandler(AnsiCharCaseFoldingHandler handler);
ORVGUI_API AnsiCharCaseFoldingHandler GetAnsiCharCaseFoldingHandler();
ORVGUI_API void SetWideCharCaseFoldingHandler(WideCharCaseFoldingHandler handler);
ORVGUI_API WideCharCaseFoldingHandler GetWideCharCaseFoldingHandler();
ORVGUI_API void SetAnsiStrCollationHandler(AnsiStrCollationHandler handler);
ORVGUI_API AnsiStrCollationHandler GetAnsiStrCollationHandler();
ORVGUI_API void SetWideStrCollationHandler(WideStrCollationHandler handler);
ORVGUI_API WideStrCollationHandler GetWideStrCollationHandler();
ORVGUI_API void SetWideStrCaseFoldingHandler(WideStrCaseFoldingHandler handler);
ORVGUI_API WideStrCaseFoldingHandler GetWideStrCaseFoldingHandler();

}  // namespace OrvGuiBase
