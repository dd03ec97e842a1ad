// BinaryText.h: bytes as text and back: Base16, Base32, Base36 and Base64 (with its URL form).
//
//   Blob data(bytes, length);
//   AnsiStr text = Binary2B16Str(data, "\r\n");      // upper case hex, 32 bytes per line
//   Blob back;
//   if (!B16Str2Binary(text, back)) ...              // last error 22: not Base16 text
//
// Common contract:
//  - Encoders take the bytes (a Blob, or a pointer and a length) and return a new AnsiStr;
//    no bytes give the empty string. They fail only for lack of memory or a result past 32
//    bits: the empty string with last error 12 (ENOMEM) or 34 (ERANGE); a null pointer with a
//    non-zero length is 22 (EINVAL).
//  - Decoders take the text as an AnsiSubStr view and return true with the bytes in result,
//    or false with the last error set and result left exactly as it was (nothing is
//    half-written): 22 (EINVAL) for text that is not in the encoding, 34 (ERANGE) past a size
//    limit, 12 for lack of memory. The empty text decodes to no bytes.
//  - Base32 and Base64 follow RFC 4648 (sections 4, 5 and 6) with their standard alphabets.
//  - The last error is not touched on success. All functions are reentrant and keep no state.
// Depends on AnsiStr and Blob only.
#pragma once

#include <cstdint>

#include "base/core/Export.h"
#include "base/text/AnsiStr.h"
#include "base/text/Blob.h"

namespace OrvGuiBase {

// Binary2B16Str: two upper case hexadecimal digits per byte. When separator is not empty, the
// digits are cut into lines of lineBytes bytes (2 x lineBytes digits) and separator is written
// between two lines (not after the last); the registry writes binary values with "\r\n". A
// lineBytes of 0 means one line whatever the separator.
ORVGUI_API AnsiStr Binary2B16Str(const void* data, uint32_t length, AnsiSubStr separator = AnsiSubStr(),
                                 uint32_t lineBytes = 32);
ORVGUI_API AnsiStr Binary2B16Str(const Blob& data, AnsiSubStr separator = AnsiSubStr(), uint32_t lineBytes = 32);
// B16Str2Binary: pairs of hexadecimal digits (either case) to bytes. Between two pairs (and
// before the first and after the last) any blanks, tabs, CRs and LFs are skipped, as are
// occurrences of separator when one is given, so the lines of Binary2B16Str read back whatever
// separator wrote them. A separator or a blank between the two digits of a byte, an odd
// number of digits, or any other byte fails with EINVAL.
ORVGUI_API bool B16Str2Binary(AnsiSubStr text, Blob& result, AnsiSubStr separator = AnsiSubStr());

// Binary2B32Str: Base32 (alphabet A-Z, 2-7), padded with '=' to a multiple of 8 characters.
ORVGUI_API AnsiStr Binary2B32Str(const void* data, uint32_t length);
ORVGUI_API AnsiStr Binary2B32Str(const Blob& data);
// B32Str2Binary: the reverse. Letters may be of either case. Padding may be left out; when it
// is present it must complete the last group of 8 exactly. Fails with EINVAL for a character
// outside the alphabet (blanks and line breaks included), a '=' inside the text, a length that
// no byte count produces, wrong padding, or unused trailing bits that are not zero (a
// non-canonical text).
ORVGUI_API bool B32Str2Binary(AnsiSubStr text, Blob& result);

// Binary2B64Str: Base64 (alphabet A-Z, a-z, 0-9, '+', '/'), padded with '=' to a multiple of 4.
ORVGUI_API AnsiStr Binary2B64Str(const void* data, uint32_t length);
ORVGUI_API AnsiStr Binary2B64Str(const Blob& data);
// B64Str2Binary: the reverse, with the same rules as B32Str2Binary (padding optional but exact
// when present, no blanks or line breaks, zero trailing bits). Letters are case-sensitive.
ORVGUI_API bool B64Str2Binary(AnsiSubStr text, Blob& result);
// Binary2B64UrlStr / B64UrlStr2Binary: the URL and file name safe form ('-' and '_' in place of
// '+' and '/'). The encoder writes no padding, since '=' itself needs escaping in a URL; the
// decoder accepts the text with or without it.
ORVGUI_API AnsiStr Binary2B64UrlStr(const void* data, uint32_t length);
ORVGUI_API AnsiStr Binary2B64UrlStr(const Blob& data);
ORVGUI_API bool B64UrlStr2Binary(AnsiSubStr text, Blob& result);

// Base36 uses the digits "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"; decoders accept lower case
// letters too.
//
// UInt2B36Str: a number in base 36, most significant digit first, without leading zeros ("0"
// for 0). B36Str2UInt: the reverse; fails with EINVAL for an empty text or a byte that is not
// a digit (no sign, no blanks) and with ERANGE above 2^64 - 1; value is left alone on failure.
ORVGUI_API AnsiStr UInt2B36Str(uint64_t value);
ORVGUI_API bool B36Str2UInt(AnsiSubStr text, uint64_t& value);
// Binary2B36Str: the bytes read as one big-endian unsigned number, written in base 36 without
// leading zeros; each leading zero byte is written as one leading '0', so the byte count
// survives the round trip (00 00 01 gives "001"; a single 00 gives "0"). Because the
// conversion takes time quadratic in the length, it is meant for identifiers and keys: more
// than 4096 bytes fail with ERANGE. B36Str2Binary: the reverse: each leading '0' gives one zero
// byte, the remaining digits the shortest big-endian bytes of their value. More than 6400
// digits fail with ERANGE; a byte that is not a digit fails with EINVAL.
ORVGUI_API AnsiStr Binary2B36Str(const void* data, uint32_t length);
ORVGUI_API AnsiStr Binary2B36Str(const Blob& data);
ORVGUI_API bool B36Str2Binary(AnsiSubStr text, Blob& result);

}  // namespace OrvGuiBase
