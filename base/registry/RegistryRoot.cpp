// RegistryRoot.cpp: the registry root and hive directories, computed once.
#include "base/registry/RegistryRoot.h"

#include "base/core/LazyStatic.h"
#include "base/process/Account.h"
#include "base/process/Environment.h"

namespace OrvGuiBase {

namespace {

struct RegistryRoots {
  AnsiStr root, classes, machine, users, user, currentUser;
  RegistryRoots() {
    root = GetEnv("KRS_REGISTRY");
    if (root.IsEmpty()) root = "/etc/quelvarn/settings";
    classes = AnsiStr(root) += "/classes";
    machine = AnsiStr(root) += "/machine";
    users = AnsiStr(root) += "/users";
    user = GetEnv("KRS_USER");
    if (user.IsEmpty()) user = Account::GetUserName();
    if (user.IsEmpty()) user = "unknown";
    currentUser = AnsiStr(users) += "/";
    currentUser += user;
  }
};

constinit LazyStatic<RegistryRoots> g_roots;

const RegistryRoots* Roots() { return g_roots.Get(); }

}  // namespace

AnsiStr GetRegRoot() { return Roots() ? Roots()->root : AnsiStr(); }
AnsiStr GetRegClassesRoot() { return Roots() ? Roots()->classes : AnsiStr(); }
AnsiStr GetRegLocalMachine() { return Roots() ? Roots()->machine : AnsiStr(); }
AnsiStr GetRegUsers() { return Roots() ? Roots()->users : AnsiStr(); }
AnsiStr GetRegCurrentUser() { return Roots() ? Roots()->currentUser : AnsiStr(); }
AnsiStr GetRegUserName() { return Roots() ? Roots()->user : AnsiStr(); }

}  // namespace OrvGuiBase
