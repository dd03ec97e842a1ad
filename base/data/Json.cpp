// Json.cpp: the JSON scanner, the recursive-descent parser, the writer and the string codecs.
//
// Reading is one pass over zero-terminated UTF-8. The scanner (BaseJSONScanner) turns the text
// into tokens; the parser (JSONParser) asks for one token at a time and descends into arrays and
// objects. Elements and members are not added to their container one by one: they wait on two
// scratch stacks shared by all levels, and when the closing bracket comes the container is made
// once in its exact size and the entries are moved in (their words copied, no reference counts
// touched). A string without escapes becomes its value in one allocation straight from the
// input; object names repeat a lot, so the parser keeps the last name seen per hash slot and
// shares it. Numbers are read without the locale, to the double strtod gives in the C locale:
// digits eight at a time into a 64-bit integer, then an exact scaling by a power of ten for the
// common lengths and scales, and std::from_chars (which reads as strtod does) for the rest.
#include "base/data/Json.h"

#include <emmintrin.h>

#include <cerrno>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>

#include "base/core/LastError.h"
#include "base/text/Formatter.h"
#include "private/text/DecimalDigits.h"
#include "private/text/RealText.h"

namespace OrvGuiBase {

namespace {

using Imp = ValDic::Imp;

const char kTooDeep[] = "nesting too deep (more than 512 levels)";

// Out: a growing byte buffer with a sticky failure, the writer's and the decoder's target.
class Out {
 public:
  explicit Out(size_t first = 256) : m_first(first) {}
  ~Out() { free(m_data); }
  Out(const Out&) = delete;
  Out& operator=(const Out&) = delete;

  // Room: n writable bytes at the end (null once memory ran out).
  char* Room(size_t n) {
    if (m_length + n <= m_capacity) [[likely]]
      return m_data + m_length;
    return Grow(n);
  }
  void Commit(size_t n) { m_length += n; }
  void Add(char c) {
    if (char* p = Room(1)) {
      *p = c;
      ++m_length;
    }
  }
  void Add(const char* text, size_t n) {
    if (char* p = Room(n)) {
      memcpy(p, text, n);
      m_length += n;
    }
  }
  const char* GetData() const { return m_data != nullptr ? m_data : ""; }
  size_t GetLength() const { return m_length; }
  bool IsFailed() const { return m_failed; }
  void Clear() { m_length = 0; }

 private:
  char* Grow(size_t n) {
    if (m_failed) return nullptr;
    size_t capacity = m_capacity != 0 ? m_capacity * 2 : m_first;
    while (capacity < m_length + n) capacity *= 2;
    char* data = static_cast<char*>(realloc(m_data, capacity));
    if (data == nullptr || capacity > 0xFFFFFFFFu) {
      if (data != nullptr) m_data = data;
      m_failed = true;
      return nullptr;
    }
    m_data = data;
    m_capacity = capacity;
    return m_data + m_length;
  }

  char* m_data = nullptr;
  size_t m_length = 0;
  size_t m_capacity = 0;
  size_t m_first;
  bool m_failed = false;
};

// kPlain: bytes a string may hold without a closer look (not '"', '\\', controls or >= 0x80).
struct PlainTable {
  bool plain[256];
  constexpr PlainTable() : plain() {
    for (int c = 0x20; c < 0x80; ++c) plain[c] = c != '"' && c != '\\';
  }
};
constexpr PlainTable kPlain;

// PlainRun: the end of the run of plain bytes from p, looked at sixteen at a time while
// sixteen remain before end: the first byte that is not plain, or end.
inline const char* PlainRun(const char* p, const char* end) {
  while (end - p >= 16) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    // A signed comparison: bytes from 0x80 up count as below 0x20.
    const __m128i special = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_set1_epi8('"')), _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\\'))),
                                         _mm_cmplt_epi8(bytes, _mm_set1_epi8(0x20)));
    const unsigned mask = static_cast<unsigned>(_mm_movemask_epi8(special));
    if (mask != 0) return p + __builtin_ctz(mask);
    p += 16;
  }
  while (p < end && kPlain.plain[static_cast<unsigned char>(*p)]) ++p;
  return p;
}

inline bool IsContinuation(unsigned char c) { return (c & 0xC0) == 0x80; }

// DecodeUtf8: the character that starts at p (a byte >= 0x80). Returns its length in bytes, or
// 0 with error set. Lead bytes of the old five- and six-byte forms are decoded to name the
// value they would have had.
unsigned DecodeUtf8(const unsigned char* p, uint32_t& cp, AnsiStr& error) {
  const unsigned char lead = p[0];
  unsigned length;
  uint32_t value;
  if (lead < 0xC0) {
    error = "invalid leading continuation byte encountered";
    return 0;
  }
  if (lead < 0xC2) {
    error = "invalid overlong encoding of basic ASCII characters";
    return 0;
  }
  if (lead < 0xE0) length = 2, value = lead & 0x1F;
  else if (lead < 0xF0) length = 3, value = lead & 0x0F;
  else if (lead < 0xF8) length = 4, value = lead & 0x07;
  else if (lead < 0xFC) length = 5, value = lead & 0x03;
  else if (lead < 0xFE) length = 6, value = lead & 0x01;
  else {
    error = "invalid utf-8 sequence";
    return 0;
  }
  for (unsigned i = 1; i < length; ++i) {
    if (!IsContinuation(p[i])) {  // the terminator is no continuation byte: never read past it
      error = "continuation byte missing";
      return 0;
    }
    value = (value << 6) | (p[i] & 0x3F);
  }
  static const uint32_t kMinimum[] = {0, 0, 0x80, 0x800, 0x10000};
  if (length > 4) {
    error = FmtArgs("invalid unicode (%x)", value);
    return 0;
  }
  if (value < kMinimum[length]) {
    error = FmtArgs("invalid unicode (overlong encoding %x)", value);
    return 0;
  }
  if (value > 0x10FFFF) {
    error = FmtArgs("invalid unicode (overflow %x)", value);
    return 0;
  }
  if (value >= 0xD800 && value <= 0xDFFF) {
    error = FmtArgs("invalid unicode (surrogate halves %x)", value);
    return 0;
  }
  cp = value;
  return length;
}

