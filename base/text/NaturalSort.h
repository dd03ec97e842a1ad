// NaturalSort.h: the order people expect for names with numbers in them, and Soundex codes.
//
//   std::sort(names.begin(), names.end(), NaturalLess());   // "file2" before "file10"
//   if (NaturalCompare(a, b, true) < 0) ...
//   AnsiStr code = Soundex("Robert");                        // "R163"
//
// Both are pure functions of their arguments: reentrant, no state, no allocation in
// NaturalCompare. Depends on AnsiStr and the case mapping of CaseSearch.h.
#pragma once

#include "base/core/Export.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiBase {

// NaturalCompare: three-way comparison (-1, 0, 1) of two UTF-8 texts in natural order; null
// reads as "".
//  - A run of ASCII digits in both texts at the same place is compared by its value, however
//    long (leading zeros do not count): "a2" < "a10", "x007" == "x7" by value.
//  - Everything else is compared character by character by Unicode value; with ignoreCase
//    through the library's lower-case mapping (FoldWideChar). A text that is a prefix of the
//    other comes first.
//  - Ties are broken so that the order is total and deterministic: among texts equal by the
//    rules above, the first digit run with fewer leading zeros comes first ("a7" < "a07"), and
//    then the plain byte order decides ("File" < "file" under ignoreCase). So 0 means the two
//    texts are byte for byte the same, and sorting never depends on the input order.
ORVGUI_API int NaturalCompare(const char* a, const char* b, bool ignoreCase = false);

// NaturalLess: NaturalCompare(a, b, ignoreCase) < 0 as a comparison object for sorting.
struct NaturalLess {
  bool ignoreCase = false;
  bool operator()(const char* a, const char* b) const { return NaturalCompare(a, b, ignoreCase) < 0; }
  bool operator()(const AnsiStr& a, const AnsiStr& b) const { return NaturalCompare(a, b, ignoreCase) < 0; }
};

// Soundex: the American Soundex code of a name: its first ASCII letter in upper case, then the
// digits of the following consonants (b f p v: 1; c g j k q s x z: 2; d t: 3; l: 4; m n: 5;
// r: 6), padded with '0' or cut to four characters in all. Letters of the same digit next to
// each other count once, also across 'h' and 'w' and including the first letter; a vowel
// (a e i o u y) between them makes them count twice. Letter case does not matter. Bytes that
// are no ASCII letter (blanks, digits, punctuation, multi-byte characters) are skipped, so
// "O'Brien" is coded as "OBrien". A text without any ASCII letter gives the empty string.
ORVGUI_API AnsiStr Soundex(AnsiSubStr text);

}  // namespace OrvGuiBase
