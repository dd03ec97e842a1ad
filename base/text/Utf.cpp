// Utf.cpp: the six UTF conversions, the strict validator and the repairers.
//
// Each conversion is one loop over code points: decode one from the source (with the rules of
// the source encoding), encode it into the target (or only count it when measuring), and stop
// at the first ill-formed sequence or full target. These one-code-point rules are the
// reference; on their own (the scalar path) they take runs of ASCII eight bytes at a time.
//
// Normally the loop hands the source to a vector kernel first (UtfSimd.h): the kernel takes as
// much as it can decide cheaply and stops before the rest; the loop applies the rules to the
// next code point, which also produces every error at the exact unit where the rules find it,
// and hands over again. A kernel that could take nothing gets a pause of sixteen code points.
// The validators and repairers check the whole text with the kernel first and fall back to the
// rules (with vector ASCII runs) only for text that needs repair.
#include "base/text/Utf.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <cwchar>

#include "private/text/UtfSimd.h"

namespace OrvGuiBase {

namespace {

constexpr uint32_t kWholeString = 0xFFFFFFFFu;
constexpr uint64_t kMaxResult = 0x7FFFFFFFu;
constexpr uint64_t kAsciiMask = 0x8080808080808080ull;

using UtfSimd::UtfKernels;
using UtfSimd::UtfRun;

// The terminated length reads no unit past the terminator, not even within a vector.
template <class Unit>
uint64_t TerminatedLength(const Unit* source) {
  uint64_t n;
  if constexpr (sizeof(Unit) == 1) {
    n = strlen(source);
  } else if constexpr (sizeof(Unit) == sizeof(wchar_t)) {
    n = wcslen(reinterpret_cast<const wchar_t*>(source));
  } else {
    n = 0;
    while (source[n] != 0) ++n;
  }
  return n + 1;  // the terminator is converted and counted
}

// The kernels of the scalar path: none.
constexpr UtfKernels kScalarKernels{};

std::atomic<const UtfKernels*> g_kernels{nullptr};

bool HasAvx2() {
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2") &&
         __builtin_cpu_supports("popcnt");
}

// The kernels in use: chosen on first use (a race only chooses the same twice).
const UtfKernels& Kernels() {
  const UtfKernels* kernels = g_kernels.load(std::memory_order_relaxed);
  if (kernels == nullptr) {
    kernels = HasAvx2() ? &UtfSimd::Avx2Kernels() : &UtfSimd::Sse2Kernels();
    g_kernels.store(kernels, std::memory_order_relaxed);
  }
  return *kernels;
}

inline uint64_t LoadWord(const char* p) {
  uint64_t word;
  memcpy(&word, p, 8);
  return word;
}

// Decoders: read one code point at source[at], advance at; false for an ill-formed sequence.
struct Utf8Lenient {
  using Unit = char;
  static bool Decode(const char* source, uint64_t length, uint64_t& at, char32_t& cp) {
    const unsigned char b0 = static_cast<unsigned char>(source[at]);
    if (b0 < 0x80) {
      cp = b0;
      ++at;
      return true;
    }
    unsigned need;
    if (b0 < 0xC0) return false;
    if (b0 < 0xE0) {
      need = 2;
      cp = b0 & 0x1F;
    } else if (b0 < 0xF0) {
      need = 3;
      cp = b0 & 0x0F;
    } else if (b0 < 0xF8) {
      need = 4;
      cp = b0 & 0x07;
    } else {
      return false;
    }
    if (length - at < need) return false;
    for (unsigned i = 1; i < need; ++i) {
      const unsigned char b = static_cast<unsigned char>(source[at + i]);
      if ((b & 0xC0) != 0x80) return false;
      cp = (cp << 6) | (b & 0x3F);
    }
    if (need == 4 && cp > 0x10FFFF) return false;
    at += need;
    return true;
  }
};

struct Utf16Decoder {
  using Unit = char16_t;
  static bool Decode(const char16_t* source, uint64_t length, uint64_t& at, char32_t& cp) {
    const char16_t unit = source[at];
    if (unit < 0xD800 || unit > 0xDFFF) {
      cp = unit;
      ++at;
      return true;
    }
    if (unit > 0xDBFF || at + 1 >= length) return false;  // a lone low, or a high at the end
    const char16_t low = source[at + 1];
    if (low < 0xDC00 || low > 0xDFFF) return false;
    cp = (static_cast<char32_t>(unit) << 10) + low - 0x35FDC00;
    at += 2;
    return true;
  }
};

struct Utf32Decoder {
  using Unit = char32_t;
  static bool Decode(const char32_t* source, uint64_t, uint64_t& at, char32_t& cp) {
    cp = source[at++];
    return cp <= 0x10FFFF;
  }
};

// Encoders: the units a code point needs, and writing them.
struct Utf8Encoder {
  using Unit = char;
  static unsigned Size(char32_t cp) { return cp < 0x80 ? 1 : cp < 0x800 ? 2 : cp < 0x10000 ? 3 : 4; }
  static void Write(char* out, char32_t cp, unsigned size) {
    switch (size) {
      case 1:
        out[0] = static_cast<char>(cp);
        break;
      case 2:
        out[0] = static_cast<char>(0xC0 | (cp >> 6));
        out[1] = static_cast<char>(0x80 | (cp & 0x3F));
        break;
      case 3:
        out[0] = static_cast<char>(0xE0 | (cp >> 12));
        out[1] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out[2] = static_cast<char>(0x80 | (cp & 0x3F));
        break;
      default:
        out[0] = static_cast<char>(0xF0 | (cp >> 18));
        out[1] = static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        out[2] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out[3] = static_cast<char>(0x80 | (cp & 0x3F));
    }
  }
};

struct Utf16Encoder {
  using Unit = char16_t;
  static unsigned Size(char32_t cp) { return cp >= 0x10000 ? 2 : 1; }
  static void Write(char16_t* out, char32_t cp, unsigned size) {
    if (size == 1) {
      out[0] = static_cast<char16_t>(cp);
    } else {
      out[0] = static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10));
      out[1] = static_cast<char16_t>(0xDC00 + ((cp - 0x10000) & 0x3FF));
    }
  }
};

