// Formatter.cpp: guarded rendering through the runtime library in the "C" locale.
#include "base/text/Formatter.h"

#include <locale.h>

#include <cstdio>
#include <cstdlib>

#include "base/core/CrashGuard.h"
#include "base/core/Memory.h"

namespace OrvGuiBase {

namespace {

// The "C" locale, made once; formatting switches the calling thread to it for the call.
locale_t CLocale() {
  static locale_t s_locale = newlocale(LC_ALL_MASK, "C", nullptr);
  return s_locale;
}

class CLocaleScope {
 public:
  CLocaleScope() : m_previous(CLocale() ? uselocale(CLocale()) : nullptr) {}
  ~CLocaleScope() {
    if (m_previous != nullptr) uselocale(m_previous);
  }

 private:
  locale_t m_previous;
};

// Renders into buffer under a guard; -1 on a fault or a runtime-library failure.
int GuardedPrint(char* buffer, size_t size, const char* format, va_list args) {
  int result = -1;
  va_list copy;
  va_copy(copy, args);
  const bool completed = CallGuarded("orvvsnprintf", [&] { result = vsnprintf(buffer, size, format, copy); });
  va_end(copy);
  return completed ? result : -1;
}

}  // namespace

unsigned orvvsnprintf(AnsiStr& out, unsigned size, const char* format, va_list args) {
  CLocaleScope c;
  char stackBuffer[512];
  char* buffer = size < sizeof stackBuffer ? stackBuffer : static_cast<char*>(AllocSimple(size + 1u));
  if (buffer == nullptr) {
    out = "(error)";
    return out.GetLength();
  }
  const int written = GuardedPrint(buffer, size + 1u, format, args);
  if (written < 0) out = "(error)";
  else out.Set(buffer, static_cast<unsigned>(written) < size ? static_cast<unsigned>(written) : size);
  if (buffer != stackBuffer) FreeSimple(buffer);
  return out.GetLength();
}

AnsiStr FmtList(const char* format, va_list args) {
  AnsiStr out;
  if (format == nullptr) return out;
  CLocaleScope c;
  char stackBuffer[512];
  const int needed = GuardedPrint(stackBuffer, sizeof stackBuffer, format, args);
  if (needed < 0) return AnsiStr("(error)");
  if (static_cast<size_t>(needed) < sizeof stackBuffer) return AnsiStr(stackBuffer, static_cast<size_t>(needed));
  orvvsnprintf(out, static_cast<unsigned>(needed), format, args);
  return out;
}

AnsiStr FmtArgs(const char* format, ...) {
  va_list args;
  va_start(args, format);
  AnsiStr out = FmtList(format, args);
  va_end(args);
  return out;
}

}  // namespace OrvGuiBase
