// Escapes.cpp: CleanStr, ClipStr and the HTML, XML, URL and label escapes.
//
// The URL and label escapes share one percent-encoding core: a predicate says how many bytes
// at a position may stay as they are (0: encode one byte as %hh), and the decoder checks the
// bytes between the %hh groups with the same predicate. The HTML and XML unescapes share one
// reference reader; they differ in what they accept.
#include "base/text/Escapes.h"

#include <cerrno>
#include <cstring>

#include "base/core/LastError.h"
#include "base/text/Utf.h"
#include "private/text/TextBytes.h"

namespace OrvGuiBase {
namespace {

using Internal::HexValue;
using Internal::IsContinuation;
using Internal::kUpperHex;

inline bool IsAsciiAlnum(unsigned char b) {
  return (b >= '0' && b <= '9') || (b >= 'A' && b <= 'Z') || (b >= 'a' && b <= 'z');
}

// Deliver: hands a decoded text to the caller's result, or reports the builder's failure.
bool Deliver(AnsiStrBuilder& out, AnsiStr& result) {
  if (out.IsFailed()) return false;
  result = out.Detach();
  return true;
}

bool Malformed() {
  SetLastError(EINVAL);
  return false;
}

// CharCount: UTF-8 characters in a view.
uint32_t CharCount(AnsiSubStr text) {
  uint32_t count = 0;
  const char* p = text.GetStr();
  for (uint32_t i = 0; i < text.GetLength(); ++i) count += !IsContinuation(p[i]);
  return count;
}

// PrefixBytes: the bytes of the first chars characters of a view.
uint32_t PrefixBytes(AnsiSubStr text, uint32_t chars) {
  const char* p = text.GetStr();
  const uint32_t length = text.GetLength();
  uint32_t at = 0;
  for (uint32_t n = 0; n < chars && at < length; ++n) {
    ++at;
    while (at < length && IsContinuation(p[at])) ++at;
  }
  return at;
}

// ValidSequenceLength: the length of the well-formed multi-byte UTF-8 character at p (at most
// left bytes available), 0 when none starts there.
uint32_t ValidSequenceLength(const char* p, uint32_t left) {
  const unsigned char lead = static_cast<unsigned char>(*p);
  uint32_t n = 0;
  if (lead >= 0xC2 && lead <= 0xDF)
    n = 2;
  else if (lead >= 0xE0 && lead <= 0xEF)
    n = 3;
  else if (lead >= 0xF0 && lead <= 0xF4)
    n = 4;
  return n != 0 && n <= left && IsValidUTF8(p, n) ? n : 0;
}

// ---- Percent encoding ------------------------------------------------------------------------

// KeepFn: how many bytes at text[i] stay as they are; 0 means "encode the byte at i".
using KeepFn = uint32_t (*)(const char* text, uint32_t i, uint32_t length, const void* context);

AnsiStr PercentEncode(AnsiSubStr text, KeepFn keep, const void* context) {
  const char* p = text.GetStr();
  const uint32_t length = text.GetLength();
  AnsiStrBuilder out(length + length / 2 + 1);
  uint32_t run = 0;  // start of the bytes not yet copied
  for (uint32_t i = 0; i < length;) {
    const uint32_t kept = keep(p, i, length, context);
    if (kept != 0) {
      i += kept;
      continue;
    }
    const unsigned char b = static_cast<unsigned char>(p[i]);
    const char code[3] = {'%', kUpperHex[b >> 4], kUpperHex[b & 15]};
    out.Append(AnsiSubStr(p + run, i - run)).Append(AnsiSubStr(code, 3));
    run = ++i;
  }
  out.Append(AnsiSubStr(p + run, length - run));
  return Internal::FinishText(out);
}

// PercentDecode: %hh groups become bytes; the bytes between them must pass keep. The result is
// assigned only when the whole text decodes.
bool PercentDecode(AnsiSubStr text, KeepFn keep, const void* context, AnsiStr& result) {
  const char* p = text.GetStr();
  const uint32_t length = text.GetLength();
  AnsiStrBuilder out(length);
  uint32_t run = 0;
  for (uint32_t i = 0; i < length;) {
    if (p[i] != '%') {
      const uint32_t kept = keep(p, i, length, context);
      if (kept == 0) return Malformed();
      i += kept;
      continue;
    }
    const int high = i + 1 < length ? HexValue(p[i + 1]) : -1;
    const int low = i + 2 < length ? HexValue(p[i + 2]) : -1;
    if (high < 0 || low < 0) return Malformed();
    const char byte = static_cast<char>(high * 16 + low);
    out.Append(AnsiSubStr(p + run, i - run)).Append(AnsiSubStr(&byte, 1));
    i += 3;
    run = i;
  }
  out.Append(AnsiSubStr(p + run, length - run));
  return Deliver(out, result);
}

// The URL set: a 128-bit table of the ASCII bytes that stay.
struct AsciiSet {
  uint64_t bits[2] = {0, 0};
  void Add(unsigned char b) {
    if (b < 128) bits[b >> 6] |= uint64_t{1} << (b & 63);
  }
  bool Has(unsigned char b) const { return b < 128 && (bits[b >> 6] >> (b & 63) & 1) != 0; }
};

uint32_t UrlKeep(const char* text, uint32_t i, uint32_t, const void* context) {
  return static_cast<const AsciiSet*>(context)->Has(static_cast<unsigned char>(text[i])) ? 1 : 0;
}

uint32_t AnyByte(const char*, uint32_t, uint32_t, const void*) { return 1; }

uint32_t LabelKeep(const char* text, uint32_t i, uint32_t length, const void*) {
  const unsigned char b = static_cast<unsigned char>(text[i]);
  if (IsAsciiAlnum(b) || b == '-' || b == '_') return 1;
  if (b == '.') return i != 0 ? 1 : 0;
  if (b < 0x80) return 0;
  return ValidSequenceLength(text + i, length - i);
}

// ---- HTML and XML references -----------------------------------------------------------------

enum class RefMode { kHtml, kXml };
enum class RefResult { kNone, kOk, kBad };

struct NamedEntity {
  const char* name;
  uint32_t length;
  char32_t value;
};
constexpr NamedEntity kEntities[] = {
    {"amp", 3, '&'}, {"lt", 2, '<'}, {"gt", 2, '>'}, {"quot", 4, '"'}, {"apos", 4, '\''}};

bool XmlAllowed(char32_t c) {
  return c == 0x9 || c == 0xA || c == 0xD || (c >= 0x20 && c <= 0xD7FF) || (c >= 0xE000 && c <= 0xFFFD) ||
         (c >= 0x10000 && c <= 0x10FFFF);
}

// ReadReference: reads the reference that starts with the '&' at p[0] (end bounds the text).
// kOk sets value and consumed; kNone means the '&' starts no reference (HTML keeps it as text);
// kBad means the reference is malformed or names a forbidden character.
RefResult ReadReference(const char* p, const char* end, RefMode mode, char32_t& value, uint32_t& consumed) {
  const char* q = p + 1;
  if (q < end && *q == '#') {
    ++q;
    uint32_t base = 10;
    if (q < end && (*q == 'x' || (*q == 'X' && mode == RefMode::kHtml))) {
      base = 16;
      ++q;
    }
    const char* digits = q;
    uint32_t v = 0;
    for (; q < end; ++q) {
      const int d = HexValue(*q);
      if (d < 0 || static_cast<uint32_t>(d) >= base) break;
      v = v * base + static_cast<uint32_t>(d);
      if (v > 0x10FFFF) return RefResult::kBad;
    }
    if (q == digits || q == end || *q != ';') return RefResult::kBad;
    const bool allowed = mode == RefMode::kXml ? XmlAllowed(v) : v != 0 && (v < 0xD800 || v > 0xDFFF);
    if (!allowed) return RefResult::kBad;
    value = v;
    consumed = static_cast<uint32_t>(q + 1 - p);
    return RefResult::kOk;
  }
  const char* name = q;
  while (q < end && IsAsciiAlnum(static_cast<unsigned char>(*q))) ++q;
  if (q < end && *q == ';') {
    const uint32_t length = static_cast<uint32_t>(q - name);
    for (const NamedEntity& entity : kEntities) {
      if (entity.length == length && memcmp(entity.name, name, length) == 0) {
        value = entity.value;
        consumed = length + 2;
        return RefResult::kOk;
      }
    }
  }
  // Deliberate: HTML readers show an unknown or unterminated reference as text; XML refuses it.
  return mode == RefMode::kHtml ? RefResult::kNone : RefResult::kBad;
}

bool UnescapeReferences(AnsiSubStr text, RefMode mode, AnsiStr& result) {
  const char* p = text.GetStr();
  const uint32_t length = text.GetLength();
  AnsiStrBuilder out(length);
  uint32_t run = 0;
  for (uint32_t i = 0; i < length; ++i) {
    if (p[i] != '&') continue;
    char32_t value = 0;
    uint32_t consumed = 0;
    const RefResult read = ReadReference(p + i, p + length, mode, value, consumed);
    if (read == RefResult::kBad) return Malformed();
    if (read == RefResult::kNone) continue;
    char utf8[4];
    const uint32_t bytes = UTF32toUTF8(&value, 1, utf8, sizeof utf8);
    if (bytes == 0) return Malformed();
    out.Append(AnsiSubStr(p + run, i - run)).Append(AnsiSubStr(utf8, bytes));
    i += consumed - 1;
    run = i + 1;
  }
  out.Append(AnsiSubStr(p + run, length - run));
  return Deliver(out, result);
}

// EscapeByTable: replaces the bytes that have a replacement text; copies the others.
AnsiStr EscapeByTable(AnsiSubStr text, const char* const* replacements) {
  const char* p = text.GetStr();
  const uint32_t length = text.GetLength();
  AnsiStrBuilder out(length + length / 8 + 1);
  uint32_t run = 0;
  for (uint32_t i = 0; i < length; ++i) {
    const unsigned char b = static_cast<unsigned char>(p[i]);
    if (b >= 128 || replacements[b] == nullptr) continue;
    out.Append(AnsiSubStr(p + run, i - run)).Append(replacements[b]);
    run = i + 1;
  }
  out.Append(AnsiSubStr(p + run, length - run));
  return Internal::FinishText(out);
}

struct ReplacementTable {
  const char* entries[128] = {};
  explicit ReplacementTable(const char* apostrophe) {
    auto at = [this](char c) -> const char*& { return entries[static_cast<unsigned char>(c)]; };
    at('&') = "&amp;";
    at('<') = "&lt;";
    at('>') = "&gt;";
    at('"') = "&quot;";
    at('\'') = apostrophe;
  }
};

}  // namespace

AnsiStr CleanStr(const AnsiStr& text) {
  const char* p = text.GetStr();
  const uint32_t length = text.GetLength();
  AnsiStrBuilder out(length);
  bool started = false;  // a byte other than a blank has been kept
  for (uint32_t i = 0; i < length; ++i) {
    const unsigned char c = static_cast<unsigned char>(p[i]);
    if (c < 0x20 || c == 0x7F || (c == ' ' && !started)) continue;
    started = true;
    out.Append(AnsiSubStr(p + i, 1));
  }
  AnsiStr kept = Internal::FinishText(out);
  uint32_t end = kept.GetLength();
  while (end > 0 && kept[end - 1] == ' ') --end;
  return kept.Trunc(end);
}

AnsiStr ClipStr(const AnsiStr& text, uint32_t maxChars) {
  const uint32_t cut = PrefixBytes(AnsiSubStr(text), maxChars);
  return cut >= text.GetLength() ? text : AnsiStr(text.GetStr(), cut);
}

AnsiStr ClipStr(const AnsiStr& text, uint32_t maxChars, AnsiSubStr ellipsis) {
  if (PrefixBytes(AnsiSubStr(text), maxChars) >= text.GetLength()) return text;
  const uint32_t ellipsisChars = CharCount(ellipsis);
  if (ellipsisChars >= maxChars) return AnsiStr(ellipsis.GetStr(), PrefixBytes(ellipsis, maxChars));
  AnsiStrBuilder out;
  out.Append(AnsiSubStr(text.GetStr(), PrefixBytes(AnsiSubStr(text), maxChars - ellipsisChars))).Append(ellipsis);
  return Internal::FinishText(out);
}

AnsiStr HTMLEscape(AnsiSubStr text) {
  static const ReplacementTable table("&#39;");
  return EscapeByTable(text, table.entries);
}

bool HTMLUnescape(AnsiSubStr text, AnsiStr& result) { return UnescapeReferences(text, RefMode::kHtml, result); }

AnsiStr XMLEscape(AnsiSubStr text) {
  static const ReplacementTable table("&apos;");
  const char* p = text.GetStr();
  bool carriable = IsValidUTF8(p, text.GetLength());
  for (uint32_t i = 0; carriable && i < text.GetLength(); ++i) {
    const unsigned char b = static_cast<unsigned char>(p[i]);
    carriable = b >= 0x20 || b == '\t' || b == '\n' || b == '\r';
  }
  if (!carriable) {
    SetLastError(EILSEQ);
    return AnsiStr();
  }
  return EscapeByTable(text, table.entries);
}

bool XMLUnescape(AnsiSubStr text, AnsiStr& result) { return UnescapeReferences(text, RefMode::kXml, result); }

AnsiStr URLEscape(AnsiSubStr text, AnsiSubStr keep) {
  AsciiSet set;
  for (unsigned char b = 0; b < 128; ++b)
    if (IsAsciiAlnum(b)) set.Add(b);
  for (unsigned char b : {'-', '.', '_', '~'}) set.Add(b);
  for (uint32_t i = 0; i < keep.GetLength(); ++i)
    if (keep.GetStr()[i] != '%') set.Add(static_cast<unsigned char>(keep.GetStr()[i]));
  return PercentEncode(text, UrlKeep, &set);
}

bool URLUnescape(AnsiSubStr text, AnsiStr& result) { return PercentDecode(text, AnyByte, nullptr, result); }

AnsiStr LabelEscape(AnsiSubStr text) { return PercentEncode(text, LabelKeep, nullptr); }

bool LabelUnescape(AnsiSubStr text, AnsiStr& result) { return PercentDecode(text, LabelKeep, nullptr, result); }

}  // namespace OrvGuiBase
