// Fuzz target: arbitrary bytes through the LZW decoder with a bounded output, and through the
// encoder at a width the first byte picks, which must decode back to the input.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "base/compress/Lzw.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace OrvGuiBase;
  std::vector<uint8_t> out;
  if (LzwDecompress(data, size, out, 1 << 20) && out.size() > (1 << 20)) abort();
  const int bits = 9 + (size > 0 ? data[0] % 8 : 0);
  std::vector<uint8_t> packed, back;
  if (!LzwCompress(data, size, packed, bits)) abort();
  if (!LzwDecompress(packed.data(), packed.size(), back) || back != std::vector<uint8_t>(data, data + size)) abort();
  return 0;
}
