// CharHooks.cpp: the seven hook slots.
#include "base/text/CharHooks.h"

#include <atomic>

namespace OrvGuiBase {

namespace {
constinit std::atomic<AnsiCharCollationHandler> g_ansiCharCollation{nullptr};
constinit std::atomic<WideCharCollationHandler> g_wideCharCollation{nullptr};
constinit std::atomic<AnsiCharCaseFoldingHandler> g_ansiCharCaseFolding{nullptr};
constinit std::atomic<WideCharCaseFoldingHandler> g_wideCharCaseFolding{nullptr};
constinit std::atomic<AnsiStrCollationHandler> g_ansiStrCollation{nullptr};
constinit std::atomic<WideStrCollationHandler> g_wideStrCollation{nullptr};
constinit std::atomic<WideStrCaseFoldingHandler> g_wideStrCaseFolding{nullptr};
}  // namespace

#define ORVGUI_HOOK(Name, slot)                                                              \
  void Set##Name(Name handler) { slot.store(handler, std::memory_order_relaxed); }          \
  Name Get##Name() { return slot.load(std::memory_order_relaxed); }

ORVGUI_HOOK(AnsiCharCollationHandler, g_ansiCharCollation)
ORVGUI_HOOK(WideCharCollationHandler, g_wideCharCollation)
ORVGUI_HOOK(AnsiCharCaseFoldingHandler, g_ansiCharCaseFolding)
ORVGUI_HOOK(WideCharCaseFoldingHandler, g_wideCharCaseFolding)
ORVGUI_HOOK(AnsiStrCollationHandler, g_ansiStrCollation)
ORVGUI_HOOK(WideStrCollationHandler, g_wideStrCollation)
ORVGUI_HOOK(WideStrCaseFoldingHandler, g_wideStrCaseFolding)
#undef ORVGUI_HOOK

}  // namespace OrvGuiBase
