// Checksum.cpp: CRC-32 by slicing eight bytes at a time, Adler-32 with deferred modulo.
//
// Slicing-by-8: table[0] is the classic byte-at-a-time table; table[k][b] is the CRC of byte b
// followed by k zero bytes. Eight input bytes XORed with the running CRC then advance it with
// eight independent look-ups instead of eight dependent ones. The tables are computed at
// compile time.
#include "base/compress/Checksum.h"

#include <emmintrin.h>

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

// Adler-32: a = 1 + sum of bytes, b = sum of the a's, both modulo 65521. Sixteen bytes at a
// time with SSE2: over a run of n bytes b grows by n times the a before the run plus every
// byte weighted by how many a's it is part of; per 16-byte piece that is 16 times the sum of
// the pieces before it plus the bytes weighted 16, 15, ..., 1. The lanes cannot overflow in a
// run of 5536 bytes; the modulo is taken once a run.
uint32_t Adler32(uint32_t adler, const void* data, size_t size) {
  constexpr uint32_t kBase = 65521;
  constexpr size_t kRun = 5536;
  const uint8_t* p = static_cast<const uint8_t*>(data);
  uint64_t a = adler & 0xFFFF;
  uint64_t b = adler >> 16;
  const __m128i zero = _mm_setzero_si128();
  const __m128i weightsLow = _mm_setr_epi16(16, 15, 14, 13, 12, 11, 10, 9);
  const __m128i weightsHigh = _mm_setr_epi16(8, 7, 6, 5, 4, 3, 2, 1);
  while (size >= 16) {
    const size_t n = (size < kRun ? size : kRun) & ~size_t{15};
    size -= n;
    b += a * n;
    __m128i sums = zero, before = zero, weighted = zero;
    for (const uint8_t* end = p + n; p < end; p += 16) {
      const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
      before = _mm_add_epi32(before, sums);
      sums = _mm_add_epi32(sums, _mm_sad_epu8(x, zero));
      weighted = _mm_add_epi32(weighted, _mm_madd_epi16(_mm_unpacklo_epi8(x, zero), weightsLow));
      weighted = _mm_add_epi32(weighted, _mm_madd_epi16(_mm_unpackhi_epi8(x, zero), weightsHigh));
    }
    alignas(16) uint32_t lanes[3][4];
    _mm_store_si128(reinterpret_cast<__m128i*>(lanes[0]), sums);
    _mm_store_si128(reinterpret_cast<__m128i*>(lanes[1]), before);
    _mm_store_si128(reinterpret_cast<__m128i*>(lanes[2]), weighted);
    b += 16 * (uint64_t{lanes[1][0]} + lanes[1][1] + lanes[1][2] + lanes[1][3]) + lanes[2][0] + lanes[2][1] + lanes[2][2] +
         lanes[2][3];
    a += uint64_t{lanes[0][0]} + lanes[0][1] + lanes[0][2] + lanes[0][3];
    a %= kBase;
    b %= kBase;
  }
  while (size-- > 0) {
    a += *p++;
    b += a;
  }
  return static_cast<uint32_t>((b % kBase) << 16 | (a % kBase));
}

}  // namespace OrvGuiBase
