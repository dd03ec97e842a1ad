// TraceServer.h: the receiving end of the trace pipe, for trace viewers.
//
//   void Show(bool, bool, const char* line, uint32_t length, uint32_t state) { puts(line); }
//   volatile uint32_t* format = nullptr;
//   if (TraceInitServer(format, &Show) && format != nullptr) *format = 0x0001 | 0x0002;
//   ...
//   TraceExitServer();
//
// TraceInitServer creates the FIFO /tmp/.ZelTracePipe (mode 0666, so that processes of every
// user can write) and starts a thread that reads the zero-terminated lines every process on the
// machine writes into it, handing each to the callback with the kind and mask bits that
// TraceGetState reads from it. A line split across reads is joined and delivered once; when the
// last writer closes the pipe the server opens it again and waits for the next one. The format
// word the viewer gets is the one shared by every process of the machine (see Trace.h).
#pragma once

#include <cstdint>

#include "base/core/Export.h"

namespace OrvGuiTrace {

// TraceServerCallback: receives a line (zero-terminated; length counts the zero), with true,
// false and its state (kind + mask bits, 0x6001 for a line that is not a trace line). It runs on
// the server thread.
typedef void (*TraceServerCallback)(bool first, bool second, const char* line, uint32_t length, uint32_t state);

// TraceInitServer: starts the server once per process. True with format pointing at the shared
// format word (null when it could not be mapped); false, with format null, when the server was
// already started.
ORVGUI_API bool TraceInitServer(volatile uint32_t*& format, TraceServerCallback callback);
// TraceExitServer: stops the server thread (waking it with an empty record through the pipe),
// unmaps the format word and forgets the callback. The FIFO stays. Always true.
ORVGUI_API bool TraceExitServer();

}  // namespace OrvGuiTrace
