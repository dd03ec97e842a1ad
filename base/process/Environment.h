// Environment.h: environment variables and the placeholders of configured texts.
//
//   AnsiStr root = GetEnv("KRS_REGISTRY");          // empty when not set
//   if (!SetEnv("LOGTYPE", "stderr")) ...            // false plus last error
//   AnsiStr log = ExpandPlaceholders("<~TEMP~>/<~PROGRAMNAME~>.<~PID~>.log");
//
// The process environment is shared by all threads; setting a variable while another thread
// reads the environment is not safe in the C runtime, so hosts change it at start-up only.
#pragma once

#include "base/core/Export.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiBase {

// GetEnv: the value of a variable, empty when it is not set.
ORVGUI_API AnsiStr GetEnv(const char* name);
// IsEnvSet: whether a variable is set (possibly to an empty value).
ORVGUI_API bool IsEnvSet(const char* name);
// SetEnv: sets a variable (keeping an existing value when overwrite is false); false plus last
// error (22 for a bad name) on failure.
ORVGUI_API bool SetEnv(const char* name, const char* value, bool overwrite = true);
// UnsetEnv: removes a variable; false plus last error on failure.
ORVGUI_API bool UnsetEnv(const char* name);

// ExpandPlaceholders: text with each placeholder "<~NAME~>" replaced by its value:
//
//   placeholder        value
//   <~PROGRAMNAME~>    the running program's file name (GetProgramName)
//   <~PROGRAMDIR~>     the directory that holds the running program, without a trailing '/'
//   <~USER~>           the effective user's account name (Account::GetUserName)
//   <~HOME~>           HOME when set and not empty, else the user's home directory from the
//                      password database
//   <~TEMP~>           the temporary directory (GetTempDirectory)
//   <~PID~>            the process id in decimal
//   <~HOSTNAME~>       the host name (GetHostName)
//   <~NAME~>           any other NAME: the value of the environment variable NAME (set to ""
//                      gives "")
//
// The names above are matched exactly (upper case) and come before the environment; a NAME is
// one or more ASCII letters, digits and underscores. A placeholder whose NAME is not in the
// table and not set in the environment stays in the text as written, so a mistyped name shows
// in the result instead of vanishing. The text is read once from left to right and a
// substituted value is not expanded again (a value holding "<~PID~>" keeps it literally, and
// no expansion can loop); "<~" not followed by a name and "~>" is plain text, so in
// "<~<~USER~>~>" only the inner placeholder is replaced. A null text gives "".
ORVGUI_API AnsiStr ExpandPlaceholders(const char* text);

}  // namespace OrvGuiBase
