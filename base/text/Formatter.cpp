// Formatter.cpp: parsing a format into directive records, fetching their arguments, and
// rendering each directive into its own bounded piece.
//
// Fetching. Every value, * width and * precision has an argument position: written in the
// format (positional mode) or given in reading order (sequential mode: width, precision, then
// value). The arguments are fetched once, in position order 1..highest, each by the class its
// first user asks for (a position that only a width or precision uses, or none, is a 32-bit
// integer), and every record naming a position receives a copy, so one argument can print
// several times. A directive whose conversion and modifier do not form a known class gets no
// position and prints nothing.
//
// Rendering. Integers, characters, narrow strings and finite reals are laid out here (the reals'
// digits come from the standard library's exact conversion), byte for byte as the runtime
// library's printf lays them out in the "C" locale; the rare rest is rebuilt as a one-directive
// format and rendered by vsnprintf in the "C" locale under a crash guard. A sequential format
// from a va_list is formatted in one pass without building the table at all.
#include "base/text/Formatter.h"

#include <locale.h>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "base/core/CrashGuard.h"
#include "base/core/Memory.h"
#include "base/core/ParticleAllocator.h"
#include "base/text/Escapes.h"
#include "base/text/WideStr.h"
#include "private/text/DecimalDigits.h"
#include "private/text/RealText.h"

namespace OrvGuiBase {

struct FmtTable::Record {
  const char* literal;
  uint32_t literalLength;
  uint32_t position;           // of the value; 0 = no value
  uint32_t width;              // 0xFFFFFFFF = not known yet (a * width before fetching)
  uint32_t widthPosition;      // 0 = written in digits or absent
  uint32_t precision;
  uint32_t precisionPosition;
  uint64_t value;
  uint8_t valueType;           // FmtValues::Type, 0 for none
  bool widthAbsent;
  bool precisionAbsent;
  bool hasValue;
  bool isDirective;            // false for the record carrying only literal text
  char modifier;               // 0, 'h', 'l', 'q' or 'I'
  uint8_t iWidth;              // the number after I
  char conversion;             // 0 when none was recognised
  uint8_t flagCount;
  char flags[15];
};
static_assert(sizeof(FmtTable::Record) <= 96, "records fit the inline slots");

namespace {

constexpr uint32_t kUnknown = 0xFFFFFFFFu;
constexpr unsigned kMinPiece = 128;
constexpr unsigned kMaxPositions = 3 * FmtTable::kMaxDirectives;

// ---- The "C" locale ----------------------------------------------------------------------

locale_t CLocale() {
  static locale_t s_locale = newlocale(LC_ALL_MASK, "C", nullptr);
  return s_locale;
}

// CLocaleScope: switches the calling thread to the "C" locale until it ends; made lazily, at
// the first piece that needs the runtime library's formatter.
class CLocaleScope {
 public:
  CLocaleScope() = default;
  ~CLocaleScope() {
    if (m_previous != nullptr) uselocale(m_previous);
  }
  void Enter() {
    if (m_previous == nullptr && CLocale() != nullptr) m_previous = uselocale(CLocale());
  }

 private:
  locale_t m_previous = nullptr;
};

// ---- Output ------------------------------------------------------------------------------

// Output: the result string itself, built in place (no copy at the end): pieces are written
// straight into the body's free room. The room is taken from the builder a window at a time
// and handed back (committed) when the window runs out or the result is taken, so a piece
// costs a comparison and a copy, not two calls into the builder.
class Output {
 public:
  Output() : m_builder(300) {}  // room for a bounded piece of 128 and the text around it
  void Append(const char* text, size_t length) {
    if (length == 0) return;
    if (length <= static_cast<size_t>(m_end - m_at) || Refill(length) != nullptr) {
      if (length <= 16) {  // the usual piece: a few digits or a short literal, no call
        for (size_t i = 0; i < length; ++i) m_at[i] = text[i];
      } else {
        memcpy(m_at, text, length);
      }
      m_at += length;
      return;
    }
    if (m_builder.IsFailed()) return;
    while (length > 0) {  // pieces past 2 GiB cannot have a window: straight into the builder
      const uint32_t part = length > 0x7FFFFFFFu ? 0x7FFFFFFFu : static_cast<uint32_t>(length);
      m_builder.Append(AnsiSubStr(text, part));
      text += part;
      length -= part;
    }
  }
  // Room: where n more bytes and a terminator can be written in place (Commit tells how many
  // were), or null.
  char* Room(size_t n) { return m_at != nullptr && n <= static_cast<size_t>(m_end - m_at) ? m_at : Refill(n); }
  void Commit(size_t n) { m_at += n; }
  AnsiStr Result() {
    Flush();
    return m_builder.Detach();
  }

 private:
  static constexpr size_t kWindow = 256;
  // Flush: hands what the window holds to the builder and closes the window.
  void Flush() {
    if (m_start != nullptr) m_builder.Commit(static_cast<uint32_t>(m_at - m_start));
    m_start = m_at = m_end = nullptr;
  }
  // Refill: a new window of at least n bytes, or null (too large, or the builder failed).
  char* Refill(size_t n) {
    Flush();
    if (n >= 0x7FFFFFFFu) return nullptr;
    const size_t size = n > kWindow ? n : kWindow;
    char* to = m_builder.Reserve(static_cast<uint32_t>(size));
    if (to == nullptr) return nullptr;
    m_start = m_at = to;
    m_end = to + size;
    return to;
  }

