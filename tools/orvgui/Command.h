// Command.h: the subcommand frame of the orvgui tool.
//
// Each subcommand lives in its own source file and registers itself with a static
// SubcommandRegistration. Conventions every subcommand follows: --help prints its usage on
// standard output and exits 0; errors go to standard error as "orvgui <sub>: <message>";
// exit status 0 success, 1 failure, 2 usage error.
#pragma once

#include <cstdint>
#include <vector>

namespace OrvGuiTool {

enum ExitCode { kExitSuccess = 0, kExitFailure = 1, kExitUsage = 2 };

struct Subcommand {
  const char* name;
  const char* summary;  // one line for `orvgui --help`
  const char* usage;    // the full text of `orvgui <name> --help`
  int (*run)(int argc, char** argv);  // argv[0] is the subcommand's name
};

// SubcommandRegistration: adds a subcommand to the tool at start-up.
struct SubcommandRegistration {
  explicit SubcommandRegistration(const Subcommand& command);
};

// GetSubcommands: every registered subcommand, sorted by name.
const std::vector<Subcommand>& GetSubcommands();

// Fail / UsageError: print "orvgui <sub>: <message>" on standard error; return 1 / 2.
int Fail(const char* sub, const char* format, ...) __attribute__((format(printf, 2, 3)));
int UsageError(const char* sub, const char* format, ...) __attribute__((format(printf, 2, 3)));

// IsHelpOption / IsVersionOption: "--help"/"-h" and "--version".
bool IsHelpOption(const char* arg);
bool IsVersionOption(const char* arg);
// PrintVersion: "orvgui <version>" on standard output.
void PrintVersion();

// ParseUInt32: decimal digits only, up to 4294967295; false for anything else.
bool ParseUInt32(const char* text, uint32_t& value);

}  // namespace OrvGuiTool
