// Setup.h: process-wide setup values that later calls read without a lock.
//
//   int bias = GetTimeZoneBias();                 // minutes; UTC = local time + bias
#pragma once

#include "base/core/Export.h"

namespace OrvGuiBase {

// GetTimeZoneBias: the difference UTC minus local time in minutes, as the platform reports it
// (-60 for Central European winter time), taken when first asked (at library start-up).
ORVGUI_API int GetTimeZoneBias();

}  // namespace OrvGuiBase
