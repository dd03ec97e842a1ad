// Main.cpp: orvgui, the command-line tool through which administrators and scripts reach the
// library. Dispatches to the subcommands registered by the other files of this folder.
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>

#include "base/core/Init.h"
#include "tools/orvgui/Command.h"

namespace OrvGuiTool {

namespace {
std::map<std::string, Subcommand>& Registry() {
  static std::map<std::string, Subcommand> s_registry;
  return s_registry;
}

void VPrintError(const char* sub, const char* format, va_list args) {
  fprintf(stderr, "orvgui%s%s: ", sub != nullptr && *sub != 0 ? " " : "", sub != nullptr ? sub : "");
  vfprintf(stderr, format, args);
  fputc('\n', stderr);
}

void PrintToolHelp() {
  printf(
      "usage: orvgui <command> [options] [arguments]\n"
      "       orvgui --help | --version\n"
      "\n"
      "The command-line face of liborvgui.\n"
      "\n"
      "commands:\n");
  for (const Subcommand& command : GetSubcommands()) printf("  %-10s %s\n", command.name, command.summary);
  printf(
      "\n"
      "Run 'orvgui <command> --help' for a command's options and output.\n"
      "Every command writes errors as 'orvgui <command>: <message>' on standard error and exits\n"
      "with 0 on success, 1 on failure and 2 on a usage error ('orvgui mutex' passes on the\n"
      "command's status, 'orvgui regsvr' adds 3 to 5: see their help).\n");
}
}  // namespace

SubcommandRegistration::SubcommandRegistration(const Subcommand& command) { Registry()[command.name] = command; }

const std::vector<Subcommand>& GetSubcommands() {
  static std::vector<Subcommand> s_list;
  if (s_list.empty())
    for (const auto& entry : Registry()) s_list.push_back(entry.second);
  return s_list;
}

#define ORVGUI_REPORT_AND_RETURN(status) \
  va_list args;                                \
  va_start(args, format);                      \
  VPrintError(sub, format, args);              \
  va_end(args);                                \
  return status

int Fail(const char* sub, const char* format, ...) { ORVGUI_REPORT_AND_RETURN(kExitFailure); }
int UsageError(const char* sub, const char* format, ...) { ORVGUI_REPORT_AND_RETURN(kExitUsage); }
#undef ORVGUI_REPORT_AND_RETURN

bool IsHelpOption(const char* arg) { return strcmp(arg, "--help") == 0 || strcmp(arg, "-h") == 0; }
bool IsVersionOption(const char* arg) { return strcmp(arg, "--version") == 0; }
void PrintVersion() { printf("orvgui %s\n", OrvGuiBase::GetLibraryVersion()); }

bool ParseUInt32(const char* text, uint32_t& value) {
  if (*text == 0) return false;
  uint64_t total = 0;
  for (const char* c = text; *c != 0; ++c) {
    if (*c < '0' || *c > '9') return false;
    total = total * 10 + static_cast<uint64_t>(*c - '0');
    if (total > 0xFFFFFFFFu) return false;
  }
  value = static_cast<uint32_t>(total);
  return true;
}

}  // namespace OrvGuiTool

int main(int argc, char** argv) {
  using namespace OrvGuiTool;
  if (argc < 2) {
    PrintToolHelp();
    return kExitUsage;
  }
  if (IsHelpOption(argv[1])) {
    PrintToolHelp();
    return kExitSuccess;
  }
  if (IsVersionOption(argv[1])) {
    PrintVersion();
    return kExitSuccess;
  }
  const auto& registry = GetSubcommands();
  for (const Subcommand& command : registry) {
    if (strcmp(command.name, argv[1]) != 0) continue;
    for (int i = 2; i < argc; ++i) {
      if (strcmp(argv[i], "--") == 0) break;
      if (IsHelpOption(argv[i])) {
        fputs(command.usage, stdout);
        return kExitSuccess;
      }
      if (IsVersionOption(argv[i])) {
        PrintVersion();
        return kExitSuccess;
      }
    }
    return command.run(argc - 1, argv + 1);
  }
  return UsageError(nullptr, "unknown command '%s' (see 'orvgui --help')", argv[1]);
}
