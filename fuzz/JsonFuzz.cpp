// Fuzz target: arbitrary bytes through the JSON reader. When they parse, the value is written
// compact and pretty, both texts must parse again, and all three values must be equal (reals
// up to the writer's 15 significant digits, which may also turn an integral real into an
// integer), and writing the re-read value compact must give the same text again.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "base/data/Json.h"

namespace {

using namespace OrvGuiBase;

bool Same(const Val& a, const Val& b) {
  const bool numbers = (a.GetType() == VAL_INT || a.GetType() == VAL_FLOAT) &&
                       (b.GetType() == VAL_INT || b.GetType() == VAL_FLOAT);
  if (numbers) {
    if (a.GetType() == VAL_INT && b.GetType() == VAL_INT) return a.GetInt() == b.GetInt();
    const double x = a.GetType() == VAL_INT ? static_cast<double>(a.GetInt()) : a.GetFloat();
    const double y = b.GetType() == VAL_INT ? static_cast<double>(b.GetInt()) : b.GetFloat();
    return std::fabs(x - y) <= 1e-14 * std::fabs(x) || (std::fabs(x) < 1e-300 && std::fabs(y) < 1e-300);
  }
  if (a.GetType() != b.GetType()) return false;
  if (a.GetType() == VAL_VEC) {
    uint32_t n, m;
    const Val* x = a.GetVecData(&n);
    const Val* y = b.GetVecData(&m);
    if (n != m) return false;
    for (uint32_t i = 0; i < n; ++i)
      if (!Same(x[i], y[i])) return false;
    return true;
  }
  if (a.GetType() == VAL_DIC) {
    const ValDic x = a.GetDic(), y = b.GetDic();
    if (x.GetCount() != y.GetCount()) return false;
    for (uint32_t i = 0; i < x.GetCount(); ++i)
      if (!(x.GetKey(i) == y.GetKey(i)) || !Same(x.GetValue(i), y.GetValue(i))) return false;
    return true;
  }
  return a == b;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 1 << 20) return 0;
  const AnsiStr text(reinterpret_cast<const char*>(data), static_cast<uint32_t>(size));
  Val first;
  AnsiStr error;
  if (!JSON2Val(text, first, error)) {
    if (error.IsEmpty()) abort();  // a refusal always says why
    return 0;
  }
  AnsiStr compact, pretty, again;
  if (!Val2JSON(first, compact, error, true, false) || !Val2JSON(first, pretty, error, false, true)) abort();
  Val second, third;
  if (!JSON2Val(compact, second, error) || !JSON2Val(pretty, third, error)) abort();
  if (!Same(first, second) || !Same(second, third)) abort();
  if (!Val2JSON(second, again, error, true, false) || !(again == compact)) {
    // Reals may move in the last digit once; the second print must be stable from there.
    AnsiStr once;
    Val fourth;
    if (!JSON2Val(again, fourth, error) || !Val2JSON(fourth, once, error, true, false) || !(once == again)) abort();
  }
  return 0;
}
