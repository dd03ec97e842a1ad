// RegistryRoot.cpp: the registry root and hive directories, computed once.
#include "base/registry/RegistryRoot.h"

#include "base/core/LazyStatic.h"
#include "base/process/Account.h"
#include "base/process/Environment.h"

namespace OrvGuiBase {

namespace {

struct RegistryRoots {
  AnsiStr root, classes, machine, users, user, currentUser;
  RegistryRoots() { Set(GetEnv("KRS_REGISTRY"), GetEnv("KRS_USER")); }
  void Set(const AnsiStr& rootDirectory, const AnsiStr& userName) {
    root = rootDirectory;
    if (root.IsEmpty()) root = "/etc/quelvarn/settings";
    classes = AnsiStr(root) += "/classes";
    machine = AnsiStr(root) += "/machine";
    users = AnsiStr(root) += "/users";
    user = userName;
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

const AnsiStr* GetRegHive(RegHive hive) {
  const RegistryRoots* roots = Roots();
  if (roots == nullptr) return nullptr;
  switch (hive) {
    case RegHive::kClassesRoot: return &roots->classes;
    case RegHive::kCurrentUser: return &roots->currentUser;
    case RegHive::kLocalMachine: return &roots->machine;
    case RegHive::kUsers: return &roots->users;
  }
  return nullptr;
}

namespace Internal {

void SetRegRoot(const AnsiStr& root, const AnsiStr& user) {
  if (RegistryRoots* roots = g_roots.Get()) roots->Set(root, user);
}

}  // namespace Internal

}  // namespace OrvGuiBase
