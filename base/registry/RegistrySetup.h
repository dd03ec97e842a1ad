// RegistrySetup.h: the installation's setup values kept in the registry.
//
//   reg add "HKLM\Software\Quelvarn\Setup" /v Thousand /d "'" /f
//   LoadRegistrySetup();                          // programs started later read it at load
//
// The values of the key HKEY_LOCAL_MACHINE\Software\Quelvarn\Setup form the registry layer of
// the setup values (see base/process/Setup.h for the precedence: the host's own choices come
// first, then these, then the locale's and the time zone's defaults):
//
//   value           text                                   setup value
//   PositiveSign    the sign, up to 7 bytes of UTF-8       Setup::GetPositiveSign
//   NegativeSign    the sign                               Setup::GetNegativeSign
//   Comma           the decimal separator                  Setup::GetComma
//   Thousand        the thousands separator ("" no groups) Setup::GetThousand
//   Fractions       decimal digits, 0 to 15                Setup::GetFractions
//   TimeZoneBias    minutes, UTC = local time + bias       Setup::GetTimeZoneBias
//   TempDirectory   an absolute path                       GetTempDirectory
//
// A value that is missing leaves the setup value to the defaults, and so does one that cannot
// be one (a number that is no number, fractions out of range, a relative path, a symbol longer
// than 7 bytes), which is also traced. Symbols that the setters refuse together (a comma equal
// to the thousands separator, a digit in a sign) refuse the whole layer.
#pragma once

#include "base/core/Export.h"

namespace OrvGuiBase {

// kRegistrySetupKey: where the values live.
inline constexpr const char* kRegistrySetupKey = "HKEY_LOCAL_MACHINE\\Software\\Quelvarn\\Setup";

// LoadRegistrySetup: reads the key and makes what it holds the registry layer of the setup
// values, replacing the previous layer as a whole (a missing key removes it). The library calls
// it once when it loads; a program calls it again after changing the key. False when the layer
// was refused as a whole (its symbols clash: the previous layer then stays), true otherwise.
ORVGUI_API bool LoadRegistrySetup();

}  // namespace OrvGuiBase
