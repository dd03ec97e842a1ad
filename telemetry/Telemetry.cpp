// Telemetry.cpp: module switches and the event sink.
//
// The switches are one atomic flag per module, read without a lock on every report. The sink
// lives in a CallbackSlot, so a sink being replaced is never called after APMSetEventSink
// returned.
#include "telemetry/Telemetry.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>

#include "base/core/CallbackSlot.h"

namespace {

constexpr int kModules = 256;
constexpr unsigned kMaxParams = 16;

std::atomic<bool> g_active[kModules];
OrvGuiBase::CallbackSlot<APMEventSink> g_sink;

}  // namespace

int APMIsModuleActive(int module) {
  return module >= 0 && module < kModules && g_active[module].load(std::memory_order_relaxed);
}

void APMSetModuleActive(int module, int active) {
  if (module >= 0 && module < kModules) g_active[module].store(active != 0, std::memory_order_relaxed);
}

APMEventSink APMSetEventSink(APMEventSink sink, void* context) { return g_sink.Set(sink, context); }

void APMEventParam(int module, int event, int value, unsigned paramCount, ...) {
  if (!APMIsModuleActive(module)) return;
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
