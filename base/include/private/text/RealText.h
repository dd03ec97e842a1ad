// RealText.h: a double as printf's %.Ng writes it in the C locale (internal).
#pragma once

#include <cstddef>

namespace OrvGuiBase::Internal {

// WriteGeneral: magnitude (finite and not negative) as %.<precision>g without the '#' flag
// writes it: precision significant digits (0 counts as 1), trailing zeros dropped, the
// exponent form when the decimal exponent is below -4 or not below the precision. Writes
// from to, never past end; returns the end of the text, or null when it does not fit.
char* WriteGeneral(char* to, char* end, double magnitude, unsigned precision);

}  // namespace OrvGuiBase::Internal
