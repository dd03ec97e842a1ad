// BinaryText.cpp: Base16, Base32, Base36 and Base64.
//
// Base32 and Base64 share one bit-group codec. Encoding takes the bytes as a bit stream, most
// significant bit first, and writes one alphabet character per group of 5 (6) bits; the last
// group is filled with zero bits, and '=' pads the text to whole blocks of 8 (4) characters
// when asked. Decoding reverses it: the padding is removed first and must have been exactly
// what the encoder writes; the number of characters left must be one the encoder can produce
// (not 1, 3 or 6 modulo 8 for Base32, not 1 modulo 4 for Base64), and the bits left over after
// the last whole byte must be zero, so that every byte string has exactly one text.
#include "base/text/BinaryText.h"

#include <algorithm>
#include <cerrno>

#include "base/core/LastError.h"
#include "private/text/TextBytes.h"

namespace OrvGuiBase {
namespace {

using Internal::HexValue;
using Internal::kUpperHex;

constexpr char kBase32[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567";
constexpr char kBase36[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
constexpr char kBase64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char kBase64Url[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

constexpr uint32_t kMaxB36Bytes = 4096;
constexpr uint32_t kMaxB36Digits = 6400;

bool Fail(int error) {
  SetLastError(error);
  return false;
}

AnsiStr FailText(int error) {
  SetLastError(error);
  return AnsiStr();
}

// NewText: an AnsiStr of exactly n bytes to be written by the caller (the text is measured on
// first use, so the caller writes no NUL). Null with the last error set when it cannot be had.
char* NewText(AnsiStr& text, uint64_t n) {
  if (n > UINT32_MAX - 1) {
    SetLastError(ERANGE);
    return nullptr;
  }
  return text.Alloc(static_cast<uint32_t>(n));
}

int B36Value(unsigned char b) {
  if (b >= '0' && b <= '9') return b - '0';
  if (b >= 'A' && b <= 'Z') return b - 'A' + 10;
  if (b >= 'a' && b <= 'z') return b - 'a' + 10;
  return -1;
}

// ---- Base32 and Base64 -----------------------------------------------------------------------

struct BitCodec {
  const char* alphabet;
  uint32_t bits;    // bits per character: 5 or 6
  uint32_t block;   // characters per padded block: 8 or 4
  bool ignoreCase;  // whether lower case letters decode as upper case ones
};

constexpr BitCodec kB32Codec{kBase32, 5, 8, true};
constexpr BitCodec kB64Codec{kBase64, 6, 4, false};
constexpr BitCodec kB64UrlCodec{kBase64Url, 6, 4, false};

AnsiStr EncodeBits(const BitCodec& codec, const void* data, uint32_t length, bool pad) {
  if (data == nullptr && length != 0) return FailText(EINVAL);
  const uint64_t chars = (uint64_t{length} * 8 + codec.bits - 1) / codec.bits;
  const uint64_t total = pad ? (chars + codec.block - 1) / codec.block * codec.block : chars;
  AnsiStr text;
  if (total == 0) return text;
  char* out = NewText(text, total);
  if (out == nullptr) return AnsiStr();
  const uint8_t* in = static_cast<const uint8_t*>(data);
  const uint32_t mask = (1u << codec.bits) - 1;
  uint32_t buffer = 0;
  uint32_t held = 0;  // bits in buffer
  for (uint32_t i = 0; i < length; ++i) {
    buffer = (buffer << 8) | in[i];
    held += 8;
    while (held >= codec.bits) {
      held -= codec.bits;
      *out++ = codec.alphabet[(buffer >> held) & mask];
    }
  }
  if (held > 0) *out++ = codec.alphabet[(buffer << (codec.bits - held)) & mask];
  for (uint64_t i = chars; i < total; ++i) *out++ = '=';
  return text;
}

bool DecodeBits(const BitCodec& codec, AnsiSubStr text, Blob& result) {
  const char* p = text.GetStr();
  uint32_t n = text.GetLength();
  uint32_t padding = 0;
  while (n > 0 && p[n - 1] == '=') --n, ++padding;
  const uint32_t rest = n % codec.block;
  const uint32_t wholeBits = rest * codec.bits;
  // A valid tail carries at least one byte and fewer than 8 spare bits.
  if (rest != 0 && (wholeBits < 8 || wholeBits % 8 >= codec.bits)) return Fail(EINVAL);
  if (padding != 0 && (rest == 0 || rest + padding != codec.block)) return Fail(EINVAL);

  int8_t values[256];
  std::fill(values, values + 256, int8_t{-1});
  for (uint32_t i = 0; i < (1u << codec.bits); ++i) {
    const unsigned char c = static_cast<unsigned char>(codec.alphabet[i]);
    values[c] = static_cast<int8_t>(i);
    if (codec.ignoreCase && c >= 'A' && c <= 'Z') values[c - 'A' + 'a'] = static_cast<int8_t>(i);
  }

  const uint32_t bytes = static_cast<uint32_t>(uint64_t{n} * codec.bits / 8);
  Blob decoded;
  uint8_t* out = bytes != 0 ? decoded.Alloc(bytes) : nullptr;
  if (bytes != 0 && out == nullptr) return false;
  uint32_t buffer = 0;
  uint32_t held = 0;
  for (uint32_t i = 0; i < n; ++i) {
    const int v = values[static_cast<unsigned char>(p[i])];
    if (v < 0) return Fail(EINVAL);
    buffer = (buffer << codec.bits) | static_cast<uint32_t>(v);
    held += codec.bits;
    if (held >= 8) {
      held -= 8;
      *out++ = static_cast<uint8_t>(buffer >> held);
    }
  }
  if ((buffer & ((1u << held) - 1)) != 0) return Fail(EINVAL);  // non-canonical trailing bits
  result = decoded;
  return true;
}

}  // namespace

// ---- Base16 ----------------------------------------------------------------------------------

AnsiStr Binary2B16Str(const void* data, uint32_t length, AnsiSubStr separator, uint32_t lineBytes) {
  if (data == nullptr && length != 0) return FailText(EINVAL);
  AnsiStr text;
  if (length == 0) return text;
  if (separator.IsEmpty()) lineBytes = 0;
  const uint64_t breaks = lineBytes != 0 ? (length - 1) / lineBytes : 0;
  char* out = NewText(text, uint64_t{length} * 2 + breaks * separator.GetLength());
  if (out == nullptr) return AnsiStr();
  const uint8_t* in = static_cast<const uint8_t*>(data);
  for (uint32_t i = 0; i < length; ++i) {
    if (lineBytes != 0 && i != 0 && i % lineBytes == 0) {
      std::copy_n(separator.GetStr(), separator.GetLength(), out);
      out += separator.GetLength();
    }
    *out++ = kUpperHex[in[i] >> 4];
    *out++ = kUpperHex[in[i] & 15];
  }
  return text;
}

AnsiStr Binary2B16Str(const Blob& data, AnsiSubStr separator, uint32_t lineBytes) {
  return Binary2B16Str(data.GetData(), data.GetLength(), separator, lineBytes);
}

bool B16Str2Binary(AnsiSubStr text, Blob& result, AnsiSubStr separator) {
  const char* p = text.GetStr();
  const uint32_t length = text.GetLength();
  const uint32_t sepLength = separator.GetLength();
  Blob decoded;
  uint8_t* out = length >= 2 ? decoded.Alloc(length / 2) : nullptr;
  if (length >= 2 && out == nullptr) return false;
  uint32_t count = 0;
  for (uint32_t i = 0; i < length;) {
    const char c = p[i];
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
      ++i;
      continue;
    }
    if (sepLength != 0 && length - i >= sepLength && std::equal(p + i, p + i + sepLength, separator.GetStr())) {
      i += sepLength;
      continue;
    }
    const int high = HexValue(c);
    const int low = i + 1 < length ? HexValue(p[i + 1]) : -1;
    if (high < 0 || low < 0) return Fail(EINVAL);
    out[count++] = static_cast<uint8_t>(high * 16 + low);
    i += 2;
  }
  decoded.Trunc(count);
  result = decoded;
  return true;
}

// ---- Base32 and Base64 -----------------------------------------------------------------------

AnsiStr Binary2B32Str(const void* data, uint32_t length) { return EncodeBits(kB32Codec, data, length, true); }
AnsiStr Binary2B32Str(const Blob& data) { return Binary2B32Str(data.GetData(), data.GetLength()); }
bool B32Str2Binary(AnsiSubStr text, Blob& result) { return DecodeBits(kB32Codec, text, result); }

AnsiStr Binary2B64Str(const void* data, uint32_t length) { return EncodeBits(kB64Codec, data, length, true); }
AnsiStr Binary2B64Str(const Blob& data) { return Binary2B64Str(data.GetData(), data.GetLength()); }
bool B64Str2Binary(AnsiSubStr text, Blob& result) { return DecodeBits(kB64Codec, text, result); }

AnsiStr Binary2B64UrlStr(const void* data, uint32_t length) { return EncodeBits(kB64UrlCodec, data, length, false); }
AnsiStr Binary2B64UrlStr(const Blob& data) { return Binary2B64UrlStr(data.GetData(), data.GetLength()); }
bool B64UrlStr2Binary(AnsiSubStr text, Blob& result) { return DecodeBits(kB64UrlCodec, text, result); }

// ---- Base36 ----------------------------------------------------------------------------------

AnsiStr UInt2B36Str(uint64_t value) {
  char digits[14];  // 36^13 > 2^64
  char* start = digits + sizeof digits;
  do {
    *--start = kBase36[value % 36];
    value /= 36;
  } while (value != 0);
  return AnsiStr(start, static_cast<uint32_t>(digits + sizeof digits - start));
}

bool B36Str2UInt(AnsiSubStr text, uint64_t& value) {
  if (text.IsEmpty()) return Fail(EINVAL);
  uint64_t v = 0;
  bool overflow = false;
  for (uint32_t i = 0; i < text.GetLength(); ++i) {
    const int d = B36Value(static_cast<unsigned char>(text.GetStr()[i]));
    if (d < 0) return Fail(EINVAL);
    if (v > (UINT64_MAX - static_cast<uint64_t>(d)) / 36) overflow = true;
    v = v * 36 + static_cast<uint64_t>(d);
  }
  if (overflow) return Fail(ERANGE);
  value = v;
  return true;
}

// Binary2B36Str divides the big-endian number by 36 again and again, taking the remainders as
// digits from the least significant up; the number shrinks by its leading zero bytes as it
// goes. The leading zero bytes of the input are counted first and written as '0's. The work
// areas are fixed by the size limits, so nothing is allocated but the result.
AnsiStr Binary2B36Str(const void* data, uint32_t length) {
  if (data == nullptr && length != 0) return FailText(EINVAL);
  if (length > kMaxB36Bytes) return FailText(ERANGE);
  const uint8_t* in = static_cast<const uint8_t*>(data);
  uint32_t zeros = 0;
  while (zeros < length && in[zeros] == 0) ++zeros;
  uint8_t number[kMaxB36Bytes];
  char digits[kMaxB36Digits];  // least significant first
  const uint32_t size = length - zeros;
  std::copy_n(in + zeros, size, number);
  uint32_t count = 0;
  for (uint32_t first = 0; first < size;) {  // first: the first non-zero byte of number
    uint32_t remainder = 0;
    for (uint32_t i = first; i < size; ++i) {
      const uint32_t current = (remainder << 8) | number[i];
      number[i] = static_cast<uint8_t>(current / 36);
      remainder = current % 36;
    }
    digits[count++] = kBase36[remainder];
    while (first < size && number[first] == 0) ++first;
  }
  AnsiStr text;
  if (zeros + count == 0) return text;
  char* out = NewText(text, uint64_t{zeros} + count);
  if (out == nullptr) return AnsiStr();
  out = std::fill_n(out, zeros, '0');
  std::reverse_copy(digits, digits + count, out);
  return text;
}

AnsiStr Binary2B36Str(const Blob& data) { return Binary2B36Str(data.GetData(), data.GetLength()); }

// B36Str2Binary multiplies the big-endian number by 36 and adds each digit. The number is kept
// right-aligned in a fixed area and grows to the left when a carry is left over; the leading
// '0's become zero bytes in front of it.
bool B36Str2Binary(AnsiSubStr text, Blob& result) {
  const char* p = text.GetStr();
  const uint32_t length = text.GetLength();
  if (length > kMaxB36Digits) return Fail(ERANGE);
  for (uint32_t i = 0; i < length; ++i)
    if (B36Value(static_cast<unsigned char>(p[i])) < 0) return Fail(EINVAL);
  uint32_t zeros = 0;
  while (zeros < length && p[zeros] == '0') ++zeros;
  // Each digit adds at most log2(36) < 6 bits, so kMaxB36Digits digits fit in this many bytes.
  uint8_t area[kMaxB36Digits * 6 / 8 + 1];
  uint8_t* const areaEnd = area + sizeof area;
  uint8_t* start = areaEnd;  // the value is [start, areaEnd)
  for (uint32_t i = zeros; i < length; ++i) {
    uint32_t carry = static_cast<uint32_t>(B36Value(static_cast<unsigned char>(p[i])));
    for (uint8_t* b = areaEnd; b > start; --b) {
      const uint32_t current = b[-1] * 36u + carry;
      b[-1] = static_cast<uint8_t>(current & 0xFF);
      carry = current >> 8;
    }
    for (; carry != 0; carry >>= 8) *--start = static_cast<uint8_t>(carry & 0xFF);
  }
  const uint32_t valueLength = static_cast<uint32_t>(areaEnd - start);
  Blob decoded;
  if (zeros + valueLength == 0) {
    result = decoded;
    return true;
  }
  uint8_t* out = decoded.Alloc(zeros + valueLength);
  if (out == nullptr) return false;  // the blob has set the last error
  std::fill_n(out, zeros, uint8_t{0});
  std::copy_n(start, valueLength, out + zeros);
  result = decoded;
  return true;
}

}  // namespace OrvGuiBase
