// SystemInfo.h: the operating system and the processors, read once at library start-up.
//
//   printf("%s on %u cores\n", GetSystemVersion().GetStr(), GetCoreCount());
#pragma once

#include "base/core/Export.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiBase {

// GetSystemVersion: the distribution's name and version from the release file
// (/etc/os-release PRETTY_NAME, else NAME and VERSION) and the kernel release, as
// "<distribution> (Linux <release>)"; "Linux <release>" when there is no release file.
ORVGUI_API AnsiStr GetSystemVersion();
// GetCoreCount: physical processor cores (distinct package/core pairs of /proc/cpuinfo); the
// CPU count when the file does not tell.
ORVGUI_API unsigned GetCoreCount();
// GetCPUCount: logical processors online.
ORVGUI_API unsigned GetCPUCount();

}  // namespace OrvGuiBase