// ValidUtf8: the length of the well-formed character at p (a byte >= 0x80) that ends by end,
// or 0; the fast path in front of DecodeUtf8, which then names the fault.
inline unsigned ValidUtf8(const unsigned char* p, const unsigned char* end) {
  const unsigned char c = p[0];
  const ptrdiff_t room = end - p;
  if (c < 0xC2) return 0;
  if (c < 0xE0) return room >= 2 && IsContinuation(p[1]) ? 2 : 0;
  if (c < 0xF0) {
    if (room < 3 || !IsContinuation(p[1]) || !IsContinuation(p[2])) return 0;
    const uint32_t cp = ((c & 0x0Fu) << 12) | ((p[1] & 0x3Fu) << 6) | (p[2] & 0x3Fu);
    return cp >= 0x800 && (cp < 0xD800 || cp > 0xDFFF) ? 3 : 0;
  }
  if (c < 0xF5) {
    if (room < 4 || !IsContinuation(p[1]) || !IsContinuation(p[2]) || !IsContinuation(p[3])) return 0;
    const uint32_t cp = ((c & 0x07u) << 18) | ((p[1] & 0x3Fu) << 12) | ((p[2] & 0x3Fu) << 6) | (p[3] & 0x3Fu);
    return cp >= 0x10000 && cp <= 0x10FFFF ? 4 : 0;
  }
  return 0;
}

// Fives: 5^k, and floor(2^shift / 5^k) with shift making it a 128-bit number with its top
// bit set, for k up to 27.
struct Fives {
  uint64_t power[28] = {};
  unsigned __int128 reciprocal[28] = {};
  int shift[28] = {};
  constexpr Fives() {
    uint64_t five = 1;
    for (int k = 0; k < 28; ++k, five *= 5) {
      power[k] = five;
      if (k == 0) continue;
      const int bits = 64 - __builtin_clzll(five);
      shift[k] = 127 + bits;
      // Long division of 2^shift by 5^k, a bit at a time; the quotient fits 128 bits.
      unsigned __int128 quotient = 0;
      uint64_t remainder = 0;
      for (int bit = shift[k]; bit >= 0; --bit) {
        remainder = remainder * 2 + (bit == shift[k] ? 1 : 0);
        quotient <<= 1;
        if (remainder >= five) {
          remainder -= five;
          quotient |= 1;
        }
      }
      reciprocal[k] = quotient;
    }
  }
};
constexpr Fives kFives{};

// ReadHex4: the four hex digits at p.
bool ReadHex4(const char* p, uint32_t& value, AnsiStr& error) {
  value = 0;
  for (int i = 0; i < 4; ++i) {
    const char c = p[i];
    if (c == 0 || c == '"') {
      error = "invalid unicode (digits missing)";
      return false;
    }
    unsigned digit;
    if (c >= '0' && c <= '9') digit = static_cast<unsigned>(c - '0');
    else if ((c | 0x20) >= 'a' && (c | 0x20) <= 'f') digit = static_cast<unsigned>((c | 0x20) - 'a' + 10);
    else {
      error = "invalid unicode (digits invalid)";
      return false;
    }
    value = value * 16 + digit;
  }
  return true;
}

void AddUtf8(Out& out, uint32_t cp) {
  char* p = out.Room(4);
  if (p == nullptr) return;
  if (cp < 0x80) {
    p[0] = static_cast<char>(cp);
    out.Commit(1);
  } else if (cp < 0x800) {
    p[0] = static_cast<char>(0xC0 | (cp >> 6));
    p[1] = static_cast<char>(0x80 | (cp & 0x3F));
    out.Commit(2);
  } else if (cp < 0x10000) {
    p[0] = static_cast<char>(0xE0 | (cp >> 12));
    p[1] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    p[2] = static_cast<char>(0x80 | (cp & 0x3F));
    out.Commit(3);
  } else {
    p[0] = static_cast<char>(0xF0 | (cp >> 18));
    p[1] = static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
    p[2] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    p[3] = static_cast<char>(0x80 | (cp & 0x3F));
    out.Commit(4);
  }
}

