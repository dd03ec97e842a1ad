// Guid.h: class and interface identifiers as text.
//
//   CLSID clsid = Str2GUID("{6B29FC40-CA47-1067-B31D-00DD010662DA}");
//   AnsiStr text = GUID2Str(clsid);          // the same text, braces and upper case
//
// The text form is "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}": Data1, Data2, Data3,
// then the eight bytes of Data4 in order. The identifiers themselves (tagGUID, IID_IUnknown)
// are in base/core/ComTypes.h.
#pragma once

#include "base/core/ComTypes.h"
#include "base/core/Export.h"
#include "base/text/AnsiStr.h"

// GUID_NULL: the all-zero identifier, what a text that is no identifier reads as.
inline constexpr GUID GUID_NULL = {0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}};

namespace OrvGuiBase {

// Str2GUID: reads an identifier after one optional leading "{" as the eleven hexadecimal fields
// of the text form (each field takes at most its width in digits, as scanf does with the pattern
// "%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X"); what follows the last field, such as the
// closing brace, is not looked at. A text that does not match (or null) gives GUID_NULL.
ORVGUI_API GUID Str2GUID(const char* text);

// GUID2Str: the braced, upper-case text form of an identifier (38 characters).
ORVGUI_API AnsiStr GUID2Str(const GUID& guid);

// GUID2Chars: the same text into buffer (at least 39 bytes, terminated); returns buffer. For
// code that must not allocate.
ORVGUI_API char* GUID2Chars(const GUID& guid, char* buffer);

}  // namespace OrvGuiBase
