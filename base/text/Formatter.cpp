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
// Rendering. Plain %d, %i, %u, %x, %X, %c and %s (no flags, width, precision or h) are written
// directly; every other directive is rebuilt as a one-directive format and rendered by
// vsnprintf in the "C" locale into a piece of bounded capacity, under a crash guard.
#include "base/text/Formatter.h"

#include <locale.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "base/core/CrashGuard.h"
#include "base/core/Memory.h"
#include "base/core/ParticleAllocator.h"
#include "base/text/Escapes.h"
#include "base/text/WideStr.h"

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
// straight into the body's free room.
class Output {
 public:
  Output() : m_builder(300) {}  // room for a bounded piece of 128 and the text around it
  void Append(const char* text, size_t length) {
    if (length == 0) return;
    if (length <= 16) {  // the usual piece: a few digits or a short literal, no call
      char* to = m_builder.Reserve(static_cast<uint32_t>(length));
      if (to == nullptr) return;
      for (size_t i = 0; i < length; ++i) to[i] = text[i];
      m_builder.Commit(static_cast<uint32_t>(length));
      return;
    }
    while (length > 0) {  // pieces past 4 GiB cannot exist, but stay within the view's 32 bits
      const uint32_t part = length > 0x7FFFFFFFu ? 0x7FFFFFFFu : static_cast<uint32_t>(length);
      m_builder.Append(AnsiSubStr(text, part));
      text += part;
      length -= part;
    }
  }
  // Room: where n more bytes and a terminator can be written in place, or null.
  char* Room(size_t n) { return n < 0x7FFFFFFFu ? m_builder.Reserve(static_cast<uint32_t>(n)) : nullptr; }
  void Commit(size_t n) { m_builder.Commit(static_cast<uint32_t>(n)); }
  AnsiStr Result() { return m_builder.Detach(); }

 private:
  AnsiStrBuilder m_builder;
};

// Two digits a step: half the dependent divisions of a digit-by-digit loop.
constexpr char kDigitPairs[] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
    "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
    "8081828384858687888990919293949596979899";

char* WriteDecimal(char* end, uint64_t value) {
  while (value >= 100) {
    const unsigned pair = static_cast<unsigned>(value % 100) * 2;
    value /= 100;
    *--end = kDigitPairs[pair + 1];
    *--end = kDigitPairs[pair];
  }
  if (value >= 10) {
    const unsigned pair = static_cast<unsigned>(value) * 2;
    *--end = kDigitPairs[pair + 1];
    *--end = kDigitPairs[pair];
  } else {
    *--end = static_cast<char>('0' + value);
  }
  return end;
}

