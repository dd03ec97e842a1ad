// Telemetry.cpp: module switches, the event sink, registration callbacks and counters.
//
// The state byte of each module (APMModuleState) is what every report reads without a lock:
// bit 0 switched on, bit 1 a sink installed. Switching a module or changing the sink
// recomputes the bytes under g_stateLock, so the two bits never disagree with the switches
// and the sink. The sink lives in a CallbackSlot, so a sink being replaced is never called
// after APMSetEventSink returned; an event that saw the old state finds the new sink (or none).
#include "telemetry/Telemetry.h"

#include <strings.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string>
#include <mutex>
#include <vector>

#include "base/core/CallbackSlot.h"

std::atomic<unsigned char> APMModuleState[256];

namespace {

constexpr int kModules = 256;
constexpr unsigned kMaxParams = 16;

constinit std::mutex g_stateLock;
constinit bool g_switchedOn[kModules] = {};  // guarded by g_stateLock
constinit bool g_sinkInstalled = false;      // guarded by g_stateLock
OrvGuiBase::CallbackSlot<APMEventSink> g_sink;

std::atomic<long long> g_counters[kModules][DI_COUNTERS];

struct Registration {
  int handle;
  int type;
  APMRegistrationCallback callback;
  void* context;
};
constinit std::mutex g_registrationLock;
std::vector<Registration>* g_registrations = nullptr;  // guarded by g_registrationLock
constinit int g_nextHandle = 1;                          // guarded by g_registrationLock
constinit bool g_announced[APM_APPLICATION_TYPES] = {};  // guarded by g_registrationLock
std::atomic<int> g_applicationType{0};

void PublishLocked(int module) {
  const unsigned char state = g_switchedOn[module] ? (g_sinkInstalled ? 3 : 1) : 0;
  APMModuleState[module].store(state, std::memory_order_relaxed);
}

bool CounterInRange(int module, int counter) {
  return module >= 0 && module < kModules && counter >= 0 && counter < DI_COUNTERS;
}

}  // namespace

int APMIsModuleActive(int module) { return IsTelemetryDelivered(module) ? 1 : 0; }
int APMIsModuleSwitchedOn(int module) { return IsTelemetrySwitchedOn(module) ? 1 : 0; }

int APMIsEventSinkInstalled() {
  std::lock_guard<std::mutex> guard(g_stateLock);
  return g_sinkInstalled ? 1 : 0;
}

int APMSwitchModulesOn(const char* list) {
  std::vector<int> modules;
  const char* p = list != nullptr ? list : "";
  while (*p != '\0') {
    const size_t length = strcspn(p, ", \t");
    if (length != 0) {
      const std::string entry(p, length);
      const OrvGuiTelemetry::TelemetryModule* named = OrvGuiTelemetry::FindTelemetryModule(entry.c_str());
      char* end = nullptr;
      const long number = strtol(entry.c_str(), &end, 10);
      if (named != nullptr) modules.push_back(named->GetId());
      else if (entry[0] >= '0' && entry[0] <= '9' && *end == '\0' && number < kModules)
        modules.push_back(static_cast<int>(number));
      else {
        errno = EINVAL;
        return -1;
      }
    }
    p += length;
    if (*p != '\0') ++p;
  }
  for (const int module : modules) APMSetModuleActive(module, 1);
  return static_cast<int>(modules.size());
}

void APMSetModuleActive(int module, int active) {
  if (module < 0 || module >= kModules) return;
  std::lock_guard<std::mutex> guard(g_stateLock);
  g_switchedOn[module] = active != 0;
  PublishLocked(module);
}

APMEventSink APMSetEventSink(APMEventSink sink, void* context) {
  std::lock_guard<std::mutex> guard(g_stateLock);
  const APMEventSink previous = g_sink.Set(sink, context);
  g_sinkInstalled = sink != nullptr;
  for (int module = 0; module < kModules; ++module) PublishLocked(module);
  return previous;
}

void APMEventParam(int module, int event, int value, unsigned paramCount, ...) {
  if (!IsTelemetryDelivered(module)) return;
  const int saved = errno;
  const char* params[kMaxParams];
  if (paramCount > kMaxParams) paramCount = kMaxParams;
  va_list args;
  va_start(args, paramCount);
  for (unsigned i = 0; i < paramCount; ++i) {
    const char* text = va_arg(args, const char*);
    params[i] = text != nullptr ? text : "";
  }
  va_end(args);
  g_sink.Call(module, event, value, static_cast<const char* const*>(params), paramCount);
  errno = saved;
}

