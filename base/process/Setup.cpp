// Setup.cpp: the layers of setup values, the number-symbol snapshots and the time-zone bias.
//
// Layers: g_layers holds the host's values, the registry layer and the defaults, all guarded
// by g_setLock. Every change recomputes the values in force (first set layer wins, field by
// field), checks them as a whole and publishes them: the number symbols as a snapshot, the
// explicit time-zone bias and the platform's bias as atomics, so readers take no lock.
//
// Snapshots: g_current points at the snapshot that readers use (null until the defaults are
// taken on first use). A publication looks for an equal snapshot among those made before (all
// kept on a list that lives until process exit, so readers never see one freed), makes a new
// one only when none matches, and publishes it with a release store. Readers pay one acquire
// load and one predictable branch.
#include "base/process/Setup.h"

#include <langinfo.h>
#include <locale.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>

#include "base/process/Environment.h"
#include "base/text/Utf.h"

namespace OrvGuiBase {

namespace {

// The "C" locale's decimal separator and (empty) thousands separator, with "+" and "-".
constinit const NumberSymbols kDefaultSymbols = {"+", "-", ".", "", 2};
struct SnapshotNode {
  NumberSymbols symbols;
  SnapshotNode* next;
};

constinit std::atomic<const NumberSymbols*> g_current{nullptr};
constinit std::mutex g_setLock;
constinit SnapshotNode* g_snapshots = nullptr;  // guarded by g_setLock; never freed

bool SameSymbols(const NumberSymbols& a, const NumberSymbols& b) {
  return strcmp(a.positiveSign, b.positiveSign) == 0 && strcmp(a.negativeSign, b.negativeSign) == 0 &&
         strcmp(a.comma, b.comma) == 0 && strcmp(a.thousand, b.thousand) == 0 && a.fractions == b.fractions;
}

bool IsValidSymbol(const char* text, size_t size, bool mayBeEmpty) {
  const size_t length = strnlen(text, size);
  if (length == size) return false;  // not terminated within its field
  if (length == 0) return mayBeEmpty;
  if (!IsValidUTF8(text, length)) return false;
  for (size_t i = 0; i < length; ++i) {
    const char c = text[i];
    if ((c >= '0' && c <= '9') || c == ' ' || (c >= '\t' && c <= '\r')) return false;
  }
  return true;
}

bool IsValidSet(const NumberSymbols& s) {
  return IsValidSymbol(s.positiveSign, sizeof s.positiveSign, false) &&
         IsValidSymbol(s.negativeSign, sizeof s.negativeSign, false) &&
         IsValidSymbol(s.comma, sizeof s.comma, false) && IsValidSymbol(s.thousand, sizeof s.thousand, true) &&
         strcmp(s.comma, s.thousand) != 0 && strcmp(s.positiveSign, s.negativeSign) != 0 && s.fractions <= 15;
}

// PublishLocked: checks the candidate and makes it current (under g_setLock).
bool PublishLocked(const NumberSymbols& candidate) {
  if (!IsValidSet(candidate)) {
    errno = EINVAL;
    return false;
  }
  const NumberSymbols* chosen = nullptr;
  if (SameSymbols(candidate, kDefaultSymbols)) chosen = &kDefaultSymbols;
  for (SnapshotNode* node = g_snapshots; chosen == nullptr && node != nullptr; node = node->next)
    if (SameSymbols(candidate, node->symbols)) chosen = &node->symbols;
  if (chosen == nullptr) {
    auto* node = static_cast<SnapshotNode*>(malloc(sizeof(SnapshotNode)));
    if (node == nullptr) {
      errno = ENOMEM;
      return false;
    }
    node->symbols = candidate;
    node->next = g_snapshots;
    g_snapshots = node;
    chosen = &node->symbols;
  }
  g_current.store(chosen, std::memory_order_release);
  return true;
}

// CopySymbol: copies text into a symbol field; false when it is null or does not fit.
bool CopySymbol(char (&field)[8], const char* text) {
  if (text == nullptr || strnlen(text, sizeof field) == sizeof field) return false;
  strcpy(field, text);
  return true;
}

// Time zone: the platform's view, taken once, and a host's override.
int BiasAt(time_t at, bool* daylight) {
  tm local{};
  if (localtime_r(&at, &local) == nullptr) {
    if (daylight != nullptr) *daylight = false;
    return 0;
  }
  if (daylight != nullptr) *daylight = local.tm_isdst > 0;
  return static_cast<int>(-local.tm_gmtoff / 60);
}

struct Layers {
  SetupLayer host;
  SetupLayer registry;
  SetupLayer defaults;  // every number field and the bias set once taken
  bool defaultsTaken = false;
  int standardBias = 0;
  int daylightBias = 0;
};
constinit Layers* g_layers = nullptr;  // guarded by g_setLock; never freed

// The explicit bias in force: bit 32 says "set", the low 32 bits hold the minutes.
constinit std::atomic<uint64_t> g_explicitBias{0};
constexpr uint64_t kBiasSet = uint64_t{1} << 32;
// The platform's bias when the defaults were taken; valid once g_defaultsReady is true.
constinit std::atomic<int> g_platformBias{0};
constinit std::atomic<bool> g_defaultsReady{false};

// PickSymbol: a locale symbol when it is a valid setup symbol, else the fallback.
void PickSymbol(char (&field)[8], const char* text, const char* fallback, bool mayBeEmpty) {
  if (text != nullptr && strlen(text) < sizeof field && IsValidSymbol(text, sizeof field, mayBeEmpty) &&
      CopySymbol(field, text))
    return;
  strcpy(field, fallback);
}

// TakeDefaults: the process's locale and time zone as the bottom layer.
void TakeDefaults(Layers& layers) {
  SetupLayer& d = layers.defaults;
  locale_t current = duplocale(LC_GLOBAL_LOCALE);
  const auto item = [current](nl_item what) -> const char* {
    return current != static_cast<locale_t>(nullptr) ? nl_langinfo_l(what, current) : nullptr;
  };
  PickSymbol(d.comma, item(RADIXCHAR), kDefaultSymbols.comma, false);
  PickSymbol(d.thousand, item(THOUSEP), kDefaultSymbols.thousand, true);
  d.hasThousand = true;
  const char* positive = item(POSITIVE_SIGN);
  const char* negative = item(NEGATIVE_SIGN);
  PickSymbol(d.positiveSign, positive != nullptr && *positive != '\0' ? positive : "+", "+", false);
  PickSymbol(d.negativeSign, negative != nullptr && *negative != '\0' ? negative : "-", "-", false);
  const char* fractions = item(FRAC_DIGITS);
  const unsigned digits = fractions != nullptr ? static_cast<unsigned char>(*fractions) : 2u;
  d.fractions = digits <= 15 ? static_cast<int>(digits) : 2;
  if (current != static_cast<locale_t>(nullptr)) freelocale(current);
  // Symbols that are valid one by one may clash (a locale whose radix and thousands characters
  // are equal): then the whole set is the "C" locale's, so the defaults alone are always valid.
  NumberSymbols check = kDefaultSymbols;
  check.fractions = static_cast<unsigned>(d.fractions);
  strcpy(check.positiveSign, d.positiveSign);
  strcpy(check.negativeSign, d.negativeSign);
  strcpy(check.comma, d.comma);
  strcpy(check.thousand, d.thousand);
  if (!IsValidSet(check)) {
    strcpy(d.positiveSign, kDefaultSymbols.positiveSign);
    strcpy(d.negativeSign, kDefaultSymbols.negativeSign);
    strcpy(d.comma, kDefaultSymbols.comma);
    strcpy(d.thousand, kDefaultSymbols.thousand);
    d.fractions = static_cast<int>(kDefaultSymbols.fractions);
  }

  tzset();
  const time_t now = time(nullptr);
  d.hasTimeZoneBias = true;
  d.timeZoneBias = BiasAt(now, nullptr);
  // Standard and daylight bias: look at the middle of January and of July of this year.
  tm local{};
  localtime_r(&now, &local);
  const auto midMonth = [&local](int month) {
    tm probe{};
    probe.tm_year = local.tm_year;
    probe.tm_mon = month;
    probe.tm_mday = 15;
    probe.tm_hour = 12;
    probe.tm_isdst = -1;
    return mktime(&probe);
  };
  bool januaryDaylight = false;
  bool julyDaylight = false;
  const int januaryBias = BiasAt(midMonth(0), &januaryDaylight);
  const int julyBias = BiasAt(midMonth(6), &julyDaylight);
  layers.standardBias = januaryDaylight && !julyDaylight ? julyBias : januaryBias;
  layers.daylightBias = januaryDaylight ? januaryBias : julyDaylight ? julyBias : layers.standardBias;
  layers.defaultsTaken = true;
}

// LayersLocked: the layers, with the defaults taken (under g_setLock); null without memory.
Layers* LayersLocked() {
  if (g_layers == nullptr) g_layers = new (std::nothrow) Layers();
  if (g_layers != nullptr && !g_layers->defaultsTaken) {
    const int saved = errno;
    TakeDefaults(*g_layers);
    errno = saved;
  }
  return g_layers;
}

// InForce: the number symbols the layers give, first set layer winning.
NumberSymbols InForce(const Layers& layers) {
  const SetupLayer* order[] = {&layers.host, &layers.registry, &layers.defaults};
  NumberSymbols result = kDefaultSymbols;
  const auto pick = [&order](char (&out)[8], char const(SetupLayer::*field)[8]) {
    for (const SetupLayer* layer : order)
      if ((layer->*field)[0] != '\0') {
        strcpy(out, layer->*field);
        return;
      }
  };
  pick(result.positiveSign, &SetupLayer::positiveSign);
  pick(result.negativeSign, &SetupLayer::negativeSign);
  pick(result.comma, &SetupLayer::comma);
  for (const SetupLayer* layer : order)
    if (layer->hasThousand) {
      strcpy(result.thousand, layer->thousand);
      break;
    }
  for (const SetupLayer* layer : order)
    if (layer->fractions >= 0) {
      result.fractions = static_cast<unsigned>(layer->fractions);
      break;
    }
  return result;
}

// ApplyLocked: makes a changed copy of the layers current when the values in force are valid
// (under g_setLock); false with EINVAL (or ENOMEM) and nothing changed otherwise.
bool ApplyLocked(const Layers& changed) {
  if (!PublishLocked(InForce(changed))) return false;
  *g_layers = changed;
  const SetupLayer* bias = changed.host.hasTimeZoneBias ? &changed.host
                           : changed.registry.hasTimeZoneBias ? &changed.registry : nullptr;
  g_explicitBias.store(bias != nullptr ? kBiasSet | static_cast<uint32_t>(bias->timeZoneBias) : 0,
                       std::memory_order_release);
  g_platformBias.store(changed.defaults.timeZoneBias, std::memory_order_relaxed);
  g_defaultsReady.store(true, std::memory_order_release);
  return true;
}

// Change: runs change on a copy of the layers and applies it, all under the lock, so two
// setters on two threads do not lose each other's change.
template <class Changer>
bool Change(Changer change) {
  std::lock_guard<std::mutex> guard(g_setLock);
  const Layers* layers = LayersLocked();
  if (layers == nullptr) {
    errno = ENOMEM;
    return false;
  }
  Layers changed = *layers;
  if (!change(changed)) {
    errno = EINVAL;
    return false;
  }
  return ApplyLocked(changed);
}

// EnsureDefaults: the first reader takes the defaults and publishes what is in force.
void EnsureDefaults() {
  if (g_defaultsReady.load(std::memory_order_acquire)) return;
  std::lock_guard<std::mutex> guard(g_setLock);
  if (g_defaultsReady.load(std::memory_order_acquire)) return;
  const int saved = errno;
  Layers* layers = LayersLocked();
  if (layers == nullptr || !ApplyLocked(*layers)) {
    // No memory: the "C" values and no bias, so readers always get some.
    g_current.store(&kDefaultSymbols, std::memory_order_release);
    g_defaultsReady.store(true, std::memory_order_release);
  }
  errno = saved;
}

bool ValidLayer(const SetupLayer& layer) {
  const auto ok = [](const char(&field)[8], bool mayBeEmpty) { return IsValidSymbol(field, sizeof field, mayBeEmpty); };
  return ok(layer.positiveSign, true) && ok(layer.negativeSign, true) && ok(layer.comma, true) &&
         ok(layer.thousand, true) && layer.fractions >= -1 && layer.fractions <= 15;
}

// HostSymbol: the host's value for one symbol; refused when null, too long, or (except the
// thousands separator) empty, since "" would mean "unset".
bool HostSymbol(char (&field)[8], const char* text, bool mayBeEmpty) {
  if (text == nullptr || (!mayBeEmpty && *text == '\0')) return false;
  return CopySymbol(field, text) && IsValidSymbol(field, sizeof field, mayBeEmpty);
}

}  // namespace

const NumberSymbols& Setup::GetNumberSymbols() {
  const NumberSymbols* current = g_current.load(std::memory_order_acquire);
  if (current == nullptr) [[unlikely]] {
    EnsureDefaults();
    current = g_current.load(std::memory_order_acquire);
  }
  return *current;
}

bool Setup::SetPositiveSign(const char* sign) {
  return Change([sign](Layers& l) { return HostSymbol(l.host.positiveSign, sign, false); });
}
bool Setup::SetNegativeSign(const char* sign) {
  return Change([sign](Layers& l) { return HostSymbol(l.host.negativeSign, sign, false); });
}
bool Setup::SetComma(const char* comma) {
  return Change([comma](Layers& l) { return HostSymbol(l.host.comma, comma, false); });
}
bool Setup::SetThousand(const char* thousand) {
  return Change([thousand](Layers& l) { return l.host.hasThousand = HostSymbol(l.host.thousand, thousand, true); });
}
bool Setup::SetFractions(unsigned fractions) {
  return Change([fractions](Layers& l) {
    l.host.fractions = static_cast<int>(fractions);
    return fractions <= 15;
  });
}
bool Setup::SetNumberSymbols(const NumberSymbols& symbols) {
  return Change([&symbols](Layers& l) {
    return HostSymbol(l.host.positiveSign, symbols.positiveSign, false) &&
           HostSymbol(l.host.negativeSign, symbols.negativeSign, false) &&
           HostSymbol(l.host.comma, symbols.comma, false) &&
           (l.host.hasThousand = HostSymbol(l.host.thousand, symbols.thousand, true)) &&
           (l.host.fractions = static_cast<int>(symbols.fractions)) <= 15;
  });
}
void Setup::ResetNumberSymbols() {
  // The layers below were valid on their own, so this cannot be refused.
  Change([](Layers& l) {
    SetupLayer cleared;
    cleared.hasTimeZoneBias = l.host.hasTimeZoneBias;
    cleared.timeZoneBias = l.host.timeZoneBias;
    cleared.tempDirectory = l.host.tempDirectory;
    l.host = cleared;
    return true;
  });
}

bool Setup::SetRegistryLayer(const SetupLayer& layer) {
  return Change([&layer](Layers& l) {
    if (!ValidLayer(layer)) return false;
    l.registry = layer;
    return true;
  });
}

bool Setup::RefreshDefaults() {
  return Change([](Layers& l) {
    TakeDefaults(l);
    return true;
  });
}

int Setup::GetTimeZoneBias() {
  const uint64_t fixed = g_explicitBias.load(std::memory_order_acquire);
  if (fixed & kBiasSet) return static_cast<int>(static_cast<uint32_t>(fixed));
  EnsureDefaults();
  return g_platformBias.load(std::memory_order_relaxed);
}
void Setup::SetTimeZoneBias(int minutes) {
  Change([minutes](Layers& l) {
    l.host.hasTimeZoneBias = true;
    l.host.timeZoneBias = minutes;
    return true;
  });
}
void Setup::ResetTimeZoneBias() {
  Change([](Layers& l) {
    l.host.hasTimeZoneBias = false;
    return true;
  });
}
bool Setup::IsTimeZoneBiasSet() { return (g_explicitBias.load(std::memory_order_acquire) & kBiasSet) != 0; }
int Setup::GetRealTimeZoneBias() {
  const uint64_t fixed = g_explicitBias.load(std::memory_order_acquire);
  if (fixed & kBiasSet) return static_cast<int>(static_cast<uint32_t>(fixed));
  return GetTimeZoneBiasAt(time(nullptr));
}
int Setup::GetTimeZoneBiasAt(time_t at) {
  const int saved = errno;
  const int bias = BiasAt(at, nullptr);
  errno = saved;
  return bias;
}
int Setup::GetStandardBias() {
  EnsureDefaults();
  std::lock_guard<std::mutex> guard(g_setLock);
  return g_layers != nullptr ? g_layers->standardBias : 0;
}
int Setup::GetDaylightBias() {
  EnsureDefaults();
  std::lock_guard<std::mutex> guard(g_setLock);
  return g_layers != nullptr ? g_layers->daylightBias : 0;
}

AnsiStr Setup::GetTempDirectory() {
  {
    std::lock_guard<std::mutex> guard(g_setLock);
    if (g_layers != nullptr) {
      if (!g_layers->host.tempDirectory.IsEmpty()) return g_layers->host.tempDirectory;
      if (!g_layers->registry.tempDirectory.IsEmpty()) return g_layers->registry.tempDirectory;
    }
  }
  AnsiStr path = GetEnv("TMPDIR");
  return path.IsEmpty() ? AnsiStr("/tmp") : path;
}
void Setup::SetTempDirectory(const char* path) {
  Change([path](Layers& l) {
    l.host.tempDirectory = path != nullptr ? AnsiStr(path) : AnsiStr();
    return true;
  });
}

int GetTimeZoneBias() { return Setup::GetTimeZoneBias(); }
AnsiStr GetTempDirectory() { return Setup::GetTempDirectory(); }

}  // namespace OrvGuiBase