// AppendDecimal: the digits written straight into the output, the minus sign first.
void AppendDecimal(Output& out, uint64_t value, bool negative) {
  unsigned digits = 1;
  for (uint64_t rest = value; rest >= 10; rest /= 10) ++digits;
  char* to = out.Room(digits + (negative ? 1 : 0));
  if (to == nullptr) return;
  if (negative) *to++ = '-';
  WriteDecimal(to + digits, value);
  out.Commit(digits + (negative ? 1 : 0));
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

unsigned RenderPiece(AnsiStr& out, unsigned size, const char* format, ...) {
  va_list args;
  va_start(args, format);
  const unsigned length = orvvsnprintf(out, size, format, args);
  va_end(args);
  return length;
}

// The length of a narrow or wide string argument, measured under a crash guard; 0 when the
// pointer faults.
size_t GuardedLength(const void* pointer, bool wide) {
  size_t length = 0;
  const bool ok = CallGuarded("FmtMeasure", [&] {
    length = wide ? wcslen(static_cast<const wchar_t*>(pointer)) : strlen(static_cast<const char*>(pointer));
  });
  return ok ? length : 0;
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
    const char conversion = record->conversion;
    const bool plain = record->flagCount == 0 && record->widthAbsent && record->precisionAbsent && record->modifier != 'h';
    char digits[24];
    char* end = digits + sizeof digits;
    if (plain) {  // the fast paths: byte for byte what the general path prints
      switch (conversion) {
        case 'd': case 'i': {
          const bool i64 = record->valueType == FmtValues::kInt64 || record->modifier == 'I';
          const int64_t v = i64 ? static_cast<int64_t>(record->value) : static_cast<int32_t>(record->value);
          char* start = WriteDecimal(end, v < 0 ? 0 - static_cast<uint64_t>(v) : static_cast<uint64_t>(v));
          if (v < 0) *--start = '-';
          out.Append(start, static_cast<size_t>(end - start));
          continue;
        }
        case 'u': case 'x': case 'X': {
          const char* start = conversion == 'u' ? WriteDecimal(end, record->value) : WriteHex(end, record->value, conversion == 'X');
          out.Append(start, static_cast<size_t>(end - start));
          continue;
        }
        case 'c':
          if (record->modifier == 0) {
            const char c = static_cast<char>(record->value);
            if (c != 0) out.Append(&c, 1);  // a NUL ends the piece: nothing
            continue;
          }
          break;
        case 's':
          if (record->modifier == 0) {
            const char* text = reinterpret_cast<const char*>(static_cast<uintptr_t>(record->value));
            if (text == nullptr) {
              out.Append("(null)", 6);
              continue;
            }
            size_t length = 0;
            if (CallGuarded("FmtMeasure", [&] { length = strlen(text); })) {
              out.Append(text, length);  // a plain %s piece is never cut: it holds the whole text
              continue;
            }
          }
          break;
        default:
          break;
      }
    }
    // The general path: rebuild a one-directive format and render it into a bounded piece.
    const bool stringArgument = conversion == 's' || conversion == 'S';
    const void* pointer = reinterpret_cast<const void*>(static_cast<uintptr_t>(record->value));
    if (stringArgument && pointer == nullptr) {
      out.Append("(null)", 6);
      continue;
    }
    char format[64];
    char* f = format;
    *f++ = '%';
    memcpy(f, record->flags, record->flagCount);
    f += record->flagCount;
    if (!record->widthAbsent && record->width != kUnknown) f += snprintf(f, 12, "%u", record->width);
    if (!record->precisionAbsent && record->precision != kUnknown) f += snprintf(f, 13, ".%u", record->precision);
    if (record->modifier == 'I') {
      if (record->iWidth == 32) *f++ = 'l';
      else if (record->iWidth == 64) *f++ = 'q';
    } else if (record->modifier != 0) {
      *f++ = record->modifier;
    }
    *f++ = conversion;
    *f = 0;
    const unsigned width = record->widthAbsent || record->width == kUnknown ? 0 : record->width;
    unsigned capacity = width > kMinPiece ? width : kMinPiece;
    if (stringArgument) {
      const size_t length = GuardedLength(pointer, conversion == 'S' || record->modifier == 'l');
      if (length > capacity) capacity = length > 0x7FFFFFF0u ? 0x7FFFFFF0u : static_cast<unsigned>(length);
    }
    locale.Enter();
    if (char* room = out.Room(capacity)) {  // render straight into the output when it has room
      int written = -1;
      const bool completed = CallGuarded("orvvsnprintf", [&] {
        switch (record->valueType) {
          case FmtValues::kInt32: written = snprintf(room, capacity + size_t{1}, format, static_cast<int>(record->value)); break;
          case FmtValues::kInt64: written = snprintf(room, capacity + size_t{1}, format, static_cast<long long>(record->value)); break;
          case FmtValues::kDouble: {
            double real;
            memcpy(&real, &record->value, sizeof real);
            written = snprintf(room, capacity + size_t{1}, format, real);
            break;
          }
          default: written = snprintf(room, capacity + size_t{1}, format, pointer); break;
        }
      });
      if (completed && written >= 0) {
        out.Commit(strnlen(room, capacity));  // up to the terminator, as a piece is taken
      } else {
        out.Append("(error)", 7);
      }
      continue;
    }
    AnsiStr piece;
    switch (record->valueType) {
      case FmtValues::kInt32: RenderPiece(piece, capacity, format, static_cast<int>(record->value)); break;
      case FmtValues::kInt64: RenderPiece(piece, capacity, format, static_cast<long long>(record->value)); break;
      case FmtValues::kDouble: {
        double real;
        memcpy(&real, &record->value, sizeof real);
        RenderPiece(piece, capacity, format, real);
        break;
      }
      default: RenderPiece(piece, capacity, format, pointer); break;
    }
    out.Append(piece.GetStr(), piece.GetLength());
  }
  return out.Result();
}

// ---- The one-pass path -------------------------------------------------------------------