int APMRegisterCallback(int applicationType, APMRegistrationCallback callback, void* context) {
  if (callback == nullptr || applicationType < 1 || applicationType >= APM_APPLICATION_TYPES) {
    errno = EINVAL;
    return 0;
  }
  int handle = 0;
  bool runNow = false;
  {
    std::lock_guard<std::mutex> guard(g_registrationLock);
    if (g_registrations == nullptr) g_registrations = new (std::nothrow) std::vector<Registration>();
    if (g_registrations == nullptr) {
      errno = ENOMEM;
      return 0;
    }
    handle = g_nextHandle++;
    g_registrations->push_back({handle, applicationType, callback, context});
    runNow = g_announced[applicationType];
  }
  if (runNow) {
    const int saved = errno;
    callback(applicationType, context);
    errno = saved;
  }
  return handle;
}

int APMUnregisterCallback(int handle) {
  std::lock_guard<std::mutex> guard(g_registrationLock);
  if (g_registrations != nullptr)
    for (auto it = g_registrations->begin(); it != g_registrations->end(); ++it)
      if (it->handle == handle) {
        g_registrations->erase(it);
        return 1;
      }
  errno = ENOENT;
  return 0;
}

int APMRegisterApplication(int applicationType) {
  if (applicationType < 1 || applicationType >= APM_APPLICATION_TYPES) {
    errno = EINVAL;
    return -1;
  }
  std::vector<Registration> toRun;
  {
    std::lock_guard<std::mutex> guard(g_registrationLock);
    if (g_announced[applicationType]) {
      errno = EEXIST;
      return 0;
    }
    g_announced[applicationType] = true;
    g_applicationType.store(applicationType, std::memory_order_relaxed);
    if (g_registrations != nullptr)
      for (const Registration& r : *g_registrations)
        if (r.type == applicationType) toRun.push_back(r);
  }
  const int saved = errno;
  for (const Registration& r : toRun) r.callback(applicationType, r.context);
  errno = saved;
  return static_cast<int>(toRun.size());
}

int APMGetApplicationType() { return g_applicationType.load(std::memory_order_relaxed); }

void DI_AddCounter(int module, int counter, long long delta) {
  if (CounterInRange(module, counter) && IsTelemetrySwitchedOn(module))
    g_counters[module][counter].fetch_add(delta, std::memory_order_relaxed);
}

void DI_SetCounter(int module, int counter, long long value) {
  if (CounterInRange(module, counter) && IsTelemetrySwitchedOn(module))
    g_counters[module][counter].store(value, std::memory_order_relaxed);
}

long long DI_GetCounter(int module, int counter) {
  return CounterInRange(module, counter) ? g_counters[module][counter].load(std::memory_order_relaxed) : 0;
}

void DI_ResetCounters(int module) {
  if (module < 0 || module >= kModules) return;
  for (std::atomic<long long>& counter : g_counters[module]) counter.store(0, std::memory_order_relaxed);
}

namespace OrvGuiTelemetry {

namespace {
constinit const TelemetryModule kOS(APM_MODULE_OS, "os");
constinit const TelemetryModule kHTTP(APM_MODULE_HTTP, "http");
constinit const TelemetryModule kDatabase(APM_MODULE_DATABASE, "database");
constinit const TelemetryModule kRPC(APM_MODULE_RPC, "rpc");
constinit const TelemetryModule kUI(APM_MODULE_UI, "ui");
constinit const TelemetryModule kLibrary(APM_MODULE_ORVGUI, "orvgui");
constinit const TelemetryModule* const kAll[] = {&kOS, &kHTTP, &kDatabase, &kRPC, &kUI, &kLibrary};
}  // namespace

const TelemetryModule& GetOSTelemetryModule() { return kOS; }
const TelemetryModule& GetHTTPTelemetryModule() { return kHTTP; }
const TelemetryModule& GetDatabaseTelemetryModule() { return kDatabase; }
const TelemetryModule& GetRPCTelemetryModule() { return kRPC; }
const TelemetryModule& GetUITelemetryModule() { return kUI; }
const TelemetryModule& GetLibraryTelemetryModule() { return kLibrary; }

const TelemetryModule* const* GetTelemetryModules(unsigned& count) {
  count = sizeof kAll / sizeof kAll[0];
  return kAll;
}

const TelemetryModule* FindTelemetryModule(const char* name) {
  if (name == nullptr) return nullptr;
  for (const TelemetryModule* module : kAll)
    if (strcasecmp(module->GetName(), name) == 0) return module;
  return nullptr;
}

}  // namespace OrvGuiTelemetry
