// Fuzz target: the lock-threshold parser against a reference reading of the same text.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "base/core/LockInfo.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const uint64_t fallback = 300;
  const uint64_t parsed = OrvGuiBase::LockInfo::ParseThreshold(text.c_str(), fallback);
  // Reference: only a run of decimal digits (up to the first NUL) that fits in 64 bits counts.
  const std::string visible = text.c_str();
  bool digits = !visible.empty();
  unsigned __int128 value = 0;
  for (char c : visible) {
    if (c < '0' || c > '9') digits = false;
    else if (value <= UINT64_MAX) value = value * 10 + static_cast<unsigned>(c - '0');
  }
  const uint64_t expected = digits && value <= UINT64_MAX ? static_cast<uint64_t>(value) : fallback;
  if (parsed != expected) abort();
  return 0;
}
