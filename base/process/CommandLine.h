// CommandLine.h: the process's command line, read once from /proc/self/cmdline.
//
//   AnsiStr line = GetCmdLine();                  // "server -port 80"
//   AnsiStr first = GetCmdLineArg(1);             // "-port"
//
// Read at library start-up, so later calls take no lock and make no system call.
#pragma once

#include "base/core/Export.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiBase {

// GetCmdLine: the arguments joined by single blanks; an argument that holds a blank or is
// empty is put between double quotes. Empty when /proc cannot be read.
ORVGUI_API AnsiStr GetCmdLine();
// GetCmdLineArgCount: the number of arguments, the program itself included.
ORVGUI_API unsigned GetCmdLineArgCount();
// GetCmdLineArg: argument i (0 is the program as started); empty past the end.
ORVGUI_API AnsiStr GetCmdLineArg(unsigned i);

// GetCmdLineOption: the value of an option of the command line, looked up without regard to
// case; fallback when the option is not there. The spellings "-name value", "-name=value",
// "--name value", "--name=value", "/name value" and "/name=value" are understood; an option
// followed by nothing (or by another option) has the value "".
ORVGUI_API AnsiStr GetCmdLineOption(const char* name, const char* fallback);

}  // namespace OrvGuiBase
