// Setup.h: the installation's setup values: number symbols, the time-zone bias and the
// temporary directory.
//
//   const char* comma = Setup::GetComma();          // "." unless the host chose otherwise
//   Setup::SetThousand("\xC2\xA0");                  // group thousands with a no-break space
//   int bias = Setup::GetTimeZoneBias();            // minutes; UTC = local time + bias
//   AnsiStr temp = GetTempDirectory();              // "/tmp" unless TMPDIR or a setter says
//
// Where a value comes from, first match wins:
//   1. the host: the Set... functions below (Reset... gives the value back to the layers below);
//   2. the registry layer: SetRegistryLayer, which the registry code calls with the values it
//      finds in the installation's settings (a field it leaves unset passes to the defaults);
//   3. the defaults: the process's locale (LC_NUMERIC radix and thousands characters,
//      LC_MONETARY signs and fraction digits; an empty sign reads "+" or "-", fraction digits
//      the locale leaves open read 2) and time zone (TZ, else the system's), taken when the
//      library is loaded and again on RefreshDefaults; the temporary directory is TMPDIR when
//      set and not empty, else "/tmp". A locale symbol that is no valid setup symbol, or a set
//      of symbols that clash, gives the "C" locale's.
// At load time every process is still in the "C" locale (".", no grouping, "+", "-", 2); a
// program that chooses its locale with setlocale and wants it as the default calls
// RefreshDefaults afterwards.
//
// The number symbols are read on every number conversion, so reads take no lock: the values
// live in an immutable snapshot that a change replaces as a whole (one atomic pointer). A
// snapshot is never freed while the process runs, so a text that a getter returned stays valid
// and unchanged even after a later change; a combination that an earlier snapshot already
// holds reuses it, so toggling between settings does not grow memory. Readers on other threads
// see either the old or the new snapshot, never a mixture (use GetNumberSymbols for several
// values at once).
//
// Depends on core and text.
#pragma once

#include <ctime>

#include "base/core/Export.h"
#include "base/text/AnsiStr.h"

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

// SetupLayer: the values one layer of the precedence supplies. A text left "" (or a flag left
// false) is unset and passes the decision to the next layer; the thousands separator has its
// own flag because "" (no grouping) is a value.
struct SetupLayer {
  char positiveSign[8] = "";
  char negativeSign[8] = "";
  char comma[8] = "";
  char thousand[8] = "";
  bool hasThousand = false;
  int fractions = -1;  // -1: unset
  bool hasTimeZoneBias = false;
  int timeZoneBias = 0;
  AnsiStr tempDirectory;
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
  // The rules apply to the values in force after the change (a host's comma that equals the
  // registry's thousands separator is refused).
  // SetNumberSymbols: all host values at once (checked as above). ResetNumberSymbols: drops the
  // host's number symbols, so the registry layer and the defaults decide again.
  static bool SetNumberSymbols(const NumberSymbols& symbols);
  static void ResetNumberSymbols();

  // SetRegistryLayer: replaces the registry layer as a whole (an all-unset layer removes it).
  // Refused (false, EINVAL, nothing changes) when a set symbol breaks the rules above, the
  // fractions are not -1..15, or the values in force would break them.
  static bool SetRegistryLayer(const SetupLayer& layer);
  // RefreshDefaults: reads the process's locale and time zone again (after setlocale or a
  // change of TZ); false with EINVAL, keeping the old defaults, when the values in force would
  // break the rules above.
  static bool RefreshDefaults();

  // GetTimeZoneBias: UTC minus local time in minutes: -60 for Central European winter time.
  // The host's bias (SetTimeZoneBias) when set, else the registry layer's, else the
  // platform's as it was when the defaults were taken (daylight saving of that moment
  // included). ResetTimeZoneBias drops the host's bias.
  static int GetTimeZoneBias();
  static void SetTimeZoneBias(int minutes);
  static void ResetTimeZoneBias();
  // IsTimeZoneBiasSet: true while an explicit bias (the host's or the registry layer's) is in
  // force, that is while GetTimeZoneBias does not follow the platform.
  static bool IsTimeZoneBiasSet();
  // GetRealTimeZoneBias: the bias in force at this moment: the explicit bias when one is set,
  // else the platform's bias now (a daylight-saving change since start-up is seen).
  static int GetRealTimeZoneBias();
  // GetTimeZoneBiasAt: the platform's bias at the given instant (daylight saving included).
  static int GetTimeZoneBiasAt(time_t at);
  // GetStandardBias / GetDaylightBias: the platform's bias outside and inside daylight saving
  // time in the current year; both equal the standard bias where there is no daylight saving.
  static int GetStandardBias();
  static int GetDaylightBias();

  // GetTempDirectory: the temporary directory: the host's, else the registry layer's, else
  // TMPDIR when set and not empty (read on each call), else "/tmp". Never empty.
  static AnsiStr GetTempDirectory();
  // SetTempDirectory: the host's temporary directory; null or "" drops it. The path is not
  // checked: a directory that does not exist shows as failures where it is used.
  static void SetTempDirectory(const char* path);
};

// GetTempDirectory: Setup::GetTempDirectory().
ORVGUI_API AnsiStr GetTempDirectory();

// GetTimeZoneBias: Setup::GetTimeZoneBias(), kept for older callers.
ORVGUI_API int GetTimeZoneBias();

}  // namespace OrvGuiBase
