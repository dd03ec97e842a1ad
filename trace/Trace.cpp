// Trace.cpp: the per-thread trace state and the building of trace lines.
//
// Everything a thread sets (mask, stop count, indentation, format override, stack figures,
// context buffers) lives in its TraceThreadData and needs no lock. Where a thread can have no
// record any more (a late caller at thread or process exit), the getters answer with the
// defaults, the setters do nothing, and the context buffers come from one process-wide record.
// Where the finished lines go is TraceOutput.cpp's business.
#include "trace/Trace.h"

#include <pthread.h>
#include <pwd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <cwchar>

#include "base/core/CallStack.h"
#include "base/core/ErrorMessage.h"
#include "base/core/LazyStatic.h"
#include "base/core/ParticleAllocator.h"
#include "base/process/Module.h"
#include "base/text/AnsiStr.h"
#include "base/text/Formatter.h"
#include "base/text/Utf.h"
#include "private/trace/TraceRecord.h"

namespace OrvGuiTrace {

using namespace Internal;
using TraceThreadDataCloser = TraceThreadRecord::Closer;

namespace Internal {

__attribute__((noinline)) TraceThreadData::TraceThreadData() noexcept
    : threadId(static_cast<uint64_t>(pthread_self())),
      stackBase(reinterpret_cast<uintptr_t>(__builtin_frame_address(0))) {}

}  // namespace Internal

namespace {

// ErrorKeeper: saves the last error and puts it back on every way out.
class ErrorKeeper {
 public:
  ErrorKeeper() : m_saved(errno) {}
  ~ErrorKeeper() { errno = m_saved; }
  ErrorKeeper(const ErrorKeeper&) = delete;
  ErrorKeeper& operator=(const ErrorKeeper&) = delete;

 private:
  int m_saved;
};

// The context buffers for callers whose thread can have no record: the shared fallback record.
TraceThreadData* GetContextRecord() noexcept { return TraceThreadRecord::Get(); }

struct ModuleName {
  OrvGuiBase::AnsiStr name = OrvGuiBase::GetProgramName();
};
constinit OrvGuiBase::LazyStatic<ModuleName> s_modulename;

// The process id, read once and again in a child after fork.
std::atomic<uint32_t> g_pid{0};

uint32_t ProcessId() {
  uint32_t pid = g_pid.load(std::memory_order_relaxed);
  if (pid == 0) [[unlikely]] {
    static const int s_registered = pthread_atfork(nullptr, nullptr, [] { g_pid.store(0); });
    (void)s_registered;
    pid = static_cast<uint32_t>(getpid());
    g_pid.store(pid, std::memory_order_relaxed);
  }
  return pid;
}

char KindLetter(unsigned kind) {
  switch (kind) {
    case kTraceError: return 'E';
    case kTraceTrace: return 'T';
    case kTraceFunction: return 'F';
    case kTraceK: return 'K';
    case kTraceC: return 'C';
    case kTraceInfo: return 'I';
    default: return 'E';
  }
}

char MaskLetter(unsigned bits, char kindLetter) {
  switch (bits) {
    case kTraceBitsX: return 'X';
    case kTraceBitsM: return 'M';
    case kTraceBitsS: return 'S';
    case kTraceBitsA: return 'A';
    case kTraceBitsW: return 'W';
    default: return kindLetter;
  }
}

// LineBuilder: a line in a fixed buffer of kTraceLineMax bytes plus the zero. Appends past
// the end set the sticky overflow flag and keep what fitted.
class LineBuilder {
 public:
  void Append(char c) {
    if (m_length < kTraceLineMax)
      m_buffer[m_length++] = c;
    else
      m_overflow = true;
  }
  void Append(const char* text, size_t length) {
    const size_t room = kTraceLineMax - m_length;
    if (length > room) {
      length = room;
      m_overflow = true;
    }
    memcpy(m_buffer + m_length, text, length);
    m_length += length;
  }
  void Append(const char* text) { Append(text, strlen(text)); }
  void AppendHex(uint64_t value) {
    char digits[16];
    int n = 0;
    do {
      digits[n++] = "0123456789ABCDEF"[value & 15];
      value >>= 4;
    } while (value != 0);
    Append("0x", 2);
    while (n > 0) Append(digits[--n]);
  }
  void AppendDecimal(uint64_t value, unsigned width, char pad) {
    char digits[20];
    unsigned n = 0;
    do {
      digits[n++] = static_cast<char>('0' + value % 10);
      value /= 10;
    } while (value != 0);
    for (unsigned i = n; i < width; ++i) Append(pad);
    while (n > 0) Append(digits[--n]);
  }
  void Truncate(size_t length) { m_length = length; }
  size_t GetLength() const { return m_length; }
  bool HasOverflowed() const { return m_overflow; }
  const char* Finish() {
    m_buffer[m_length] = 0;
    return m_buffer;
  }

