// Json.cpp: `orvgui json`, checking and reformatting JSON documents.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "base/core/ErrorMessage.h"
#include "base/data/Json.h"
#include "tools/orvgui/Command.h"

namespace OrvGuiTool {

namespace {

using namespace OrvGuiBase;

const char kUsage[] =
    "usage: orvgui json validate|format|compact FILE|-\n"
    "\n"
    "Reads one JSON document from FILE (or standard input for -) with the library's strict\n"
    "reader: no comments, no trailing commas, no leading zeros, UTF-8 checked in every string,\n"
    "\"\\u0000\" refused, nesting at most 512 levels deep.\n"
    "\n"
    "  validate  prints nothing; exit 0 when the document is valid.\n"
    "  format    prints the document pretty: one member or element per line, two blanks of\n"
    "            indentation per level, lines ended by CR LF, then a final CR LF.\n"
    "  compact   prints the document on one line without blanks, then a newline (LF).\n"
    "\n"
    "Members keep their order; a repeated name keeps its first place and its last value. Reals\n"
    "are written with 15 significant digits (%.15g), so 1.0 is written 1.\n"
    "\n"
    "Errors on standard error:\n"
    "  orvgui json: FILE: REASON        the reader's text, e.g. \"':' expected\", \"EOF expected\"\n"
    "  orvgui json: cannot read FILE: REASON\n"
    "\n"
    "Exit status: 0 valid (and printed); 1 invalid or unreadable; 2 usage error.\n";

constexpr const char* kSub = "json";

bool ReadInput(const char* name, std::string& text) {
  const bool standardInput = strcmp(name, "-") == 0;
  const int fd = standardInput ? STDIN_FILENO : open(name, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  char buffer[65536];
  ssize_t n;
  while ((n = read(fd, buffer, sizeof buffer)) != 0) {
    if (n < 0) {
      if (errno == EINTR) continue;
      const int error = errno;
      if (!standardInput) close(fd);
      errno = error;
      return false;
    }
    text.append(buffer, static_cast<size_t>(n));
  }
  if (!standardInput) close(fd);
  return true;
}

bool WriteOut(const AnsiStr& text, const char* end) {
  return fwrite(text.GetStr(), 1, text.GetLength(), stdout) == text.GetLength() && fputs(end, stdout) >= 0 &&
         fflush(stdout) == 0;
}

int Run(int argc, char** argv) {
  if (argc == 2 && IsHelpOption(argv[1])) {
    fputs(kUsage, stdout);
    return kExitSuccess;
  }
  if (argc != 3) return UsageError(kSub, "expected an action and a file (see orvgui json --help)");
  const std::string action = argv[1];
  if (action != "validate" && action != "format" && action != "compact")
    return UsageError(kSub, "unknown action '%s' (validate, format or compact)", argv[1]);
  const char* name = argv[2];
  std::string text;
  if (!ReadInput(name, text)) return Fail(kSub, "cannot read %s: %s", name, strerror(errno));
  if (text.size() > 0xFFFFFFF0u) return Fail(kSub, "%s: document too large", name);
  Val value;
  AnsiStr error;
  if (!JSON2Val(AnsiStr(text.data(), static_cast<uint32_t>(text.size())), value, error))
    return Fail(kSub, "%s: %s", name, error.GetStr());
  if (action == "validate") return kExitSuccess;
  AnsiStr out;
  const bool compact = action == "compact";
  if (!Val2JSON(value, out, error, compact, false)) return Fail(kSub, "%s: %s", name, error.GetStr());
  if (!WriteOut(out, compact ? "\n" : "\r\n")) return Fail(kSub, "cannot write: %s", strerror(errno));
  return kExitSuccess;
}

SubcommandRegistration g_registration({"json", "validates, formats or compacts a JSON document", kUsage, &Run});

}  // namespace

}  // namespace OrvGuiTool
