// CommandLine.cpp: /proc/self/cmdline split at its NUL bytes, and the option splitter.
#include "base/process/CommandLine.h"

#include <strings.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/core/LazyStatic.h"
#include "base/text/Quoting.h"
#include "private/system/Sys.h"

namespace OrvGuiBase {

namespace {

enum class TokenKind { Argument, Option, EndOfOptions };

// Classify: what a token is; for an option, its name and inline value.
TokenKind Classify(const AnsiStr& token, AnsiStr& name, AnsiStr& value, bool& inlineValue) {
  const char* text = token.GetStr();
  const uint32_t length = token.GetLength();
  if (length == 2 && text[0] == '-' && text[1] == '-') return TokenKind::EndOfOptions;
  if (length < 2) return TokenKind::Argument;  // "", "-", "/" and single characters
  uint32_t skip = 0;
  if (text[0] == '-') {
    skip = text[1] == '-' ? 2 : 1;
    // A negative number is a value, not an option.
    if (skip == 1 && ((text[1] >= '0' && text[1] <= '9') || text[1] == '.')) return TokenKind::Argument;
  } else if (text[0] == '/') {
    skip = 1;
  } else {
    return TokenKind::Argument;
  }
  const char* start = text + skip;
  const char* equals = static_cast<const char*>(memchr(start, '=', length - skip));
  const uint32_t nameLength = static_cast<uint32_t>(equals != nullptr ? equals - start : length - skip);
  if (nameLength == 0) return TokenKind::Argument;
  if (text[0] == '/' && memchr(start, '/', nameLength) != nullptr) return TokenKind::Argument;  // a path
  name = AnsiStr(start, nameLength);
  inlineValue = equals != nullptr;
  value = inlineValue ? AnsiStr(equals + 1, static_cast<uint32_t>(text + length - equals - 1)) : AnsiStr();
  return TokenKind::Option;
}

}  // namespace

CommandLineOptions::CommandLineOptions(const std::vector<AnsiStr>& args, unsigned first) {
  bool optionsEnded = false;
  for (size_t i = first; i < args.size(); ++i) {
    AnsiStr name, value;
    bool inlineValue = false;
    const TokenKind kind = optionsEnded ? TokenKind::Argument : Classify(args[i], name, value, inlineValue);
    if (kind == TokenKind::EndOfOptions) {
      optionsEnded = true;
    } else if (kind == TokenKind::Argument) {
      m_arguments.push_back(args[i]);
    } else {
      if (!inlineValue && i + 1 < args.size()) {
        AnsiStr nextName, nextValue;
        bool nextInline = false;
        if (Classify(args[i + 1], nextName, nextValue, nextInline) == TokenKind::Argument) value = args[++i];
      }
      m_options.push_back({name, value});
    }
  }
}

AnsiStr CommandLineOptions::GetOptionName(unsigned i) const {
  return i < m_options.size() ? m_options[i].name : AnsiStr();
}
AnsiStr CommandLineOptions::GetOptionValue(unsigned i) const {
  return i < m_options.size() ? m_options[i].value : AnsiStr();
}
AnsiStr CommandLineOptions::GetArgument(unsigned i) const {
  return i < m_arguments.size() ? m_arguments[i] : AnsiStr();
}

const CommandLineOptions::Option* CommandLineOptions::Find(const char* name) const {
  if (name == nullptr) return nullptr;
  for (size_t i = m_options.size(); i-- > 0;)
    if (strcasecmp(m_options[i].name.GetStr(), name) == 0) return &m_options[i];
  return nullptr;
}

bool CommandLineOptions::HasOption(const char* name) const { return Find(name) != nullptr; }

AnsiStr CommandLineOptions::GetOption(const char* name, const char* fallback) const {
  const Option* option = Find(name);
  return option != nullptr ? option->value : AnsiStr(fallback);
}

long long CommandLineOptions::GetOptionInt(const char* name, long long fallback) const {
  const Option* option = Find(name);
  if (option == nullptr) return fallback;
  const char* text = option->value.GetStr();
  const char* digits = text + (text[0] == '+' || text[0] == '-' ? 1 : 0);
  if (*digits < '0' || *digits > '9') return fallback;
  const int saved = errno;
  errno = 0;
  char* end = nullptr;
  const long long number = strtoll(text, &end, 10);
  const bool overflow = errno == ERANGE;
  errno = saved;
  return overflow || *end != '\0' ? fallback : number;
}

namespace {

struct ProcessCommandLine {
  std::vector<AnsiStr> args;
  AnsiStr line;
  CommandLineOptions options;

  ProcessCommandLine() {
    const int saved = errno;
    std::string raw;
    if (Sys::ReadFile("/proc/self/cmdline", raw)) {
      size_t start = 0;
      while (start < raw.size()) {
        size_t end = raw.find('\0', start);
        if (end == std::string::npos) end = raw.size();
        args.emplace_back(raw.data() + start, static_cast<uint32_t>(end - start));
        start = end + 1;
      }
    }
    for (size_t i = 0; i < args.size(); ++i) {
      if (i != 0) line += ' ';
      const AnsiStr& arg = args[i];
      const bool quote = arg.IsEmpty() || strpbrk(arg.GetStr(), " \t\n\v\f\r\"") != nullptr;
      line += quote ? ExtendedQuote(arg) : arg;
    }
    options = CommandLineOptions(args, 1);
    errno = saved;
  }
};

constinit LazyStatic<ProcessCommandLine> g_commandLine;

}  // namespace

AnsiStr GetCmdLine() {
  const ProcessCommandLine* commandLine = g_commandLine.Get();
  return commandLine != nullptr ? commandLine->line : AnsiStr();
}

unsigned GetCmdLineArgCount() {
  const ProcessCommandLine* commandLine = g_commandLine.Get();
  return commandLine != nullptr ? static_cast<unsigned>(commandLine->args.size()) : 0u;
}

AnsiStr GetCmdLineArg(unsigned i) {
  const ProcessCommandLine* commandLine = g_commandLine.Get();
  return commandLine != nullptr && i < commandLine->args.size() ? commandLine->args[i] : AnsiStr();
}

const CommandLineOptions& GetCmdLineOptions() {
  static const CommandLineOptions kNone;
  const ProcessCommandLine* commandLine = g_commandLine.Get();
  return commandLine != nullptr ? commandLine->options : kNone;
}

AnsiStr GetCmdLineOption(const char* name, const char* fallback) {
  return GetCmdLineOptions().GetOption(name, fallback);
}

long long GetCmdLineOptionInt(const char* name, long long fallback) {
  return GetCmdLineOptions().GetOptionInt(name, fallback);
}

}  // namespace OrvGuiBase
