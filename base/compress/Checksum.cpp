// Checksum.cpp: CRC-32 by slicing eight bytes at a time, Adler-32 with deferred modulo.
//
// Slicing-by-8: table[0] is the classic byte-at-a-time table; table[k][b] is the CRC of byte b
// followed by k zero bytes. Eight input bytes XORed with the running CRC then advance it with
// eight independent look-ups instead of eight dependent ones. The tables are computed at
// compile time.
#include "base/compress/Checksum.h"

#include <array>
#include <cstring>

namespace OrvGuiBase {

namespace {

using CrcTables = std::array<std::array<uint32_t, 256>, 8>;

constexpr CrcTables MakeCrcTables() {
  CrcTables t{};
  for (uint32_t n = 0; n < 256; ++n) {
    uint32_t c = n;
    for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
    t[0][n] = c;
  }
  for (uint32_t n = 0; n < 256; ++n) {
    for (int k = 1; k < 8; ++k) t[k][n] = (t[k - 1][n] >> 8) ^ t[0][t[k - 1][n] & 0xFF];
  }
  return t;
}

constexpr CrcTables kCrc = MakeCrcTables();

}  // namespace

uint32_t Crc32(uint32_t crc, const void* data, size_t size) {
  const uint8_t* p = static_cast<const uint8_t*>(data);
  uint32_t c = ~crc;
  while (size >= 8) {
    uint32_t lo, hi;
    std::memcpy(&lo, p, 4);
    std::memcpy(&hi, p + 4, 4);
    lo ^= c;
    c = kCrc[7][lo & 0xFF] ^ kCrc[6][(lo >> 8) & 0xFF] ^ kCrc[5][(lo >> 16) & 0xFF] ^ kCrc[4][lo >> 24] ^
        kCrc[3][hi & 0xFF] ^ kCrc[2][(hi >> 8) & 0xFF] ^ kCrc[1][(hi >> 16) & 0xFF] ^ kCrc[0][hi >> 24];
    p += 8;
    size -= 8;
  }
  while (size-- > 0) c = (c >> 8) ^ kCrc[0][(c ^ *p++) & 0xFF];
  return ~c;
}

// Adler-32: a = 1 + sum of bytes, b = sum of the a's, both modulo 65521. 5552 is the largest
// run of bytes after which b cannot have overflowed 32 bits, so the modulo is taken once a run.
uint32_t Adler32(uint32_t adler, const void* data, size_t size) {
  constexpr uint32_t kBase = 65521;
  constexpr size_t kRun = 5552;
  const uint8_t* p = static_cast<const uint8_t*>(data);
  uint32_t a = adler & 0xFFFF;
  uint32_t b = adler >> 16;
  while (size > 0) {
    size_t n = size < kRun ? size : kRun;
    size -= n;
    while (n >= 8) {
      a += p[0]; b += a; a += p[1]; b += a; a += p[2]; b += a; a += p[3]; b += a;
      a += p[4]; b += a; a += p[5]; b += a; a += p[6]; b += a; a += p[7]; b += a;
      p += 8;
      n -= 8;
    }
    while (n-- > 0) { a += *p++; b += a; }
    a %= kBase;
    b %= kBase;
  }
  return (b << 16) | a;
}

}  // namespace OrvGuiBase
