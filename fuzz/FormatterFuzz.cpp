// Fuzz target: arbitrary format text against a fixed supply of typed values, through the
// callback form. Never a crash, and never more output than the bounded pieces allow.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/text/Formatter.h"

namespace {

// Zero-padded so that a %S or %ls reading them as wide text also ends inside them.
alignas(4) const char kAlpha[32] = "alpha";
alignas(4) const char kEmpty[32] = "";
alignas(4) const char kAccents[32] = "\xC3\xA9t\xC3\xA9";
const char* const kTexts[] = {kAlpha, kEmpty, kAccents, nullptr};

bool Fetch(unsigned number, unsigned type, OrvGuiBase::FmtValues& value, const void*) {
  switch (type) {
    // Small integers: an integer argument may also be a * width, which is honoured in full.
    case OrvGuiBase::FmtValues::kInt32: value.int32 = static_cast<int32_t>(number * 7919u % 1000u) - 500; break;
    case OrvGuiBase::FmtValues::kInt64: value.int64 = static_cast<int64_t>(number) * -6700417; break;
    case OrvGuiBase::FmtValues::kDouble: value.real = number % 3 == 0 ? 1e300 : number * 0.1; break;
    default: value.pointer = kTexts[number % 4]; break;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string format(reinterpret_cast<const char*>(data), size);
  // Widths and precisions are honoured up to 4 GiB; keep the fuzzer's memory bounded.
  unsigned digits = 0, widest = 0;
  for (char c : format) {
    digits = c >= '0' && c <= '9' ? digits + 1 : 0;
    if (digits > widest) widest = digits;
  }
  if (widest > 4) return 0;
  const OrvGuiBase::AnsiStr out = OrvGuiBase::FmtList(format.c_str(), &Fetch, nullptr);
  // Each of at most 127 directives writes at most max(128, width) bytes, widths being at most
  // 9999 in the text and 500 from an argument; the literal text adds at most the format's length.
  const size_t bound = strlen(format.c_str()) + 127 * 9999;
  if (out.GetLength() > bound || strlen(out.GetStr()) > out.GetLength()) abort();
  return 0;
}
