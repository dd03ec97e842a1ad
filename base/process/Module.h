// Module.h: where the running program and this library live.
//
//   AnsiStr program = GetProgramName();           // "server" for /usr/bin/server
#pragma once

#include "base/core/Export.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiBase {

// GetProgramPath: the absolute path of the running program (/proc/self/exe); empty if unknown.
ORVGUI_API AnsiStr GetProgramPath();
// GetProgramName: the tail of the program's file name.
ORVGUI_API AnsiStr GetProgramName();
// GetLibraryPath: the path of the loaded liborvgui shared object.
ORVGUI_API AnsiStr GetLibraryPath();

}  // namespace OrvGuiBase