// Unquote: decodes the string whose opening quote is at text into out. *end: after the
// closing quote. textEnd: where the terminating zero belongs (a zero before it is a control
// character, not the end).
bool Unquote(const char* text, const char* textEnd, Out& out, AnsiStr& error, const char** end, bool strict) {
  if (*text != '"') {
    error = "quote is missing";
    return false;
  }
  const char* p = text + 1;
  for (;;) {
    const char* run = p;
    p = PlainRun(p, textEnd);
    out.Add(run, static_cast<size_t>(p - run));
    const unsigned char c = static_cast<unsigned char>(*p);
    if (c == '"') {
      if (end != nullptr) *end = p + 1;
      if (out.IsFailed()) {
        error = "out of memory";
        return false;
      }
      return true;
    }
    if (c == '\\') {
      uint32_t cp;
      switch (p[1]) {
        case '"': out.Add('"'); p += 2; continue;
        case '\\': out.Add('\\'); p += 2; continue;
        case '/': out.Add('/'); p += 2; continue;
        case 'b': out.Add('\b'); p += 2; continue;
        case 'f': out.Add('\f'); p += 2; continue;
        case 'n': out.Add('\n'); p += 2; continue;
        case 'r': out.Add('\r'); p += 2; continue;
        case 't': out.Add('\t'); p += 2; continue;
        case 'u': break;
        case 0:
          if (p + 1 >= textEnd) {
            error = "unterminated string";
            return false;
          }
          [[fallthrough]];
        default: error = "invalid escape"; return false;
      }
      if (!ReadHex4(p + 2, cp, error)) return false;
      p += 6;
      if (cp == 0) {
        error = "invalid unicode (zero)";
        return false;
      }
      if (cp >= 0xD800 && cp <= 0xDBFF) {
        uint32_t low;
        if (p[0] != '\\' || p[1] != 'u') {
          error = FmtArgs("invalid unicode (second surrogate missing \"\\u%04x\")", cp);
          return false;
        }
        if (!ReadHex4(p + 2, low, error)) return false;
        if (low < 0xDC00 || low > 0xDFFF) {
          error = FmtArgs("invalid unicode (second surrogate invalid \"\\u%04x\\u%04x\")", cp, low);
          return false;
        }
        p += 6;
        cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
      } else if (cp >= 0xDC00 && cp <= 0xDFFF) {
        error = FmtArgs("invalid unicode (range \"\\u%04x\")", cp);
        return false;
      }
      AddUtf8(out, cp);
      continue;
    }
    if (c == 0 && p >= textEnd) {
      error = "unterminated string";
      return false;
    }
    if (c < 0x20) {
      if (strict) {
        error = "invalid control character";
        return false;
      }
      out.Add(static_cast<char>(c));
      ++p;
      continue;
    }
    uint32_t cp;
    const unsigned length = DecodeUtf8(reinterpret_cast<const unsigned char*>(p), cp, error);
    if (length == 0) return false;
    out.Add(p, length);
    p += length;
  }
}

}  // namespace

// BaseJSONScanner: the tokens of one document. The text of the last string token is in str,
// the last number in integer or real, the last punctuation in punct, and after an error token
// the reason in error.
class BaseJSONScanner {
 public:
  enum Token { kError = 0, kEnd = 1, kPunct = 2, kString = 3, kInteger = 4, kReal = 5, kTrue = 6, kFalse = 7, kNull = 8 };

  BaseJSONScanner(const char* text, const char* end, bool strict) : m_pos(text), m_end(end), m_strict(strict) {}

  int Next() {
    const char* p = SkipBlanks(m_pos);
    const char c = *p;
    switch (c) {
      case '[': case ']': case '{': case '}': case ',': case ':':
        punct = c;
        m_pos = p + 1;
        return token = kPunct;
      case '"': return token = ScanString(p);
      case 't':
        if (p[1] == 'r' && p[2] == 'u' && p[3] == 'e') return m_pos = p + 4, token = kTrue;
        break;
      case 'f':
        if (p[1] == 'a' && p[2] == 'l' && p[3] == 's' && p[4] == 'e') return m_pos = p + 5, token = kFalse;
        break;
      case 'n':
        if (p[1] == 'u' && p[2] == 'l' && p[3] == 'l') return m_pos = p + 4, token = kNull;
        break;
      case 0:
        if (p >= m_end) return m_pos = p, token = kEnd;
        break;
      default:
        if (c == '-' || (c >= '0' && c <= '9')) return token = ScanNumber(p);
        break;
    }
    m_pos = p;
    return Fail("invalid token");
  }

  // NextPunct: Next where the grammar expects the punctuation c. Trying c first gives each
  // place a branch of its own, which the processor learns, in front of the shared dispatch.
  int NextPunct(char c) {
    const char* p = SkipBlanks(m_pos);
    m_pos = p;
    if (*p != c) return Next();
    punct = c;
    m_pos = p + 1;
    return token = kPunct;
  }

  // NextName: Next where an object expects a member name.
  int NextName() {
    const char* p = SkipBlanks(m_pos);
    m_pos = p;
    return *p == '"' ? (token = ScanString(p)) : Next();
  }

  int Fail(const char* text) {
    error = text;
    return token = kError;
  }

