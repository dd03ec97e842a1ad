// Telemetry.cpp: module switches and the event sink.
//
// The switches are one atomic flag per module, read without a lock on every report. The sink
// and its context are swapped under a reader-writer lock, so a sink being replaced is never
// called after APMSetEventSink returned.
#include "telemetry/Telemetry.h"

#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>

namespace {

constexpr int kModules = 256;
constexpr unsigned kMaxParams = 16;

std::atomic<bool> g_active[kModules];
pthread_rwlock_t g_sinkLock = PTHREAD_RWLOCK_INITIALIZER;
APMEventSink g_sink = nullptr;
void* g_sinkContext = nullptr;

}  // namespace

int APMIsModuleActive(int module) {
  return module >= 0 && module < kModules && g_active[module].load(std::memory_order_relaxed);
}

void APMSetModuleActive(int module, int active) {
  if (module >= 0 && module < kModules) g_active[module].store(active != 0, std::memory_order_relaxed);
}

APMEventSink APMSetEventSink(APMEventSink sink, void* context) {
  pthread_rwlock_wrlock(&g_sinkLock);
  APMEventSink previous = g_sink;
  g_sink = sink;
  g_sinkContext = context;
  pthread_rwlock_unlock(&g_sinkLock);
  return previous;
}

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
  pthread_rwlock_rdlock(&g_sinkLock);
  if (g_sink != nullptr) g_sink(module, event, value, params, paramCount, g_sinkContext);
  pthread_rwlock_unlock(&g_sinkLock);
  errno = saved;
}
