// Environment.cpp: getenv/setenv/unsetenv with the library's failure convention.
#include "base/process/Environment.h"

#include <cerrno>
#include <cstdlib>

namespace OrvGuiBase {

AnsiStr GetEnv(const char* name) {
  const char* value = name != nullptr ? getenv(name) : nullptr;
  return AnsiStr(value);
}

bool IsEnvSet(const char* name) { return name != nullptr && getenv(name) != nullptr; }

bool SetEnv(const char* name, const char* value, bool overwrite) {
  if (name == nullptr || value == nullptr) {
    errno = EINVAL;
    return false;
  }
  return setenv(name, value, overwrite ? 1 : 0) == 0;
}

bool UnsetEnv(const char* name) {
  if (name == nullptr) {
    errno = EINVAL;
    return false;
  }
  return unsetenv(name) == 0;
}

}  // namespace OrvGuiBase
