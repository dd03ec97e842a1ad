// StringEvents.h: the failure report shared by the string, blob and array types.
//
//   ReportStringFailure(601, "String overflow detected", "length1", kept, "length2", added);
//
// A body that cannot be allocated or a length past 32 bits is reported as an error event of
// the internal category from the source "ORVGUI", with its numbers as named fields, and the
// last error becomes 12 (out of memory). Internal to the library: not part of the umbrella.
#pragma once

#include <cstdint>

namespace OrvGuiBase {

// ReportStringFailure: one event with the fields name1 = value1 and, unless name2 is null,
// name2 = value2; then last error 12. Never throws.
void ReportStringFailure(unsigned eventId, const char* message, const char* name1, uint64_t value1,
                         const char* name2 = nullptr, uint64_t value2 = 0) noexcept;

}  // namespace OrvGuiBase
