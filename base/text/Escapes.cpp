// Escapes.cpp: CleanStr.
#include "base/text/Escapes.h"

#include <string>

namespace OrvGuiBase {

AnsiStr CleanStr(const AnsiStr& text) {
  std::string kept;
  kept.reserve(text.GetLength());
  for (const char* p = text.GetStr(); *p != 0; ++p) {
    const unsigned char c = static_cast<unsigned char>(*p);
    if (c >= 0x20 && c != 0x7F) kept.push_back(*p);
  }
  const size_t first = kept.find_first_not_of(' ');
  if (first == std::string::npos) return AnsiStr();
  const size_t last = kept.find_last_not_of(' ');
  return AnsiStr(kept.data() + first, last - first + 1);
}

}  // namespace OrvGuiBase