  // SkipBlanks: past blank, tab, line feed and carriage return. Indented documents have long
  // runs of blanks, looked at sixteen bytes at a time while the text lasts.
  const char* SkipBlanks(const char* p) const {
    if (static_cast<unsigned char>(*p) > ' ') [[likely]]
      return p;
    while (m_end - p >= 16) {
      const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
      const __m128i blanks = _mm_or_si128(
          _mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_set1_epi8(' ')), _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\n'))),
          _mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_set1_epi8('\r')), _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\t'))));
      const unsigned others = ~static_cast<unsigned>(_mm_movemask_epi8(blanks)) & 0xFFFF;
      if (others != 0) return p + __builtin_ctz(others);
      p += 16;
    }
    while (*p == ' ' || *p == '\n' || *p == '\r' || *p == '\t') ++p;
    return p;
  }

  char punct = 0;
  int token = kError;
  int64_t integer = 0;
  double real = 0;
  AnsiStr str;
  uint32_t strHash = 0;  // the key hash of str when it was scanned as a name
  AnsiStr error;

  // ScanName: a string token for an object name, shared with an equal earlier name.
  bool nameMode = false;

 private:
  int ScanString(const char* quote) {
    const char* p = quote + 1;
    for (;;) {
      p = PlainRun(p, m_end);
      if (*p == '"') break;
      if (static_cast<unsigned char>(*p) < 0x80) return ScanEscaped(quote);  // escape, control or end
      const unsigned length = ValidUtf8(reinterpret_cast<const unsigned char*>(p), reinterpret_cast<const unsigned char*>(m_end));
      if (length == 0) {
        uint32_t cp;
        if (DecodeUtf8(reinterpret_cast<const unsigned char*>(p), cp, error) == 0) return m_pos = p, kError;
        return ScanEscaped(quote);  // cannot happen: both readers agree
      }
      p += length;
    }
    m_pos = p + 1;
    MakeStr(quote + 1, static_cast<uint32_t>(p - quote - 1));
    return kString;
  }

  int ScanEscaped(const char* quote) {
    m_buffer.Clear();
    const char* end = quote;
    if (!Unquote(quote, m_end, m_buffer, error, &end, m_strict)) return kError;
    m_pos = end;
    MakeStr(m_buffer.GetData(), static_cast<uint32_t>(m_buffer.GetLength()));
    return kString;
  }

  // SameName: whether the cached name holds the length bytes at text. Names are short: up to
  // sixteen bytes are compared as two words when both sides have that much room (a body of
  // such a name has sixteen bytes of text room or more).
  bool SameName(const AnsiStr& cached, const char* text, uint32_t length) const {
    const AnsiStr::Imp* body;
    memcpy(&body, static_cast<const void*>(&cached), sizeof body);
    if (length > 16 || body->capacity < 16 || m_end - text < 16) return memcmp(body->text, text, length) == 0;
    uint64_t a[2], b[2];
    memcpy(a, body->text, sizeof a);
    memcpy(b, text, sizeof b);
    const uint64_t lowMask = length >= 8 ? ~uint64_t{0} : (uint64_t{1} << (8 * length)) - 1;
    const uint64_t highMask = length <= 8 ? 0 : length == 16 ? ~uint64_t{0} : (uint64_t{1} << (8 * (length - 8))) - 1;
    return (((a[0] ^ b[0]) & lowMask) | ((a[1] ^ b[1]) & highMask)) == 0;
  }

  // MakeStr: the token text; a name is looked up in the cache of recent names first.
  void MakeStr(const char* text, uint32_t length) {
    if (!nameMode) {
      str = length != 0 ? AnsiStr(text, length) : AnsiStr();
      return;
    }
    // The map's hash (h * 31 + byte, bytes sign-extended), four bytes a step.
    auto byte = [text](uint32_t i) { return static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(text[i]))); };
    uint32_t h = 0;
    uint32_t i = 0;
    for (; i + 4 <= length; i += 4) h = h * 923521 + byte(i) * 29791 + byte(i + 1) * 961 + byte(i + 2) * 31 + byte(i + 3);
    for (; i < length; ++i) h = h * 31 + byte(i);
    // The strict scan refuses control characters, so only a lenient one can pass a zero byte,
    // where the map's hash ends.
    strHash = m_strict || memchr(text, 0, length) == nullptr ? h : Imp::Hash(text);
    AnsiStr& cached = m_names[(h ^ (h >> 9)) & (kNameSlots - 1)];
    if (Imp::KeyLength(cached) == length && length != 0 && SameName(cached, text, length)) {
      // The cached names are this parse's own until the document is handed back: their counts
      // need no atomic steps.
      AnsiStr::Imp* body;
      memcpy(&body, static_cast<const void*>(&cached), sizeof body);
      body->LinkUnpublished();
      if (str.GetCapacity() != 0) str = AnsiStr();  // the last token is taken already, but for a failure
      memcpy(static_cast<void*>(&str), &body, sizeof body);
      return;
    }
    str = length != 0 ? AnsiStr(text, length) : AnsiStr();
    if (length <= 64) cached = str;
  }

  int ScanNumber(const char* start) {
    const char* p = start;
    const bool negative = *p == '-';
    if (negative) ++p;
    if (*p == '0' && p[1] >= '0' && p[1] <= '9') {
      m_pos = p;
      return Fail(negative ? "negative leading zeros are not allowed" : "leading zeros are not allowed");
    }
    const char* digits = p;
    uint64_t value = 0;
    bool overflow = false;
    p = TakeDigits(p, value);
    while (*p >= '0' && *p <= '9') {
      const uint64_t digit = static_cast<uint64_t>(*p - '0');
      if (value > (UINT64_MAX - digit) / 10) overflow = true;
      value = value * 10 + digit;
      ++p;
    }
    if (p == digits || overflow || value > (negative ? uint64_t{1} << 63 : (uint64_t{1} << 63) - 1)) {
      m_pos = p;
      error = FmtArgs("invalid number [%s]", AnsiStr(start, static_cast<uint32_t>(p - start)).GetStr());
      return token = kError;
    }
    if (*p != '.' && (*p | 0x20) != 'e') {
      integer = negative ? static_cast<int64_t>(0 - value) : static_cast<int64_t>(value);
      m_pos = p;
      return kInteger;
    }
    // A real: its digits gather in value (scale: the power of ten they miss) while value stays
    // below 10^18; a longer one is left to the exact converter.
    bool exact = true;
    int scale = 0;
    if (*p == '.') {
      ++p;
      if (*p < '0' || *p > '9') {
        m_pos = p;
        return Fail("real truncated at point");
      }
      const char* fraction = p;
      p = TakeDigits(p, value);
      scale = static_cast<int>(fraction - p);
      if (*p >= '0' && *p <= '9') {
        exact = false;
        while (*p >= '0' && *p <= '9') ++p;
      }
    }
    if ((*p | 0x20) == 'e') {
      // An exponent without digits is not part of the number: the scan resumes at the 'e'.
      const char* e = p + 1;
      const bool down = *e == '-';
      if (*e == '+' || *e == '-') ++e;
      if (*e >= '0' && *e <= '9') {
        int exponent = 0;
        for (; *e >= '0' && *e <= '9'; ++e)
          if (exponent < 100000) exponent = exponent * 10 + (*e - '0');
        scale += down ? -exponent : exponent;
        p = e;
      }
    }
    m_pos = p;
    if (exact && ScaleExactly(value, scale, real)) {
      if (negative) real = -real;
      return kReal;
    }
    const std::from_chars_result read = std::from_chars(start, p, real);
    if (read.ec == std::errc() && read.ptr == p) return kReal;
    if (read.ptr == start && read.ec == std::errc::invalid_argument) return Fail("number out of range (underflow)");
    // Out of range: an overflow fails; a value too small for a double becomes what strtod
    // makes of it (zero or the nearest subnormal), as the C locale reads it.
    static locale_t s_c = newlocale(LC_ALL_MASK, "C", nullptr);
    real = strtod_l(start, nullptr, s_c);
    if (std::isinf(real)) return Fail("number out of range (overflow)");
    return kReal;
  }

  // TakeDigits: the decimal digits at p taken into value (times ten plus the digit each) while
  // value stays below 10^18; returns the end of what was taken. Runs of up to eight digits
  // are taken at once while the text lasts and they fit.
  const char* TakeDigits(const char* p, uint64_t& value) const {
    static constexpr uint64_t kTens[] = {1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000};
    // kRoom[n]: value must be below it to take n more digits and stay below 10^18.
    static constexpr uint64_t kRoom[] = {0, 100000000000000000ull, 10000000000000000ull, 1000000000000000ull,
                                         100000000000000ull, 10000000000000ull, 1000000000000ull, 100000000000ull,
                                         10000000000ull};
    while (m_end - p >= 8) {
      uint64_t eight;
      memcpy(&eight, p, sizeof eight);
      // The first byte that is no digit has its flag set; later flags may be wrong, and
      // later bytes are not used.
      const uint64_t flags = ((eight + 0x4646464646464646ull) | (eight - 0x3030303030303030ull)) & 0x8080808080808080ull;
      const unsigned count = flags != 0 ? static_cast<unsigned>(__builtin_ctzll(flags)) / 8 : 8;
      if (count == 0) return p;
      if (value >= kRoom[count]) break;
      // The digits move to the high end, behind zeros; then pairs, fours and eight combine.
      eight = (eight - 0x3030303030303030ull) << (8 * (8 - count));
      eight = eight * 10 + (eight >> 8);
      eight = (((eight & 0x000000FF000000FFull) * (100 + (1000000ull << 32))) +
               (((eight >> 16) & 0x000000FF000000FFull) * (1 + (10000ull << 32)))) >> 32;
      value = value * kTens[count] + (eight & 0xFFFFFFFFu);
      p += count;
      if (count < 8) return p;
    }
    for (; *p >= '0' && *p <= '9' && value < 100000000000000000ull; ++p) value = value * 10 + static_cast<uint64_t>(*p - '0');
    return p;
  }

  // ScaleExactly: digits x 10^scale rounded to the nearest double, for scales within 27 (the
  // powers of five up to 5^27 fit 64 bits). Upwards the product with 5^scale is exact in 128
  // bits and rounds exactly. Downwards the digits are multiplied by 2^n / 5^-scale cut to 128
  // bits; the cut leaves the top 128 bits of the product short by less than two units, which
  // decides the rounding unless the bits below the double's last place lie just under half
  // of it; those few are left to the exact converter.
  static bool ScaleExactly(uint64_t digits, int scale, double& out) {
    using U128 = unsigned __int128;
    if (scale < -27 || scale > 27) return false;
    if (digits == 0) {
      out = 0;
      return true;
    }
    // The double's 53 bits are taken from the top word of a 128-bit product; the bits below
    // them in that word (rest, half of the last place being half) and the bottom word round.
    uint64_t top, bottom, rest, half, mantissa;
    int exponent;  // the double is mantissa x 2^exponent before rounding
    if (scale >= 0) {
      U128 product = static_cast<U128>(digits) * kFives.power[scale];
      const uint64_t high = static_cast<uint64_t>(product >> 64);
      const int normalise = high != 0 ? __builtin_clzll(high) : 64 + __builtin_clzll(static_cast<uint64_t>(product));
      product <<= normalise;  // the top bit at 127
      top = static_cast<uint64_t>(product >> 64);
      bottom = static_cast<uint64_t>(product);
      mantissa = top >> 11;
      rest = top & 0x7FF;
      half = 0x400;
      exponent = scale + 75 - normalise;
    } else {
      const int normalise = __builtin_clzll(digits);
      const uint64_t w = digits << normalise;
      const U128 low = static_cast<U128>(w) * static_cast<uint64_t>(kFives.reciprocal[-scale]);
      const U128 high = static_cast<U128>(w) * static_cast<uint64_t>(kFives.reciprocal[-scale] >> 64);
      const U128 product = high + (low >> 64);  // the top 128 of the 192 bits, top bit at 127 or 126
      top = static_cast<uint64_t>(product >> 64);
      bottom = static_cast<uint64_t>(product);
      const unsigned cut = 10 + static_cast<unsigned>(top >> 63);
      mantissa = top >> cut;
      rest = top & ((uint64_t{1} << cut) - 1);
      half = uint64_t{1} << (cut - 1);
      exponent = 128 + static_cast<int>(cut) - kFives.shift[-scale] - normalise + scale;
      // The cut made the product short by less than two units of its last bit: only a product
      // just under a halfway point could round the other way.
      if (rest == half - 1 ? bottom >= UINT64_MAX - 1 : rest == half && bottom == 0) return false;
    }
    // Round to nearest, ties to even, without branches: the direction is as good as random.
    mantissa += static_cast<uint64_t>((rest > half) | ((rest == half) & ((bottom != 0) | ((mantissa & 1) != 0))));
    const unsigned carry = static_cast<unsigned>(mantissa >> 53);  // rounded up to 2^53
    mantissa >>= carry;
    exponent += static_cast<int>(carry);
    const uint64_t bits = (static_cast<uint64_t>(exponent + 52 + 1023) << 52) | (mantissa & ((uint64_t{1} << 52) - 1));
    memcpy(&out, &bits, sizeof out);
    return true;
  }

  static constexpr uint32_t kNameSlots = 256;

  const char* m_pos;
  const char* m_end;
  bool m_strict;
  Out m_buffer{256};
  AnsiStr m_names[kNameSlots];
};

