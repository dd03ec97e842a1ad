// StringEvents.cpp: the failure report of the string, blob and array types.
#include "private/text/StringEvents.h"

#include <cerrno>
#include <cinttypes>

#include "base/core/LastError.h"
#include "base/core/UpcallEvents.h"
#include "base/text/Formatter.h"

namespace OrvGuiBase {

void ReportStringFailure(unsigned eventId, const char* message, const char* name1, uint64_t value1, const char* name2,
                         uint64_t value2) noexcept {
  const OrvGuiTrace::EventField fields[] = {{name1, FmtArgs("%" PRIu64, value1)},
                                            {name2, name2 != nullptr ? FmtArgs("%" PRIu64, value2) : AnsiStr()}};
  OrvGuiTrace::ReportEvent("ORVGUI", eventId, message, fields, name2 != nullptr ? 2 : 1, OrvGuiTrace::kEventError,
                           OrvGuiTrace::kCategoryInternal);
  SetLastError(ENOMEM);
}

}  // namespace OrvGuiBase