struct Utf32Encoder {
  using Unit = char32_t;
  static unsigned Size(char32_t) { return 1; }
  static void Write(char32_t* out, char32_t cp, unsigned) { out[0] = cp; }
};

// The ASCII run at source[at..]: copied (widened) eight bytes at a time while the target has
// room; advances at and written. Only for UTF-8 sources.
template <class Out>
void AsciiRun(const char* source, uint64_t length, uint64_t& at, Out* target, uint64_t targetLength,
              uint64_t& written) {
  while (length - at >= 8 && (LoadWord(source + at) & kAsciiMask) == 0) {
    if (target != nullptr) {
      if (targetLength - written < 8) return;
      for (unsigned i = 0; i < 8; ++i)
        target[written + i] = static_cast<Out>(static_cast<unsigned char>(source[at + i]));
    }
    at += 8;
    written += 8;
  }
}

// After a kernel that could take nothing, the rules take this many code points before the
// kernel is asked again.
constexpr unsigned kPause = 16;

template <class Decoder, class Encoder>
uint32_t Convert(const typename Decoder::Unit* source, uint32_t sourceLength, typename Encoder::Unit* target,
                 uint32_t targetLength, bool (*kernel)(UtfRun<typename Decoder::Unit, typename Encoder::Unit>&)) {
  if (source == nullptr || sourceLength == 0 || (targetLength != 0 && target == nullptr)) {
    errno = EINVAL;
    return 0;
  }
  const uint64_t length = sourceLength == kWholeString ? TerminatedLength(source) : sourceLength;
  typename Encoder::Unit* out = targetLength != 0 ? target : nullptr;
  UtfRun<typename Decoder::Unit, typename Encoder::Unit> run{source, length, out, out != nullptr ? targetLength : 0u,
                                                             0,      0};
  uint64_t& at = run.at;
  uint64_t& written = run.written;
  unsigned byRules = 0;  // code points the rules take before the kernel's next turn
  while (at < length) {
    if (kernel != nullptr && byRules == 0) {
      const uint64_t before = at;
      if (!kernel(run)) {
        errno = EILSEQ;
        return 0;
      }
      if (at >= length) break;
      byRules = at == before ? kPause : 1;
    }
    if constexpr (sizeof(typename Decoder::Unit) == 1) {
      AsciiRun(source, length, at, out, targetLength, written);  // short text never reaches a kernel
      if (at >= length) break;
    }
    if (byRules != 0) --byRules;
    char32_t cp;
    if (!Decoder::Decode(source, length, at, cp)) {
      errno = EILSEQ;
      return 0;
    }
    const unsigned size = Encoder::Size(cp);
    if (out != nullptr) {
      if (targetLength - written < size) {
        errno = ENOBUFS;
        return 0;
      }
      Encoder::Write(out + written, cp, size);
    }
    written += size;
  }
  if (written > kMaxResult) {
    errno = ERANGE;
    return 0;
  }
  return static_cast<uint32_t>(written);
}

