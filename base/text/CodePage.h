// CodePage.h: conversions between the supported code pages and wide (UTF-32) text, under the
// platform's names.
//
//   int units = MultiByteToWideChar(1252, 0, latin1, -1, nullptr, 0);     // measure, NUL included
//   std::vector<wchar_t> wide(units);
//   MultiByteToWideChar(1252, 0, latin1, -1, wide.data(), units);
//
// Code pages: 0 (= 1252), 1 (= 850), 2 (= 10000), 3 (= 1252), 437, 850, 1252, 10000 (Mac Roman),
// 28591, 28592, 28605 (ISO-8859-1, -2, -15) and 65001 (UTF-8). Every other code page, 65000
// included, is not supported (last error 38). Conversions go through iconv with one descriptor
// per code page and direction, opened lazily in the calling thread and reused; UTF-8 goes
// through the library's own UTF-8 converter. The flags argument is accepted and ignored.
// Failures return 0 with the last error: EINVAL (22) for bad arguments, ENOSYS (38) for an
// unsupported code page or a default character where none can be used, ERANGE (34) for a
// result of 2^31 units or more; a failure inside iconv returns 0 and leaves the last error.
#pragma once

#include "base/core/Export.h"

// MultiByteToWideChar: converts sourceLength bytes (-1: up to and including the NUL) into at
// most targetLength wide characters; a null target or a targetLength of 0 measures. Returns
// the wide characters written (or needed).
ORVGUI_C_API int MultiByteToWideChar(unsigned int codePage, unsigned int flags, const char* source, int sourceLength,
                                     wchar_t* target, int targetLength);
// WideCharToMultiByte: the other way. For 65001 (and 65000) defaultChar and usedDefaultChar
// must be null (EINVAL); for the other code pages a defaultChar is ENOSYS (a replacement is
// never used) and *usedDefaultChar, when given, is set to 0. Returns the bytes written (needed).
ORVGUI_C_API int WideCharToMultiByte(unsigned int codePage, unsigned int flags, const wchar_t* source,
                                     int sourceLength, char* target, int targetLength, const char* defaultChar,
                                     int* usedDefaultChar);

namespace OrvGuiBase::Internal {
// GetOpenCodePageDescriptorCount: how many iconv descriptors the conversions above hold open in
// the whole process (every thread's cache, plus the one-call descriptors of late callers).
// For tests and diagnostics.
ORVGUI_API long GetOpenCodePageDescriptorCount();
// The call that opens a descriptor, iconv_open(to, from) unless a test replaces it (to see the
// names asked for, or to make opening fail). Returns the previous one; null restores iconv_open.
using CodePageOpener = void* (*)(const char* to, const char* from);
ORVGUI_API CodePageOpener SetCodePageOpener(CodePageOpener opener);
}  // namespace OrvGuiBase::Internal