// JSONParser: recursive descent over the scanner's tokens. Each level waits for its entries
// on the shared stacks (m_words for arrays, m_members for objects) and builds its container
// at the closing bracket. Values travel as raw words with their references, and only
// ParseContainer recurses, with no addressable locals, so that a document 512 levels deep fits
// a small thread stack even in instrumented builds.
class JSONParser {
 public:
  explicit JSONParser(BaseJSONScanner& scanner) : m_scanner(scanner) {}
  ~JSONParser() {
    for (size_t i = 0; i < m_wordCount; ++i) Val::AdoptWord(m_words[i]);  // released at once
    for (size_t i = 0; i < m_memberCount; ++i) m_members[i].~Entry();
    free(m_words);
    free(m_members);
  }
  JSONParser(const JSONParser&) = delete;
  JSONParser& operator=(const JSONParser&) = delete;

  // ParseValue: the value that starts at the current token; leaves the token after it.
  bool ParseValue(Val& out) {
    const uint64_t word = IsContainer() ? ParseContainer() : ParseScalar();
    if (m_failed) return false;
    out = Val::AdoptWord(word);
    return true;
  }

  bool Fail(const char* text) {
    m_scanner.error = text;
    m_failed = true;
    return false;
  }

 private:
  using Entry = Imp::Entry;

