// ErrorMessage.h: the text of any error number or result code.
//
//   GetErrorMessage(0)            -> "Unknown error (0x00000000/0)"
//   GetErrorMessage(0x80070002)   -> "No such file or directory (0x00000002/2)"
//   GetErrorMessage(0x80040154)   -> "Class not registered (0x80040154/2147746132)"
//
// Codes of the component model's message families have fixed texts; every other code takes
// the runtime library's text of its number (a facility-7 code is unwrapped to its low 16 bits
// first). 44444 and 0x8007AD9C give the thread's last error message.
#pragma once

#include <cstdarg>

#include "base/core/Export.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiBase {

// GetErrorMessage(code): the text followed by " (0x%08X/%u)" with the number.
ORVGUI_API AnsiStr GetErrorMessage(int code);
// GetErrorMessage(code, args, withCode): with args, the text is a format over them (the storage
// texts take a file or object name through "%s"); withCode adds the " (0x%08X/%u)" suffix.
ORVGUI_API AnsiStr GetErrorMessage(int code, va_list* args, bool withCode);
ORVGUI_API AnsiStr GetErrorMessage(int code, void* reserved, va_list* args, bool withCode);

// GetFixedErrorText: the fixed text of a listed code, or null for any other code.
ORVGUI_API const char* GetFixedErrorText(int code);

}  // namespace OrvGuiBase
