// CommandLine.h: the process's command line, read once from /proc/self/cmdline, and the split
// of any command line into options and arguments.
//
//   AnsiStr line = GetCmdLine();                              // "server -port 80 data"
//   AnsiStr port = GetCmdLineOption("PORT", "8080");          // "80": names ignore case
//   const CommandLineOptions& parsed = GetCmdLineOptions();   // parsed.GetArgument(0) == "data"
//
// The process's line is read on first use and kept, so later calls take no lock and make no
// system call. Depends on core and text.
//
// How a command line splits (CommandLineOptions), token by token after the program:
//   "--"                 ends the options: every later token is an argument, even "-x"
//   "-" and "/"          arguments (the usual names of standard input and of the root)
//   "-5", "-.5"          arguments: a minus before a digit or a point is a negative number,
//                        so "-offset -5" gives the option offset the value "-5"
//   "-name", "--name"    an option; "-name=value" and "--name=value" carry their value inline
//   "/name", "/name=v"   an option, unless the name holds another '/' ("/usr/bin/x" and
//                        "/tmp/a=b" are paths, hence arguments)
//   "-=x", "--=x"        arguments: an option needs a name
//   anything else        an argument
// An option without an inline value takes the next token as its value when that token is an
// argument by the rules above (so "-v file" gives v the value "file"); otherwise (the end, or
// another option, or "--") its value is "". An option given twice: the last one counts for
// look-ups, and both are listed.
#pragma once

#include <vector>

#include "base/core/Export.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiBase {

// CommandLineOptions: one command line split into options (name and value, in order) and the
// remaining arguments (in order). Immutable after construction; safe to read from any thread.
class ORVGUI_API CommandLineOptions {
 public:
  CommandLineOptions() = default;
  // Splits args[first], args[first + 1], ... (args[0] is normally the program, hence first 1).
  explicit CommandLineOptions(const std::vector<AnsiStr>& args, unsigned first = 1);

  unsigned GetOptionCount() const { return static_cast<unsigned>(m_options.size()); }
  // GetOptionName / GetOptionValue: option i as spelled (without its '-', '--' or '/'); empty
  // past the end.
  AnsiStr GetOptionName(unsigned i) const;
  AnsiStr GetOptionValue(unsigned i) const;
  unsigned GetArgumentCount() const { return static_cast<unsigned>(m_arguments.size()); }
  // GetArgument: argument i (the tokens that are neither options nor option values); empty past
  // the end.
  AnsiStr GetArgument(unsigned i) const;

  // HasOption: whether the option is there (ASCII letters compared without regard to case).
  bool HasOption(const char* name) const;
  // GetOption: the value of the last occurrence of the option (case ignored), fallback when the
  // option is not there. A null name gives the fallback.
  AnsiStr GetOption(const char* name, const char* fallback) const;
  // GetOptionInt: the value as a decimal integer (an optional sign, then digits, nothing
  // else); fallback when the option is missing or its value is not such a number or does not
  // fit in a long long.
  long long GetOptionInt(const char* name, long long fallback) const;

 private:
  struct Option {
    AnsiStr name;
    AnsiStr value;
  };
  const Option* Find(const char* name) const;

  std::vector<Option> m_options;
  std::vector<AnsiStr> m_arguments;
};

// GetCmdLine: the process's arguments joined by single blanks. An argument that is empty or
// holds white space or a double quote is written between double quotes with '"' and '\'
// escaped by a backslash, so the line reads back into the same arguments. Empty when /proc
// cannot be read.
ORVGUI_API AnsiStr GetCmdLine();
// GetCmdLineArgCount: the number of arguments, the program itself included.
ORVGUI_API unsigned GetCmdLineArgCount();
// GetCmdLineArg: argument i (0 is the program as started); empty past the end.
ORVGUI_API AnsiStr GetCmdLineArg(unsigned i);
// GetCmdLineOptions: the process's command line split as above (the program left out).
ORVGUI_API const CommandLineOptions& GetCmdLineOptions();

// GetCmdLineOption: GetCmdLineOptions().GetOption(name, fallback).
ORVGUI_API AnsiStr GetCmdLineOption(const char* name, const char* fallback);
// GetCmdLineOptionInt: GetCmdLineOptions().GetOptionInt(name, fallback).
ORVGUI_API long long GetCmdLineOptionInt(const char* name, long long fallback);

}  // namespace OrvGuiBase
