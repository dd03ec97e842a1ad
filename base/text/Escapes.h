// Escapes.h: text clean-up and the escapes that make a text safe inside HTML, XML, a URL or a
// single label.
//
//   AnsiStr text = CleanStr(" No such file\n");              // "No such file"
//   AnsiStr cell = HTMLEscape("a < b & c");                  // "a &lt; b &amp; c"
//   AnsiStr query = URLEscape("K\xC3\xB6ln 2024");           // "K%C3%B6ln%202024"
//   AnsiStr name;
//   if (!URLUnescape(query, name)) ...                      // malformed %XX: last error 22
//
// Common contract:
//  - Inputs are narrow texts (UTF-8 by convention), taken as AnsiSubStr views over their bytes;
//    nothing is changed in place. Multi-byte characters are never split.
//  - Escapes return a new AnsiStr. They fail only for lack of memory or a result past 32 bits:
//    the empty string with last error 12 (ENOMEM) and the string's event; XMLEscape also
//    refuses text that XML cannot carry (see there). ClipStr and CleanStr fail the same way.
//  - Unescapes return true and set result, or return false with the last error set and result
//    left exactly as it was: nothing is half-written. Malformed input is 22 (EINVAL).
//  - The last error is not touched on success. All functions are reentrant and keep no state.
// Depends on AnsiStr and the UTF helpers only.
#pragma once

#include <cstdint>

#include "base/core/Export.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiBase {

// CleanStr: the text without control characters (bytes below 0x20 and 0x7F) and without the
// blanks around it. Bytes of multi-byte UTF-8 characters are kept.
ORVGUI_API AnsiStr CleanStr(const AnsiStr& text);

// ClipStr: the text cut to at most maxChars UTF-8 characters, never inside a character (a
// character is a byte that is not 10xxxxxx with the continuation bytes after it). No ellipsis
// is added: callers that align columns count on the result being a prefix of the text. A text
// that fits is returned as it is (the same shared body).
ORVGUI_API AnsiStr ClipStr(const AnsiStr& text, uint32_t maxChars);
// ClipStr (with ellipsis): the same, but when the text must be cut the result ends with the
// ellipsis (for example "..." or "\xE2\x80\xA6") and still holds at most maxChars characters
// in all; when the ellipsis alone is longer than maxChars, the ellipsis cut to maxChars.
ORVGUI_API AnsiStr ClipStr(const AnsiStr& text, uint32_t maxChars, AnsiSubStr ellipsis);

// HTMLEscape: & < > " ' become &amp; &lt; &gt; &quot; &#39;; every other byte, multi-byte
// characters included, is copied as it is. Safe in element content and in attribute values
// quoted with either quote character.
ORVGUI_API AnsiStr HTMLEscape(AnsiSubStr text);
// HTMLUnescape: replaces the references &amp; &lt; &gt; &quot; &apos; (names are matched
// exactly, in lower case), &#ddd; and &#xhh; (hexadecimal digits in either case) by their
// characters, written as UTF-8. Lenient in the way of HTML readers: an '&' that does not start
// one of these (a bare '&', an unknown name such as &nbsp;, a name without ';') is kept as
// text. Strict on numbers: a numeric reference without digits or without its ';', or naming 0,
// a surrogate (U+D800..U+DFFF) or a value above U+10FFFF, fails with EINVAL.
ORVGUI_API bool HTMLUnescape(AnsiSubStr text, AnsiStr& result);

// XMLEscape: & < > " ' become &amp; &lt; &gt; &quot; &apos;, so the result is safe in content
// and in attribute values. XML 1.0 cannot carry the control characters other than TAB, LF and
// CR, even as references, nor ill-formed UTF-8: such text fails with the empty string and last
// error 84 (EILSEQ) rather than producing a document no reader accepts.
ORVGUI_API AnsiStr XMLEscape(AnsiSubStr text);
// XMLUnescape: replaces the five predefined references (&amp; &lt; &gt; &quot; &apos;) and
// &#ddd; / &#xhh; references by their characters in UTF-8. Strict, as XML is: a '&' that does
// not start a complete known reference, or a numeric reference to a character XML 1.0 does not
// allow (0, controls other than TAB, LF and CR, surrogates, U+FFFE, U+FFFF, above U+10FFFF),
// fails with EINVAL.
ORVGUI_API bool XMLUnescape(AnsiSubStr text, AnsiStr& result);

// URLEscape: percent-encoding in the manner of RFC 3986. The unreserved characters (ASCII
// letters, digits, '-', '.', '_', '~') and the ASCII characters listed in keep are copied;
// every other byte, each byte of a multi-byte character included, becomes '%' and two upper
// case hexadecimal digits. keep lets a caller leave delimiters alone, e.g. "/" for a path;
// '%' in keep is ignored (it is always encoded, so that the result decodes back).
ORVGUI_API AnsiStr URLEscape(AnsiSubStr text, AnsiSubStr keep = AnsiSubStr());
// URLUnescape: every "%hh" (hexadecimal digits in either case) becomes its byte; every other
// byte is copied ('+' stays '+': this is not form decoding). A '%' not followed by two
// hexadecimal digits fails with EINVAL. The decoded bytes are not checked for UTF-8 (a URL may
// carry any bytes); use IsValidUTF8 when the caller needs text.
ORVGUI_API bool URLUnescape(AnsiSubStr text, AnsiStr& result);

// LabelEscape: a text made fit to be one label (a registry key name, a file name, a trace
// context name, an identifier in a generated text) and reversible:
//  - kept: ASCII letters and digits, '-', '_', '.' (but not as the first byte), and well-formed
//    multi-byte UTF-8 characters, so readable names stay readable;
//  - every other byte becomes '%' and two upper case hexadecimal digits: controls, the blank,
//    all other ASCII punctuation ('/', '\\', '%', ':', '*', quotes, ...), bytes of ill-formed
//    UTF-8, and a leading '.' (so no label is "." or "..", or a hidden file name).
// The result never holds a separator, a blank or a control character. An empty text gives "".
ORVGUI_API AnsiStr LabelEscape(AnsiSubStr text);
// LabelUnescape: the reverse: "%hh" becomes its byte and the kept characters are copied. Text
// that LabelEscape cannot have produced fails with EINVAL: a malformed '%', a byte outside the
// kept set (a blank, '/', a control, ...), a leading '.', or ill-formed UTF-8.
ORVGUI_API bool LabelUnescape(AnsiSubStr text, AnsiStr& result);

}  // namespace OrvGuiBase