// The strict rules: the length of the well-formed sequence at s[0..available), or 0.
unsigned StrictSequence(const unsigned char* s, uint64_t available) {
  const unsigned char b0 = s[0];
  if (b0 < 0x80) return 1;
  if (b0 < 0xC2 || b0 > 0xF4) return 0;
  const unsigned need = b0 < 0xE0 ? 2 : b0 < 0xF0 ? 3 : 4;
  if (available < need) return 0;
  unsigned char low = 0x80, high = 0xBF;
  if (b0 == 0xE0)
    low = 0xA0;
  else if (b0 == 0xED)
    high = 0x9F;
  else if (b0 == 0xF0)
    low = 0x90;
  else if (b0 == 0xF4)
    high = 0x8F;
  if (s[1] < low || s[1] > high) return 0;
  for (unsigned i = 2; i < need; ++i)
    if (s[i] < 0x80 || s[i] > 0xBF) return 0;
  return need;
}

}  // namespace

uint32_t UTF8toUTF16(const char* source, uint32_t sourceLength, char16_t* target, uint32_t targetLength) {
  return Convert<Utf8Lenient, Utf16Encoder>(source, sourceLength, target, targetLength, Kernels().utf8to16);
}
uint32_t UTF8toUTF32(const char* source, uint32_t sourceLength, char32_t* target, uint32_t targetLength) {
  return Convert<Utf8Lenient, Utf32Encoder>(source, sourceLength, target, targetLength, Kernels().utf8to32);
}
uint32_t UTF16toUTF8(const char16_t* source, uint32_t sourceLength, char* target, uint32_t targetLength) {
  return Convert<Utf16Decoder, Utf8Encoder>(source, sourceLength, target, targetLength, Kernels().utf16to8);
}
uint32_t UTF16toUTF32(const char16_t* source, uint32_t sourceLength, char32_t* target, uint32_t targetLength) {
  return Convert<Utf16Decoder, Utf32Encoder>(source, sourceLength, target, targetLength, Kernels().utf16to32);
}
uint32_t UTF32toUTF8(const char32_t* source, uint32_t sourceLength, char* target, uint32_t targetLength) {
  return Convert<Utf32Decoder, Utf8Encoder>(source, sourceLength, target, targetLength, Kernels().utf32to8);
}
uint32_t UTF32toUTF16(const char32_t* source, uint32_t sourceLength, char16_t* target, uint32_t targetLength) {
  return Convert<Utf32Decoder, Utf16Encoder>(source, sourceLength, target, targetLength, Kernels().utf32to16);
}

bool IsValidUTF8(const char* s, unsigned long length) {
  if (s == nullptr) return false;
  const unsigned char* p = reinterpret_cast<const unsigned char*>(s);
  const UtfKernels& kernels = Kernels();
  if (kernels.check != nullptr) return kernels.check(p, length, UtfSimd::Utf8Rules::kStrict);
  uint64_t at = 0;
  while (at < length) {
    while (length - at >= 8 && (LoadWord(s + at) & kAsciiMask) == 0) at += 8;
    if (at >= length) break;
    const unsigned size = StrictSequence(p + at, length - at);
    if (size == 0) return false;
    at += size;
  }
  return true;
}