  bool IsPunct(char c) const { return m_scanner.token == BaseJSONScanner::kPunct && m_scanner.punct == c; }
  bool IsContainer() const { return IsPunct('[') || IsPunct('{'); }

  // ParseScalar: the word of a string, number, true, false or null; then the next token.
  __attribute__((noinline)) uint64_t ParseScalar() {
    BaseJSONScanner& s = m_scanner;
    Val value;
    switch (s.token) {
      case BaseJSONScanner::kString: value.SetStr(std::move(s.str)); break;
      case BaseJSONScanner::kInteger: value.SetInt(s.integer); break;
      case BaseJSONScanner::kReal: value.SetFloat(s.real); break;
      case BaseJSONScanner::kTrue: value.SetBool(true); break;
      case BaseJSONScanner::kFalse: value.SetBool(false); break;
      case BaseJSONScanner::kNull: break;
      case BaseJSONScanner::kError: m_failed = true; return 0;
      default: Fail("value expected"); return 0;
    }
    s.NextPunct(',');
    return value.DetachWord();
  }

  // ParseContainer: the array or object at the current '[' or '{', as a word.
  uint64_t ParseContainer() {
    if (++m_depth > kJSONMaxDepth) return Fail(kTooDeep), 0;
    const bool object = m_scanner.punct == '{';
    const size_t base = object ? m_memberCount : m_wordCount;
    NextInside(object);
    if (IsPunct(object ? '}' : ']')) {
      --m_depth;
      m_scanner.NextPunct(',');
      return object ? VAL_DIC : VAL_VEC;  // the empty map and array hold no body
    }
    for (;;) {
      if (object && !StartMember()) return 0;
      const uint64_t word = IsContainer() ? ParseContainer() : ParseScalar();
      if (m_failed) return 0;
      if (!Store(object, word)) return 0;
      if (m_scanner.token != BaseJSONScanner::kPunct) return Fail(object ? "'}' expected" : "']' expected"), 0;
      if (m_scanner.punct == ',') {
        NextInside(object);
        continue;
      }
      if (m_scanner.punct != (object ? '}' : ']')) return Fail(object ? "'}' expected" : "']' expected"), 0;
      break;
    }
    const uint64_t word = object ? BuildObject(base) : BuildArray(base);
    --m_depth;
    m_scanner.NextPunct(',');
    return word;
  }

  // NextInside: the next token; inside an object it may be a member name, shared when seen.
  __attribute__((noinline)) void NextInside(bool object) {
    if (!object) {
      m_scanner.Next();
      return;
    }
    m_scanner.nameMode = true;
    m_scanner.NextName();
    m_scanner.nameMode = false;
  }

  // StartMember: the name and ':' of a member, pushed with a nil value.
  __attribute__((noinline)) bool StartMember() {
    BaseJSONScanner& s = m_scanner;
    if (s.token != BaseJSONScanner::kString) return Fail("string or '}' expected");
    if (m_memberCount == m_memberCapacity && !GrowMembers()) return Fail("out of memory");
    new (&m_members[m_memberCount++]) Entry{std::move(s.str), s.strHash, Val()};
    s.NextPunct(':');
    if (!IsPunct(':')) return Fail("':' expected");
    s.Next();
    return true;
  }

  bool Store(bool object, uint64_t word) {
    if (object) {
      m_members[m_memberCount - 1].value = Val::AdoptWord(word);
      return true;
    }
    if (m_wordCount == m_wordCapacity && !GrowWords()) {
      Val::AdoptWord(word);
      return Fail("out of memory");
    }
    m_words[m_wordCount++] = word;
    return true;
  }

  __attribute__((noinline)) uint64_t BuildArray(size_t base) {
    const uint32_t count = static_cast<uint32_t>(m_wordCount - base);
    Array<Val> array;
    array.MoveIn(reinterpret_cast<Val*>(m_words + base), count);  // the stack forgets them
    m_wordCount = base;
    Val value;
    value.SetVec(std::move(array));
    return value.DetachWord();
  }

  __attribute__((noinline)) uint64_t BuildObject(size_t base) {
    Imp* body = Imp::Build(m_members + base, static_cast<uint32_t>(m_memberCount - base));
    if (body == nullptr) return Fail("dict set failed"), 0;
    for (size_t i = base; i < m_memberCount; ++i) m_members[i].~Entry();  // emptied by Build
    m_memberCount = base;
    Val value;
    value.SetDic(ValDic::Adopt(body));  // SetDic links: the adopting handle drops its own
    return value.DetachWord();
  }

  bool GrowWords() {
    const size_t capacity = m_wordCapacity != 0 ? m_wordCapacity * 2 : 64;
    void* grown = realloc(m_words, capacity * sizeof(uint64_t));
    if (grown == nullptr) return false;
    m_words = static_cast<uint64_t*>(grown);
    m_wordCapacity = capacity;
    return true;
  }

