// Fuzz target: arbitrary bytes as the content of a memory file that is then inflated with a
// bounded size. A frame that inflates must deflate and inflate back to the same content; a
// failed Inflate must leave the content as it was.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "base/fs/MemoryFile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace OrvGuiBase;
  MemoryFile file;
  if (!file.Create(File(), size)) abort();
  if (size > 0) std::memcpy(file.GetData(), data, size);
  if (!file.Inflate(1 << 20)) {
    if (file.GetSize() != size || (size > 0 && std::memcmp(file.GetData(), data, size) != 0)) abort();
    return 0;
  }
  const std::vector<uint8_t> content(file.GetData(), file.GetData() + file.GetSize());
  if (!file.Deflate(1) || !file.Inflate() || file.GetSize() != content.size()) abort();
  if (!content.empty() && std::memcmp(file.GetData(), content.data(), content.size()) != 0) abort();
  return 0;
}
