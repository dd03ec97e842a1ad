// Rtf.cpp: `orvgui rtf`, an RTF document as plain text or as an HTML page through the
// library's RTF reader (base/data/RtfParser.h).
#include <cstring>

#include "base/core/ErrorMessage.h"
#include "base/core/LastError.h"
#include "base/data/RtfParser.h"
#include "base/fs/Stream.h"
#include "tools/orvgui/Command.h"

namespace OrvGuiTool {

namespace {

using namespace OrvGuiBase;

const char kUsage[] =
    "usage: orvgui rtf text IN OUT\n"
    "       orvgui rtf html IN OUT\n"
    "\n"
    "Converts the RTF document IN into plain text (text) or into an HTML page (html), in UTF-8,\n"
    "written to OUT (created, or cut when it exists). '-' as IN reads standard input, '-' as OUT\n"
    "writes standard output.\n"
    "\n"
    "Output: exactly what the library's Rtf2Text / Rtf2Html write:\n"
    "  text  the UTF-8 byte order mark, then the document's text; paragraphs, lines and table\n"
    "        rows end with a line feed, tabs and table cells with a TAB.\n"
    "  html  '<!DOCTYPE html>' ... '<body>', the text with '&', '<', '>' and '\"' escaped and\n"
    "        '<br>' at each line break, then '</body>' '</html>'. A document that encapsulates\n"
    "        an HTML page (\\fromhtml) gives that page instead.\n"
    "Font and colour tables, style sheets, document information, pictures, object data, field\n"
    "instructions and {\\*\\...} groups never reach the output.\n"
    "\n"
    "Errors go to standard error as 'orvgui rtf: <message>', the reader's own text, such as\n"
    "  orvgui rtf: Unexpected end of file\n"
    "  orvgui rtf: Unsupported RTF version 2\n"
    "  orvgui rtf: Could not open input file [IN]: <system text>\n"
    "After a failure OUT holds what was converted before it.\n"
    "\n"
    "Exit status: 0 when the document was converted; 1 when it could not be read, written or\n"
    "converted; 2 for a usage error (a missing or unknown mode, a missing or extra argument).\n";

constexpr const char* kSub = "rtf";

int Run(int argc, char** argv) {
  if (argc < 2) return UsageError(kSub, "a mode (text or html) is required (see 'orvgui rtf --help')");
  int mode;
  if (strcmp(argv[1], "text") == 0)
    mode = Rtf::kOutputText;
  else if (strcmp(argv[1], "html") == 0)
    mode = Rtf::kOutputHtml;
  else
    return UsageError(kSub, "unknown mode '%s' (text or html)", argv[1]);
  if (argc < 4) return UsageError(kSub, "%s needs IN and OUT", argv[1]);
  if (argc > 4) return UsageError(kSub, "unexpected argument '%s'", argv[4]);
  const char* in = argv[2];
  const char* out = argv[3];

  Rtf::Parser parser;
  AnsiStr input;  // standard input, read whole (the parser works on the document in memory)
  bool ok;
  if (strcmp(in, "-") == 0) {
    ReadStream standardInput(kStdIn);
    if (!standardInput.Read(input) && GetLastError() != 0)
      return Fail(kSub, "Could not read from file [standard input]: %s", GetErrorMessage(GetLastError()).GetStr());
    parser.SetInput(input.GetStr(), input.GetLength());
    ok = true;
  } else {
    ok = parser.SetInputFile(File(in));
  }
  WriteStream standardOutput(kStdOut);
  if (ok)
    ok = strcmp(out, "-") == 0 ? parser.SetOutputStream(standardOutput, mode) : parser.SetOutputFile(File(out), mode);
  if (ok) ok = parser.Parse();
  if (!ok) return Fail(kSub, "%s", parser.GetError().GetStr());
  return kExitSuccess;
}

SubcommandRegistration g_registration({"rtf", "converts an RTF document to text or HTML", kUsage, &Run});

}  // namespace

}  // namespace OrvGuiTool
