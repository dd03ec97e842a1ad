// Trace.h: one-line diagnostic messages for a trace viewer.
//
//   TraceMsg(kTraceError, 0x04, __FILE__, __LINE__, "could not open the settings");
//   TraceSetMask(0xFFF | 0x1000);      // this thread also writes messages carrying bit 0x1000
//   TraceSetOutput(0x0001 | 0x0020 | 0x0040);   // this thread: process id, file and line
//
// A message carries a kind (its first letter: E, T, F, K, C, I) and mask bits (its second
// letter: the kind letter again for 0x01, X 0x02, M 0x04, S 0x08, A 0x10, W 0x20); it is
// written only while the calling thread's stop count is 0 and its mask holds all of the
// message's bits (the default mask is 0xFFF). The format word chooses the fields between the
// letters and the text:
//
//   0x0001 "|0x<pid>"   0x0002 "|0x<thread>"   0x0004 "|<program>"   0x0020 "|<file>"
//   0x0040 "|<line>" (dot-padded to five)      0x0080 "|<stack depth>"   0x0100 "|<user>"
//   0x1000 leave the two letters out
//
// then ": " and the text. The format word 0xF000 exactly gives the bare text. A thread uses its
// own word after TraceSetOutput, otherwise the word shared by every process of the machine in
// the POSIX shared memory "/ZelTraceMap" (7 when that is missing), which a trace viewer sets.
//
// The destination is process-wide: the FIFO "/tmp/.ZelTracePipe" (the default; each line is
// one zero-terminated record, dropped when no viewer reads), a trace file or standard error
// (each with a time stamp). A hook installed with TraceSetStrHandler sees every finished line
// first and may consume it. Tracing keeps the caller's last error, reports no failure, and
// allocates nothing on its normal path.
#pragma once

#include <cstdint>

#include "base/core/UpcallTrace.h"

namespace OrvGuiBase {
class File;
}

