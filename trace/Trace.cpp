// Trace.cpp: masks, the line prefix and the trace pipe.
//
// A line is built in a fixed buffer on the stack (nothing is allocated), the text split at line
// ends with every piece carrying the prefix. The pipe is opened without blocking, so a missing
// viewer costs one failed open per second at most; SIGPIPE from a viewer that went away is
// blocked for the write and consumed, never delivered to the host.
#include "trace/Trace.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <mutex>

#include "base/core/ThreadData.h"
#include "base/process/Module.h"
#include "base/time/Clock.h"
#include "private/system/Sys.h"

namespace OrvGuiTrace {

namespace {

struct TraceThreadData {
  unsigned mask = 0xFFF;
};
using TraceThreadDataCloser = OrvGuiBase::ThreadData<TraceThreadData>::Closer;

std::atomic<TraceStrHandler> g_handler{nullptr};
std::atomic<int> g_pipe{-1};
std::atomic<uint64_t> g_lastFailure{0};
pthread_mutex_t g_pipeMutex = PTHREAD_MUTEX_INITIALIZER;

char KindLetter(unsigned kind) {
  static const char kLetters[] = "ETFKCI";
  const unsigned index = kind / 0x1000;
  return kind % 0x1000 == 0 && index >= 1 && index <= 6 ? kLetters[index - 1] : 'E';
}

char MaskLetter(unsigned bits, char kindLetter) {
  switch (bits) {
    case 0x02: return 'X';
    case 0x04: return 'M';
    case 0x08: return 'S';
    case 0x10: return 'A';
    case 0x20: return 'W';
    default: return kindLetter;
  }
}

const char* ModuleName() {
  static char s_module[256] = "";
  static std::once_flag s_once;
  std::call_once(s_once, [] { snprintf(s_module, sizeof s_module, "%s", OrvGuiBase::GetProgramName().GetStr()); });
  return s_module;
}

void WriteToPipe(const char* record, size_t length) {
  pthread_mutex_lock(&g_pipeMutex);
  int fd = g_pipe.load();
  if (fd < 0) {
    const uint64_t now = OrvGuiBase::GetClockTicks64();
    if (now - g_lastFailure.load() >= 1000) {
      fd = OrvGuiBase::Sys::Open("/tmp/.ZelTracePipe", O_WRONLY | O_NONBLOCK);
      if (fd < 0) g_lastFailure = now;
      g_pipe = fd;
    }
  }
  if (fd >= 0) {
    sigset_t pipeSignal, previous;
    sigemptyset(&pipeSignal);
    sigaddset(&pipeSignal, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipeSignal, &previous);
    if (!OrvGuiBase::Sys::WriteAll(fd, record, length)) {
      if (errno == EPIPE) {
        const timespec none{0, 0};
        sigtimedwait(&pipeSignal, nullptr, &none);  // consume the SIGPIPE we caused
      }
      OrvGuiBase::Sys::Close(fd);
      g_pipe = -1;
      g_lastFailure = OrvGuiBase::GetClockTicks64();
    }
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
  }
  pthread_mutex_unlock(&g_pipeMutex);
}

}  // namespace

void TraceStr(unsigned kind, unsigned bits, const char* /*file*/, unsigned /*line*/, const char* text) {
  if (text == nullptr) return;
  const int saved = errno;
  TraceThreadData* data = OrvGuiBase::ThreadData<TraceThreadData>::Get();
  const unsigned mask = data != nullptr ? data->mask : 0xFFFu;
  if ((mask & bits) != bits) {
    errno = saved;
    return;
  }
  char prefix[320];
  const char kindLetter = KindLetter(kind);
  const int prefixLength = snprintf(prefix, sizeof prefix, "%c%c|0x%X|0x%lX|%s: ", kindLetter,
                                    MaskLetter(bits, kindLetter), static_cast<unsigned>(getpid()),
                                    static_cast<unsigned long>(pthread_self()), ModuleName());
  const char* piece = text;
  do {
    const char* end = strchr(piece, '\n');
    const size_t pieceLength = end != nullptr ? static_cast<size_t>(end - piece) : strlen(piece);
    char record[1024 + sizeof prefix + 1];
    const size_t kept = pieceLength < 1024 ? pieceLength : 1024;
    memcpy(record, prefix, static_cast<size_t>(prefixLength));
    memcpy(record + prefixLength, piece, kept);
    record[prefixLength + kept] = 0;
    const TraceStrHandler handler = g_handler.load();
    if (handler == nullptr || !handler(record)) WriteToPipe(record, prefixLength + kept + 1);
    piece = end != nullptr ? end + 1 : nullptr;
  } while (piece != nullptr && *piece != 0);
  errno = saved;
}

void TraceMsg(unsigned kind, unsigned bits, const char* file, unsigned line, const char* text) {
  const int saved = errno;
  TraceStr(kind, bits, file, line, text);
  errno = saved;
}

void TraceSetMask(unsigned mask) {
  if (TraceThreadData* data = OrvGuiBase::ThreadData<TraceThreadData>::Get()) data->mask = mask;
}

unsigned TraceGetMask() {
  TraceThreadData* data = OrvGuiBase::ThreadData<TraceThreadData>::Get();
  return data != nullptr ? data->mask : 0xFFFu;
}

void TraceSetStrHandler(TraceStrHandler handler) { g_handler.store(handler); }

}  // namespace OrvGuiTrace
