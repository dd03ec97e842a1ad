// Formatter.h: the library's printf-style formatter, into an AnsiStr.
//
//   AnsiStr line = FmtArgs("%s: %d items in %.3f s", name, count, seconds);
//   AnsiStr swapped = FmtArgs("%2$s %1$s", "a", "b");               // "b a"
//   AnsiStr wide = FmtArgs("%I64d", int64_t{1} << 32);               // "4294967296"
//
// A format is parsed once into a table of directives (FmtTable), each argument is fetched by
// the class its directive names, and each directive is rendered on its own into a piece of
// bounded size, so a bad directive or a bad pointer spoils only its own piece:
//   - directives: %[position$][flags][width][.precision][modifier]conversion, with flags from
//     " #+-0", width and precision as digits or * (optionally *position$), modifiers h hh l ll
//     L q j z t I I32 I64 (all 64-bit ones read 64-bit arguments), and the conversions
//     C E G S X c d e f g i o p s u x. Any other conversion character (n, a, A, F, ...) makes the
//     directive render nothing and the character is literal text (so "%qk" gives "k");
//   - either every directive carries a position (and then a position may repeat: "%1$d %1$d")
//     or none does; mixing the two gives the empty string. At most 127 directives are converted;
//     the rest of the format is not;
//   - a piece holds at most max(128, width) characters, or for strings max(128, the string's
//     length, width): longer renderings are cut there;
//   - a null %s prints "(null)"; a directive whose rendering fails or faults prints "(error)".
// Rendering runs in the "C" locale whatever the process has set. Thread safe; nothing shared.
#pragma once

#include <cstdarg>
#include <cstdint>

#include "base/core/Export.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiBase {

class WideStr;

// FmtValues: one argument handed to the formatter by a fetch callback. The formatter asks for
// one of the types below; the callback fills the matching member.
struct FmtValues {
  enum Type : unsigned {
    kInt32 = 1,    // c C, d i with no modifier or h, I8 I16; o u x X likewise (unsigned)
    kInt64 = 2,    // d i o u x X with l, ll, q, j, z, t, L or I64; I32 (widened)
    kDouble = 3,   // e E f g G
    kPointer = 4,  // s S p
  };
  int32_t int32 = 0;
  int64_t int64 = 0;
  double real = 0;
  const void* pointer = nullptr;
};

// FmtFetch: supplies argument number (1-based) of the given type; false fails the formatting.
typedef bool (*FmtFetch)(unsigned int number, unsigned int type, FmtValues& value, const void* context);

// FmtArgs: formats its variable arguments.
ORVGUI_API AnsiStr FmtArgs(const char* format, ...);  // no printf checking: the grammar has I32, I64, q
// FmtList: the same on a va_list (used on a copy: the caller's list is not consumed).
ORVGUI_API AnsiStr FmtList(const char* format, va_list args);
// FmtList: the same with each argument obtained from fetch.
ORVGUI_API AnsiStr FmtList(const char* format, FmtFetch fetch, const void* context);

// orvvsnprintf: renders one piece of at most size bytes with vsnprintf under a crash guard
// named "orvvsnprintf"; a negative result or a fault makes out "(error)". Returns out's length.
ORVGUI_API unsigned orvvsnprintf(AnsiStr& out, unsigned size, const char* format, va_list args);
// orvvsnwprintf: the same with vswprintf into a WideStr (L"(error)" on failure).
ORVGUI_API unsigned orvvsnwprintf(WideStr& out, unsigned size, const wchar_t* format, va_list args);

// AlignLeft / AlignRight / AlignCenter: s cleaned (CleanStr), cut to at most width UTF-8
// characters and padded with blanks to width characters: on the right, on the left, or around
// it with the odd blank on the left.
ORVGUI_API AnsiStr AlignLeft(const AnsiStr& s, unsigned int width);
ORVGUI_API AnsiStr AlignRight(const AnsiStr& s, unsigned int width);
ORVGUI_API AnsiStr AlignCenter(const AnsiStr& s, unsigned int width);

// FmtTable: a parsed format. FmtList is Build, then Fill, then GetStr; if Build or Fill fails
// the result is the empty string. The table lives on the caller's stack.
class ORVGUI_API FmtTable {
 public:
  static constexpr unsigned kMaxDirectives = 127;

  FmtTable() = default;
  ~FmtTable();
  FmtTable(const FmtTable&) = delete;
  FmtTable& operator=(const FmtTable&) = delete;

  // Build: parses format; false for a format that mixes positional and sequential arguments.
  bool Build(const char* format);
  // Fill: fetches the values; false when the callback fails.
  bool Fill(va_list args);
  bool Fill(FmtFetch fetch, const void* context);
  // GetStr: renders every directive and joins the pieces.
  AnsiStr GetStr();

  unsigned GetCount() const { return m_count; }
  bool IsPositional() const { return m_positional; }

  struct Record;

 private:
  template <class Source>
  bool FillFrom(Source& source);
  Record* NewRecord();

  static constexpr unsigned kInline = 8;
  unsigned m_count = 0;        // directives
  unsigned m_records = 0;      // records (directives, and the one carrying the trailing text)
  bool m_positional = false;
  unsigned m_highest = 0;      // the highest argument position
  Record** m_table = m_tableInline;  // the first m_records are set; grows past 128 ("%%" texts)
  unsigned m_tableCapacity = kMaxDirectives + 1;
  Record* m_tableInline[kMaxDirectives + 1];
  alignas(8) unsigned char m_inline[kInline][96];  // the first records live here
};

}  // namespace OrvGuiBase