  bool GrowMembers() {
    const size_t capacity = m_memberCapacity != 0 ? m_memberCapacity * 2 : 32;
    void* grown = realloc(static_cast<void*>(m_members), capacity * sizeof(Entry));  // entries move as bytes
    if (grown == nullptr) return false;
    m_members = static_cast<Entry*>(grown);
    m_memberCapacity = capacity;
    return true;
  }

  BaseJSONScanner& m_scanner;
  bool m_failed = false;
  unsigned m_depth = 0;
  uint64_t* m_words = nullptr;
  size_t m_wordCount = 0;
  size_t m_wordCapacity = 0;
  Entry* m_members = nullptr;
  size_t m_memberCount = 0;
  size_t m_memberCapacity = 0;
};

namespace {

bool Parse(const char* text, const char* end, Val& value, AnsiStr& error) {
  const int saved = GetLastError();
  BaseJSONScanner scanner(text, end, true);
  bool ok;
  {
    JSONParser parser(scanner);
    scanner.Next();
    Val result;
    ok = parser.ParseValue(result);
    if (ok && scanner.token != BaseJSONScanner::kEnd) ok = parser.Fail("EOF expected");
    if (ok) value = std::move(result);
  }
  if (ok) error = AnsiStr();
  else {
    value.SetNil();
    error = scanner.error;
  }
  SetLastError(saved);
  return ok;
}

// Writer: the writer's state: target, options and the first error.
struct Writer {
  Out out{4096};
  AnsiStr& error;
  bool asciiOnly;

  bool Fail(const char* text) {
    error = text;
    return false;
  }

  void Indent(unsigned n) {
    char* p = out.Room(2 + n);
    if (p == nullptr) return;
    p[0] = '\r';
    p[1] = '\n';
    memset(p + 2, ' ', n);
    out.Commit(2 + n);
  }

  bool String(const char* text, size_t length) {
    // The common case: nothing to escape and nothing beyond ASCII.
    const unsigned char* p = reinterpret_cast<const unsigned char*>(text);
    const unsigned char* end = p + length;
    char* room = out.Room(length + 2);
    if (room == nullptr) return Fail("out of memory");
    const unsigned char* q = reinterpret_cast<const unsigned char*>(PlainRun(text, text + length));
    if (q == end) {
      room[0] = '"';
      memcpy(room + 1, text, length);
      room[length + 1] = '"';
      out.Commit(length + 2);
      return true;
    }
    out.Add('"');
    static const char kHex[] = "0123456789abcdef";
    while (p < end) {
      const unsigned char* run = p;
      for (;;) {
        p = reinterpret_cast<const unsigned char*>(PlainRun(reinterpret_cast<const char*>(p), reinterpret_cast<const char*>(end)));
        unsigned n;
        if (p < end && *p >= 0x80 && !asciiOnly && (n = ValidUtf8(p, end)) != 0) {
          p += n;
          continue;
        }
        break;
      }
      out.Add(reinterpret_cast<const char*>(run), static_cast<size_t>(p - run));
      if (p == end) break;
      const unsigned char c = *p;
      if (c >= 0x80) {
        uint32_t cp;
        const unsigned n = DecodeUtf8(p, cp, error);
        if (n == 0 || p + n > end) {
          if (n != 0) error = "continuation byte missing";
          return false;
        }
        if (!asciiOnly) {
          out.Add(reinterpret_cast<const char*>(p), n);
        } else {
          char escape[12];
          uint32_t units[2] = {cp, 0};
          int count = 1;
          if (cp >= 0x10000) {
            units[0] = 0xD800 + ((cp - 0x10000) >> 10);
            units[1] = 0xDC00 + ((cp - 0x10000) & 0x3FF);
            count = 2;
          }
          for (int i = 0; i < count; ++i) {
            escape[0] = '\\';
            escape[1] = 'u';
            for (int d = 0; d < 4; ++d) escape[2 + d] = kHex[(units[i] >> (12 - 4 * d)) & 15];
            out.Add(escape, 6);
          }
        }
        p += n;
        continue;
      }
      switch (c) {
        case '"': out.Add("\\\"", 2); break;
        case '\\': out.Add("\\\\", 2); break;
        case '\b': out.Add("\\b", 2); break;
        case '\f': out.Add("\\f", 2); break;
        case '\n': out.Add("\\n", 2); break;
        case '\r': out.Add("\\r", 2); break;
        case '\t': out.Add("\\t", 2); break;
        default: {
          const char escape[6] = {'\\', 'u', '0', '0', kHex[c >> 4], kHex[c & 15]};
          out.Add(escape, 6);
        }
      }
      ++p;
    }
    out.Add('"');
    return true;
  }

  // Container: an array or map body and what is inside it. Only this recurses, one frame per
  // level and no addressable locals, so that 512 levels fit a small thread stack.
  bool Container(const void* body, bool isDic, int indent, unsigned depth) {
    if (depth > kJSONMaxDepth) return Fail(kTooDeep);
    const uint32_t count = body == nullptr ? 0
                           : isDic     ? static_cast<const Imp*>(body)->GetCount()
                                       : static_cast<const ArrayImp*>(body)->count;
    if (count == 0) {
      out.Add(isDic ? "{}" : "[]", 2);
      return true;
    }
    const Val* values = isDic ? static_cast<const Imp*>(body)->values.GetData()
                              : reinterpret_cast<const Val*>(const_cast<ArrayImp*>(static_cast<const ArrayImp*>(body))->GetSlots());
    out.Add(isDic ? '{' : '[');
    const AnsiStr* keys = isDic ? static_cast<const Imp*>(body)->keys.GetData() : nullptr;
    for (uint32_t i = 0; i < count; ++i) {
      if (i != 0) out.Add(',');
      if (indent >= 0) Indent(static_cast<unsigned>(indent) + 2);
      if (isDic && !Name(keys[i])) return false;
      const Val& value = values[i];
      const unsigned type = value.GetType();
      const bool ok = type == VAL_DIC || type == VAL_VEC
                          ? Container(value.GetPointer(), type == VAL_DIC, indent >= 0 ? indent + 2 : -1, depth + 1)
                          : Scalar(value);
      if (!ok) return false;
    }
    if (indent >= 0) Indent(static_cast<unsigned>(indent));
    out.Add(isDic ? '}' : ']');
    return true;
  }

