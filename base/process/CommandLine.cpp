// CommandLine.cpp: /proc/self/cmdline, split at its NUL bytes.
#include "base/process/CommandLine.h"

#include <strings.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "base/core/LazyStatic.h"
#include "private/system/Sys.h"

namespace OrvGuiBase {

namespace {

struct CommandLine {
  std::vector<AnsiStr> args;
  AnsiStr line;

  CommandLine() {
    const int saved = errno;
    std::string raw;
    if (Sys::ReadFile("/proc/self/cmdline", raw)) {
      size_t start = 0;
      while (start < raw.size()) {
        size_t end = raw.find('\0', start);
        if (end == std::string::npos) end = raw.size();
        args.emplace_back(raw.data() + start, end - start);
        start = end + 1;
      }
    }
    for (size_t i = 0; i < args.size(); ++i) {
      if (i != 0) line += ' ';
      const AnsiStr& arg = args[i];
      const bool quote = arg.IsEmpty() || std::string(arg.GetStr()).find_first_of(" \t") != std::string::npos;
      if (quote) line += '"';
      line += arg;
      if (quote) line += '"';
    }
    errno = saved;
  }
};

constinit LazyStatic<CommandLine> g_commandLine;

}  // namespace

AnsiStr GetCmdLine() {
  const CommandLine* commandLine = g_commandLine.Get();
  return commandLine != nullptr ? commandLine->line : AnsiStr();
}

unsigned GetCmdLineArgCount() {
  const CommandLine* commandLine = g_commandLine.Get();
  return commandLine != nullptr ? static_cast<unsigned>(commandLine->args.size()) : 0u;
}

AnsiStr GetCmdLineArg(unsigned i) {
  const CommandLine* commandLine = g_commandLine.Get();
  return commandLine != nullptr && i < commandLine->args.size() ? commandLine->args[i] : AnsiStr();
}

namespace {
// The option name of an argument ("-name", "--name=v", "/name"), with its inline value if any.
bool SplitOption(const char* arg, std::string& name, std::string& value, bool& inlineValue) {
  if (arg[0] == '-') arg += arg[1] == '-' ? 2 : 1;
  else if (arg[0] == '/') arg += 1;
  else return false;
  const char* equals = strchr(arg, '=');
  inlineValue = equals != nullptr;
  name.assign(arg, equals != nullptr ? static_cast<size_t>(equals - arg) : strlen(arg));
  value = equals != nullptr ? equals + 1 : "";
  return !name.empty();
}
}  // namespace

AnsiStr GetCmdLineOption(const char* name, const char* fallback) {
  const CommandLine* commandLine = g_commandLine.Get();
  if (commandLine == nullptr || name == nullptr) return AnsiStr(fallback);
  const std::vector<AnsiStr>& args = commandLine->args;
  for (size_t i = 1; i < args.size(); ++i) {
    std::string option, value;
    bool inlineValue = false;
    if (!SplitOption(args[i].GetStr(), option, value, inlineValue) || strcasecmp(option.c_str(), name) != 0) continue;
    if (inlineValue) return AnsiStr(value.data(), value.size());
    std::string next, nextValue;
    bool nextInline = false;
    if (i + 1 < args.size() && !SplitOption(args[i + 1].GetStr(), next, nextValue, nextInline)) return args[i + 1];
    return AnsiStr("");
  }
  return AnsiStr(fallback);
}

}  // namespace OrvGuiBase
