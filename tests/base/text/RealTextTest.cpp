// Reals in %g: the formatter's own digits against the runtime's printf, for random doubles of
// every magnitude and every precision the fast path takes, its edges, and the forms around
// the switch between fixed and exponent notation.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "base/text/Formatter.h"

namespace OrvGuiBase {
namespace {

TEST(RealText, GeneralFormMatchesPrintf) {
  std::vector<double> values = {0.0, -0.0, 1.0, 0.5, 0.25, 2.5, 1e-5, 9.9999999999999995e-5, 1e-4, 123456789012345678.0,
                                1e15, 999999999999999.5, 9.999999999999999e22, 1e23, 5e-324, 2.2250738585072014e-308,
                                1.7976931348623157e308, 0.1, 0.3, 2.0 / 3.0, 65.613616999999977, 1e21, 4503599627370497.5};
  uint64_t state = 0x2545F4914F6CDD1Dull;
  auto next = [&state] { return state = state * 6364136223846793005ull + 1442695040888963407ull; };
  for (int i = 0; i < 60000; ++i) {
    // Random bit patterns cover every exponent; random decimals cover the short texts of real
    // data, where the digits after rounding end in zeros and halfway cases come up.
    uint64_t bits = next() & 0x7FFFFFFFFFFFFFFFull;
    double value;
    memcpy(&value, &bits, sizeof value);
    if (std::isfinite(value)) values.push_back(value);
    values.push_back(static_cast<double>(next() % 100000000) / std::pow(10.0, static_cast<int>(next() % 12)));
  }
  size_t wrong = 0;
  for (const double value : values) {
    for (const int precision : {1, 2, 6, 15, 16, 17, 18}) {
      char expected[400];
      snprintf(expected, sizeof expected, "%.*g", precision, value);
      const AnsiStr got = FmtArgs("%.*g", precision, value);
      if (std::string(got.GetStr()) != expected && ++wrong < 10)
        ADD_FAILURE() << "%." << precision << "g of " << expected << ": " << got.GetStr();
    }
  }
  EXPECT_EQ(wrong, 0u);
  EXPECT_STREQ(FmtArgs("%G|%.3G|%g", 1e-20, 123456.0, -0.0).GetStr(), "1E-20|1.23E+05|-0");
}

}  // namespace
}  // namespace OrvGuiBase
