// Telemetry.h: telemetry modules, the flat performance-monitoring interface (APM...) and the
// counters (DI_...).
//
//   APMSetEventSink(&MySink, myContext);                    // a host observes delivered events
//   GetHTTPTelemetryModule().SetActive(true);               // the HTTP area starts reporting
//   GetHTTPTelemetryModule().Event(1, 200, "GET", "/index.html");
//   DI_AddCounter(APM_MODULE_HTTP, 0, 1);                   // a request served
//
// Events belong to modules (numbers 0..255), one module per area: the operating system, HTTP,
// the database, remote calls, the user interface, and the library itself (100). Everything is
// off by default: an event is delivered only while its module is switched on and a sink is
// installed, and a report costs one relaxed load and one predictable branch until then (see
// IsTelemetryDelivered). Counters count while their module is switched on, sink or not.
//
// The sink is called on the reporting thread, so it must be quick and must not take the
// library's locks nor call APMSetEventSink or APMSetModuleActive (both wait for running sink
// calls); once APMSetEventSink has returned the previous sink is never called again.
// Nothing here changes the caller's last error. Registration callbacks let components prepare
// their telemetry for the kind of application that hosts them (a server switches other areas
// on than a desktop program): a component registers for an application type, and the host
// announces its type once with APMRegisterApplication.
#pragma once

#include <cstdint>

#include "base/core/Export.h"
#include "base/core/UpcallTelemetry.h"

// The areas' modules (APM_MODULE_ORVGUI, the library's own, is 100).
inline constexpr int APM_MODULE_OS = 1;
inline constexpr int APM_MODULE_HTTP = 2;
inline constexpr int APM_MODULE_DATABASE = 3;
inline constexpr int APM_MODULE_RPC = 4;
inline constexpr int APM_MODULE_UI = 5;

// The application types a host announces (1..7).
inline constexpr int APM_APPLICATION_SERVER = 1;
inline constexpr int APM_APPLICATION_DESKTOP = 2;
inline constexpr int APM_APPLICATION_SERVICE = 3;
inline constexpr int APM_APPLICATION_TOOL = 4;
inline constexpr int APM_APPLICATION_TYPES = 8;  // types are below this

// The counters of a module: numbers 0..63, 64-bit signed.
inline constexpr int DI_COUNTERS = 64;

// APMEventSink: receives module, event, value and the text parameters of one event.
typedef void (*APMEventSink)(int module, int event, int value, const char* const* params,
                             unsigned paramCount, void* context);
// APMRegistrationCallback: called with the announced application type and its context.
typedef void (*APMRegistrationCallback)(int applicationType, void* context);

// APMSetEventSink: installs the sink (null removes it). Returns the previous sink.
ORVGUI_C_API APMEventSink APMSetEventSink(APMEventSink sink, void* context);
// APMSetModuleActive: switches a module on (nonzero) or off. Modules outside 0..255 are
// ignored. APMIsModuleSwitchedOn: whether it is on (APMIsModuleActive: whether its events are
// delivered, that is on and a sink installed).
ORVGUI_C_API void APMSetModuleActive(int module, int active);
ORVGUI_C_API int APMIsModuleSwitchedOn(int module);
// APMIsEventSinkInstalled: nonzero while a sink is installed.
ORVGUI_C_API int APMIsEventSinkInstalled();
// APMSwitchModulesOn: switches on the modules a configuration text names, separated by commas
// or blanks: module names (case ignored, see FindTelemetryModule) or numbers 0..255. Returns
// the count switched on; -1 with last error EINVAL, switching nothing, when an entry is neither.
ORVGUI_C_API int APMSwitchModulesOn(const char* list);

// APMRegisterCallback: calls callback(type, context) when the host announces the application
// type (at once when it already has). Returns a nonzero handle; 0 with last error EINVAL for a
// null callback or a type outside 1..7, ENOMEM without memory.
ORVGUI_C_API int APMRegisterCallback(int applicationType, APMRegistrationCallback callback, void* context);
// APMUnregisterCallback: forgets a registration; 0 with last error ENOENT for an unknown handle.
ORVGUI_C_API int APMUnregisterCallback(int handle);
// APMRegisterApplication: the host announces its application type; the callbacks registered
// for it run on this thread in the order of registration (outside the library's locks, so
// they may switch modules and install a sink). A type is announced once: a second call does
// nothing and returns 0 with last error EEXIST. Returns the number of callbacks run, or -1
// with EINVAL for a type outside 1..7. APMGetApplicationType: the last type announced, 0 none.
ORVGUI_C_API int APMRegisterApplication(int applicationType);
ORVGUI_C_API int APMGetApplicationType();

// DI_AddCounter / DI_SetCounter: change a counter of a module while the module is switched on
// (otherwise, and for a module or counter out of range, nothing happens). Lock-free.
ORVGUI_C_API void DI_AddCounter(int module, int counter, long long delta);
ORVGUI_C_API void DI_SetCounter(int module, int counter, long long value);
// DI_GetCounter: the counter's value (0 out of range). DI_ResetCounters: a module's to 0.
ORVGUI_C_API long long DI_GetCounter(int module, int counter);
ORVGUI_C_API void DI_ResetCounters(int module);

namespace OrvGuiTelemetry {

// TelemetryModule: the handle of one module, with its number and a short lower-case name.
class ORVGUI_API TelemetryModule {
 public:
  constexpr TelemetryModule(int id, const char* name) : m_id(id), m_name(name) {}
  int GetId() const { return m_id; }
  const char* GetName() const { return m_name; }
  // IsActive: whether events are delivered now; SetActive switches the module.
  bool IsActive() const { return IsTelemetryDelivered(m_id); }
  bool IsSwitchedOn() const { return IsTelemetrySwitchedOn(m_id); }
  void SetActive(bool active) const { APMSetModuleActive(m_id, active ? 1 : 0); }
  // Event: APMEventParam with the texts given (const char*), when delivered.
  template <class... Texts>
  void Event(int event, int value, Texts... texts) const {
    if (IsActive()) APMEventParam(m_id, event, value, sizeof...(Texts), static_cast<const char*>(texts)...);
  }
  // Count: DI_AddCounter on this module.
  void Count(int counter, long long delta = 1) const {
    if (IsSwitchedOn()) DI_AddCounter(m_id, counter, delta);
  }

 private:
  int m_id;
  const char* m_name;
};

// The areas' modules: "os", "http", "database", "rpc", "ui" and "orvgui" (the library).
ORVGUI_API const TelemetryModule& GetOSTelemetryModule();
ORVGUI_API const TelemetryModule& GetHTTPTelemetryModule();
ORVGUI_API const TelemetryModule& GetDatabaseTelemetryModule();
ORVGUI_API const TelemetryModule& GetRPCTelemetryModule();
ORVGUI_API const TelemetryModule& GetUITelemetryModule();
ORVGUI_API const TelemetryModule& GetLibraryTelemetryModule();
// GetTelemetryModules: the six above, in that order, for listing; count receives 6.
ORVGUI_API const TelemetryModule* const* GetTelemetryModules(unsigned& count);
// FindTelemetryModule: the module of that name (case ignored), or null.
ORVGUI_API const TelemetryModule* FindTelemetryModule(const char* name);

}  // namespace OrvGuiTelemetry
