// Utf.h: conversions between UTF-8, UTF-16 and UTF-32, and UTF-8 validation and repair.
//
//   uint32_t units = UTF8toUTF16(text, length, nullptr, 0);        // measure
//   std::vector<char16_t> out(units);
//   if (UTF8toUTF16(text, length, out.data(), units) == 0) ...     // last error says why
//
// Every conversion has the shape result = f(source, sourceLength, target, targetLength), with
// lengths in units of the respective type (bytes, char16_t, char32_t):
//   - a null source or a source length of 0 is EINVAL (22), result 0;
//   - a source length of 0xFFFFFFFF means up to and including the terminating NUL, which is
//     converted and counted;
//   - a target length of 0 measures: nothing is written, the units needed are returned; a
//     non-zero target length with a null target is EINVAL;
//   - the result is the number of target units written (or needed); one that would not fit in
//     31 bits is ERANGE (34), result 0;
//   - an ill-formed source is EILSEQ (84), a target that fills up before the source ends is
//     ENOBUFS (105); both return 0. There is never a partial result or a replacement character.
//
// Decoding UTF-8 in the converters is deliberately lenient: overlong forms and encoded
// surrogates decode as they stand (callers pass such text through unchanged); only lead bytes
// 0x80..0xBF and above 0xF7, a missing or wrong continuation byte, a sequence cut by the end of
// the input, and a 4-byte value above 0x10FFFF are ill-formed. IsValidUTF8 is the strict check.
//
// The work runs on the widest vector unit the processor offers (AVX2, else SSE2), with the
// results and errors of the plain one-code-point-at-a-time rules. Units of the target past the
// result of a successful call are left as they were.
#pragma once

#include <cstdint>

#include "base/core/Export.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiBase {

ORVGUI_API uint32_t UTF8toUTF16(const char* source, uint32_t sourceLength, char16_t* target, uint32_t targetLength);
ORVGUI_API uint32_t UTF8toUTF32(const char* source, uint32_t sourceLength, char32_t* target, uint32_t targetLength);
ORVGUI_API uint32_t UTF16toUTF8(const char16_t* source, uint32_t sourceLength, char* target, uint32_t targetLength);
ORVGUI_API uint32_t UTF16toUTF32(const char16_t* source, uint32_t sourceLength, char32_t* target,
                                 uint32_t targetLength);
ORVGUI_API uint32_t UTF32toUTF8(const char32_t* source, uint32_t sourceLength, char* target, uint32_t targetLength);
ORVGUI_API uint32_t UTF32toUTF16(const char32_t* source, uint32_t sourceLength, char16_t* target,
                                 uint32_t targetLength);

// IsValidUTF8: strict well-formedness (lead bytes 0xC2..0xF4, no overlong forms, no
// surrogates, nothing above U+10FFFF). The NUL-terminated form: null is false, "" is true. The
// counted form: null is false, length 0 is true, and a sequence running past length is invalid.
ORVGUI_API bool IsValidUTF8(const char* s);
ORVGUI_API bool IsValidUTF8(const char* s, unsigned long length);

// EnsureUTF8: repairs s in place with the strict rules: well-formed sequences are kept; at a
// byte where none starts, that byte is replaced by replacement (dropped when replacement is
// NUL) and scanning resumes at the next byte. True when nothing had to change; null is false.
ORVGUI_API bool EnsureUTF8(char* s, char replacement);
// EnsureUTF8: the same on a copy.
ORVGUI_API AnsiStr EnsureUTF8(const AnsiStr& s, char replacement);
// EnsurePrintableUTF8: a copy in which every byte that starts no well-formed sequence, every
// ASCII control but TAB, LF and CR, the byte 0x7F and every C1 control (U+0080..U+009F) is
// replaced by U+FFFD (EF BF BD).
ORVGUI_API AnsiStr EnsurePrintableUTF8(const AnsiStr& s);

namespace Internal {
// UtfPath: the implementations behind the conversions and validators. Automatic is the fastest
// the processor offers; the others force one, so that a test can compare them on the same input.
enum class UtfPath { Automatic, Scalar, Sse2, Avx2 };
// SetUtfPath: routes every later conversion and validation of the process through path; false,
// and nothing changed, when the processor cannot run it. Meant for tests and benchmarks: not
// to be switched while other threads convert.
ORVGUI_API bool SetUtfPath(UtfPath path);
}  // namespace Internal

}  // namespace OrvGuiBase
