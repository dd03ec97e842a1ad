// RegistryRoot.h: where the registry lives on disk.
//
//   AnsiStr classes = GetRegClassesRoot();        // "/etc/quelvarn/settings/classes"
//
// The root is KRS_REGISTRY when set and not empty, otherwise /etc/quelvarn/settings. Below it
// the hives: "classes", "machine", "users" and the current user's "users/<name>", where the
// name is KRS_USER when set and not empty, otherwise the process's account name, otherwise
// "unknown". Each is computed once per process, when the library loads, and read without a
// lock after: changing either variable later has no effect on this process.
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

// RegHive: the four real root keys, in the order HKEY_CLASSES_ROOT, HKEY_CURRENT_USER,
// HKEY_LOCAL_MACHINE, HKEY_USERS.
enum class RegHive : unsigned { kClassesRoot = 0, kCurrentUser = 1, kLocalMachine = 2, kUsers = 3 };
// GetRegHive: the directory of a hive, kept for the life of the process (no copy, no lock);
// null once the library's statics are gone at process exit.
ORVGUI_API const AnsiStr* GetRegHive(RegHive hive);

namespace Internal {
// SetRegRoot: recomputes the root and the hives as if KRS_REGISTRY and KRS_USER had held root
// and user when the library loaded (empty texts take the defaults). Because the library reads
// its roots at load time, this is how a test program, a benchmark or a fuzz target points the
// registry at a private tree without starting a new process. Not for production code, and not
// while other threads use the registry.
ORVGUI_API void SetRegRoot(const AnsiStr& root, const AnsiStr& user);
}  // namespace Internal

}  // namespace OrvGuiBase
