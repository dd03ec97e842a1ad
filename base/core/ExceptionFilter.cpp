// ExceptionFilter.cpp: the fatal-signal handler, its crash report and the chaining.
//
// Everything the handler touches is async-signal-safe: the crash-guard chain is in
// initial-exec TLS, the report is built in a stack buffer and written with write(2), and
// backtrace() is called once at start-up so that its unwinder library is already loaded.
#include "base/core/ExceptionFilter.h"

#include <execinfo.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <string>

#include "base/core/CrashGuard.h"
#include "private/system/Sys.h"

namespace OrvGuiBase {

namespace {

constexpr int kSignals[] = {SIGFPE, SIGSEGV, SIGILL, SIGBUS};
struct sigaction g_saved[4];
bool g_hasSaved[4];
char g_program[512] = "?";
std::atomic<int> g_reporting{0};

int SlotOf(int signal) {
  for (int i = 0; i < 4; ++i)
    if (kSignals[i] == signal) return i;
  return -1;
}

const char* SignalName(int signal) {
  switch (signal) {
    case SIGFPE: return "SIGFPE";
    case SIGSEGV: return "SIGSEGV";
    case SIGILL: return "SIGILL";
    case SIGBUS: return "SIGBUS";
    default: return "signal";
  }
}

// A tiny append-only text buffer for the handler: no allocation, no locale.
struct ReportBuffer {
  char text[1024];
  size_t length = 0;
  void Add(const char* s) {
    while (*s != 0 && length < sizeof text) text[length++] = *s++;
  }
  void AddNumber(unsigned long long value, unsigned base) {
    char digits[32];
    int n = 0;
    do {
      digits[n++] = "0123456789abcdef"[value % base];
      value /= base;
    } while (value != 0);
    if (base == 16) Add("0x");
    while (n > 0 && length < sizeof text) text[length++] = digits[--n];
  }
};

void ExceptionFilter(int signal, siginfo_t* info, void* context) {
  const int saved = errno;
  if (CrashGuardFrame* frame = GetCrashGuard()) {
    PopCrashGuard(frame);
    frame->signal = signal;
    frame->address = info != nullptr ? info->si_addr : nullptr;
    sigset_t caught;  // the handler runs with the signal blocked; the jump does not restore it
    sigemptyset(&caught);
    sigaddset(&caught, signal);
    pthread_sigmask(SIG_UNBLOCK, &caught, nullptr);
    siglongjmp(frame->jump, 1);
  }
  if (g_reporting.fetch_add(1) == 0) {
    ReportBuffer report;
    report.Add("orvgui: fatal signal ");
    report.AddNumber(static_cast<unsigned>(signal), 10);
    report.Add(" (");
    report.Add(SignalName(signal));
    report.Add(") at address ");
    report.AddNumber(reinterpret_cast<uintptr_t>(info != nullptr ? info->si_addr : nullptr), 16);
    report.Add(" in process ");
    report.AddNumber(static_cast<unsigned>(getpid()), 10);
    report.Add(" (");
    report.Add(g_program);
    report.Add(")\ncall stack:\n");
    Sys::WriteAll(STDERR_FILENO, report.text, report.length);
    void* frames[64];
    const int depth = backtrace(frames, 64);
    backtrace_symbols_fd(frames, depth, STDERR_FILENO);
  }
  const int slot = SlotOf(signal);
  struct sigaction fallback {};
  fallback.sa_handler = SIG_DFL;
  errno = saved;
  // An ignored fault would only come back: it ends the process too.
  Internal::HandOnSignal(signal, info, context, slot >= 0 && g_hasSaved[slot] ? g_saved[slot] : fallback, false);
}

}  // namespace

void Internal::HandOnSignal(int signal, siginfo_t* info, void* context, const struct sigaction& previous,
                            bool honourIgnore) {
  if ((previous.sa_flags & SA_SIGINFO) != 0 && previous.sa_sigaction != nullptr) {
    previous.sa_sigaction(signal, info, context);
    return;
  }
  if (previous.sa_handler == SIG_IGN && honourIgnore) return;
  if (previous.sa_handler != SIG_DFL && previous.sa_handler != SIG_IGN && previous.sa_handler != nullptr) {
    previous.sa_handler(signal);
    return;
  }
  // No handler to hand on to: end the process the way the signal would have ended it (the
  // signal is blocked while its handler runs and arrives once the handler returns).
  const int saved = errno;
  struct sigaction fallback {};
  fallback.sa_handler = SIG_DFL;
  sigemptyset(&fallback.sa_mask);
  sigaction(signal, &fallback, nullptr);
  raise(signal);
  errno = saved;
}

void InstallFatalSignalHandlers() {
  for (int i = 0; i < 4; ++i) {
    struct sigaction action {};
    action.sa_sigaction = &ExceptionFilter;
    action.sa_flags = SA_SIGINFO | SA_RESTART;
    sigemptyset(&action.sa_mask);
    struct sigaction previous {};
    if (sigaction(kSignals[i], &action, &previous) != 0) continue;
    const bool isFilter = (previous.sa_flags & SA_SIGINFO) != 0 && previous.sa_sigaction == &ExceptionFilter;
    if (!isFilter) {
      g_saved[i] = previous;
      g_hasSaved[i] = true;
    }
  }
}

bool GetSavedSignalAction(int signal, struct sigaction* action) {
  const int slot = SlotOf(signal);
  if (slot < 0 || action == nullptr) return false;
  if (g_hasSaved[slot]) *action = g_saved[slot];
  else {
    *action = {};
    action->sa_handler = SIG_DFL;
  }
  return true;
}

namespace Internal {
void PrimeExceptionInformation() {
  std::string program;
  if (Sys::ReadLink("/proc/self/exe", program)) {
    const size_t n = std::min(program.size(), sizeof g_program - 1);
    memcpy(g_program, program.data(), n);
    g_program[n] = 0;
  }
  void* frames[2];
  (void)backtrace(frames, 2);  // loads the unwinder now, not inside the handler
}
}  // namespace Internal

}  // namespace OrvGuiBase
