// Account.cpp: the user name from the password database.
#include "base/process/Account.h"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "base/core/LazyStatic.h"

namespace OrvGuiBase {

namespace {

struct ProcessUser {
  AnsiStr name;
  int error = 0;
  ProcessUser() {
    const int saved = errno;
    std::vector<char> buffer(16384);
    passwd entry{};
    passwd* found = nullptr;
    const int rc = getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found);
    if (rc == 0 && found != nullptr) name = found->pw_name;
    else error = rc != 0 ? rc : ENOENT;
    errno = saved;
  }
};

constinit LazyStatic<ProcessUser> g_user;

}  // namespace

AnsiStr Account::GetUserName() {
  const ProcessUser* user = g_user.Get();
  if (user == nullptr) return AnsiStr();
  if (user->name.IsEmpty()) errno = user->error;
  return user->name;
}

}  // namespace OrvGuiBase
