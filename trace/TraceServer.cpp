// TraceServer.cpp: the trace server thread that reads the trace pipe for a viewer.
//
// The loop: make the FIFO (and widen its permissions to 0666), open it for reading (which
// waits for the first writer), then read. Records are zero-terminated; a read may end inside
// one, so the bytes after the last zero are kept at the front of the buffer and the next read
// is appended to them. A pending part longer than any record (1,024 bytes of text) is not from
// a trace writer and is delivered as it stands, so the buffer never grows. When every writer
// has closed the pipe, read returns 0: the pending part is delivered, the pipe closed and
// opened again for the next writer. Termination is asked through the thread's flag; because
// the thread may sit in open or read, TraceExitServer also writes an empty record into the pipe
// to wake it.
//
// The server thread never writes into the pipe itself (its own messages, and whatever the
// viewer's callback traces, go to the other destinations only): a server blocked writing into
// the pipe it is meant to drain would wait for ever.
#include "trace/TraceServer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>

#include "base/core/ErrorMessage.h"
#include "base/core/Thread.h"
#include "base/text/Formatter.h"
#include "private/system/Sys.h"
#include "private/trace/TraceRecord.h"
#include "trace/Trace.h"

namespace OrvGuiTrace {

using namespace Internal;

namespace {

constexpr const char kPipePath[] = "/tmp/.ZelTracePipe";
constexpr size_t kReadSize = kTraceLineMax + 1;

struct TraceServerState {
  std::atomic<bool> mayStart{true};
  std::atomic<TraceServerCallback> callback{nullptr};
  int sharedMemory = -1;
  void* mapping = nullptr;
  OrvGuiBase::Thread thread;
};

TraceServerState& GetServerState() {
  static TraceServerState* s_state = new TraceServerState();  // lives as long as the process
  return *s_state;
}

void Report(unsigned line, const OrvGuiBase::AnsiStr& text) { TraceMsg(kTraceError, 0x01, "trace", line, text.GetStr()); }

OrvGuiBase::AnsiStr ErrorText(int error) { return OrvGuiBase::GetErrorMessage(error); }

void Deliver(const char* line, size_t length) {
  if (length == 0) return;
  const TraceServerCallback callback = GetServerState().callback.load();
  if (callback != nullptr) callback(true, false, line, static_cast<uint32_t>(length + 1), TraceGetState(line));
}

// OpenPipe: steps 1 to 3 of the loop; -1 when the pipe could not be made or opened.
int OpenPipe() {
  if (mkfifo(kPipePath, 0666) != 0 && errno != EEXIST) {
    Report(__LINE__, OrvGuiBase::FmtArgs("Could not create named pipe %s (%s)", kPipePath, ErrorText(errno).GetStr()));
    return -1;
  }
  struct stat status{};
  if (OrvGuiBase::Sys::PathStatus(kPipePath, &status) != 0) {
    Report(__LINE__, OrvGuiBase::FmtArgs("Could not read permissions of named pipe %s (%s)", kPipePath,
                                         ErrorText(errno).GetStr()));
    return -1;
  }
  if ((status.st_mode & 0666) < 0666 && OrvGuiBase::Sys::ChangePathMode(kPipePath, 0666) != 0) {
    Report(__LINE__, OrvGuiBase::FmtArgs("Could not modify permissions of named pipe %s (%s)", kPipePath,
                                         ErrorText(errno).GetStr()));
    return -1;
  }
  return OrvGuiBase::Sys::Open(kPipePath, O_RDONLY);
}

void ClosePipe(int fd) {
  if (OrvGuiBase::Sys::Close(fd) != 0)
    Report(__LINE__, OrvGuiBase::FmtArgs("Could not close named pipe %s (%s)", kPipePath, ErrorText(errno).GetStr()));
}

// ReadPipe: reads and delivers until every writer has gone (true) or termination was asked
// or the read failed (false).
bool ReadPipe(OrvGuiBase::Thread& self, int fd) {
  char buffer[2 * kReadSize + 1];
  size_t pending = 0;
  for (;;) {
    if (self.IsTerminationRequested()) return false;
    const ssize_t got = OrvGuiBase::Sys::Read(fd, buffer + pending, kReadSize);
    if (got < 0) {
      Report(__LINE__, OrvGuiBase::FmtArgs("Could not read named pipe %s (%s)", kPipePath, ErrorText(errno).GetStr()));
      return false;
    }
    if (got == 0) {
      buffer[pending] = 0;
      Deliver(buffer, pending);
      return true;
    }
    const size_t total = pending + static_cast<size_t>(got);
    size_t start = 0;
    while (const void* zero = memchr(buffer + start, 0, total - start)) {
      const size_t end = static_cast<size_t>(static_cast<const char*>(zero) - buffer);
      Deliver(buffer + start, end - start);
      start = end + 1;
    }
    pending = total - start;
    memmove(buffer, buffer + start, pending);
    if (pending > kTraceLineMax) {  // longer than any record: not a trace writer's, pass it on
      buffer[pending] = 0;
      Deliver(buffer, pending);
      pending = 0;
    }
  }
}

int Serve(OrvGuiBase::Thread& self, void* /*context*/) {
  if (TraceThreadData* record = GetTraceRecord()) record->inPipeWrite = 1;
  while (!self.IsTerminationRequested()) {
    const int fd = OpenPipe();
    if (fd < 0) {
      if (self.WaitForTermination(1000)) break;
      continue;
    }
    const bool writersGone = ReadPipe(self, fd);
    ClosePipe(fd);
    if (!writersGone && self.WaitForTermination(self.IsTerminationRequested() ? 0 : 1000)) break;
  }
  return 0;
}

}  // namespace

bool TraceInitServer(volatile uint32_t*& format, TraceServerCallback callback) {
  const int saved = errno;
  TraceServerState& state = GetServerState();
  bool expected = true;
  if (!state.mayStart.compare_exchange_strong(expected, false)) {
    format = nullptr;
    errno = saved;
    return false;
  }
  state.callback.store(callback);
  volatile uint32_t* word = MapSharedFormat(state.sharedMemory, state.mapping);
  state.thread.Start(&Serve, nullptr);
  format = word;
  errno = saved;
  return true;
}

bool TraceExitServer() {
  const int saved = errno;
  TraceServerState& state = GetServerState();
  if (state.thread.GetThreadId() != 0) {
    state.thread.RequestTermination();
    // The thread may wait in open (no writer yet) or in read: an empty record wakes it. It is
    // repeated, in case the thread had not reached the FIFO when the first one was written.
    bool joined = false;
    for (int attempt = 0; attempt < 50 && !joined; ++attempt) {
      (void)WritePipeRecord("", 1, true);
      joined = state.thread.Join(100);
    }
    if (!joined)
      Report(__LINE__, OrvGuiBase::FmtArgs("TraceThread::Terminate: Could not wait for thread 0x%llX",
                                           static_cast<unsigned long long>(state.thread.GetThreadId())));
  }
  UnmapSharedFormat(state.sharedMemory, state.mapping);
  state.callback.store(nullptr);
  errno = saved;
  return true;
}

}  // namespace OrvGuiTrace
