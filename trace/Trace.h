// Trace.h: one-line diagnostic messages for a trace viewer.
//
//   TraceMsg(kTraceError, 0x04, __FILE__, __LINE__, "could not open the settings");
//   TraceSetMask(0xFFF | 0x1000);      // this thread also writes messages carrying bit 0x1000
//
// A message carries a kind (its first letter: E, T, F, K, C, I) and mask bits (its second
// letter); it is written only when the calling thread's mask holds all of its bits (the
// default mask is 0xFFF). Each line reads "<kind><mask>|0x<pid>|0x<thread>|<program>: <text>"
// and goes, as a zero-terminated record, into the FIFO /tmp/.ZelTracePipe when a viewer reads
// it; without a reader the line is dropped. A hook installed with TraceSetStrHandler sees every
// finished line first and may consume it. Tracing keeps the caller's last error.
#pragma once

#include "base/core/UpcallTrace.h"

namespace OrvGuiTrace {

// TraceStr: as TraceMsg, without saving the last error (the trace never changes it anyway).
ORVGUI_API void TraceStr(unsigned kind, unsigned bits, const char* file, unsigned line, const char* text);

// TraceSetMask / TraceGetMask: the calling thread's mask.
ORVGUI_API void TraceSetMask(unsigned mask);
ORVGUI_API unsigned TraceGetMask();

// TraceStrHandler: receives each finished line; returning true consumes it (nothing else is
// written), false lets it go on to the pipe.
typedef bool (*TraceStrHandler)(const char* line);
// TraceSetStrHandler: installs the process-wide hook (null removes it).
ORVGUI_API void TraceSetStrHandler(TraceStrHandler handler);

}  // namespace OrvGuiTrace
