// Init.cpp: BaseInitializer's once-flag, the initialisation section and the build identifier.
#include "base/core/Init.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "base/core/ThreadData.h"

#ifndef ORVGUI_VERSION_TEXT
#define ORVGUI_VERSION_TEXT "0.0.0"
#endif
#ifndef ORVGUI_DEBUG_FILE
#define ORVGUI_DEBUG_FILE "liborvgui.so.debug"
#endif

namespace OrvGuiBase {

using SetupThreadDataCloser = ThreadData<SetupThreadData>::Closer;
using InitializationContextCloser = ThreadData<InitializationContext>::Closer;

namespace {
std::atomic<unsigned char> g_done{0};
char g_buildVariable[32] = "";
}  // namespace

BaseInitializer::BaseInitializer() {
  unsigned char expected = 0;
  if (g_done.load(std::memory_order_acquire) == 0 && g_done.compare_exchange_strong(expected, 1))
    Internal::RunBaseInitializer();
}

bool BaseInitializer::IsDone() { return g_done.load(std::memory_order_acquire) != 0; }

void EnterInitSection() {
  ++ThreadData<InitializationContext>::Get()->depth;
  ThreadData<SetupThreadData>::Get()->initSection = true;
}

void LeaveInitSection() {
  InitializationContext* context = ThreadData<InitializationContext>::Get();
  if (context->depth > 0) --context->depth;
  if (context->depth == 0) ThreadData<SetupThreadData>::Get()->initSection = false;
}

bool IsInitSection() { return ThreadData<SetupThreadData>::Get()->initSection; }

const char* GetBuildIdentifier() { return "orvgui " ORVGUI_VERSION_TEXT " " ORVGUI_DEBUG_FILE; }
const char* GetBuildIdentifierVariable() { return g_buildVariable; }
const char* GetLibraryVersion() { return ORVGUI_VERSION_TEXT; }

namespace Internal {
void PublishBuildIdentifier() {
  const int saved = errno;
  for (int number = 0; number <= 999999; ++number) {
    char name[32];
    snprintf(name, sizeof name, "GNU_DEBUGLINK_%06d", number);
    if (getenv(name) != nullptr) continue;
    if (setenv(name, GetBuildIdentifier(), 0) == 0) snprintf(g_buildVariable, sizeof g_buildVariable, "%s", name);
    break;
  }
  errno = saved;
}
}  // namespace Internal

}  // namespace OrvGuiBase
