// SystemInfo.h: the operating system, the processors and the memory of this machine.
//
//   printf("%s on %u cores\n", GetSystemVersion().GetStr(), GetCoreCount());
//   uint64_t free = GetAvailableMemory();          // bytes, read from /proc/meminfo now
//
// What cannot change while the process runs (the release file, the kernel release, the
// processors) is read once on first use; host name, memory and uptime are read on every call.
// Sources: /etc/os-release (else /usr/lib/os-release), uname, /proc/cpuinfo, /proc/meminfo,
// /proc/uptime. Depends on core and text.
#pragma once

#include <cstdint>

#include "base/core/Export.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiBase {

// GetSystemName: the distribution's name (os-release NAME, "Debian GNU/Linux"); "Linux" when
// there is no release file.
ORVGUI_API AnsiStr GetSystemName();
// GetSystemVersionNumber: the distribution's version (os-release VERSION_ID, "12"); empty when
// the release file does not say.
ORVGUI_API AnsiStr GetSystemVersionNumber();
// GetSystemVersion: the distribution's name and version (os-release PRETTY_NAME, else NAME and
// VERSION) and the kernel release, as "<distribution> (Linux <release>)"; "Linux <release>"
// when there is no release file.
ORVGUI_API AnsiStr GetSystemVersion();
// GetKernelRelease: the kernel's release ("6.1.0-18-amd64"), from uname.
ORVGUI_API AnsiStr GetKernelRelease();
// GetCoreCount: physical processor cores (distinct package/core pairs of /proc/cpuinfo); the
// CPU count when the file does not tell.
ORVGUI_API unsigned GetCoreCount();
// GetCPUCount: logical processors online.
ORVGUI_API unsigned GetCPUCount();
// GetTotalMemory / GetAvailableMemory: bytes of RAM in all and available for new work
// (MemTotal and MemAvailable of /proc/meminfo); 0 plus last error when the file cannot be read.
ORVGUI_API uint64_t GetTotalMemory();
ORVGUI_API uint64_t GetAvailableMemory();
// GetHostName: this machine's host name (gethostname); empty plus last error on failure.
ORVGUI_API AnsiStr GetHostName();
// GetUptime: milliseconds since the system started (/proc/uptime); 0 plus last error when the
// file cannot be read.
ORVGUI_API uint64_t GetUptime();

}  // namespace OrvGuiBase