  AnsiStrBuilder m_builder;
  char* m_start = nullptr;
  char* m_at = nullptr;
  char* m_end = nullptr;
};

using Internal::WriteDecimal;

// AppendDecimal: the digits written straight into the output, the minus sign first. (Digits
// written to a scratch buffer and copied in one wide move would stall on store forwarding.)
void AppendDecimal(Output& out, uint64_t value, bool negative) {
  const unsigned length = Internal::DecimalLength(value) + (negative ? 1 : 0);
  char* to = out.Room(length);
  if (to == nullptr) return;
  *to = '-';  // overwritten by the first digit when the value is not negative
  WriteDecimal(to + length, value);
  out.Commit(length);
}

char* WriteHex(char* end, uint64_t value, bool upper) {
  const char* digits = upper ? "0123456789ABCDEF" : "0123456789abcdef";
  do {
    *--end = digits[value & 15];
    value >>= 4;
  } while (value != 0);
  return end;
}

// ---- Parsing -----------------------------------------------------------------------------

bool ReadNumber(const char*& p, uint32_t& value) {
  if (*p < '0' || *p > '9') return false;
  uint64_t n = 0;
  while (*p >= '0' && *p <= '9') {
    if (n < 0x100000000ull) n = n * 10 + static_cast<unsigned>(*p - '0');
    ++p;
  }
  value = n > 0xFFFFFFFEu ? 0xFFFFFFFEu : static_cast<uint32_t>(n);
  return true;
}

// "digits$" at p: the position (1 or more); p moves past it only when it is one.
bool ReadPosition(const char*& p, uint32_t& position) {
  const char* q = p;
  uint32_t n = 0;
  if (!ReadNumber(q, n) || *q != '$' || n == 0) return false;
  position = n;
  p = q + 1;
  return true;
}

bool IsConversion(char c) {
  switch (c) {
    case 'C': case 'E': case 'G': case 'S': case 'X': case 'c': case 'd': case 'e':
    case 'f': case 'g': case 'i': case 'o': case 'p': case 's': case 'u': case 'x':
      return true;
    default:
      return false;
  }
}

// The class of argument a directive takes, or 0 when its combination is not supported.
uint8_t ValueClass(char conversion, char modifier, uint8_t iWidth) {
  const bool small = modifier == 0 || modifier == 'h' || modifier == 'l';
  switch (conversion) {
    case 'c': case 'C':
      return small ? uint8_t{FmtValues::kInt32} : uint8_t{0};
    case 'e': case 'E': case 'f': case 'g': case 'G':
      return small ? uint8_t{FmtValues::kDouble} : uint8_t{0};
    case 's': case 'S': case 'p':
      return small ? uint8_t{FmtValues::kPointer} : uint8_t{0};
    case 'd': case 'i': case 'o': case 'u': case 'x': case 'X':
      if (modifier == 0 || modifier == 'h') return FmtValues::kInt32;
      if (modifier == 'l' || modifier == 'q') return FmtValues::kInt64;
      if (iWidth == 8 || iWidth == 16 || iWidth == 32) return FmtValues::kInt32;
      return iWidth == 64 ? uint8_t{FmtValues::kInt64} : uint8_t{0};
    default:
      return 0;
  }
}

bool IsSigned(char conversion) { return conversion == 'd' || conversion == 'i'; }

// ---- Argument sources --------------------------------------------------------------------

struct ListSource {
  va_list args;
  bool Next(unsigned, unsigned type, FmtValues& value) {
    switch (type) {
      case FmtValues::kInt64: value.int64 = va_arg(args, long long); break;
      case FmtValues::kDouble: value.real = va_arg(args, double); break;
      case FmtValues::kPointer: value.pointer = va_arg(args, const void*); break;
      default: value.int32 = va_arg(args, int); break;
    }
    return true;
  }
};

struct CallbackSource {
  FmtFetch fetch;
  const void* context;
  bool Next(unsigned number, unsigned type, FmtValues& value) { return fetch(number, type, value, context); }
};

// ---- Rendering ---------------------------------------------------------------------------

// The length of a narrow or wide string argument, measured under a crash guard; 0 when the
// pointer faults.
size_t GuardedLength(const void* pointer, bool wide) {
  size_t length = 0;
  const bool ok = CallGuarded("FmtMeasure", [&] {
    length = wide ? wcslen(static_cast<const wchar_t*>(pointer)) : strlen(static_cast<const char*>(pointer));
  });
  return ok ? length : 0;
}

// ---- Rendering one directive -------------------------------------------------------------
//
// Every directive, from the table or from the one-pass path, is described by a Layout and goes
// through RenderDirective. Integers, characters, narrow strings and finite reals are written
// here, byte for byte as the runtime library's printf writes them in the "C" locale; the rest
// (%p, wide characters and strings, '#' on reals, infinities and NaNs, very long precisions)
// is rebuilt as a one-directive format and rendered by the runtime library under a crash
// guard. Either way the piece is cut at its capacity.

enum LayoutFlag : uint8_t { kLeft = 1, kPlus = 2, kSpace = 4, kAlt = 8, kZero = 16 };

struct Layout {
  uint8_t flags = 0;
  bool hasWidth = false;
  bool hasPrecision = false;
  uint32_t width = 0;
  uint32_t precision = 0;
  char modifier = 0;  // 0, 'h', 'l', 'q' or 'I'
  uint8_t iWidth = 0;
  char conversion = 0;
  uint8_t valueType = 0;
};

uint8_t FlagBit(char c) {
  switch (c) {
    case '-': return kLeft;
    case '+': return kPlus;
    case ' ': return kSpace;
    case '#': return kAlt;
    case '0': return kZero;
    default: return 0;
  }
}

// Piece: one directive's text written straight into the output's room, cut at the capacity.
class Piece {
 public:
  Piece(Output& out, size_t capacity) : m_out(out), m_to(out.Room(capacity)), m_room(m_to != nullptr ? capacity : 0) {}
  void Fill(char c, size_t n) {
    if (n > m_room - m_length) n = m_room - m_length;
    if (n == 0) return;  // a piece without room has no buffer at all
    memset(m_to + m_length, c, n);
    m_length += n;
  }
  void Put(const char* text, size_t n) {
    if (n > m_room - m_length) n = m_room - m_length;
    if (n == 0) return;
    memcpy(m_to + m_length, text, n);
    m_length += n;
  }
  // Done: commits the text, up to a NUL when one was written (a %c of 0 ends its piece).
  void Done(bool mayHoldNul = false) { m_out.Commit(mayHoldNul && m_length != 0 ? strnlen(m_to, m_length) : m_length); }

