// Quoting.h: putting a narrow text between quote characters, escaping what would break the
// quoting, and taking it out again. These are the quoting rules of the registry text format and
// of other places where a text must survive a round trip through a delimited form.
//
//   AnsiStr q = ExtendedQuote("say \"hi\"");       // "\"say \\\"hi\\\"\""
//   AnsiStr t = ExtendedUnQuote(q);                // back to: say "hi"
//   AnsiStr b = ExtendedQuote("a[1]", '[', 0);     // "[a\\[1\\]]": the closing bracket is derived
//
// Every function takes an AnsiStr and returns a new one; the input is never changed. Where a
// function returns its input unchanged it returns the same shared body. A quote or escape
// character of 0 means "none". Texts are walked as UTF-8 characters: only the first byte of a
// character (a byte that is not 10xxxxxx) is compared with the quote and escape characters; the
// continuation bytes that follow it travel with it, so multi-byte characters pass through both
// directions unchanged whatever their bytes are.
//
// Failure: the only failures are lack of memory and a result past 32 bits; the result is then
// the empty string and the last error is 12 (ENOMEM) or 34 (ERANGE). All functions are
// reentrant and keep no state. Depends on AnsiStr only.
#pragma once

#include "base/core/Export.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiBase {

// ComplementBrackets: when close is 0, sets it from open: '(' gives ')', '<' gives '>', '['
// gives ']', '{' gives '}', any other character (0 included) gives itself. A non-zero close is
// left alone.
ORVGUI_API void ComplementBrackets(char open, char& close);

// SimpleQuote: open + s + close, close completed by ComplementBrackets; nothing inside is
// escaped. A quote character of 0 is not written. The one-argument form uses double quotes.
ORVGUI_API AnsiStr SimpleQuote(const AnsiStr& s, char open, char close);
ORVGUI_API AnsiStr SimpleQuote(const AnsiStr& s);

// SimpleUnQuote: the reverse of SimpleQuote. Close is completed by ComplementBrackets. When s is
// at least two bytes long, starts with open and ends with close (a quote character of 0 is not
// looked for), the text between them; otherwise s itself (shared), so a text that is not quoted
// is not touched. Nothing inside is unescaped. With open and close both 0, s itself. The
// one-argument form uses double quotes.
ORVGUI_API AnsiStr SimpleUnQuote(const AnsiStr& s, char open, char close);
ORVGUI_API AnsiStr SimpleUnQuote(const AnsiStr& s);

// ExtendedEscapeQuote: open, then every character of s, with the escape character written in
// front of each character whose first byte equals open, close or escape, then close. Close is
// completed by ComplementBrackets; an escape of 0 escapes nothing (the result is SimpleQuote's).
// Example with the defaults: a"b\c gives "a\"b\\c".
ORVGUI_API AnsiStr ExtendedEscapeQuote(const AnsiStr& s, char open, char close, char escape);
// ExtendedQuote: ExtendedEscapeQuote with the backslash as escape character; the one-argument
// form with double quotes as both quote characters.
ORVGUI_API AnsiStr ExtendedQuote(const AnsiStr& s, char open, char close);
ORVGUI_API AnsiStr ExtendedQuote(const AnsiStr& s);

// ExtendedEscapeUnQuote: removes the quotes and the escapes.
//  - Close is completed by ComplementBrackets. An empty s gives the empty string; a one-byte s
//    is returned unchanged (shared), even when that byte is a quote.
//  - s is quoted when it starts with open and ends with close (0 is not looked for, but at
//    least one of them must be given); the working range is then the text between them.
//  - Otherwise, when open or close is given, or escape is 0, s is returned unchanged (shared):
//    a text that is not quoted is not touched. With both quote characters 0 and an escape given
//    the whole text is the working range (pure unescaping).
//  - The range is copied character by character; at an escape character the escape is dropped
//    and the next character is copied as it is, without being looked at as an escape.
//    An escape at the very end of the range escapes the closing quote, which is then kept as
//    text: "ab\" unquotes to ab". A lone escape at the very end of an unquoted text has nothing
//    to escape and is kept.
ORVGUI_API AnsiStr ExtendedEscapeUnQuote(const AnsiStr& s, char open, char close, char escape);
// ExtendedUnQuote: ExtendedEscapeUnQuote with the backslash as escape character.
ORVGUI_API AnsiStr ExtendedUnQuote(const AnsiStr& s, char open, char close);
// ExtendedUnQuote (one argument): chooses the quote pair from the text: a first byte '"'
// unquotes with double quotes, a first byte '\'' with apostrophes; any other text is returned
// unchanged (shared).
ORVGUI_API AnsiStr ExtendedUnQuote(const AnsiStr& s);

}  // namespace OrvGuiBase