  __attribute__((noinline)) bool Name(const AnsiStr& key) {
    if (!String(key.GetStr(), Imp::KeyLength(key))) return false;
    out.Add(':');
    return true;
  }

  bool Value(const Val& value, int indent, unsigned depth) {
    const unsigned type = value.GetType();
    if (type == VAL_DIC || type == VAL_VEC) return Container(value.GetPointer(), type == VAL_DIC, indent, depth + 1);
    return Scalar(value);
  }

  __attribute__((noinline)) bool Scalar(const Val& value) {
    switch (value.GetType()) {
      case VAL_NIL:
      case VAL_AGG:
      case VAL_OBJ:
      case VAL_BLOB: out.Add("null", 4); return true;
      case VAL_BOOL:
        if (value.GetWord() & 0x100) out.Add("true", 4);
        else out.Add("false", 5);
        return true;
      case VAL_INT: {
        const int64_t number = value.GetInt();
        const uint64_t magnitude = number < 0 ? 0 - static_cast<uint64_t>(number) : static_cast<uint64_t>(number);
        const size_t length = Internal::DecimalLength(magnitude) + (number < 0 ? 1 : 0);
        char* p = out.Room(length);
        if (p == nullptr) return Fail("out of memory");
        *p = '-';  // kept only for a negative number
        Internal::WriteDecimal(p + length, magnitude);
        out.Commit(length);
        return true;
      }
      case VAL_FLOAT: {
        const double real = value.GetFloat();
        if (!std::isfinite(real)) return Fail("unsupported value (infinite or NaN real)");
        char* p = out.Room(32);
        if (p == nullptr) return Fail("out of memory");
        *p = '-';  // kept only for a negative real
        const size_t sign = std::signbit(real) ? 1 : 0;
        out.Commit(static_cast<size_t>(Internal::WriteGeneral(p + sign, p + 32, std::fabs(real), 15) - p));
        return true;
      }
      case VAL_DATE: {
        const AnsiStr text = value.GetDate().GetStr();
        return String(text.GetStr(), text.GetLength());
      }
      case VAL_STR: {
        const AnsiStr::Imp* body = static_cast<const AnsiStr::Imp*>(value.GetPointer());
        return String(body != nullptr ? body->text : "", body != nullptr ? body->length : 0);
      }
      case VAL_PIU: return Fail("unsupported value (IUnknown)");
      default: error = FmtArgs("unsupported value (type %u)", value.GetType()); return false;
    }
  }
};

bool Finish(Writer& writer, AnsiStrBuilder& builder, bool ok) {
  if (ok && writer.out.IsFailed()) ok = writer.Fail("out of memory");
  if (ok) builder.Append(AnsiSubStr(writer.out.GetData(), static_cast<uint32_t>(writer.out.GetLength())));
  return ok;
}

}  // namespace

bool JSON2Val(const char* text, Val& value, AnsiStr& error) {
  if (text == nullptr) text = "";
  return Parse(text, text + strlen(text), value, error);
}

bool JSON2Val(const AnsiStr& text, Val& value, AnsiStr& error) {
  return Parse(text.GetStr(), text.GetStr() + text.GetLength(), value, error);
}

bool Val2JSON(const Val& value, AnsiStr& text, AnsiStr& error, bool compact, bool asciiOnly) {
  const int saved = GetLastError();
  Writer writer{Out(4096), error, asciiOnly};
  bool ok = writer.Value(value, compact ? -1 : 0, 0);
  if (ok && writer.out.IsFailed()) ok = writer.Fail("out of memory");
  if (ok) {
    text = AnsiStr(writer.out.GetData(), static_cast<uint32_t>(writer.out.GetLength()));
    error = AnsiStr();
  } else {
    text = AnsiStr();
  }
  SetLastError(saved);
  return ok;
}

bool JSONFormatter::AddValue(AnsiStrBuilder& builder, const Val& value, const unsigned* indent, AnsiStr& error,
                             bool asciiOnly) {
  Writer writer{Out(4096), error, asciiOnly};
  return Finish(writer, builder, writer.Value(value, indent != nullptr ? static_cast<int>(*indent) : -1, 0));
}

bool JSONFormatter::AddArray(AnsiStrBuilder& builder, const Array<Val>& array, const unsigned* indent, AnsiStr& error,
                             bool asciiOnly) {
  Writer writer{Out(4096), error, asciiOnly};
  Val value(array);
  return Finish(writer, builder, writer.Value(value, indent != nullptr ? static_cast<int>(*indent) : -1, 0));
}

bool QuoteEscapeJSON(AnsiSubStr text, AnsiStrBuilder& builder, AnsiStr& error, bool asciiOnly) {
  Writer writer{Out(text.GetLength() + 16), error, asciiOnly};
  return Finish(writer, builder, writer.String(text.GetStr(), text.GetLength()));
}

bool UnQuoteEscapeJSON(const char* text, AnsiStrBuilder& builder, AnsiStr& error, const char** end, bool strict) {
  if (text == nullptr) text = "";
  Out out(256);
  const bool ok = Unquote(text, text + strlen(text), out, error, end, strict);
  if (ok) builder.Append(AnsiSubStr(out.GetData(), static_cast<uint32_t>(out.GetLength())));
  return ok;
}

}  // namespace OrvGuiBase
