// Environment.h: environment variables.
//
//   AnsiStr root = GetEnv("KRS_REGISTRY");          // empty when not set
//   if (!SetEnv("LOGTYPE", "stderr")) ...            // false plus last error
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

}  // namespace OrvGuiBase
