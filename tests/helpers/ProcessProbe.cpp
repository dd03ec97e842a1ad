// ProcessProbe.cpp: prints how the library sees this process, for the process tests.
//
//   orvgui_process_probe [anything...]
//     line: <GetCmdLine()>
//     option: <name>=<value>            one per option, in order
//     argument: <argument>              one per argument, in order
//     lookup <name>: <value>            for each name in PROBE_LOOKUP (comma-separated),
//                                       the value GetCmdLineOption gives (fallback "<none>")
//     expand: <ExpandPlaceholders(PROBE_EXPAND)> when PROBE_EXPAND is set
//     symbols: <+> <-> <comma> [<thousand>] <fractions>   when PROBE_SYMBOLS is set
// With PROBE_SETLOCALE set the probe first calls setlocale(LC_ALL, ""), with PROBE_REFRESH
// then Setup::RefreshDefaults().
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "base/process/CommandLine.h"
#include "base/process/Environment.h"
#include "base/process/Setup.h"

int main() {
  using namespace OrvGuiBase;
  if (getenv("PROBE_SETLOCALE") != nullptr && setlocale(LC_ALL, "") == nullptr) return 3;
  if (getenv("PROBE_REFRESH") != nullptr && !Setup::RefreshDefaults()) return 4;
  printf("line: %s\n", GetCmdLine().GetStr());
  const CommandLineOptions& options = GetCmdLineOptions();
  for (unsigned i = 0; i < options.GetOptionCount(); ++i)
    printf("option: %s=%s\n", options.GetOptionName(i).GetStr(), options.GetOptionValue(i).GetStr());
  for (unsigned i = 0; i < options.GetArgumentCount(); ++i) printf("argument: %s\n", options.GetArgument(i).GetStr());
  if (const char* lookup = getenv("PROBE_LOOKUP")) {
    std::string names = lookup;
    size_t start = 0;
    while (start <= names.size()) {
      size_t comma = names.find(',', start);
      if (comma == std::string::npos) comma = names.size();
      const std::string name = names.substr(start, comma - start);
      printf("lookup %s: %s\n", name.c_str(), GetCmdLineOption(name.c_str(), "<none>").GetStr());
      start = comma + 1;
    }
  }
  if (const char* text = getenv("PROBE_EXPAND")) printf("expand: %s\n", ExpandPlaceholders(text).GetStr());
  if (getenv("PROBE_SYMBOLS") != nullptr) {
    const NumberSymbols& s = Setup::GetNumberSymbols();
    printf("symbols: %s %s %s [%s] %u\n", s.positiveSign, s.negativeSign, s.comma, s.thousand, s.fractions);
  }
  return 0;
}