 private:
  char m_buffer[kTraceLineMax + 1];
  size_t m_length = 0;
  bool m_overflow = false;
};

// StackDepth: the distance from the thread's stack base to frame; a frame above the base (the
// thread is shallower than ever before) becomes the new base.
uint64_t StackDepth(TraceThreadData* record, uintptr_t frame) {
  if (record->stackBase == 0 || frame > record->stackBase) {
    record->stackBase = frame;
    return 0;
  }
  return record->stackBase - frame;
}

void AppendUser(LineBuilder& line, TraceThreadData* record) {
  char local[2048];
  char* work = record != nullptr ? record->work : local;
  passwd entry;
  passwd* found = nullptr;
  if (getpwuid_r(geteuid(), &entry, work, sizeof local, &found) == 0 && found != nullptr)
    line.Append(found->pw_name);
  else
    line.Append("???");
}

void AppendPrefix(LineBuilder& line, TraceThreadData* record, unsigned kind, unsigned bits, const char* file,
                  unsigned lineNumber, unsigned format) {
  if ((format & kTraceNoLetters) == 0) {
    const char kindLetter = KindLetter(kind);
    line.Append(kindLetter);
    line.Append(MaskLetter(bits, kindLetter));
  }
  if (format & kTraceProcess) {
    line.Append('|');
    line.AppendHex(ProcessId());
  }
  if (format & kTraceThread) {
    line.Append('|');
    line.AppendHex(static_cast<uint64_t>(pthread_self()));
  }
  if (format & kTraceModule) {
    line.Append('|');
    if (ModuleName* module = s_modulename.Get()) line.Append(module->name.GetStr(), module->name.GetLength());
  }
  if (format & kTraceFile) {
    line.Append('|');
    if (file != nullptr) line.Append(file);
  }
  if (format & kTraceLine) {
    line.Append('|');
    if (file != nullptr) line.AppendDecimal(lineNumber, 5, '.');
  }
  if (format & kTraceStackDepth) {
    line.Append('|');
    const uintptr_t frame = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
    line.AppendDecimal(record != nullptr ? StackDepth(record, frame) : 0, 0, ' ');
  }
  if (format & kTraceUser) {
    line.Append('|');
    AppendUser(line, record);
  }
  // Deliberately an exact comparison: 0xF000 alone means bare text, while any other word that
  // contains those bits still gets the separator.
  if (format != kTraceBare) line.Append(": ", 2);
}

bool IsContinuationByte(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

// EmitLine: one line of the text after the prefix, cut into pieces that fit.
void EmitLine(LineBuilder& line, size_t prefixLength, unsigned indent, const char* text, size_t length) {
  line.Truncate(prefixLength);
  if (indent + prefixLength + 80 <= kTraceLineMax)
    for (unsigned i = 0; i < indent; ++i) line.Append(' ');
  for (;;) {
    const size_t room = kTraceLineMax - line.GetLength();
    size_t piece = length;
    if (piece > room) {
      piece = room;
      while (piece > 0 && IsContinuationByte(text[piece])) --piece;
      if (piece == 0) piece = room;  // no character start in reach: cut where the room ends
    }
    line.Append(text, piece);
    WriteTraceLine(line.Finish(), line.GetLength());
    text += piece;
    length -= piece;
    if (length == 0) return;
    line.Truncate(prefixLength);  // continuation pieces: the prefix, no indentation
  }
}

}  // namespace

// Building a line. The prefix (letters, fields, separator) is assembled once in a buffer on the
// stack; a prefix of kTraceLineMax bytes or more leaves no room and nothing is written. The
// text is then walked line by line: a line ends at LF, at CR LF (one break) or at a lone CR,
// and the end of the text ends the last line, so "" gives one line with the prefix alone,
// "a\n" one line, and "\n\n" two empty ones. Breaks are only ever found at character starts
// (no UTF-8 continuation byte is a CR or LF). Each line is put after the prefix (indented when
// indentation + prefix + an 80-byte reserve for text fits into the line), and one that does not
// fit is cut at the last character start in reach; the rest follows in further pieces, each
// directly after the prefix.
namespace {

// WriteTraceText: TraceStr past the filter of a thread with a record; kept apart so that a
// call the filter drops never sets up the line's stack frame.
[[gnu::noinline]] void WriteTraceText(unsigned kind, unsigned bits, const char* file, unsigned line, const char* text) {
  ErrorKeeper keep;
  TraceThreadData* record = GetTraceRecord();
  if (record != nullptr ? record->stopCount != 0 || (record->mask & bits) != bits : (0xFFFu & bits) != bits) return;
  const unsigned format = TraceGetOutput();
  LineBuilder builder;
  AppendPrefix(builder, record, kind, bits, file, line, format);
  if (builder.HasOverflowed() || builder.GetLength() >= kTraceLineMax) return;
  const size_t prefixLength = builder.GetLength();
  const unsigned indent = record != nullptr ? record->indent : 0;
  const char* start = text;
  for (;;) {
    const char* end = start;
    while (*end != 0 && *end != '\n' && *end != '\r') ++end;
    EmitLine(builder, prefixLength, indent, start, static_cast<size_t>(end - start));
    if (*end == 0) return;
    end += end[0] == '\r' && end[1] == '\n' ? 2 : 1;
    if (*end == 0) return;
    start = end;
  }
}

}  // namespace

void TraceStr(unsigned kind, unsigned bits, const char* file, unsigned line, const char* text) {
  if (text == nullptr || !IsTraceInitialised()) return;
  // The filter first, without touching the last error: a thread with a record answers from it.
  if (TraceThreadData* existing = TraceThreadRecord::Peek();
      existing != nullptr && (existing->stopCount != 0 || (existing->mask & bits) != bits)) [[likely]]
    return;
  WriteTraceText(kind, bits, file, line, text);
}

void TraceMsg(unsigned kind, unsigned bits, const char* file, unsigned line, const char* text) {
  ErrorKeeper keep;
  TraceStr(kind, bits, file, line, text);
}

void TraceLastError(unsigned kind, unsigned bits, const char* file, unsigned line, const char* text) {
  const int error = errno;
  const char* prefix = text != nullptr ? text : "";
  const OrvGuiBase::AnsiStr message = OrvGuiBase::GetErrorMessage(error);
  const uint64_t total = strlen(prefix) + 2 + uint64_t{message.GetLength()};
  if (total > 0xFFFFFFFFu) {  // too long for a string: the line stays empty
    TraceStr(kind, bits, file, line, "");
    errno = static_cast<int>(0x8002000Au);
    return;
  }
  OrvGuiBase::AnsiStr combined(prefix);
  combined.Append(": ");
  combined.Append(message);
  TraceStr(kind, bits, file, line, combined.GetStr());
  errno = error;
}

void TraceStack(unsigned kind, unsigned bits, const char* file, unsigned line, const char* text) {
  if (text == nullptr) return;
  ErrorKeeper keep;
  TraceThreadData* record = GetTraceRecord();
  if (record == nullptr) {
    TraceStr(kind, bits, file, line, text);
    return;
  }
  if ((record->mask & bits) != bits) return;
  void* frame = __builtin_frame_address(0);
  const uint64_t depth = StackDepth(record, reinterpret_cast<uintptr_t>(frame));
  if (depth > record->maxDepth) record->maxDepth = depth;
  const OrvGuiBase::AnsiStr report =
      OrvGuiBase::FmtArgs("%s: STACK = %p-%p (%u/%u)", text, frame, reinterpret_cast<void*>(record->stackBase),
                          static_cast<unsigned>(depth), static_cast<unsigned>(record->maxDepth));
  TraceStr(kind, bits, file, line, report.GetStr());
  // The next report of growth is due only after about another 8 KB.
  if (record->maxDepth > record->threshold) record->threshold = ((record->maxDepth + 1024) & ~uint64_t{1023}) + 8192;
}

bool TraceGetStackFigures(uint64_t& maximum, uint64_t& threshold) {
  ErrorKeeper keep;
  TraceThreadData* record = GetTraceRecord();
  if (record == nullptr) return false;
  maximum = record->maxDepth;
  threshold = record->threshold;
  return true;
}

void TraceCallStack() {
  ErrorKeeper keep;
  const OrvGuiBase::AnsiStr stack = OrvGuiBase::GetCallStack(2);
  const char* start = stack.GetStr();
  unsigned frame = 0;
  while (*start != 0) {
    const char* end = strchr(start, '\n');
    const size_t length = end != nullptr ? static_cast<size_t>(end - start) : strlen(start);
    const OrvGuiBase::AnsiStr frameText(start, static_cast<uint32_t>(length));
    const OrvGuiBase::AnsiStr line = OrvGuiBase::FmtArgs("[%02u] %s", frame++, frameText.GetStr());
    TraceStr(kTraceError, kTraceBitsX, "trace", 1345, line.GetStr());
    if (end == nullptr) break;
    start = end + 1;
  }
}

void TraceSimple() {
  ErrorKeeper keep;
  fputs("========================================\n", stderr);
  fflush(stderr);
}

void TraceSimple(const char* format, ...) {
  if (format == nullptr) return;
  ErrorKeeper keep;
  va_list args;
  va_start(args, format);
  vfprintf(stderr, format, args);
  va_end(args);
  fputc('\n', stderr);
  fflush(stderr);
}

// The wide form is formatted into wide text and written as UTF-8, so that standard error keeps
// its byte orientation for every later narrow write.
void TraceSimple(const wchar_t* format, ...) {
  if (format == nullptr) return;
  ErrorKeeper keep;
  for (size_t capacity = 1024; capacity <= (size_t{1} << 24); capacity *= 4) {
    wchar_t* buffer = new (std::nothrow) wchar_t[capacity];
    if (buffer == nullptr) return;
    va_list args;
    va_start(args, format);
    const int written = vswprintf(buffer, capacity, format, args);
    va_end(args);
    if (written >= 0) {
      const OrvGuiBase::AnsiStr text(buffer);
      delete[] buffer;
      fwrite(text.GetStr(), 1, text.GetLength(), stderr);
      fputc('\n', stderr);
      fflush(stderr);
      return;
    }
    delete[] buffer;
  }
}

namespace {

// NextContext: the next context buffer of the thread, or null when four are in use. The count
// is raised in any case, so FreeTraceContext always pairs.
char* NextContext() {
  TraceThreadData* record = GetContextRecord();
  if (record == nullptr) return nullptr;
  const uint32_t index = record->contextCount++;
  return index < kContextCount ? record->contexts[index] : nullptr;
}

char* FormatContext(const char* format, va_list args) {
  char* buffer = NextContext();
  if (buffer == nullptr) return nullptr;
  if (vsnprintf(buffer, kContextSize - 1, format, args) < 0) buffer[kContextSize - 2] = 0;
  return buffer;
}

}  // namespace

char* InitTraceContext(const char* format, ...) {
  ErrorKeeper keep;
  va_list args;
  va_start(args, format);
  char* buffer = FormatContext(format != nullptr ? format : "", args);
  va_end(args);
  return buffer;
}

char* InitTraceContext(const wchar_t* format, ...) {
  ErrorKeeper keep;
  char narrow[kContextSize];
  uint32_t length = 0;
  if (format != nullptr) {
    length = OrvGuiBase::UTF32toUTF8(reinterpret_cast<const char32_t*>(format),
                                     static_cast<uint32_t>(wcslen(format)), narrow, kContextSize - 1);
    // A format that does not convert or does not fit stays empty (the converter returns 0).
  }
  narrow[length] = 0;
  va_list args;
  va_start(args, format);
  char* buffer = FormatContext(narrow, args);
  va_end(args);
  return buffer;
}

char* InitTraceLine() {
  ErrorKeeper keep;
  char* buffer = NextContext();
  if (buffer != nullptr) {
    memset(buffer, '=', 40);
    buffer[40] = 0;
  }
  return buffer;
}

void FreeTraceContext() {
  ErrorKeeper keep;
  TraceThreadData* record = GetContextRecord();
  if (record != nullptr && record->contextCount > 0) --record->contextCount;
}

void TraceSetMask(unsigned mask) {
  ErrorKeeper keep;
  if (TraceThreadData* record = GetTraceRecord()) record->mask = mask;
}

unsigned TraceGetMask() {
  ErrorKeeper keep;
  TraceThreadData* record = GetTraceRecord();
  return record != nullptr ? record->mask : 0xFFFu;
}

void TraceEnable(unsigned bits, bool replace) {
  ErrorKeeper keep;
  if (TraceThreadData* record = GetTraceRecord()) record->mask = replace ? bits : record->mask | bits;
}

void TraceDisable(unsigned bits, bool replace) {
  ErrorKeeper keep;
  if (TraceThreadData* record = GetTraceRecord()) record->mask = replace ? ~bits : record->mask & ~bits;
}

void TraceStop() {
  ErrorKeeper keep;
  if (TraceThreadData* record = GetTraceRecord()) ++record->stopCount;
}

void TraceContinue() {
  ErrorKeeper keep;
  TraceThreadData* record = GetTraceRecord();
  if (record != nullptr && record->stopCount > 0) --record->stopCount;
}

bool TraceIsActive() {
  ErrorKeeper keep;
  TraceThreadData* record = GetTraceRecord();
  return record == nullptr || record->stopCount == 0;
}

void TraceIncrementIndent() {
  ErrorKeeper keep;
  if (TraceThreadData* record = GetTraceRecord()) ++record->indent;
}

void TraceDecrementIndent() {
  ErrorKeeper keep;
  TraceThreadData* record = GetTraceRecord();
  if (record != nullptr && record->indent > 0) --record->indent;
}

void TraceSetOutput(unsigned format) {
  ErrorKeeper keep;
  if (TraceThreadData* record = GetTraceRecord()) {
    record->output = format;
    record->hasOutput = true;
  }
}

unsigned TraceGetOutput() {
  ErrorKeeper keep;
  TraceThreadData* record = GetTraceRecord();
  if (record != nullptr && record->hasOutput) return record->output;
  const volatile uint32_t* shared = GetSharedFormat();
  return shared != nullptr ? *shared : static_cast<unsigned>(kTraceDefaultFormat);
}

void TraceStartup() {
  ErrorKeeper keep;
  (void)GetTraceRecord();
}

// Parsing a line's state. 'I' lines do not parse on purpose: 0x6001 stands for "not a trace
// line", and viewers have always shown both alike.
unsigned TraceGetState(const char* line) {
  constexpr unsigned kNotTrace = 0x6001;
  if (line == nullptr) return kNotTrace;
  unsigned kind;
  switch (line[0]) {
    case 'C': kind = 0x5000; break;
    case 'E': kind = 0x1000; break;
    case 'F': kind = 0x3000; break;
    case 'K': kind = 0x4000; break;
    case 'T': kind = 0x2000; break;
    default: return kNotTrace;
  }
  unsigned state;
  if (line[1] == line[0]) {
    state = kind + 0x01;
  } else {
    switch (line[1]) {
      case 'A': state = kind + 0x10; break;
      case 'M': state = kind + 0x04; break;
      case 'S': state = kind + 0x08; break;
      case 'W': state = kind + 0x20; break;
      case 'X': state = kind + 0x02; break;
      default: return kNotTrace;
    }
  }
  switch (line[2]) {
    case '|':
    case ' ':
    case '/':
    case ':': return state;
    default: return kNotTrace;
  }
}

void TraceEnableMessages(bool /*flag*/) {}
void TraceBeep() {}

}  // namespace OrvGuiTrace

void TraceA(const char* text) {
  if (text == nullptr || !OrvGuiBase::IsParticleManagerValid()) return;
  const int saved = errno;
  const OrvGuiBase::AnsiStr narrow(text);
  OrvGuiTrace::TraceStr(OrvGuiTrace::kTraceError, OrvGuiTrace::kTraceBitsDefault, nullptr, 0, narrow.GetStr());
  errno = saved;
}

void TraceW(const wchar_t* text) {
  if (text == nullptr || !OrvGuiBase::IsParticleManagerValid()) return;
  const int saved = errno;
  const OrvGuiBase::AnsiStr narrow(text);
  OrvGuiTrace::TraceStr(OrvGuiTrace::kTraceError, OrvGuiTrace::kTraceBitsDefault, nullptr, 0, narrow.GetStr());
  errno = saved;
}
