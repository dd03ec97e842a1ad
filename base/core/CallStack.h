// CallStack.h: the calling thread's call stack as text.
//
//   AnsiStr stack = GetCallStack(1);   // leave out GetCallStack's own caller
//   // "/usr/bin/server(Serve(Request&)+0x2c) [0x55d0c1a3b2ec]\n/usr/bin/server(main+0x91) [...]"
//
// One line per frame, innermost first, each "module(symbol+0xoffset) [0xaddress]" (the symbol
// demangled; "module [0xaddress]" when the symbol is not exported). Lines are separated by LF.
#pragma once

#include "base/core/Export.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiBase {

// GetCallStack: at most 64 frames of the caller's stack, leaving out the first skip frames
// (GetCallStack itself is never listed). Empty when the stack cannot be read.
ORVGUI_API AnsiStr GetCallStack(unsigned skip);

}  // namespace OrvGuiBase
