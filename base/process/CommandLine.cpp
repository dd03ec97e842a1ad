// CommandLine.cpp: /proc/self/cmdline, split at its NUL bytes.
#include "base/process/CommandLine.h"

#include <cerrno>
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

LazyStatic<CommandLine> g_commandLine;

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

}  // namespace OrvGuiBase
