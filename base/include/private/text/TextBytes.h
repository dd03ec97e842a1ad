// TextBytes.h: byte-level helpers shared by the text encoders and escapes (never installed).
#pragma once

#include <cstdint>

#include "base/text/AnsiStr.h"

namespace OrvGuiBase::Internal {

// The digits of hexadecimal output, upper case.
inline constexpr char kUpperHex[] = "0123456789ABCDEF";

// IsContinuation: whether a byte continues a UTF-8 character (10xxxxxx).
inline bool IsContinuation(unsigned char b) { return (b & 0xC0) == 0x80; }
inline bool IsContinuation(char c) { return IsContinuation(static_cast<unsigned char>(c)); }

// SequenceLength: the bytes of the UTF-8 character that a lead byte starts (1 to 4), 0 for a
// byte that starts none (a continuation byte).
inline unsigned SequenceLength(unsigned char lead) {
  return lead < 0x80 ? 1 : lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 0;
}

// HexValue: the value of a hexadecimal digit of either case, -1 for any other byte.
inline int HexValue(unsigned char b) {
  if (b >= '0' && b <= '9') return b - '0';
  if (b >= 'A' && b <= 'F') return b - 'A' + 10;
  if (b >= 'a' && b <= 'f') return b - 'a' + 10;
  return -1;
}
inline int HexValue(char c) { return HexValue(static_cast<unsigned char>(c)); }

// FinishText: the builder's text, or the empty string when an append failed (the builder has
// then set the last error).
inline AnsiStr FinishText(AnsiStrBuilder& out) { return out.IsFailed() ? AnsiStr() : out.Detach(); }

}  // namespace OrvGuiBase::Internal