bool IsValidUTF8(const char* s) { return s != nullptr && IsValidUTF8(s, strlen(s)); }

bool EnsureUTF8(char* s, char replacement) {
  if (s == nullptr) return false;
  const uint64_t length = strlen(s);
  unsigned char* p = reinterpret_cast<unsigned char*>(s);
  const UtfKernels& kernels = Kernels();
  // Well-formed text is left as it is: not even its terminator is written.
  if (kernels.check != nullptr && kernels.check(p, length, UtfSimd::Utf8Rules::kStrict)) return true;
  uint64_t in = 0, out = 0;
  bool clean = true;
  while (in < length) {
    if (kernels.asciiPrefix != nullptr) {
      const uint64_t ascii = kernels.asciiPrefix(p + in, length - in);
      if (out != in) memmove(p + out, p + in, ascii);
      in += ascii;
      out += ascii;
      if (in >= length) break;
    }
    const unsigned size = StrictSequence(p + in, length - in);
    if (size == 0) {
      clean = false;
      ++in;
      if (replacement != 0) p[out++] = static_cast<unsigned char>(replacement);
      continue;
    }
    if (out != in) memmove(p + out, p + in, size);
    in += size;
    out += size;
  }
  p[out] = 0;
  return clean;
}

AnsiStr EnsureUTF8(const AnsiStr& s, char replacement) {
  AnsiStr copy = s.Copy();
  if (!copy.IsEmpty()) {
    char* text = copy.Alloc(copy.GetLength(), copy.GetStr());  // an owned, writable body
    if (text != nullptr) EnsureUTF8(text, replacement);        // the length is measured afresh
  }
  return copy;
}

AnsiStr EnsurePrintableUTF8(const AnsiStr& s) {
  static const char kReplacement[] = "\xEF\xBF\xBD";
  const unsigned char* p = reinterpret_cast<const unsigned char*>(s.GetStr());
  const uint64_t length = s.GetLength();
  const UtfKernels& kernels = Kernels();
  if (kernels.check != nullptr && kernels.check(p, length, UtfSimd::Utf8Rules::kPrintable)) return s;
  AnsiStrBuilder out;
  uint64_t runStart = 0, at = 0;
  auto flush = [&](uint64_t end) {
    if (end > runStart) out.Append(AnsiSubStr(s.GetStr() + runStart, static_cast<uint32_t>(end - runStart)));
  };
  while (at < length) {
    if (kernels.printablePrefix != nullptr) {
      at += kernels.printablePrefix(p + at, length - at);
      if (at >= length) break;
    }
    const unsigned size = StrictSequence(p + at, length - at);
    const unsigned char b = p[at];
    const bool control = (size == 1 && ((b < 0x20 && b != 9 && b != 10 && b != 13) || b == 0x7F)) ||
                         (size == 2 && b == 0xC2 && p[at + 1] < 0xA0);
    if (size != 0 && !control) {
      at += size;
      continue;
    }
    flush(at);
    out.Append(AnsiSubStr(kReplacement, 3));
    at += size != 0 ? size : 1;
    runStart = at;
  }
  if (runStart == 0) return s;  // nothing replaced: share the body
  flush(length);
  return out.Detach();
}

namespace Internal {

bool SetUtfPath(UtfPath path) {
  const UtfKernels* kernels = nullptr;
  switch (path) {
    case UtfPath::Automatic:
      kernels = HasAvx2() ? &UtfSimd::Avx2Kernels() : &UtfSimd::Sse2Kernels();
      break;
    case UtfPath::Scalar:
      kernels = &kScalarKernels;
      break;
    case UtfPath::Sse2:
      kernels = &UtfSimd::Sse2Kernels();
      break;
    case UtfPath::Avx2:
      if (!HasAvx2()) return false;
      kernels = &UtfSimd::Avx2Kernels();
      break;
  }
  if (kernels == nullptr) return false;
  g_kernels.store(kernels, std::memory_order_relaxed);
  return true;
}

}  // namespace Internal

}  // namespace OrvGuiBase
