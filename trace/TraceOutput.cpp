// TraceOutput.cpp: where finished trace lines go: the hook, the trace pipe, the trace file and
// standard error; and the format word every process of the machine shares.
//
// The pipe side is TraceThreadContext, one per process, built on first need: the descriptor of
// the FIFO /tmp/.ZelTracePipe, the time of the last failure, and the mapping of the shared
// format word /ZelTraceMap. The FIFO is opened without blocking (a FIFO without a reader
// refuses the open at once) and then switched to blocking writes, so that a viewer that falls
// behind slows the writers down instead of losing their lines. After a failure the pipe rests
// for a second: a process without a viewer pays one failed open per second at most. A record
// is one write of at most 1,025 bytes, which a FIFO delivers whole, so records of different
// threads and processes never mix. SIGPIPE from a viewer that went away never reaches the
// host: see OnPipeSignal.
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/core/CriticalSection.h"
#include "base/core/ExceptionFilter.h"
#include "base/core/Init.h"
#include "base/core/LazyStatic.h"
#include "base/fs/File.h"
#include "base/fs/Stream.h"
#include "base/time/Clock.h"
#include "base/time/DateTime.h"
#include "private/system/Sys.h"
#include "private/trace/TraceRecord.h"
#include "trace/Trace.h"

namespace OrvGuiTrace {

using namespace Internal;

namespace {

constexpr const char kPipePath[] = "/tmp/.ZelTracePipe";
constexpr const char kMapName[] = "/ZelTraceMap";
constexpr uint64_t kPipeRestMs = 1001;

struct TraceThreadContext {
  TraceThreadContext();
  ~TraceThreadContext();
  uint64_t lastFailure = 0;  // GetClockTicks64 of the last failed write, 0 none
  int pipe = -1;
  volatile uint32_t* format = nullptr;
  int sharedMemory = -1;
  void* mapping = nullptr;
  pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;  // the descriptor and the failure time
};

// A child made by fork while another thread of the parent held the lock would never see it
// released: the child starts with a free lock (its only thread cannot be inside a write).
TraceThreadContext* g_forkContext = nullptr;

void FreeLockInChild() {
  if (g_forkContext != nullptr) pthread_mutex_init(&g_forkContext->lock, nullptr);
}

TraceThreadContext::TraceThreadContext() {
  format = MapSharedFormat(sharedMemory, mapping);
  g_forkContext = this;
  pthread_atfork(nullptr, nullptr, &FreeLockInChild);
}

TraceThreadContext::~TraceThreadContext() {
  g_forkContext = nullptr;
  UnmapSharedFormat(sharedMemory, mapping);
  if (pipe >= 0) close(pipe);
  pthread_mutex_destroy(&lock);
}

constinit OrvGuiBase::LazyStatic<TraceThreadContext> s_context;

struct TraceFileState {
  OrvGuiBase::CriticalSection lock{"TraceFile"};
  OrvGuiBase::WriteStream* stream = nullptr;
  ~TraceFileState() { delete stream; }
};
constinit OrvGuiBase::LazyStatic<TraceFileState> s_traceFile;

std::atomic<unsigned> g_destination{kTraceToPipe};
std::atomic<TraceStrHandler> g_handler{nullptr};

// SIGPIPE. A write into a FIFO whose reader has gone raises SIGPIPE in the writing thread. The
// pipe's writes are one at a time (under the context's lock), and the writing thread is named
// in g_pipeWriter for the length of the write: OnPipeSignal swallows the signal of that write,
// which then fails with EPIPE, and hands every other SIGPIPE on to the action the host had.
// The handler is put in place when the pipe is opened, not for every line: blocking the signal
// around each write would cost two system calls a line. A host that ignores SIGPIPE keeps its
// SIG_IGN (which, unlike a handler, its children inherit across exec), and its writes need
// nothing. A thread that blocks SIGPIPE itself finds it pending afterwards, as for any write.
std::atomic<pthread_t> g_pipeWriter{0};
struct sigaction g_pipePrevious;

void OnPipeSignal(int signal, siginfo_t* info, void* context) {
  if (pthread_equal(g_pipeWriter.load(std::memory_order_relaxed), pthread_self())) return;
  OrvGuiBase::Internal::HandOnSignal(signal, info, context, g_pipePrevious, true);
}

// GuardPipeSignal: OnPipeSignal in place unless the host ignores SIGPIPE (again after a host
// replaced it). Called under the context's lock.
void GuardPipeSignal() {
  struct sigaction current {};
  if (sigaction(SIGPIPE, nullptr, &current) != 0) return;
  const bool ours = (current.sa_flags & SA_SIGINFO) != 0 && current.sa_sigaction == &OnPipeSignal;
  if (ours || ((current.sa_flags & SA_SIGINFO) == 0 && current.sa_handler == SIG_IGN)) return;
  struct sigaction action {};
  action.sa_sigaction = &OnPipeSignal;
  action.sa_flags = SA_SIGINFO | SA_RESTART;
  sigemptyset(&action.sa_mask);
  g_pipePrevious = current;
  sigaction(SIGPIPE, &action, nullptr);
}

bool WriteRecord(int fd, const char* record, size_t length) {
  g_pipeWriter.store(pthread_self(), std::memory_order_relaxed);
  const bool written = OrvGuiBase::Sys::Write(fd, record, length) == static_cast<ssize_t>(length);
  g_pipeWriter.store(0, std::memory_order_relaxed);
  return written;
}

// The time-stamped form of the file and of standard error.
constexpr const char kStampedLine[] = "%04ld-%02ld-%02ld %02ld:%02ld:%02ld.%03ld: %s\n";

struct Stamp {
  int64_t day = 0, month = 0, year = 0, hour = 0, minute = 0, second = 0, millisecond = 0;
  Stamp() { OrvGuiBase::GetCurrentDateTime(day, month, year, hour, minute, second, millisecond); }
};

bool WriteFileLine(const char* line) {
  TraceFileState* state = s_traceFile.Get();
  if (state == nullptr) return false;
  OrvGuiBase::CriticalSectionContext hold(state->lock, "TraceFile");
  if (state->stream == nullptr) return false;
  const Stamp t;
  return state->stream->WriteFmt(kStampedLine, static_cast<long>(t.year), static_cast<long>(t.month),
                                 static_cast<long>(t.day), static_cast<long>(t.hour), static_cast<long>(t.minute),
                                 static_cast<long>(t.second), static_cast<long>(t.millisecond), line) &&
         state->stream->Flush();
}

void WriteConsoleLine(const char* line) {
  const Stamp t;
  fprintf(stderr, kStampedLine, static_cast<long>(t.year), static_cast<long>(t.month), static_cast<long>(t.day),
          static_cast<long>(t.hour), static_cast<long>(t.minute), static_cast<long>(t.second),
          static_cast<long>(t.millisecond), line);
  fflush(stderr);
}

}  // namespace

namespace Internal {

// The shared word is made readable and writable for every user (fchmod, because the umask
// narrows the mode of shm_open) and set to 7 only by the process that created it.
volatile uint32_t* MapSharedFormat(int& descriptor, void*& mapping) noexcept {
  const int saved = errno;
  descriptor = -1;
  mapping = nullptr;
  bool created = true;
  int fd = shm_open(kMapName, O_RDWR | O_CREAT | O_EXCL, 0666);
  if (fd >= 0) {
    (void)fchmod(fd, 0666);
  } else if (errno == EEXIST) {
    created = false;
    fd = shm_open(kMapName, O_RDWR, 0666);
  }
  if (fd >= 0 && ftruncate(fd, 4) != 0) {
    close(fd);
    shm_unlink(kMapName);
    fd = -1;
  }
  volatile uint32_t* format = nullptr;
  if (fd >= 0) {
    void* address = mmap(nullptr, 4, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (address != MAP_FAILED) {
      mapping = address;
      format = static_cast<volatile uint32_t*>(address);
      if (created) *format = kTraceDefaultFormat;
    }
    descriptor = fd;
  }
  errno = saved;
  return format;
}

void UnmapSharedFormat(int& descriptor, void*& mapping) noexcept {
  if (mapping != nullptr) munmap(mapping, 4);
  if (descriptor >= 0) close(descriptor);
  mapping = nullptr;
  descriptor = -1;
}

std::atomic<bool> g_traceInitialised{false};

volatile uint32_t* GetSharedFormat() noexcept {
  TraceThreadContext* context = s_context.Get();
  return context != nullptr ? context->format : nullptr;
}

bool WritePipeRecord(const char* record, size_t length, bool force) noexcept {
  TraceThreadContext* context = s_context.Get();
  if (context == nullptr) return false;
  const int saved = errno;
  pthread_mutex_lock(&context->lock);
  bool written = false;
  if (force || context->lastFailure == 0 || OrvGuiBase::GetClockTicks64() - context->lastFailure >= kPipeRestMs) {
    if (context->pipe >= 0) {
      written = WriteRecord(context->pipe, record, length);
      if (!written) {
        OrvGuiBase::Sys::Close(context->pipe);
        context->pipe = -1;
      }
    }
    if (!written) {
      context->pipe = OrvGuiBase::Sys::Open(kPipePath, O_WRONLY | O_APPEND | O_NONBLOCK);
      if (context->pipe >= 0) GuardPipeSignal();
      written = context->pipe >= 0 && fcntl(context->pipe, F_SETFL, O_WRONLY | O_APPEND) == 0 &&
                WriteRecord(context->pipe, record, length);
      if (!written) {
        if (context->pipe >= 0) OrvGuiBase::Sys::Close(context->pipe);
        context->pipe = -1;
        if (!force) {  // a forced record (the server's wake-up) says nothing about viewers
          context->lastFailure = OrvGuiBase::GetClockTicks64();
          if (context->lastFailure == 0) context->lastFailure = 1;
        }
      }
    }
  }
  pthread_mutex_unlock(&context->lock);
  errno = saved;
  return written;
}

// Writing a line: the hook may consume it; otherwise it goes to the pipe (not from inside a
// pipe write of the same thread, which would recurse), then to the file, and to standard error
// when the file did not take it.
void WriteTraceLine(const char* line, size_t length) noexcept {
  if (TraceStrHandler handler = g_handler.load(std::memory_order_acquire); handler != nullptr && handler(line)) return;
  const unsigned destination = g_destination.load(std::memory_order_relaxed);
  if (destination & 1) {
    TraceThreadData* record = TraceThreadRecord::GetState() == 2 ? TraceThreadRecord::Peek() : nullptr;
    if (record != nullptr && record->inPipeWrite == 0 && IsTraceInitialised() && OrvGuiBase::BaseInitializer::IsDone()) {
      record->inPipeWrite = 1;
      (void)WritePipeRecord(line, length + 1, false);
      record->inPipeWrite = 0;
    }
  }
  if ((destination & 8) && WriteFileLine(line)) return;
  if (destination & 4) WriteConsoleLine(line);
}

void InitTraceAtLoad() {
  (void)s_traceFile.Get();
  g_traceInitialised.store(true, std::memory_order_relaxed);
}

}  // namespace Internal

void TraceToTracer() { g_destination.store(kTraceToPipe); }
void TraceToDebugger() { g_destination.store(kTraceToDebugger); }
void TraceToConsole() { g_destination.store(kTraceToConsole); }
unsigned TraceGetDestination() { return g_destination.load(); }

void TraceToFile(const OrvGuiBase::File& file) {
  const int saved = errno;
  if (TraceFileState* state = s_traceFile.Get()) {
    OrvGuiBase::CriticalSectionContext hold(state->lock, "TraceToFile");
    g_destination.store(kTraceToFile);
    delete state->stream;
    state->stream = new (std::nothrow) OrvGuiBase::WriteStream(file, OrvGuiBase::kAppendText);
  }
  errno = saved;
}

void TraceSetStrHandler(TraceStrHandler handler) { g_handler.store(handler, std::memory_order_release); }

void TraceShutdown() {
  const int saved = errno;
  g_traceInitialised.store(false);
  if (TraceFileState* state = s_traceFile.Get()) {
    OrvGuiBase::CriticalSectionContext hold(state->lock, "TraceShutdown");
    delete state->stream;
    state->stream = nullptr;
  }
  errno = saved;
}

}  // namespace OrvGuiTrace
