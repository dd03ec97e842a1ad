// Fuzz target: the text of any code, with and without a file name for the "%s" texts.
// Checks that every result is non-empty, terminated where its length says, and carries the
// code suffix when asked for.
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/core/ErrorMessage.h"

namespace {
OrvGuiBase::AnsiStr WithName(int code, const char* name, ...) {
  va_list args;
  va_start(args, name);
  OrvGuiBase::AnsiStr text = OrvGuiBase::GetErrorMessage(code, &args, true);
  va_end(args);
  return text;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 4) return 0;
  int code;
  memcpy(&code, data, 4);
  const std::string name(reinterpret_cast<const char*>(data) + 4, size - 4);
  const OrvGuiBase::AnsiStr plain = OrvGuiBase::GetErrorMessage(code);
  const OrvGuiBase::AnsiStr named = WithName(code, name.c_str(), name.c_str());
  for (const OrvGuiBase::AnsiStr* text : {&plain, &named}) {
    if (text->IsEmpty() || strlen(text->GetStr()) != text->GetLength()) abort();
    if (std::string(text->GetStr()).find(" (0x") == std::string::npos) abort();
  }
  return 0;
}
