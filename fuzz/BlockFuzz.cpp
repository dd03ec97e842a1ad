// Fuzz target: arbitrary bytes through the block decompressor with a bounded output, and
// through the compressor (smallest blocks), which must decompress back to the input.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "base/compress/BlockCompress.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace OrvGuiBase;
  std::vector<uint8_t> out;
  if (BlockDecompress(data, size, out, 1 << 20) && out.size() > (1 << 20)) abort();
  std::vector<uint8_t> packed, back;
  if (!BlockCompress(data, size, packed, 1)) abort();
  if (!BlockDecompress(packed.data(), packed.size(), back) || back != std::vector<uint8_t>(data, data + size)) abort();
  return 0;
}
