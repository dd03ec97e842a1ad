// Fuzz target: the command-line splitter against a reference reading of the same tokens, and
// the placeholder expander on texts that cannot name a placeholder.
//
// Input: the first byte chooses the check; the rest is the tokens separated by NUL bytes (the
// form of /proc/self/cmdline) or the text to expand.
#include <strings.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "base/process/CommandLine.h"
#include "base/process/Environment.h"

namespace {

using OrvGuiBase::AnsiStr;

// IsOptionToken: the reference rule, written from the documented table.
bool IsOptionToken(const std::string& t, std::string& name, std::string& value, bool& inlineValue) {
  if (t == "--" || t.size() < 2) return false;
  std::string body;
  if (t[0] == '-') {
    if (t[1] != '-' && (isdigit(static_cast<unsigned char>(t[1])) || t[1] == '.')) return false;
    body = t.substr(t[1] == '-' ? 2 : 1);
  } else if (t[0] == '/') {
    body = t.substr(1);
  } else {
    return false;
  }
  const size_t equals = body.find('=');
  name = body.substr(0, equals);
  if (name.empty() || (t[0] == '/' && name.find('/') != std::string::npos)) return false;
  inlineValue = equals != std::string::npos;
  value = inlineValue ? body.substr(equals + 1) : "";
  return true;
}

void CheckSplit(const std::string& input) {
  std::vector<std::string> tokens;
  std::vector<AnsiStr> args{"program"};
  size_t start = 0;
  while (start <= input.size()) {
    size_t end = input.find('\0', start);
    if (end == std::string::npos) end = input.size();
    tokens.push_back(input.substr(start, end - start));
    args.emplace_back(tokens.back().data(), static_cast<uint32_t>(tokens.back().size()));
    start = end + 1;
  }
  std::vector<std::pair<std::string, std::string>> options;
  std::vector<std::string> arguments;
  bool ended = false;
  for (size_t i = 0; i < tokens.size(); ++i) {
    std::string name, value, n2, v2;
    bool inlineValue = false, i2 = false;
    if (!ended && tokens[i] == "--") ended = true;
    else if (ended || !IsOptionToken(tokens[i], name, value, inlineValue)) arguments.push_back(tokens[i]);
    else {
      if (!inlineValue && i + 1 < tokens.size() && tokens[i + 1] != "--" && !IsOptionToken(tokens[i + 1], n2, v2, i2))
        value = tokens[++i];
      options.emplace_back(name, value);
    }
  }
  const OrvGuiBase::CommandLineOptions parsed(args);
  if (parsed.GetOptionCount() != options.size() || parsed.GetArgumentCount() != arguments.size()) abort();
  for (unsigned i = 0; i < options.size(); ++i) {
    const AnsiStr name = parsed.GetOptionName(i), value = parsed.GetOptionValue(i);
    if (std::string(name.GetStr(), name.GetLength()) != options[i].first) abort();
    if (std::string(value.GetStr(), value.GetLength()) != options[i].second) abort();
  }
  for (unsigned i = 0; i < arguments.size(); ++i) {
    const AnsiStr argument = parsed.GetArgument(i);
    if (std::string(argument.GetStr(), argument.GetLength()) != arguments[i]) abort();
  }
  // The look-up finds the last occurrence of a name (names are compared up to a NUL).
  for (const auto& option : options) {
    if (option.first.find('\0') != std::string::npos) continue;
    std::string expected;
    for (const auto& other : options)
      if (strcasecmp(other.first.c_str(), option.first.c_str()) == 0) expected = other.second;
    const AnsiStr got = parsed.GetOption(option.first.c_str(), nullptr);
    if (std::string(got.GetStr(), got.GetLength()) != expected) abort();
  }
}

void CheckExpansion(const std::string& input) {
  const std::string text = input.c_str();
  const AnsiStr expanded = OrvGuiBase::ExpandPlaceholders(text.c_str());
  // Without "<~" nothing can be replaced.
  if (text.find("<~") == std::string::npos && text != expanded.GetStr()) abort();
  // A name not set anywhere stays as written.
  const std::string unknown = text + "<~ORVGUI_FUZZ_UNSET_NAME~>";
  const std::string result = OrvGuiBase::ExpandPlaceholders(unknown.c_str()).GetStr();
  if (result.size() < 26 || result.compare(result.size() - 26, 26, "<~ORVGUI_FUZZ_UNSET_NAME~>") != 0) abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const std::string rest(reinterpret_cast<const char*>(data) + 1, size - 1);
  if (data[0] & 1) CheckExpansion(rest);
  else CheckSplit(rest);
  return 0;
}
