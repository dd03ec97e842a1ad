// Fuzz target: trace line building. The first byte chooses the thread's format word (file and
// line, or bare text) and the second its indentation; the rest is the message text. Checks
// that every emitted line fits into 1,024 bytes, carries the prefix, and that the pieces put
// together give back exactly the text's lines (LF, CR LF and lone CR as breaks); and that
// TraceGetState answers with a kind plus one mask bit or 0x6001.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "trace/Trace.h"

namespace {

std::vector<std::string> g_lines;

bool Collect(const char* line) {
  g_lines.emplace_back(line);
  return true;
}

std::vector<std::string> SplitLines(const std::string& text) {
  std::vector<std::string> lines;
  size_t at = 0;
  for (;;) {
    size_t end = at;
    while (end < text.size() && text[end] != '\n' && text[end] != '\r') ++end;
    lines.push_back(text.substr(at, end - at));
    if (end == text.size()) break;
    end += text[end] == '\r' && end + 1 < text.size() && text[end + 1] == '\n' ? 2 : 1;
    if (end == text.size()) break;
    at = end;
  }
  return lines;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  static const bool s_setUp = [] {
    OrvGuiTrace::TraceSetStrHandler(&Collect);
    return true;
  }();
  (void)s_setUp;
  const bool bare = data[0] & 1;
  const unsigned indent = data[1] % 64;
  std::string text(reinterpret_cast<const char*>(data) + 2, size - 2);
  text = text.substr(0, text.find('\0'));
  const unsigned state = OrvGuiTrace::TraceGetState(text.c_str());
  const unsigned bit = state & 0xFFF;
  if (state != 0x6001 && (state < 0x1000 || state > 0x5FFF || (bit & (bit - 1)) != 0 || bit == 0 || bit > 0x20)) abort();

  OrvGuiTrace::TraceSetOutput(bare ? OrvGuiTrace::kTraceBare : 0x60);
  for (unsigned i = 0; i < indent; ++i) OrvGuiTrace::TraceIncrementIndent();
  g_lines.clear();
  OrvGuiTrace::TraceStr(OrvGuiTrace::kTraceTrace, 1, "fuzz", 7, text.c_str());
  for (unsigned i = 0; i < indent; ++i) OrvGuiTrace::TraceDecrementIndent();

  const std::string prefix = bare ? "" : "TT|fuzz|....7: ";
  const std::string indentation(indent, ' ');
  size_t piece = 0;
  for (const std::string& expected : SplitLines(text)) {
    std::string joined;
    bool first = true;
    do {
      if (piece >= g_lines.size()) abort();  // a line or a piece went missing
      const std::string& line = g_lines[piece++];
      if (line.size() > 1024 || line.compare(0, prefix.size(), prefix) != 0) abort();
      std::string body = line.substr(prefix.size());
      if (first) {
        if (body.compare(0, indent, indentation) != 0) abort();  // the first piece is indented
        body = body.substr(indent);
      }
      first = false;
      joined += body;
    } while (joined.size() < expected.size());
    if (joined != expected) abort();
  }
  if (piece != g_lines.size()) abort();  // extra lines
  return 0;
}
