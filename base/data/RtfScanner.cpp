// RtfScanner.cpp: symbols from RTF bytes.
//
// Text runs are the bulk of a document (and all of a picture's hexadecimal data), so the scan
// for the end of a run is a table lookup per byte with no other test: the table marks the six
// bytes that end a run ('\', '{', '}', CR, LF, NUL). Control words are read in one pass that
// accumulates the parameter in 64 bits and checks its range once at the end, so a parameter of
// any length costs one look at each digit and nothing more.
#include "base/data/RtfScanner.h"

#include <cstring>

#include "base/text/Formatter.h"

namespace OrvGuiBase::Rtf {

namespace {

struct StopTable {
  bool stop[256] = {};
  constexpr StopTable() {
    stop[static_cast<unsigned char>('\\')] = true;
    stop[static_cast<unsigned char>('{')] = true;
    stop[static_cast<unsigned char>('}')] = true;
    stop[static_cast<unsigned char>('\r')] = true;
    stop[static_cast<unsigned char>('\n')] = true;
    stop[0] = true;
  }
};
constexpr StopTable kStop;

inline bool IsLetter(unsigned char c) { return (c | 0x20) >= 'a' && (c | 0x20) <= 'z'; }
inline bool IsDigit(unsigned char c) { return c >= '0' && c <= '9'; }

inline int HexDigit(unsigned char c) {
  if (IsDigit(c)) return c - '0';
  c |= 0x20;
  return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

}  // namespace

void Scanner::Reset(const char* data, size_t size) {
  m_begin = m_at = data;
  m_end = data != nullptr ? data + size : data;
  m_error = AnsiStr();
}

bool Scanner::Fail(Symbol& symbol, const AnsiStr& message) {
  symbol = Symbol();
  symbol.type = kSymbolError;
  m_error = message;
  return false;
}

bool Scanner::Next(Symbol& symbol) {
  if (!m_error.IsEmpty()) return Fail(symbol, m_error);
  for (;;) {
    if (m_at >= m_end) {
      symbol = Symbol();
      symbol.type = kSymbolEnd;
      return true;
    }
    const unsigned char c = static_cast<unsigned char>(*m_at);
    switch (c) {
      case '{':
      case '}':
        symbol.type = c == '{' ? kSymbolGroupStart : kSymbolGroupEnd;
        symbol.text = m_at++;
        symbol.length = 1;
        symbol.hasParameter = false;
        symbol.parameterText = nullptr;
        symbol.parameterLength = 0;
        symbol.value = 0;
        return true;
      case '\\':
        return ScanControl(symbol);
      case '\r':
      case '\n':
      case '\0':
        ++m_at;  // not document text
        continue;
      default: {
        const char* start = m_at;
        const unsigned char* p = reinterpret_cast<const unsigned char*>(m_at) + 1;
        const unsigned char* end = reinterpret_cast<const unsigned char*>(m_end);
        while (p < end && !kStop.stop[*p]) ++p;
        m_at = reinterpret_cast<const char*>(p);
        symbol.type = kSymbolText;
        symbol.text = start;
        symbol.length = static_cast<uint32_t>(m_at - start);  // a run longer than 4 GiB is cut below
        if (static_cast<size_t>(m_at - start) > 0xFFFFFFFFu) {
          m_at = start + 0xFFFFFFFFu;
          symbol.length = 0xFFFFFFFFu;
        }
        symbol.hasParameter = false;
        symbol.parameterText = nullptr;
        symbol.parameterLength = 0;
        symbol.value = 0;
        return true;
      }
    }
  }
}

// ScanControl: at a backslash. A letter starts a control word: the name runs over letters, an
// optional '-' and digits give the parameter, and one space after it belongs to the word. An
// apostrophe starts a hexadecimal escape; any other character is a control symbol of its own.
bool Scanner::ScanControl(Symbol& symbol) {
  const char* at = m_at + 1;
  if (at >= m_end) return Fail(symbol, ": [control word or symbol] expected");
  const unsigned char c = static_cast<unsigned char>(*at);
  symbol.hasParameter = false;
  symbol.parameterText = nullptr;
  symbol.parameterLength = 0;
  symbol.value = 0;
  if (IsLetter(c)) {
    const char* name = at;
    while (at < m_end && IsLetter(static_cast<unsigned char>(*at))) ++at;
    symbol.type = kSymbolControlWord;
    symbol.text = name;
    symbol.length = static_cast<uint32_t>(at - name);
    const char* parameter = at;
    const bool negative = at < m_end && *at == '-';
    if (negative) {
      ++at;
      if (at >= m_end || !IsDigit(static_cast<unsigned char>(*at))) {
        m_at = at;
        return Fail(symbol, ": [digit] expected");
      }
    }
    if (at < m_end && IsDigit(static_cast<unsigned char>(*at))) {
      uint64_t value = 0;
      bool tooLarge = false;
      for (; at < m_end && IsDigit(static_cast<unsigned char>(*at)); ++at) {
        value = value * 10 + static_cast<unsigned>(*at - '0');
        if (value > 0x80000000u) {
          tooLarge = true;
          value = 0x80000001u;  // stays too large, never wraps
        }
      }
      if (tooLarge || (!negative && value > 0x7FFFFFFFu)) {
        m_at = parameter;
        return Fail(symbol, FmtArgs("Control word [%s] parameter [%s] too large",
                                    AnsiStr(AnsiSubStr(name, symbol.length)).GetStr(),
                                    AnsiStr(AnsiSubStr(parameter, static_cast<uint32_t>(at - parameter))).GetStr()));
      }
      symbol.hasParameter = true;
      symbol.parameterText = parameter;
      symbol.parameterLength = static_cast<uint32_t>(at - parameter);
      symbol.value = negative ? static_cast<int32_t>(-static_cast<int64_t>(value)) : static_cast<int32_t>(value);
    }
    if (at < m_end && *at == ' ') ++at;
    m_at = at;
    return true;
  }
  if (c == '\'') {
    const int high = at + 1 < m_end ? HexDigit(static_cast<unsigned char>(at[1])) : -1;
    const int low = at + 2 < m_end ? HexDigit(static_cast<unsigned char>(at[2])) : -1;
    if (high < 0 || low < 0) {
      m_at = at + 1;
      return Fail(symbol, ": [hex digit] expected");
    }
    symbol.type = kSymbolHexEscape;
    symbol.text = at - 1;
    symbol.length = 4;
    symbol.value = high << 4 | low;
    m_at = at + 3;
    return true;
  }
  if ((c < 0x20 && c != '\t' && c != '\r' && c != '\n') || c >= 0x7F) {
    m_at = at;
    return Fail(symbol, FmtArgs("Unexpected character [%c]", static_cast<int>(c)));
  }
  symbol.type = kSymbolControlSymbol;
  symbol.text = at;
  symbol.length = 1;
  symbol.value = c;
  m_at = at + 1;
  return true;
}

}  // namespace OrvGuiBase::Rtf
