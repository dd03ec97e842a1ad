// Checksum.h: the CRC-32 of the gzip and PNG formats and the Adler-32 of the zlib format.
//
//   uint32_t crc = Crc32(0, header, headerSize);       // start with 0
//   crc = Crc32(crc, body, bodySize);                   // continue over the next piece
//   uint32_t adler = Adler32(1, data, size);            // Adler-32 starts with 1
//
// Both take the running value of the bytes before and return it for the bytes after, so a
// stream is checked piece by piece. Plain functions without state, safe from any thread.
// Depends on nothing.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/core/Export.h"

namespace OrvGuiBase {

// Crc32: the reflected CRC-32 (polynomial 0xEDB88320) of size bytes continued from crc.
ORVGUI_API uint32_t Crc32(uint32_t crc, const void* data, size_t size);
// Adler32: the Adler-32 sum of size bytes continued from adler (1 for a new stream).
ORVGUI_API uint32_t Adler32(uint32_t adler, const void* data, size_t size);

}  // namespace OrvGuiBase
