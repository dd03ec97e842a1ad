// Quoting.cpp: quoting and unquoting with and without escapes.
//
// Both directions walk the text byte by byte but compare only bytes that start a UTF-8
// character (not 10xxxxxx) with the quote and escape characters; a continuation byte is never a
// quote or an escape, so it always travels with its lead byte. Runs of ordinary bytes are copied
// in one piece.
#include "base/text/Quoting.h"

#include <cerrno>
#include <cstdint>

#include "base/core/LastError.h"
#include "private/text/TextBytes.h"

namespace OrvGuiBase {
namespace {

constexpr char kDoubleQuote = '"';
constexpr char kApostrophe = '\'';
constexpr char kBackslash = '\\';

using Internal::IsContinuation;

// Special: whether a byte that starts a character is one of the given characters (0 is none).
inline bool Special(char b, char c1, char c2, char c3) { return b != 0 && (b == c1 || b == c2 || b == c3); }

// FitsLength: whether a result of n bytes can be an AnsiStr; sets ERANGE when not.
bool FitsLength(uint64_t n) {
  if (n <= UINT32_MAX - 1) return true;
  SetLastError(ERANGE);
  return false;
}

}  // namespace

void ComplementBrackets(char open, char& close) {
  if (close != 0) return;
  switch (open) {
    case '(':
      close = ')';
      break;
    case '<':
      close = '>';
      break;
    case '[':
      close = ']';
      break;
    case '{':
      close = '}';
      break;
    default:
      close = open;
      break;
  }
}

AnsiStr SimpleQuote(const AnsiStr& s, char open, char close) {
  ComplementBrackets(open, close);
  const uint64_t length = uint64_t{s.GetLength()} + (open != 0) + (close != 0);
  if (!FitsLength(length)) return AnsiStr();
  AnsiStrBuilder out(static_cast<uint32_t>(length));
  if (open != 0) out.Append(open);
  out.Append(AnsiSubStr(s));
  if (close != 0) out.Append(close);
  return Internal::FinishText(out);
}

AnsiStr SimpleQuote(const AnsiStr& s) { return SimpleQuote(s, kDoubleQuote, kDoubleQuote); }

AnsiStr SimpleUnQuote(const AnsiStr& s, char open, char close) {
  ComplementBrackets(open, close);
  const uint32_t length = s.GetLength();
  if (length < 2 || (open == 0 && close == 0)) return s;
  const char* text = s.GetStr();
  if ((open != 0 && text[0] != open) || (close != 0 && text[length - 1] != close)) return s;
  const uint32_t begin = open != 0 ? 1 : 0;
  const uint32_t end = close != 0 ? length - 1 : length;
  return AnsiStr(text + begin, end - begin);
}

AnsiStr SimpleUnQuote(const AnsiStr& s) { return SimpleUnQuote(s, kDoubleQuote, kDoubleQuote); }

AnsiStr ExtendedEscapeQuote(const AnsiStr& s, char open, char close, char escape) {
  ComplementBrackets(open, close);
  if (escape == 0) return SimpleQuote(s, open, close);
  const char* text = s.GetStr();
  const uint32_t length = s.GetLength();

  // Measure first so that the result is allocated once and exactly.
  uint64_t needed = uint64_t{length} + (open != 0) + (close != 0);
  for (uint32_t i = 0; i < length; ++i)
    if (!IsContinuation(text[i]) && Special(text[i], open, close, escape)) ++needed;
  if (!FitsLength(needed)) return AnsiStr();

  AnsiStrBuilder out(static_cast<uint32_t>(needed));
  if (open != 0) out.Append(open);
  uint32_t run = 0;  // start of the bytes not yet copied
  for (uint32_t i = 0; i < length; ++i) {
    if (IsContinuation(text[i]) || !Special(text[i], open, close, escape)) continue;
    out.Append(AnsiSubStr(text + run, i - run)).Append(escape);
    run = i;  // the special character itself is copied with the next run
  }
  out.Append(AnsiSubStr(text + run, length - run));
  if (close != 0) out.Append(close);
  return Internal::FinishText(out);
}

AnsiStr ExtendedQuote(const AnsiStr& s, char open, char close) {
  return ExtendedEscapeQuote(s, open, close, kBackslash);
}

AnsiStr ExtendedQuote(const AnsiStr& s) { return ExtendedEscapeQuote(s, kDoubleQuote, kDoubleQuote, kBackslash); }

// ExtendedEscapeUnQuote walks the working range [begin, end). At an escape character the
// escape (with any continuation bytes of its own) is dropped and the character after it is
// copied whole. That character may lie past the range: an escape that is the last character
// of a quoted range escapes the closing quote itself.
AnsiStr ExtendedEscapeUnQuote(const AnsiStr& s, char open, char close, char escape) {
  ComplementBrackets(open, close);
  const uint32_t length = s.GetLength();
  if (length == 0) return AnsiStr();
  // Deliberate: one byte, even a quote, is a value and not a broken pair; readers of one-character values rely on it.
  if (length == 1) return s;
  const char* text = s.GetStr();

  uint32_t begin = 0;
  uint32_t end = length;
  const bool quoted =
      (open != 0 || close != 0) && (open == 0 || text[0] == open) && (close == 0 || text[length - 1] == close);
  if (quoted) {
    begin = open != 0 ? 1 : 0;
    end = close != 0 ? length - 1 : length;
  } else if (open != 0 || close != 0 || escape == 0) {
    // Deliberate: unquoted text comes back untouched, escapes and all; importers pass bare words through here.
    return s;
  }
  if (escape == 0) return AnsiStr(text + begin, end - begin);

  AnsiStrBuilder out(end - begin);
  uint32_t run = begin;  // start of the bytes not yet copied
  for (uint32_t i = begin; i < end; ++i) {
    if (IsContinuation(text[i]) || text[i] != escape) continue;
    out.Append(AnsiSubStr(text + run, i - run));
    uint32_t next = i + 1;
    while (next < end && IsContinuation(text[next])) ++next;
    if (next >= length) {
      run = i;  // a lone escape at the very end of an unquoted text has nothing to escape: kept
      break;
    }
    // Deliberate: an escape ending the range escapes the closing quote, kept as text; registry files rely on it.
    uint32_t after = next + 1;
    const uint32_t limit = next < end ? end : length;
    while (after < limit && IsContinuation(text[after])) ++after;
    out.Append(AnsiSubStr(text + next, after - next));
    run = after;
    i = after - 1;
  }
  if (run < end) out.Append(AnsiSubStr(text + run, end - run));
  return Internal::FinishText(out);
}

AnsiStr ExtendedUnQuote(const AnsiStr& s, char open, char close) {
  return ExtendedEscapeUnQuote(s, open, close, kBackslash);
}

AnsiStr ExtendedUnQuote(const AnsiStr& s) {
  const char first = s[0];
  if (first == kDoubleQuote) return ExtendedEscapeUnQuote(s, kDoubleQuote, kDoubleQuote, kBackslash);
  if (first == kApostrophe) return ExtendedEscapeUnQuote(s, kApostrophe, kApostrophe, kBackslash);
  return s;  // deliberate: any other text is a bare value, shared as it is; the registry importer relies on it
}

}  // namespace OrvGuiBase
