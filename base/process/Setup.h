// Setup.h: the installation's setup values: number symbols and the time-zone bias.
//
//   const char* comma = Setup::GetComma();          // "." unless the host chose otherwise
//   Setup::SetThousand("\xC2\xA0");                  // group thousands with a no-break space
//   int bias = Setup::GetTimeZoneBias();            // minutes; UTC = local time + bias
//
// The number symbols are read on every number conversion, so reads take no lock: the values
// live in an immutable snapshot that a setter replaces as a whole (one atomic pointer). A
// snapshot is never freed while the process runs, so a text that a getter returned stays valid
// and unchanged even after a later setter; setting values that an earlier snapshot already
// holds reuses it, so toggling between settings does not grow memory. A host sets the values
// at start-up (or when the user changes them); readers on other threads see either the old or
// the new snapshot, never a mixture (use GetNumberSymbols for several values at once).
//
// Defaults are those of the "C" locale: decimal separator ".", no thousands separator, and the
// signs "+" and "-" (the "C" locale leaves its sign symbols empty; numbers there are written
// with "+" and "-"); two fraction digits.
//
// Depends on core only.
#pragma once

#include <ctime>

#include "base/core/Export.h"

namespace OrvGuiBase {

// NumberSymbols: one consistent set of the installation's number symbols. Every symbol is
// UTF-8 text of at most 7 bytes, NUL-terminated.
struct NumberSymbols {
  char positiveSign[8];
  char negativeSign[8];
  char comma[8];     // the decimal separator
  char thousand[8];  // the thousands separator; "" for no grouping
  unsigned fractions;  // the usual count of fraction digits
};

class ORVGUI_API Setup {
 public:
  // GetNumberSymbols: the current snapshot (never null; valid for the life of the process).
  static const NumberSymbols& GetNumberSymbols();
  // The single symbols of the current snapshot (never null).
  static const char* GetPositiveSign() { return GetNumberSymbols().positiveSign; }
  static const char* GetNegativeSign() { return GetNumberSymbols().negativeSign; }
  static const char* GetComma() { return GetNumberSymbols().comma; }
  static const char* GetThousand() { return GetNumberSymbols().thousand; }
  static unsigned GetFractions() { return GetNumberSymbols().fractions; }

  // Setters: replace one value and publish a new snapshot. A symbol must be valid UTF-8 of at
  // most 7 bytes without ASCII digits or ASCII white space; the signs and the comma must not be
  // empty, the thousands separator may be ("" turns grouping off); the comma must differ from
  // the thousands separator and the two signs from each other. Fractions are 0 to 15.
  // A value that breaks these rules is refused: false with last error EINVAL, nothing changes.
  static bool SetPositiveSign(const char* sign);
  static bool SetNegativeSign(const char* sign);
  static bool SetComma(const char* comma);
  static bool SetThousand(const char* thousand);
  static bool SetFractions(unsigned fractions);
  // SetNumberSymbols: all values at once (checked as above). ResetNumberSymbols: the defaults.
  static bool SetNumberSymbols(const NumberSymbols& symbols);
  static void ResetNumberSymbols();

  // GetTimeZoneBias: UTC minus local time in minutes, as the platform reported it when first
  // asked (at library start-up): -60 for Central European winter time. A host may fix it with
  // SetTimeZoneBias; ResetTimeZoneBias goes back to the platform's value.
  static int GetTimeZoneBias();
  static void SetTimeZoneBias(int minutes);
  static void ResetTimeZoneBias();
  // IsTimeZoneBiasSet: true while a bias fixed by SetTimeZoneBias is in force.
  static bool IsTimeZoneBiasSet();
  // GetTimeZoneBiasAt: the platform's bias at the given instant (daylight saving included).
  static int GetTimeZoneBiasAt(time_t at);
  // GetStandardBias / GetDaylightBias: the platform's bias outside and inside daylight saving
  // time in the current year; both equal the standard bias where there is no daylight saving.
  static int GetStandardBias();
  static int GetDaylightBias();
};

// GetTimeZoneBias: Setup::GetTimeZoneBias(), kept for older callers.
ORVGUI_API int GetTimeZoneBias();

}  // namespace OrvGuiBase
