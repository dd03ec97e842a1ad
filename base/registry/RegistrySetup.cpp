// RegistrySetup.cpp: the registry layer of the setup values.
#include "base/registry/RegistrySetup.h"

#include <cerrno>
#include <cstring>

#include "base/core/LastError.h"
#include "base/core/UpcallTrace.h"
#include "base/process/Setup.h"
#include "base/registry/Registry.h"
#include "base/text/Formatter.h"

namespace OrvGuiBase {

namespace {

void TraceRefused(const char* name, const AnsiStr& text) {
  const AnsiStr line = FmtArgs("setup value %s\\%s \"%s\" is not valid and is left out", kRegistrySetupKey, name, text.GetStr());
  OrvGuiTrace::TraceMsg(OrvGuiTrace::kTraceError, 0, "io", __LINE__, line.GetStr());
}

// ReadSymbol: a symbol value into field (8 bytes with its terminator); present tells whether
// the value exists at all (the thousands separator may be empty).
bool ReadSymbol(const Registry& key, const char* name, char (&field)[8]) {
  AnsiStr text;
  if (!key.Read(AnsiStr(), name, text)) return false;
  if (text.GetLength() >= sizeof field || memchr(text.GetStr(), 0, text.GetLength()) != nullptr) {
    TraceRefused(name, text);
    return false;
  }
  memcpy(field, text.GetStr(), text.GetLength() + 1);
  return true;
}

}  // namespace

bool LoadRegistrySetup() {
  const int saved = GetLastError();
  const Registry key{AnsiStr(kRegistrySetupKey)};
  SetupLayer layer;
  if (key.IsKey()) {
    ReadSymbol(key, "PositiveSign", layer.positiveSign);
    ReadSymbol(key, "NegativeSign", layer.negativeSign);
    ReadSymbol(key, "Comma", layer.comma);
    layer.hasThousand = ReadSymbol(key, "Thousand", layer.thousand);
    int number = 0;
    if (key.IsValueName("Fractions")) {
      if (key.Read(AnsiStr(), "Fractions", number) && number >= 0 && number <= 15) layer.fractions = number;
      else TraceRefused("Fractions", RegReadString(RegPath(kRegistrySetupKey), "Fractions"));
    }
    if (key.IsValueName("TimeZoneBias")) {
      // Biases run from -14 to +12 hours; anything past a day is a mistake.
      if (key.Read(AnsiStr(), "TimeZoneBias", number) && number > -1440 && number < 1440) {
        layer.hasTimeZoneBias = true;
        layer.timeZoneBias = number;
      } else {
        TraceRefused("TimeZoneBias", RegReadString(RegPath(kRegistrySetupKey), "TimeZoneBias"));
      }
    }
    AnsiStr temp;
    if (key.Read(AnsiStr(), "TempDirectory", temp)) {
      if (temp.GetStr()[0] == '/') layer.tempDirectory = temp;
      else TraceRefused("TempDirectory", temp);
    }
  }
  const bool accepted = Setup::SetRegistryLayer(layer);
  if (accepted) SetLastError(saved);
  return accepted;
}

}  // namespace OrvGuiBase
