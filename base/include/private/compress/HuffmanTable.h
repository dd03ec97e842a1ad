// HuffmanTable.h: the canonical prefix codes of the deflate format, shared by the encoder and
// the decoder (never installed).
//
// A code is given by its lengths per symbol; codes are assigned in order of length and, within
// a length, of symbol, and are sent most significant bit first, so the decoder's tables index
// them bit-reversed.
#pragma once

#include <cstdint>

namespace OrvGuiBase::DeflateCodes {

constexpr int kMaxBits = 15;
constexpr int kLitLenSymbols = 288;
constexpr int kDistSymbols = 32;
constexpr int kCodeLengthSymbols = 19;

// The bases and extra bits of the length symbols 257..285 and the distance symbols 0..29.
constexpr uint16_t kLengthBase[29] = {3,  4,  5,  6,  7,  8,  9,  10, 11,  13,  15,  17,  19,  23, 27,
                                      31, 35, 43, 51, 59, 67, 83, 99, 115, 131, 163, 195, 227, 258};
constexpr uint8_t kLengthExtra[29] = {0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2,
                                      2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5, 0};
constexpr uint16_t kDistBase[30] = {1,   2,   3,   4,   5,   7,    9,    13,   17,   25,   33,   49,    65,    97,    129,
                                    193, 257, 385, 513, 769, 1025, 1537, 2049, 3073, 4097, 6145, 8193, 12289, 16385, 24577};
constexpr uint8_t kDistExtra[30] = {0, 0, 0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7, 8, 8, 9, 9, 10, 10, 11, 11, 12, 12, 13, 13};
// The order in which a dynamic block sends the lengths of the code-length code.
constexpr uint8_t kCodeLengthOrder[19] = {16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15};

// FixedLitLenLength / kFixedDistLength: the code lengths of the fixed-code blocks.
constexpr uint8_t FixedLitLenLength(int symbol) {
  return symbol < 144 ? 8 : symbol < 256 ? 9 : symbol < 280 ? 7 : 8;
}
constexpr uint8_t kFixedDistLength = 5;

// ReverseBits: the low count bits of code in reverse order.
inline uint32_t ReverseBits(uint32_t code, int count) {
  uint32_t r = 0;
  for (int i = 0; i < count; ++i, code >>= 1) r = (r << 1) | (code & 1);
  return r;
}

// AssignCodes: the canonical codes (bit-reversed, ready to send least significant bit first)
// of n symbols with the given lengths; lengths of 0 get no code.
inline void AssignCodes(const uint8_t* lengths, int n, uint16_t* codes) {
  uint16_t count[kMaxBits + 1] = {};
  for (int i = 0; i < n; ++i) ++count[lengths[i]];
  count[0] = 0;
  uint16_t next[kMaxBits + 2] = {};
  uint32_t code = 0;
  for (int bits = 1; bits <= kMaxBits; ++bits) {
    code = (code + count[bits - 1]) << 1;
    next[bits] = static_cast<uint16_t>(code);
  }
  for (int i = 0; i < n; ++i) {
    codes[i] = lengths[i] != 0 ? static_cast<uint16_t>(ReverseBits(next[lengths[i]]++, lengths[i])) : 0;
  }
}

}  // namespace OrvGuiBase::DeflateCodes
