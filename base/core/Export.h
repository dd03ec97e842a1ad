// Export.h: the visibility macro of the public interface.
//
// The library is built with hidden visibility; every class and function that a host may call
// is marked ORVGUI_API. Functions that stand for platform calls and must keep their plain C
// names (EnterNonReentrantSection, TraceA, ...) are marked ORVGUI_C_API.
#pragma once

#define ORVGUI_API __attribute__((visibility("default")))
#define ORVGUI_C_API extern "C" __attribute__((visibility("default")))
