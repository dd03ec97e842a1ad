// Event.cpp: `orvgui event`, reporting an event from a script.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "trace/EventReport.h"
#include "tools/orvgui/Command.h"

namespace OrvGuiTool {

namespace {

using namespace OrvGuiBase;

const char kUsage[] =
    "usage: orvgui event [--source S] [--id N] [--type error|warning|info|notice] [--category N]\n"
    "                    [--field KEY=VALUE]... MESSAGE\n"
    "\n"
    "Reports one event through the library, the way logger(1) logs a line: to the system log,\n"
    "or as one JSON line on standard output or standard error when LOGTYPE is \"stdout\" or\n"
    "\"stderr\" (any case). The event is also mirrored into the trace.\n"
    "\n"
    "  --source S        the event source (default: none); with an id the event is S-NNNNN\n"
    "  --id N            the event id, 0 to 4294967295 (default 0: no id text)\n"
    "  --type T          error (default), warning, info or notice; the system-log priority is\n"
    "                    err, warning, info or notice\n"
    "  --category N      0 to 4294967295 (default 5): 2 Internal, 3 Trace, 4 Message,\n"
    "                    5 Application, 6 Installation, 7 Performance, others Unknown\n"
    "  --field KEY=VALUE a named value (repeatable, kept in order; a repeated KEY replaces the\n"
    "                    earlier value); a VALUE of decimal digits is written as a number\n"
    "  MESSAGE           the message; '%' signs are written as they are. Put -- before a\n"
    "                    MESSAGE that starts with --.\n"
    "\n"
    "A JSON line reads:\n"
    "  {\"@timestamp\":\"2026-01-02T03:04:05.678Z\",\"level\":\"err\",\"message\":\"...\",\"pid\":N,\n"
    "   \"krs\":{<fields>,\"id\":\"S-00012\",\"category\":\"Application\",\"version\":\"...\",\n"
    "          \"processname\":\"orvgui\",\"threadid\":N}}\n"
    "\n"
    "orvgui prints nothing else. Exit status: 0 reported; 2 usage error.\n";

constexpr const char* kSub = "event";

int Run(int argc, char** argv) {
  const char* source = "";
  unsigned id = 0, type = OrvGuiTrace::kEventError, category = OrvGuiTrace::kCategoryApplication;
  std::vector<OrvGuiTrace::EventField> fields;
  std::vector<std::string> names;
  const char* message = nullptr;
  for (int i = 1; i < argc; ++i) {
    const char* arg = argv[i];
    if (IsHelpOption(arg)) {
      fputs(kUsage, stdout);
      return kExitSuccess;
    }
    const bool takesValue = strcmp(arg, "--source") == 0 || strcmp(arg, "--id") == 0 || strcmp(arg, "--type") == 0 ||
                            strcmp(arg, "--category") == 0 || strcmp(arg, "--field") == 0;
    if (takesValue) {
      if (i + 1 >= argc) return UsageError(kSub, "%s needs a value", arg);
      const char* value = argv[++i];
      if (strcmp(arg, "--source") == 0) {
        source = value;
      } else if (strcmp(arg, "--id") == 0) {
        if (!ParseUInt32(value, id)) return UsageError(kSub, "invalid id '%s'", value);
      } else if (strcmp(arg, "--category") == 0) {
        if (!ParseUInt32(value, category)) return UsageError(kSub, "invalid category '%s'", value);
      } else if (strcmp(arg, "--type") == 0) {
        static const char* const kTypes[] = {"error", "warning", "info", "notice"};
        type = 4;
        for (unsigned t = 0; t < 4; ++t)
          if (strcmp(value, kTypes[t]) == 0) type = t;
        if (type == 4) return UsageError(kSub, "invalid type '%s' (error, warning, info or notice)", value);
      } else {
        const char* equals = strchr(value, '=');
        if (equals == nullptr || equals == value) return UsageError(kSub, "invalid field '%s' (KEY=VALUE)", value);
        fields.push_back({value, AnsiStr(equals + 1)});
        fields.back().name = nullptr;  // set below, once the texts stop moving
        names.emplace_back(value, static_cast<size_t>(equals - value));
      }
    } else if (strcmp(arg, "--") == 0 && i + 2 == argc) {
      message = argv[++i];
    } else if (arg[0] == '-' && arg[1] == '-') {
      return UsageError(kSub, "unknown option '%s'", arg);
    } else if (message == nullptr && i + 1 == argc) {
      message = arg;
    } else {
      return UsageError(kSub, "expected one MESSAGE after the options");
    }
  }
  if (message == nullptr) return UsageError(kSub, "a MESSAGE is required");
  for (size_t i = 0; i < fields.size(); ++i) fields[i].name = names[i].c_str();
  // The lower layers' entry point: field texts of decimal digits travel as numbers.
  OrvGuiTrace::ReportEvent(source, id, message, fields.data(), static_cast<unsigned>(fields.size()), type, category);
  return kExitSuccess;
}

SubcommandRegistration g_registration({"event", "reports an event to the system log or as a JSON line", kUsage, &Run});

}  // namespace

}  // namespace OrvGuiTool