namespace OrvGuiTrace {

// Mask bits, the second letter of a line.
enum : unsigned {
  kTraceBitsDefault = 0x01,  // the kind letter again
  kTraceBitsX = 0x02,
  kTraceBitsM = 0x04,
  kTraceBitsS = 0x08,
  kTraceBitsA = 0x10,
  kTraceBitsW = 0x20,
};

// Format word bits.
enum : unsigned {
  kTraceProcess = 0x0001,
  kTraceThread = 0x0002,
  kTraceModule = 0x0004,
  kTraceFile = 0x0020,
  kTraceLine = 0x0040,
  kTraceStackDepth = 0x0080,
  kTraceUser = 0x0100,
  kTraceNoLetters = 0x1000,
  kTraceBare = 0xF000,        // exactly this value: the text alone, no separator
  kTraceDefaultFormat = 7,
};

// Destinations (TraceGetDestination).
enum : unsigned {
  kTraceToPipe = 3,      // the trace pipe (bit 1; bit 2 has no output here)
  kTraceToDebugger = 2,  // nowhere
  kTraceToConsole = 4,   // standard error, time-stamped
  kTraceToFile = 8,      // the trace file, time-stamped
};

// The longest line: a piece of a message never exceeds this many bytes (without its zero).
inline constexpr unsigned kTraceLineMax = 1024;

// TraceStr: builds and writes the line(s) of text; text may hold several lines (LF, CR LF or a
// lone CR end one). A null text writes nothing. Lines longer than kTraceLineMax bytes go out in
// pieces cut at UTF-8 character starts, each piece with the prefix.
ORVGUI_API void TraceStr(unsigned kind, unsigned bits, const char* file, unsigned line, const char* text);
// TraceLastError (declared with TraceMsg): text + ": " + the message of the current last error.
// TraceStack: text + ": STACK = <frame>-<base> (<depth>/<maximum depth>)", and raises the
// thread's maximum depth; without a thread record the plain text.
ORVGUI_API void TraceStack(unsigned kind, unsigned bits, const char* file, unsigned line, const char* text);
// TraceCallStack: the caller's call stack, one line "[nn] frame" per frame, kind E, bits X.
ORVGUI_API void TraceCallStack();

// TraceSimple: forty '=' (or the formatted text) and a newline straight to standard error,
// flushed; no prefix, mask or destination applies.
ORVGUI_API void TraceSimple();
ORVGUI_API void TraceSimple(const char* format, ...) __attribute__((format(printf, 1, 2)));
ORVGUI_API void TraceSimple(const wchar_t* format, ...);

// InitTraceContext: formats (vsnprintf, at most 1,024 bytes) into the calling thread's next
// free context buffer and returns it, so that a caller can build a message without
// allocating. Four buffers nest; the fifth call returns null. Every call, null or not, must be
// paired with FreeTraceContext. The wide form converts the format to multibyte text first and
// takes its arguments as the narrow form does.
ORVGUI_API char* InitTraceContext(const char* format, ...) __attribute__((format(printf, 1, 2)));
ORVGUI_API char* InitTraceContext(const wchar_t* format, ...);
// InitTraceLine: the next context buffer filled with forty '='.
ORVGUI_API char* InitTraceLine();
// FreeTraceContext: gives the most recent context buffer back.
ORVGUI_API void FreeTraceContext();

// TraceSetMask / TraceGetMask: the calling thread's mask (default 0xFFF).
ORVGUI_API void TraceSetMask(unsigned mask);
ORVGUI_API unsigned TraceGetMask();
// TraceEnable: replace ? mask = bits : mask |= bits. TraceDisable: replace ? mask = ~bits :
// mask &= ~bits.
ORVGUI_API void TraceEnable(unsigned bits, bool replace);
ORVGUI_API void TraceDisable(unsigned bits, bool replace);
// TraceStop / TraceContinue: raise / lower the thread's stop count; they nest.
ORVGUI_API void TraceStop();
ORVGUI_API void TraceContinue();
// TraceIsActive: the stop count is 0 (or the thread can have no record any more).
ORVGUI_API bool TraceIsActive();
// TraceIncrementIndent / TraceDecrementIndent: one space more / less before the text.
ORVGUI_API void TraceIncrementIndent();
ORVGUI_API void TraceDecrementIndent();
// TraceSetOutput: the calling thread's own format word, used from now on instead of the shared
// one. TraceGetOutput: that word, else the shared word, else 7.
ORVGUI_API void TraceSetOutput(unsigned format);
ORVGUI_API unsigned TraceGetOutput();

// TraceToTracer / TraceToDebugger / TraceToConsole: the process-wide destination 3, 2, 4.
ORVGUI_API void TraceToTracer();
ORVGUI_API void TraceToDebugger();
ORVGUI_API void TraceToConsole();
// TraceToFile: destination 8; lines are appended to file (a new trace stream replaces the
// previous one). Lines of different threads never interleave in the file.
ORVGUI_API void TraceToFile(const OrvGuiBase::File& file);
// TraceGetDestination: the current destination (3, 2, 4 or 8).
ORVGUI_API unsigned TraceGetDestination();

// TraceStrHandler: receives each finished line; returning true consumes it (nothing else is
// written), false lets it go on to the destination. It runs on the tracing thread.
typedef bool (*TraceStrHandler)(const char* line);
// TraceSetStrHandler: installs the process-wide hook (null removes it).
ORVGUI_API void TraceSetStrHandler(TraceStrHandler handler);

// TraceStartup: creates the calling thread's record now.
ORVGUI_API void TraceStartup();
// TraceShutdown: stops all tracing of the process and closes the trace file.
ORVGUI_API void TraceShutdown();

// TraceGetState: kind + mask bits of a trace line, read from its first three characters
// ("EE|..." 0x1001, "TX ..." 0x2002); 0x6001 for a line that does not parse, which includes the
// lines of kind I (deliberately: viewers treat both the same).
ORVGUI_API unsigned TraceGetState(const char* line);

// TraceGetStackFigures: the calling thread's maximum stack depth seen by TraceStack and the
// depth from which a further report of growth is due; false without a thread record.
ORVGUI_API bool TraceGetStackFigures(uint64_t& maximum, uint64_t& threshold);

// TraceEnableMessages / TraceBeep: accepted and ignored on this platform.
ORVGUI_API void TraceEnableMessages(bool flag);
ORVGUI_API void TraceBeep();

}  // namespace OrvGuiTrace

// TraceA / TraceW: for host programs, by unmangled name: the text as a message of kind E, bits
// 0x01, without source file.
ORVGUI_C_API void TraceA(const char* text);
ORVGUI_C_API void TraceW(const wchar_t* text);