 private:
  Output& m_out;
  char* m_to;
  size_t m_room;
  size_t m_length = 0;
};

size_t PieceCapacity(const Layout& layout) { return layout.width > kMinPiece ? layout.width : kMinPiece; }

// Pad: the layout printf gives a converted value: blanks, the sign and prefix, zeros, the text,
// blanks on the right for '-'.
void Pad(Output& out, const Layout& layout, char sign, const char* prefix, size_t prefixLength, size_t zeros,
         const char* text, size_t length, bool zeroPad) {
  const size_t body = (sign != 0 ? 1 : 0) + prefixLength + zeros + length;
  const size_t pad = layout.width > body ? layout.width - body : 0;
  const bool left = (layout.flags & kLeft) != 0;
  zeroPad = zeroPad && !left;
  Piece piece(out, PieceCapacity(layout));
  if (!left && !zeroPad) piece.Fill(' ', pad);
  if (sign != 0) piece.Put(&sign, 1);
  piece.Put(prefix, prefixLength);
  if (zeroPad) piece.Fill('0', pad);
  piece.Fill('0', zeros);
  piece.Put(text, length);
  if (left) piece.Fill(' ', pad);
  piece.Done();
}

char* WriteOctal(char* end, uint64_t value) {
  do {
    *--end = static_cast<char>('0' + (value & 7));
    value >>= 3;
  } while (value != 0);
  return end;
}

void RenderInteger(Output& out, const Layout& layout, uint64_t value) {
  const char conversion = layout.conversion;
  const bool wide = layout.valueType == FmtValues::kInt64;
  bool negative = false;
  uint64_t magnitude;
  if (IsSigned(conversion)) {
    const int64_t v = wide ? static_cast<int64_t>(value)
                           : layout.modifier == 'h' ? static_cast<int16_t>(value) : static_cast<int32_t>(value);
    negative = v < 0;
    magnitude = negative ? 0 - static_cast<uint64_t>(v) : static_cast<uint64_t>(v);
  } else {
    magnitude = wide ? value : layout.modifier == 'h' ? static_cast<uint16_t>(value) : static_cast<uint32_t>(value);
  }
  char digits[24];
  char* end = digits + sizeof digits;
  char* start = end;
  if (magnitude != 0 || !layout.hasPrecision || layout.precision != 0) {
    switch (conversion) {
      case 'o': start = WriteOctal(end, magnitude); break;
      case 'x': case 'X': start = WriteHex(end, magnitude, conversion == 'X'); break;
      default: start = WriteDecimal(end, magnitude); break;
    }
  }
  const size_t length = static_cast<size_t>(end - start);
  size_t zeros = layout.hasPrecision && layout.precision > length ? layout.precision - length : 0;
  if ((layout.flags & kAlt) && conversion == 'o' && zeros == 0 && (length == 0 || *start != '0')) zeros = 1;
  char sign = 0;
  if (IsSigned(conversion)) sign = negative ? '-' : (layout.flags & kPlus) ? '+' : (layout.flags & kSpace) ? ' ' : 0;
  const bool prefixed = (layout.flags & kAlt) && (conversion == 'x' || conversion == 'X') && magnitude != 0;
  Pad(out, layout, sign, conversion == 'X' ? "0X" : "0x", prefixed ? 2 : 0, zeros, start, length,
      (layout.flags & kZero) && !layout.hasPrecision);
}

// RenderReal: a finite double in %f %e %E %g %G; false for what the runtime library must do.
constexpr uint32_t kMaxRealPrecision = 200;

bool RenderReal(Output& out, const Layout& layout, uint64_t bits) {
  double real;
  memcpy(&real, &bits, sizeof real);
  if (!std::isfinite(real) || (layout.flags & kAlt) || layout.modifier == 'h') return false;
  const uint32_t precision = layout.hasPrecision ? layout.precision : 6;
  if (precision > kMaxRealPrecision) return false;
  char text[kMaxRealPrecision + 330];  // the 309 digits of the largest double, the point, the fraction
  char* textEnd;
  if (layout.conversion == 'g' || layout.conversion == 'G') {
    textEnd = Internal::WriteGeneral(text, text + sizeof text, std::fabs(real), precision);
  } else {
    const std::chars_format style =
        layout.conversion == 'e' || layout.conversion == 'E' ? std::chars_format::scientific : std::chars_format::fixed;
    const std::to_chars_result result = std::to_chars(text, text + sizeof text, std::fabs(real), style, static_cast<int>(precision));
    textEnd = result.ec == std::errc() ? result.ptr : nullptr;
  }
  if (textEnd == nullptr) return false;
  const size_t length = static_cast<size_t>(textEnd - text);
  if (layout.conversion == 'E' || layout.conversion == 'G')
    for (size_t i = 0; i < length; ++i)
      if (text[i] == 'e') text[i] = 'E';
  const char sign = std::signbit(real) ? '-' : (layout.flags & kPlus) ? '+' : (layout.flags & kSpace) ? ' ' : 0;
  Pad(out, layout, sign, "", 0, 0, text, length, (layout.flags & kZero) != 0);
  return true;
}

// RenderString: a narrow %s, never cut; false when the text faults while it is measured.
bool RenderString(Output& out, const Layout& layout, const char* text) {
  size_t length = 0;
  if (!CallGuarded("FmtMeasure", [&] { length = layout.hasPrecision ? strnlen(text, layout.precision) : strlen(text); }))
    return false;
  const size_t pad = layout.width > length ? layout.width - length : 0;
  Piece piece(out, length + pad > 0x7FFFFFF0u ? 0x7FFFFFF0u : length + pad);
  if (!(layout.flags & kLeft)) piece.Fill(' ', pad);
  piece.Put(text, length);
  if (layout.flags & kLeft) piece.Fill(' ', pad);
  piece.Done();
  return true;
}

void RenderChar(Output& out, const Layout& layout, uint64_t value) {
  const char c = static_cast<char>(value);
  const size_t pad = layout.width > 1 ? layout.width - 1 : 0;
  Piece piece(out, PieceCapacity(layout));
  if (!(layout.flags & kLeft)) piece.Fill(' ', pad);
  piece.Put(&c, 1);
  if (layout.flags & kLeft) piece.Fill(' ', pad);
  piece.Done(true);
}

// RenderBySystem: the directive rebuilt as a format of its own and rendered by the runtime
// library in the "C" locale, under a crash guard.
void RenderBySystem(Output& out, CLocaleScope& locale, const Layout& layout, uint64_t value) {
  const void* pointer = reinterpret_cast<const void*>(static_cast<uintptr_t>(value));
  const bool stringArgument = layout.conversion == 's' || layout.conversion == 'S';
  char format[64];
  char* f = format;
  *f++ = '%';
  for (const char flag : {'-', '+', ' ', '#', '0'})
    if (layout.flags & FlagBit(flag)) *f++ = flag;
  if (layout.hasWidth) f += snprintf(f, 12, "%u", layout.width);
  if (layout.hasPrecision) f += snprintf(f, 13, ".%u", layout.precision);
  if (layout.modifier == 'I') {
    if (layout.iWidth == 32) *f++ = 'l';
    else if (layout.iWidth == 64) *f++ = 'q';
  } else if (layout.modifier != 0) {
    *f++ = layout.modifier;
  }
  *f++ = layout.conversion;
  *f = 0;
  unsigned capacity = static_cast<unsigned>(PieceCapacity(layout));
  if (stringArgument) {
    const size_t length = GuardedLength(pointer, layout.conversion == 'S' || layout.modifier == 'l');
    if (length > capacity) capacity = length > 0x7FFFFFF0u ? 0x7FFFFFF0u : static_cast<unsigned>(length);
  }
  locale.Enter();
  char* room = out.Room(capacity);
  if (room == nullptr) return;  // the output has failed for good
  int written = -1;
  const bool completed = CallGuarded("orvvsnprintf", [&] {
    switch (layout.valueType) {
      case FmtValues::kInt32: written = snprintf(room, capacity + size_t{1}, format, static_cast<int>(value)); break;
      case FmtValues::kInt64: written = snprintf(room, capacity + size_t{1}, format, static_cast<long long>(value)); break;
      case FmtValues::kDouble: {
        double real;
        memcpy(&real, &value, sizeof real);
        written = snprintf(room, capacity + size_t{1}, format, real);
        break;
      }
      default: written = snprintf(room, capacity + size_t{1}, format, pointer); break;
    }
  });
  if (completed && written >= 0) out.Commit(strnlen(room, capacity));  // up to the terminator, as a piece is taken
  else out.Append("(error)", 7);
}

void RenderDirective(Output& out, CLocaleScope& locale, const Layout& layout, uint64_t value) {
  switch (layout.conversion) {
    case 'd': case 'i': case 'o': case 'u': case 'x': case 'X':
      RenderInteger(out, layout, value);
      return;
    case 'e': case 'E': case 'f': case 'g': case 'G':
      if (RenderReal(out, layout, value)) return;
      break;
    case 'c':
      if (layout.modifier != 0) break;
      RenderChar(out, layout, value);
      return;
    case 's': {
      const char* text = reinterpret_cast<const char*>(static_cast<uintptr_t>(value));
      if (text == nullptr) {
        out.Append("(null)", 6);
        return;
      }
      if (layout.modifier != 0) break;
      if (!RenderString(out, layout, text)) out.Append("(error)", 7);
      return;
    }
    case 'S':
      if (value == 0) {
        out.Append("(null)", 6);
        return;
      }
      break;
    default:
      break;
  }
  RenderBySystem(out, locale, layout, value);
}

}  // namespace

// ---- FmtTable ----------------------------------------------------------------------------

FmtTable::~FmtTable() {
  for (unsigned i = kInline; i < m_records; ++i) FreeParticle(sizeof(Record), m_table[i]);
  if (m_table != m_tableInline) FreeSimple(m_table);
}

FmtTable::Record* FmtTable::NewRecord() {
  if (m_records == m_tableCapacity) {  // many "%%" texts: each ends a record of its own
    Record** table = static_cast<Record**>(AllocSimple(2 * m_tableCapacity * sizeof(Record*)));
    if (table == nullptr) return nullptr;
    memcpy(table, m_table, m_records * sizeof(Record*));
    if (m_table != m_tableInline) FreeSimple(m_table);
    m_table = table;
    m_tableCapacity *= 2;
  }
  void* storage = m_records < kInline ? m_inline[m_records] : AllocParticle(sizeof(Record));
  if (storage == nullptr) return nullptr;
  Record* record = static_cast<Record*>(storage);
  memset(record, 0, sizeof(Record));
  record->widthAbsent = true;
  record->precisionAbsent = true;
  record->width = kUnknown;
  record->precision = kUnknown;
  m_table[m_records++] = record;
  return record;
}

bool FmtTable::Build(const char* format) {
  if (format == nullptr) return false;
  const char* p = format;
  const char* literal = p;
  bool modeKnown = false;
  uint32_t nextPosition = 1;
  auto fail = [] { return false; };
  while (*p != 0) {
    if (*p != '%') {
      ++p;  // a literal character: a multi-byte one never holds '%', so step over it whole
      while ((static_cast<unsigned char>(*p) & 0xC0) == 0x80) ++p;
      continue;
    }
    if (m_count == kMaxDirectives) break;  // the rest of the format is not converted
    Record* record = NewRecord();
    if (record == nullptr) return false;
    record->literal = literal;
    record->literalLength = static_cast<uint32_t>(p - literal);
    if (p[1] == '%') {  // "%%": the first percent ends the text, the second starts the next run
      literal = p + 1;
      p += 2;
      continue;
    }
    record->isDirective = true;
    ++m_count;
    const char* q = p + 1;
    uint32_t position = 0;
    const bool hasPosition = ReadPosition(q, position);
    while (*q == ' ' || *q == '#' || *q == '+' || *q == '-' || *q == '0') {
      if (record->flagCount < sizeof record->flags) record->flags[record->flagCount++] = *q;
      ++q;
    }
    bool widthStar = false, precisionStar = false;
    uint32_t widthPosition = 0, precisionPosition = 0;
    if (*q == '*') {
      ++q;
      widthStar = true;
      record->widthAbsent = false;
      ReadPosition(q, widthPosition);
    } else if (ReadNumber(q, record->width)) {
      record->widthAbsent = false;
    }
    if (*q == '.') {
      ++q;
      record->precisionAbsent = false;
      if (*q == '*') {
        ++q;
        precisionStar = true;
        ReadPosition(q, precisionPosition);
      } else if (!ReadNumber(q, record->precision)) {
        record->precision = 0;  // "." alone is a precision of 0
      }
    }
    switch (*q) {
      case 'h':
        record->modifier = 'h';
        q += q[1] == 'h' ? 2 : 1;
        break;
      case 'l':
        record->modifier = q[1] == 'l' ? 'q' : 'l';
        q += q[1] == 'l' ? 2 : 1;
        break;
      case 'L': case 'q': case 'j': case 'z': case 't':
        record->modifier = 'q';
        ++q;
        break;
      case 'I': {
        ++q;
        uint32_t bits = 0;
        if (ReadNumber(q, bits)) {
          record->modifier = 'I';
          record->iWidth = bits < 256 ? static_cast<uint8_t>(bits) : 0;
        } else {
          record->modifier = 'q';
        }
        break;
      }
      default:
        break;
    }
    if (IsConversion(*q)) record->conversion = *q++;
    record->valueType = ValueClass(record->conversion, record->modifier, record->iWidth);

    // Addressing: the first directive decides; every later one must agree.
    if (!modeKnown) {
      modeKnown = true;
      m_positional = hasPosition;
    }
    const bool anyPosition = hasPosition || widthPosition != 0 || precisionPosition != 0;
    if (m_positional) {
      if ((widthStar && widthPosition == 0) || (precisionStar && precisionPosition == 0) ||
          (record->valueType != 0 && !hasPosition))
        return fail();
      record->widthPosition = widthPosition;
      record->precisionPosition = precisionPosition;
      record->position = record->valueType != 0 ? position : 0;
    } else {
      if (anyPosition) return fail();
      if (widthStar) record->widthPosition = nextPosition++;
      if (precisionStar) record->precisionPosition = nextPosition++;
      if (record->valueType != 0) record->position = nextPosition++;
    }
    for (uint32_t used : {record->position, record->widthPosition, record->precisionPosition})
      if (used > m_highest) m_highest = used;
    literal = q;
    p = q;
  }
  if (m_highest > kMaxPositions) return false;  // positions that could never be supplied
  Record* tail = NewRecord();  // the trailing text (or the unconverted rest)
  if (tail == nullptr) return false;
  tail->literal = literal;
  tail->literalLength = static_cast<uint32_t>(strlen(literal));
  return true;
}

template <class Source>
bool FmtTable::FillFrom(Source& source) {
  uint8_t types[kMaxPositions + 1];
  memset(types, 0, m_highest + 1);
  for (unsigned r = 0; r < m_records; ++r) {
    const Record* record = m_table[r];
    if (record->widthPosition != 0) types[record->widthPosition] = FmtValues::kInt32;
    if (record->precisionPosition != 0) types[record->precisionPosition] = FmtValues::kInt32;
  }
  for (unsigned r = 0; r < m_records; ++r) {
    const Record* record = m_table[r];
    if (record->position != 0 && types[record->position] == 0) types[record->position] = record->valueType;
  }
  for (unsigned position = 1; position <= m_highest; ++position) {
    const unsigned type = types[position] != 0 ? unsigned{types[position]} : unsigned{FmtValues::kInt32};
    FmtValues value;
    if (!source.Next(position, type, value)) return false;
    for (unsigned r = 0; r < m_records; ++r) {
      Record* record = m_table[r];
      if (record->widthPosition == position) {
        const int32_t width = type == FmtValues::kInt64 ? static_cast<int32_t>(value.int64) : value.int32;
        if (width < 0) {  // a negative width is a '-' flag and its magnitude
          if (record->flagCount < sizeof record->flags) record->flags[record->flagCount++] = '-';
          record->width = static_cast<uint32_t>(-static_cast<int64_t>(width));
        } else {
          record->width = static_cast<uint32_t>(width);
        }
      }
      if (record->precisionPosition == position) {
        const int32_t precision = type == FmtValues::kInt64 ? static_cast<int32_t>(value.int64) : value.int32;
        record->precisionAbsent = precision < 0;  // a negative precision is taken as none
        record->precision = precision < 0 ? kUnknown : static_cast<uint32_t>(precision);
      }
      if (record->position != position) continue;
      record->hasValue = true;
      switch (record->valueType) {
        case FmtValues::kInt32: {
          const int32_t v = type == FmtValues::kInt64 ? static_cast<int32_t>(value.int64) : value.int32;
          record->value = IsSigned(record->conversion) ? static_cast<uint64_t>(static_cast<int64_t>(v))
                                                       : static_cast<uint64_t>(static_cast<uint32_t>(v));
          break;
        }
        case FmtValues::kInt64:
          record->value = static_cast<uint64_t>(type == FmtValues::kInt64 ? value.int64 : value.int32);
          break;
        case FmtValues::kDouble:
          memcpy(&record->value, &value.real, sizeof record->value);
          break;
        default:
          record->value = reinterpret_cast<uintptr_t>(value.pointer);
          break;
      }
    }
  }
  return true;
}

bool FmtTable::Fill(va_list args) {
  ListSource source;
  va_copy(source.args, args);
  const bool ok = FillFrom(source);
  va_end(source.args);
  return ok;
}

bool FmtTable::Fill(FmtFetch fetch, const void* context) {
  if (fetch == nullptr) return m_highest == 0;
  CallbackSource source{fetch, context};
  return FillFrom(source);
}

AnsiStr FmtTable::GetStr() {
  Output out;
  CLocaleScope locale;
  for (unsigned r = 0; r < m_records; ++r) {
    const Record* record = m_table[r];
    out.Append(record->literal, record->literalLength);
    if (!record->isDirective || !record->hasValue) continue;
    Layout layout;
    for (unsigned i = 0; i < record->flagCount; ++i) layout.flags |= FlagBit(record->flags[i]);
    layout.hasWidth = !record->widthAbsent && record->width != kUnknown;
    layout.width = layout.hasWidth ? record->width : 0;
    layout.hasPrecision = !record->precisionAbsent && record->precision != kUnknown;
    layout.precision = layout.hasPrecision ? record->precision : 0;
    layout.modifier = record->modifier;
    layout.iWidth = record->iWidth;
    layout.conversion = record->conversion;
    layout.valueType = record->valueType;
    RenderDirective(out, locale, layout, record->value);
  }
  return out.Result();
}

// ---- The one-pass path -------------------------------------------------------------------

namespace {

// OnePass: formats a sequential format straight from the va_list, each directive rendered by
// RenderDirective as the table would render it. It returns false for what only the table
// knows how to do (argument positions, a conversion or modifier combination that prints
// nothing, a * followed by digits, more than 127 directives); the caller then starts over with
// the table on its own copy of the list.
bool OnePass(const char* p, va_list args, Output& out, CLocaleScope& locale) {
  unsigned directives = 0;
  for (;;) {
    const char* literal = p;
    while (*p != 0 && *p != '%') ++p;
    out.Append(literal, static_cast<size_t>(p - literal));
    if (*p == 0) return true;
    if (p[1] == '%') {
      out.Append("%", 1);
      p += 2;
      continue;
    }
    if (++directives > FmtTable::kMaxDirectives) return false;
    switch (p[1]) {  // the commonest directives, a bare %d %i %u %x %X, need no parsing
      case 'd': case 'i': {
        const int v = va_arg(args, int);
        AppendDecimal(out, v < 0 ? 0 - static_cast<uint64_t>(static_cast<int64_t>(v)) : static_cast<uint64_t>(v), v < 0);
        p += 2;
        continue;
      }
      case 'u':
        AppendDecimal(out, va_arg(args, unsigned), false);
        p += 2;
        continue;
      case 'x': case 'X': {
        char digits[16];
        const char* start = WriteHex(digits + sizeof digits, va_arg(args, unsigned), p[1] == 'X');
        out.Append(start, static_cast<size_t>(digits + sizeof digits - start));
        p += 2;
        continue;
      }
      default:
        break;
    }
    const char* q = p + 1;
    Layout layout;
    uint32_t position = 0;
    if (ReadPosition(q, position)) return false;
    while (const uint8_t bit = FlagBit(*q)) {
      layout.flags |= bit;
      ++q;
    }
    if (*q == '*') {
      if (*++q >= '0' && *q <= '9') return false;
      const int width = va_arg(args, int);
      layout.hasWidth = true;
      if (width < 0) layout.flags |= kLeft;  // a negative width is a '-' flag and its magnitude
      layout.width = width < 0 ? static_cast<uint32_t>(-static_cast<int64_t>(width)) : static_cast<uint32_t>(width);
    } else {
      layout.hasWidth = ReadNumber(q, layout.width);
    }
    if (*q == '.') {
      layout.hasPrecision = true;
      if (*++q == '*') {
        if (*++q >= '0' && *q <= '9') return false;
        const int precision = va_arg(args, int);
        layout.hasPrecision = precision >= 0;  // a negative precision is taken as none
        layout.precision = precision >= 0 ? static_cast<uint32_t>(precision) : 0;
      } else if (!ReadNumber(q, layout.precision)) {
        layout.precision = 0;  // "." alone is a precision of 0
      }
    }
    switch (*q) {
      case 'h': layout.modifier = 'h'; q += q[1] == 'h' ? 2 : 1; break;
      case 'l': layout.modifier = q[1] == 'l' ? 'q' : 'l'; q += q[1] == 'l' ? 2 : 1; break;
      case 'L': case 'q': case 'j': case 'z': case 't': layout.modifier = 'q'; ++q; break;
      case 'I': {
        uint32_t bits = 0;
        ++q;
        if (ReadNumber(q, bits)) {
          layout.modifier = 'I';
          layout.iWidth = bits < 256 ? static_cast<uint8_t>(bits) : 0;
        } else {
          layout.modifier = 'q';
        }
        break;
      }
      default: break;
    }
    if (!IsConversion(*q)) return false;
    layout.conversion = *q;
    layout.valueType = ValueClass(layout.conversion, layout.modifier, layout.iWidth);
    uint64_t value = 0;
    switch (layout.valueType) {
      case FmtValues::kInt32: {
        const int v = va_arg(args, int);
        value = IsSigned(layout.conversion) ? static_cast<uint64_t>(static_cast<int64_t>(v)) : static_cast<uint32_t>(v);
        break;
      }
      case FmtValues::kInt64: value = static_cast<uint64_t>(va_arg(args, long long)); break;
      case FmtValues::kDouble: {
        const double real = va_arg(args, double);
        memcpy(&value, &real, sizeof value);
        break;
      }
      case FmtValues::kPointer: value = reinterpret_cast<uintptr_t>(va_arg(args, const void*)); break;
      default: return false;
    }
    p = q + 1;
    // The commonest directives, plain %d %i %u %x %X, skip the padding altogether.
    if (layout.flags == 0 && !layout.hasWidth && !layout.hasPrecision && layout.modifier != 'h') {
      if (IsSigned(layout.conversion)) {
        const int64_t v = static_cast<int64_t>(value);
        AppendDecimal(out, v < 0 ? 0 - static_cast<uint64_t>(v) : static_cast<uint64_t>(v), v < 0);
        continue;
      }
      if (layout.conversion == 'u') {
        AppendDecimal(out, value, false);
        continue;
      }
      if (layout.conversion == 'x' || layout.conversion == 'X') {
        char digits[16];
        const char* start = WriteHex(digits + sizeof digits, value, layout.conversion == 'X');
        out.Append(start, static_cast<size_t>(digits + sizeof digits - start));
        continue;
      }
    }
    RenderDirective(out, locale, layout, value);
  }
}

}  // namespace

// ---- Entry points ------------------------------------------------------------------------

namespace {
AnsiStr FormatByTable(const char* format, va_list args) {
  FmtTable table;
  if (!table.Build(format) || !table.Fill(args)) return AnsiStr();
  return table.GetStr();
}
}  // namespace

namespace {
// A format that is one bare integer directive and nothing else ("%d", "%i", "%u", "%x", "%X")
// needs neither the builder nor the locale: the digits go straight into a result of their own
// size. The text is the one the general paths write (a test compares them).
bool IsBareInteger(const char* format) {
  return format[0] == '%' && format[1] != 0 && format[2] == 0 &&
         (format[1] == 'd' || format[1] == 'i' || format[1] == 'u' || format[1] == 'x' || format[1] == 'X');
}
AnsiStr BareInteger(char conversion, unsigned bits) {
  char buffer[16];
  char* const end = buffer + sizeof buffer;
  char* start;
  if (conversion == 'd' || conversion == 'i') {
    const int v = static_cast<int>(bits);
    start = WriteDecimal(end, v < 0 ? 0 - static_cast<uint64_t>(static_cast<int64_t>(v)) : static_cast<uint64_t>(v));
    if (v < 0) *--start = '-';
  } else if (conversion == 'u') {
    start = WriteDecimal(end, bits);
  } else {
    start = WriteHex(end, bits, conversion == 'X');
  }
  return AnsiStr(start, static_cast<uint32_t>(end - start));
}
}  // namespace

AnsiStr FmtList(const char* format, va_list args) {
  if (format == nullptr) return AnsiStr();
  if (IsBareInteger(format)) {
    va_list copy;
    va_copy(copy, args);
    const unsigned bits = va_arg(copy, unsigned);
    va_end(copy);
    return BareInteger(format[1], bits);
  }
  {
    Output out;
    CLocaleScope locale;
    va_list copy;
    va_copy(copy, args);
    const bool done = OnePass(format, copy, out, locale);
    va_end(copy);
    if (done) return out.Result();
  }
  return FormatByTable(format, args);
}

AnsiStr FmtList(const char* format, FmtFetch fetch, const void* context) {
  FmtTable table;
  if (!table.Build(format) || !table.Fill(fetch, context)) return AnsiStr();
  return table.GetStr();
}


// FmtArgs starts its list twice rather than copying it: a copy of a list just started reads
// back, in one wide load, fields that were stored one by one, and waits for them.
AnsiStr FmtArgs(const char* format, ...) {
  if (format == nullptr) return AnsiStr();
  if (IsBareInteger(format)) {
    va_list args;
    va_start(args, format);
    const unsigned bits = va_arg(args, unsigned);  // an int and an unsigned travel alike
    va_end(args);
    return BareInteger(format[1], bits);
  }
  {
    Output out;
    CLocaleScope locale;
    va_list args;
    va_start(args, format);
    const bool done = OnePass(format, args, out, locale);
    va_end(args);
    if (done) return out.Result();
  }
  va_list args;
  va_start(args, format);
  AnsiStr out = FormatByTable(format, args);
  va_end(args);
  return out;
}

unsigned orvvsnprintf(AnsiStr& out, unsigned size, const char* format, va_list args) {
  char* buffer = out.Alloc(size);  // room for size characters and the terminator
  if (buffer == nullptr) {
    out = "(error)";
    return out.GetLength();
  }
  int written = -1;
  va_list copy;
  va_copy(copy, args);
  const bool completed = CallGuarded("orvvsnprintf", [&] { written = vsnprintf(buffer, size + size_t{1}, format, copy); });
  va_end(copy);
  if (!completed || written < 0) out = "(error)";
  return out.GetLength();  // measured up to the terminator
}

unsigned orvvsnwprintf(WideStr& out, unsigned size, const wchar_t* format, va_list args) {
  wchar_t* buffer = out.Alloc(size);
  if (buffer == nullptr) {
    out = L"(error)";
    return out.GetLen();
  }
  buffer[0] = 0;
  int written = -1;
  va_list copy;
  va_copy(copy, args);
  const bool completed = CallGuarded("orvvsnwprintf", [&] { written = vswprintf(buffer, size + size_t{1}, format, copy); });
  va_end(copy);
  // vswprintf fails (-1) when the text does not fit: keep what it wrote up to the capacity.
  if (!completed || (written < 0 && wcsnlen(buffer, size + size_t{1}) == 0)) out = L"(error)";
  return out.GetLen();
}

// ---- Alignment ---------------------------------------------------------------------------

namespace {
AnsiStr Align(const AnsiStr& s, unsigned width, int side) {
  AnsiStr text = CleanStr(s);
  const uint32_t characters = text.GetCharLen();
  if (characters >= width) return text.Copy(0, text.GetByteInx(width));
  const unsigned missing = width - characters;
  const unsigned left = side < 0 ? 0 : side > 0 ? missing : (missing + 1) / 2;
  AnsiStr out(' ', left);
  out.Append(text).Append(' ', missing - left);
  return out;
}
}  // namespace

AnsiStr AlignLeft(const AnsiStr& s, unsigned int width) { return Align(s, width, -1); }
AnsiStr AlignRight(const AnsiStr& s, unsigned int width) { return Align(s, width, 1); }
AnsiStr AlignCenter(const AnsiStr& s, unsigned int width) { return Align(s, width, 0); }

}  // namespace OrvGuiBase
