// Fuzz target: arbitrary bytes as a chunk file (in a memory-backed descriptor). Every chunk
// that verifies must lie inside the file and read back with its checksum.
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "base/compress/Checksum.h"
#include "base/compress/VerifiedChunk.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace OrvGuiBase;
  const int fd = memfd_create("chunks", MFD_CLOEXEC);
  if (fd < 0) abort();
  if (size > 0 && write(fd, data, size) != static_cast<ssize_t>(size)) abort();
  char path[64];
  std::snprintf(path, sizeof path, "/proc/self/fd/%d", fd);
  std::vector<VerifiedChunk> chunks;
  if (ReadVerifiedChunks(File(path), chunks)) {
    for (const VerifiedChunk& chunk : chunks) {
      if (chunk.GetStart() + chunk.GetLength() > size) abort();
      std::vector<uint8_t> bytes;
      if (!chunk.Read(bytes) || bytes.size() != chunk.GetLength()) abort();
      if (Crc32(0, bytes.data(), bytes.size()) != chunk.GetCrc()) abort();
    }
  }
  close(fd);
  return 0;
}
