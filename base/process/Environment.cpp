// Environment.cpp: getenv/setenv/unsetenv with the library's failure convention, and the
// placeholder expander.
#include "base/process/Environment.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/process/Account.h"
#include "base/process/Module.h"
#include "base/process/Setup.h"
#include "base/process/SystemInfo.h"

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

namespace {

bool IsNameChar(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
}

AnsiStr ProgramDirectory() {
  const AnsiStr path = GetProgramPath();
  const char* slash = strrchr(path.GetStr(), '/');
  if (slash == nullptr) return AnsiStr();
  const uint32_t length = static_cast<uint32_t>(slash - path.GetStr());
  return length == 0 ? AnsiStr("/") : AnsiStr(path.GetStr(), length);
}

AnsiStr HomeDirectory() {
  AnsiStr home = GetEnv("HOME");
  return home.IsEmpty() ? Account::GetHomeDirectory() : home;
}

// Resolve: the value of one placeholder name; false when it has none.
bool Resolve(const char* name, AnsiStr& value) {
  static const struct {
    const char* name;
    AnsiStr (*get)();
  } kTable[] = {
      {"PROGRAMNAME", &GetProgramName},
      {"PROGRAMDIR", &ProgramDirectory},
      {"USER", &Account::GetUserName},
      {"HOME", &HomeDirectory},
      {"TEMP", &GetTempDirectory},
      {"PID", [] { return AnsiStr(std::to_string(getpid()).c_str()); }},
      {"HOSTNAME", &GetHostName},
  };
  for (const auto& entry : kTable)
    if (strcmp(entry.name, name) == 0) {
      value = entry.get();
      return true;
    }
  const char* variable = getenv(name);
  if (variable == nullptr) return false;
  value = variable;
  return true;
}

}  // namespace

AnsiStr ExpandPlaceholders(const char* text) {
  AnsiStr result;
  if (text == nullptr) return result;
  const int saved = errno;
  const char* copied = text;  // start of the text not yet copied
  for (const char* open = strstr(text, "<~"); open != nullptr; open = strstr(open + 1, "<~")) {
    const char* name = open + 2;
    const char* end = name;
    while (IsNameChar(*end)) ++end;
    if (end == name || end[0] != '~' || end[1] != '>') continue;
    char buffer[256];
    const size_t length = static_cast<size_t>(end - name);
    if (length >= sizeof buffer) continue;
    memcpy(buffer, name, length);
    buffer[length] = '\0';
    AnsiStr value;
    if (!Resolve(buffer, value)) continue;
    result.Append(AnsiSubStr(copied, static_cast<uint32_t>(open - copied)));
    result += value;
    copied = end + 2;
    open = end + 1;  // the loop steps past the closing "~>"
  }
  result.Append(copied);
  errno = saved;
  return result;
}

}  // namespace OrvGuiBase
