// Json.h: JSON text to values and back.
//
//   Val doc;
//   AnsiStr error, text;
//   if (!JSON2Val("{\"a\":[1,2.5,\"x\"]}", doc, error)) puts(error.GetStr());   // "EOF expected", ...
//   Val2JSON(doc, text, error, true, false);                                      // {"a":[1,2.5,"x"]}
//
// The reader is strict: no comments, no trailing commas, no leading zeros, only blank, tab,
// line feed and carriage return between tokens, UTF-8 checked in every string, "\u" escapes
// checked for complete surrogate pairs, and the escape of code point zero refused (texts are
// zero-terminated throughout the library, so a string cannot carry it). It stops at the first
// error and gives a short English text ("value expected", "':' expected", ...); nothing is
// thrown. Objects become VAL_DIC maps (a repeated name replaces the earlier value and keeps its
// position), arrays VAL_VEC, integers that fit 64 bits VAL_INT, other numbers VAL_FLOAT.
//
// Nesting is limited to kJSONMaxDepth (512) arrays and objects inside one another, in reading
// and in writing, so that a hostile document fails with "nesting too deep (more than 512
// levels)" instead of exhausting the stack; a document at the limit is read, written and freed
// on a thread with a 256 KiB stack.
//
// The writer gives reals as "%.*g" with 15 significant digits (so 1.0 is written 1 and reads
// back as an integer), strings through QuoteEscapeJSON, dates as their ISO text in quotes,
// shaped structures and blobs as null; an opaque pointer cannot be written ("unsupported value
// (IUnknown)"), nor a real that is infinite or not a number.
//
// Depends on Val/KVMap, the string builder and the date text.
#pragma once

#include "base/data/KVMap.h"
#include "base/data/Val.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiBase {

constexpr unsigned kJSONMaxDepth = 512;

// JSON2Val: parses one document (text up to its terminator, or the whole AnsiStr, where a zero
// byte before the end is an invalid token) into value. True on success; otherwise false,
// value nil and error the reason. The caller's last error is kept.
ORVGUI_API bool JSON2Val(const char* text, Val& value, AnsiStr& error);
ORVGUI_API bool JSON2Val(const AnsiStr& text, Val& value, AnsiStr& error);

// Val2JSON: writes value as JSON into text. compact: one line without blanks; otherwise every
// member and element on its own line ("\r\n" and two blanks per level). asciiOnly: characters
// beyond ASCII are written as "\u" escapes (surrogate pairs above U+FFFF), which keeps the text
// safe for collectors that mangle UTF-8. True on success; otherwise false, text empty and error
// the reason.
ORVGUI_API bool Val2JSON(const Val& value, AnsiStr& text, AnsiStr& error, bool compact = true, bool asciiOnly = false);

// QuoteEscapeJSON: appends text as a JSON string (quotes included) to builder: '"' and '\'
// escaped, control characters as \b \f \n \r \t or \u00XX, the rest as is (asciiOnly: beyond
// ASCII as \uXXXX). The text must be valid UTF-8; false with the decoder's error text if not.
ORVGUI_API bool QuoteEscapeJSON(AnsiSubStr text, AnsiStrBuilder& builder, AnsiStr& error, bool asciiOnly = false);

// UnQuoteEscapeJSON: decodes the JSON string that starts at text (at its opening quote) and
// appends its characters to builder; *end (when not null) receives the position after the
// closing quote. strict refuses raw control characters below 0x20, as JSON does; without it
// they are taken as they are. False with the error text at the first fault (the texts are
// listed with the reader above). A zero byte ends the text: "unterminated string".
ORVGUI_API bool UnQuoteEscapeJSON(const char* text, AnsiStrBuilder& builder, AnsiStr& error, const char** end,
                                  bool strict = true);

// JSONFormatter: the writer's pieces. indent null: compact; otherwise the current indentation
// in blanks (0 at the top). False with error set when a value cannot be written.
class ORVGUI_API JSONFormatter {
 public:
  static bool AddValue(AnsiStrBuilder& builder, const Val& value, const unsigned* indent, AnsiStr& error,
                       bool asciiOnly = false);
  static bool AddArray(AnsiStrBuilder& builder, const Array<Val>& array, const unsigned* indent, AnsiStr& error,
                       bool asciiOnly = false);
};

}  // namespace OrvGuiBase
