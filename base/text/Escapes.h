// Escapes.h: text clean-up and escaping helpers.
//
//   AnsiStr text = CleanStr(" No such file\n");    // "No such file"
#pragma once

#include "base/core/Export.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiBase {

// CleanStr: the text without control characters (bytes below 0x20 and 0x7F) and without the
// blanks around it. Bytes of multi-byte UTF-8 characters are kept.
ORVGUI_API AnsiStr CleanStr(const AnsiStr& text);

}  // namespace OrvGuiBase
