// Setup.cpp: the number-symbol snapshots and the time-zone bias.
//
// Snapshots: g_current points at the snapshot that readers use. Setters build a candidate
// under g_setLock, look for an equal snapshot among those made before (all kept on a list
// that lives until process exit, so readers never see one freed), make a new one only when
// none matches, and publish it with a release store. Readers pay one acquire load.
#include "base/process/Setup.h"

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>

#include "base/core/LazyStatic.h"
#include "base/text/Utf.h"

namespace OrvGuiBase {

namespace {

// The "C" locale's decimal separator and (empty) thousands separator, with "+" and "-".
constinit const NumberSymbols kDefaultSymbols = {"+", "-", ".", "", 2};

struct SnapshotNode {
  NumberSymbols symbols;
  SnapshotNode* next;
};

constinit std::atomic<const NumberSymbols*> g_current{&kDefaultSymbols};
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

// ChangeOne: changes one value of the current snapshot; the whole step runs under the lock,
// so two setters on two threads do not lose each other's change.
template <class Change>
bool ChangeOne(Change change) {
  std::lock_guard<std::mutex> guard(g_setLock);
  NumberSymbols candidate = *g_current.load(std::memory_order_acquire);
  if (!change(candidate)) {
    errno = EINVAL;
    return false;
  }
  return PublishLocked(candidate);
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

struct TimeZone {
  int bias = 0;
  int standardBias = 0;
  int daylightBias = 0;
  TimeZone() {
    const int saved = errno;
    tzset();
    const time_t now = time(nullptr);
    bias = BiasAt(now, nullptr);
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
    const time_t january = midMonth(0);
    const time_t july = midMonth(6);
    bool januaryDaylight = false;
    bool julyDaylight = false;
    const int januaryBias = BiasAt(january, &januaryDaylight);
    const int julyBias = BiasAt(july, &julyDaylight);
    standardBias = januaryDaylight && !julyDaylight ? julyBias : januaryBias;
    daylightBias = januaryDaylight ? januaryBias : julyDaylight ? julyBias : standardBias;
    errno = saved;
  }
};
constinit LazyStatic<TimeZone> g_timeZone;

// The override: bit 32 says "set", the low 32 bits hold the minutes.
constinit std::atomic<uint64_t> g_biasOverride{0};
constexpr uint64_t kBiasSet = uint64_t{1} << 32;

}  // namespace

const NumberSymbols& Setup::GetNumberSymbols() { return *g_current.load(std::memory_order_acquire); }

bool Setup::SetPositiveSign(const char* sign) {
  return ChangeOne([sign](NumberSymbols& s) { return CopySymbol(s.positiveSign, sign); });
}
bool Setup::SetNegativeSign(const char* sign) {
  return ChangeOne([sign](NumberSymbols& s) { return CopySymbol(s.negativeSign, sign); });
}
bool Setup::SetComma(const char* comma) {
  return ChangeOne([comma](NumberSymbols& s) { return CopySymbol(s.comma, comma); });
}
bool Setup::SetThousand(const char* thousand) {
  return ChangeOne([thousand](NumberSymbols& s) { return CopySymbol(s.thousand, thousand); });
}
bool Setup::SetFractions(unsigned fractions) {
  return ChangeOne([fractions](NumberSymbols& s) {
    s.fractions = fractions;
    return true;
  });
}
bool Setup::SetNumberSymbols(const NumberSymbols& symbols) {
  std::lock_guard<std::mutex> guard(g_setLock);
  return PublishLocked(symbols);
}
void Setup::ResetNumberSymbols() {
  std::lock_guard<std::mutex> guard(g_setLock);
  g_current.store(&kDefaultSymbols, std::memory_order_release);
}

int Setup::GetTimeZoneBias() {
  const uint64_t fixed = g_biasOverride.load(std::memory_order_acquire);
  if (fixed & kBiasSet) return static_cast<int>(static_cast<uint32_t>(fixed));
  TimeZone* zone = g_timeZone.Get();
  return zone != nullptr ? zone->bias : 0;
}
void Setup::SetTimeZoneBias(int minutes) {
  g_biasOverride.store(kBiasSet | static_cast<uint32_t>(minutes), std::memory_order_release);
}
void Setup::ResetTimeZoneBias() { g_biasOverride.store(0, std::memory_order_release); }
bool Setup::IsTimeZoneBiasSet() { return (g_biasOverride.load(std::memory_order_acquire) & kBiasSet) != 0; }
int Setup::GetTimeZoneBiasAt(time_t at) {
  const int saved = errno;
  const int bias = BiasAt(at, nullptr);
  errno = saved;
  return bias;
}
int Setup::GetStandardBias() {
  TimeZone* zone = g_timeZone.Get();
  return zone != nullptr ? zone->standardBias : 0;
}
int Setup::GetDaylightBias() {
  TimeZone* zone = g_timeZone.Get();
  return zone != nullptr ? zone->daylightBias : 0;
}

int GetTimeZoneBias() { return Setup::GetTimeZoneBias(); }

}  // namespace OrvGuiBase
