// RtfScanner.h: the lexical level of the RTF reader: bytes in, symbols out.
//
//   Rtf::Scanner scanner(data, size);
//   Rtf::Symbol symbol;
//   while (scanner.Next(symbol) && symbol.type != Rtf::kSymbolEnd) Use(symbol);
//   if (!scanner.GetError().IsEmpty()) Report(scanner.GetError());
//
// The scanner works on a whole document in memory and never copies it: names, parameters and
// text runs of a symbol point into the caller's bytes, which must outlive the symbols. It
// allocates nothing until it reports an error. Line ends and NUL bytes between symbols are
// not document text in RTF and are dropped here. One object is used by one thread at a time.
// Depends on base/text/AnsiStr.h.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/core/Export.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiBase::Rtf {

// SymbolType: what Scanner::Next found. The numbers are stable; a parser that meets a number it
// does not know reports it rather than guessing.
enum SymbolType : int {
  kSymbolError = 0,          // the scanner failed; see Scanner::GetError
  kSymbolEnd = 1,            // end of input
  kSymbolGroupStart = 2,     // '{'
  kSymbolGroupEnd = 3,       // '}'
  kSymbolControlWord = 4,    // '\' letters [-]digits: name, optional parameter
  kSymbolControlSymbol = 5,  // '\' and one character that is not a letter (not '\'')
  kSymbolHexEscape = 6,      // '\'' and two hexadecimal digits: one byte of text
  kSymbolText = 7,           // a run of document bytes (no '\', '{', '}', CR, LF or NUL)
};

// Symbol: one symbol. text/length are the control word's name, the control symbol's character
// (length 1) or the text run; parameterText/parameterLength the parameter as written (sign
// included; empty without one); value is the parameter (0 without one) or the escaped byte.
struct Symbol {
  SymbolType type = kSymbolEnd;
  const char* text = nullptr;
  uint32_t length = 0;
  const char* parameterText = nullptr;
  uint32_t parameterLength = 0;
  bool hasParameter = false;
  int32_t value = 0;
};

class ORVGUI_API Scanner {
 public:
  Scanner() = default;
  Scanner(const char* data, size_t size) { Reset(data, size); }

  // Reset: scans size bytes at data from their start (not copied; they must stay).
  void Reset(const char* data, size_t size);

  // Next: the next symbol. False with a kSymbolError symbol and the error text kept when the
  // input is malformed; once at the end, every call returns kSymbolEnd. Errors:
  //   "Control word [%s] parameter [%s] too large"  the parameter does not fit 32 signed bits
  //   ": [digit] expected"                          a '-' after a control word without a digit
  //   ": [hex digit] expected"                      "\'" not followed by two hexadecimal digits
  //   ": [control word or symbol] expected"         a '\' at the very end of the input
  //   "Unexpected character [%c]"                   a '\' before a byte that is neither a
  //                                                 printable ASCII character, TAB, CR nor LF
  bool Next(Symbol& symbol);

  // Skip: passes over the next count bytes (binary data), or to the end of the input.
  void Skip(size_t count) {
    m_at += count < static_cast<size_t>(m_end - m_at) ? count : static_cast<size_t>(m_end - m_at);
  }

  // GetError: the text of the failure (empty while there was none).
  const AnsiStr& GetError() const { return m_error; }
  // GetOffset: the byte offset of the next symbol (of the failure after an error).
  size_t GetOffset() const { return static_cast<size_t>(m_at - m_begin); }

 private:
  bool Fail(Symbol& symbol, const AnsiStr& message);
  bool ScanControl(Symbol& symbol);

  const char* m_begin = nullptr;
  const char* m_at = nullptr;
  const char* m_end = nullptr;
  AnsiStr m_error;
};

}  // namespace OrvGuiBase::Rtf
