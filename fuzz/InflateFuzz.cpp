// Fuzz target: arbitrary bytes through the inflater in each wrapper (the first byte picks it),
// with a bounded output. Whatever decodes must encode and decode back to itself.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "base/compress/Deflate.h"
#include "base/compress/Inflate.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace OrvGuiBase;
  if (size == 0) return 0;
  const DeflateFormat format = static_cast<DeflateFormat>(data[0] % 3);
  std::vector<uint8_t> out;
  if (!Inflate(format, data + 1, size - 1, out, 1 << 20)) return 0;
  if (out.size() > (1 << 20)) abort();
  std::vector<uint8_t> packed, back;
  if (!Deflate(format, out.data(), out.size(), packed, data[0] % 10)) abort();
  if (!Inflate(format, packed.data(), packed.size(), back) || back != out) abort();
  return 0;
}
