// RegistryRoot.h: where the registry lives on disk.
//
//   AnsiStr classes = GetRegClassesRoot();        // "/etc/quelvarn/settings/classes"
//
// The root is KRS_REGISTRY when set and not empty, otherwise /etc/quelvarn/settings. Below it
// the hives: "classes", "machine", "users" and the current user's "users/<name>", where the
// name is KRS_USER when set and not empty, otherwise the process's account name, otherwise
// "unknown". Each is computed once per process, on first use, and read without a lock after.
#pragma once

#include "base/core/Export.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiBase {

ORVGUI_API AnsiStr GetRegRoot();
ORVGUI_API AnsiStr GetRegClassesRoot();
ORVGUI_API AnsiStr GetRegLocalMachine();
ORVGUI_API AnsiStr GetRegUsers();
ORVGUI_API AnsiStr GetRegCurrentUser();
// GetRegUserName: the user name that the current user's hive is named after.
ORVGUI_API AnsiStr GetRegUserName();

}  // namespace OrvGuiBase