namespace {

// PlainFormat: formats in one pass when every directive is a plain %d %i %u %x %X %c or %s
// (modifiers l ll q j z t L I32 I64 allowed on the integers) or %%; false as soon as anything
// else appears, and the caller starts over with the table. The renderings are those of the
// table's fast paths, so the two paths print the same bytes.
// IsPlainFormat: the same grammar check without fetching or printing anything, so a format
// that needs the table costs one quick scan, not a half-finished rendering.
bool IsPlainFormat(const char* p) {
  unsigned directives = 0;
  for (p = strchr(p, '%'); p != nullptr; p = strchr(p, '%')) {
    if (p[1] == '%') {
      p += 2;
      continue;
    }
    if (++directives > FmtTable::kMaxDirectives) return false;
    const char* q = p + 1;
    switch (*q) {
      case 'l': q += q[1] == 'l' ? 2 : 1; break;
      case 'q': case 'j': case 'z': case 't': case 'L': ++q; break;
      case 'I':
        if (!((q[1] == '6' && q[2] == '4') || (q[1] == '3' && q[2] == '2'))) return false;
        q += 3;
        break;
      default: break;
    }
    switch (*q) {
      case 'd': case 'i': case 'u': case 'x': case 'X': break;
      case 'c': case 's':
        if (q != p + 1) return false;
        break;
      default:
        return false;
    }
    p = q + 1;
  }
  return true;
}

bool PlainFormat(const char* p, va_list args, Output& out) {
  unsigned directives = 0;
  const char* literal = p;
  while (*p != 0) {
    if (*p != '%') {
      ++p;
      continue;
    }
    out.Append(literal, static_cast<size_t>(p - literal));
    if (p[1] == '%') {
      out.Append("%", 1);
      p += 2;
      literal = p;
      continue;
    }
    if (++directives > FmtTable::kMaxDirectives) return false;
    const char* q = p + 1;
    bool wide = false;
    switch (*q) {
      case 'l': wide = true; q += q[1] == 'l' ? 2 : 1; break;
      case 'q': case 'j': case 'z': case 't': case 'L': wide = true; ++q; break;
      case 'I':
        if (q[1] == '6' && q[2] == '4') wide = true;
        else if (!(q[1] == '3' && q[2] == '2')) return false;
        q += 3;
        break;
      default: break;
    }
    const bool i32 = q[-1] == '2' && q - p == 4;  // I32: a 32-bit value widened to 64 bits
    char digits[24];
    char* end = digits + sizeof digits;
    switch (*q) {
      case 'd': case 'i': {
        const int64_t v = wide ? va_arg(args, long long) : va_arg(args, int);
        AppendDecimal(out, v < 0 ? 0 - static_cast<uint64_t>(v) : static_cast<uint64_t>(v), v < 0);
        break;
      }
      case 'u': {
        const uint64_t v = wide ? static_cast<uint64_t>(va_arg(args, long long)) : va_arg(args, unsigned);
        AppendDecimal(out, v, false);
        break;
      }
      case 'x': case 'X': {
        const uint64_t v = wide ? static_cast<uint64_t>(va_arg(args, long long)) : va_arg(args, unsigned);
        const char* start = WriteHex(end, v, *q == 'X');
        out.Append(start, static_cast<size_t>(end - start));
        break;
      }
      case 'c': {
        if (wide || i32 || q != p + 1) return false;
        const char c = static_cast<char>(va_arg(args, int));
        if (c != 0) out.Append(&c, 1);
        break;
      }
      case 's': {
        if (q != p + 1) return false;
        const char* text = va_arg(args, const char*);
        if (text == nullptr) {
          out.Append("(null)", 6);
          break;
        }
        size_t length = 0;
        if (!CallGuarded("FmtMeasure", [&] { length = strlen(text); })) return false;  // the table prints "(error)"
        out.Append(text, length);
        break;
      }
      default:
        return false;
    }
    p = q + 1;
    literal = p;
  }
  out.Append(literal, static_cast<size_t>(p - literal));
  return true;
}

}  // namespace

// ---- Entry points ------------------------------------------------------------------------

AnsiStr FmtList(const char* format, va_list args) {
  if (format == nullptr) return AnsiStr();
  if (IsPlainFormat(format)) {
    Output out;
    va_list copy;
    va_copy(copy, args);
    const bool plain = PlainFormat(format, copy, out);
    va_end(copy);
    if (plain) return out.Result();
  }
  FmtTable table;
  if (!table.Build(format) || !table.Fill(args)) return AnsiStr();
  return table.GetStr();
}

AnsiStr FmtList(const char* format, FmtFetch fetch, const void* context) {
  FmtTable table;
  if (!table.Build(format) || !table.Fill(fetch, context)) return AnsiStr();
  return table.GetStr();
}

AnsiStr FmtArgs(const char* format, ...) {
  va_list args;
  va_start(args, format);
  AnsiStr out = FmtList(format, args);
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
