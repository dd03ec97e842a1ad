// UpcallTrace.h: what the lower layers call upward in the trace facility.
//
// Library code traces through TraceMsg, which lives in the trace layer above the core. This is
// that entry point's declaration, with the trace set-up that the load-time initialiser calls;
// trace/Trace.h includes this header and trace/ defines them.
#pragma once

#include "base/core/Export.h"

namespace OrvGuiTrace {

// Trace kinds: the first letter of a trace line.
enum : unsigned {
  kTraceError = 0x1000,     // E
  kTraceTrace = 0x2000,     // T
  kTraceFunction = 0x3000,  // F
  kTraceK = 0x4000,         // K
  kTraceC = 0x5000,         // C
  kTraceInfo = 0x6000,      // I
};

// TraceMsg: writes text (UTF-8, possibly several lines) as trace lines of the kind when the
// calling thread's mask holds every one of bits; file and line name the call site (file may
// be null). Keeps the caller's last error; allocates nothing on its normal path.
ORVGUI_API void TraceMsg(unsigned kind, unsigned bits, const char* file, unsigned line, const char* text);

// TraceLastError: text + ": " + the message of the calling thread's last error, as TraceMsg.
ORVGUI_API void TraceLastError(unsigned kind, unsigned bits, const char* file, unsigned line, const char* text);

namespace Internal {
// InitTraceAtLoad: the trace set-up of the library's load (the trace-file lock, the flag that
// lets lines out); called once by the load-time initialiser.
void InitTraceAtLoad();
}  // namespace Internal

}  // namespace OrvGuiTrace
