// TraceBench.cpp: trace calls beside syslog() and fprintf(stderr) + fflush.
//
// Groups:
//  - "TraceMasked": a message whose bits the thread's mask leaves out (target: under 5 ns),
//    beside a syslog() call whose priority setlogmask() leaves out.
//  - "TraceLine": one full line with the default fields (process, thread, program) into the
//    trace pipe, read by a trace server in another process; beside syslog() into a system-log
//    socket drained by another process, and fprintf + fflush of the same text into a pipe that
//    another process drains (standard error as a viewer would read it). Target: at least ten
//    times the lines per second of syslog() and at least those of fprintf. A bare write(2) of
//    the finished record into the same pipe shows the floor of any line.
//
// The machine may have no system-log socket; then the syslog peer runs in a private mount
// namespace of this program with a socket of its own at /dev/log, so that syslog() does its
// real work. Nothing of the machine is changed. Run it as root for that peer.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "trace/Trace.h"
#include "trace/TraceServer.h"

namespace {

using namespace OrvGuiTrace;

constexpr const char kText[] = "CoGetClassObject: class not registered {6E3A2F10-92B4-4C1D-A7E5-0F3B9C8D2A41}";

// Child: a process draining something, killed and reaped at the end of the benchmark.
class Child {
 public:
  template <class Body>
  explicit Child(Body body) {
    m_pid = fork();
    if (m_pid == 0) {
      body();
      _exit(0);
    }
  }
  ~Child() {
    if (m_pid > 0) {
      kill(m_pid, SIGKILL);
      waitpid(m_pid, nullptr, 0);
    }
  }
  bool IsRunning() const { return m_pid > 0; }

 private:
  pid_t m_pid = -1;
};

void OnTraceLine(bool, bool, const char*, uint32_t, uint32_t) {}

void TraceMasked_orvgui(benchmark::State& state) {
  TraceSetMask(0xFFF);
  for (auto _ : state) TraceStr(kTraceTrace, 0x1000, "bench", 1, kText);
}
BENCHMARK(TraceMasked_orvgui)->Name("TraceMasked/orvgui");

void TraceMasked_syslog(benchmark::State& state) {
  const int previous = setlogmask(LOG_UPTO(LOG_ERR));
  for (auto _ : state) syslog(LOG_DEBUG, "%s", kText);
  setlogmask(previous);
}
BENCHMARK(TraceMasked_syslog)->Name("TraceMasked/syslog");

// A viewer: a trace server in a child process, whose callback does nothing.
void RunViewer() {
  volatile uint32_t* format = nullptr;
  if (TraceInitServer(format, &OnTraceLine)) pause();
}

// OpenViewerPipe: a blocking descriptor of the pipe once the viewer's server reads it, or -1
// when it did not within five seconds.
int OpenViewerPipe() {
  int pipe = -1;
  for (int wait = 0; wait < 500 && pipe < 0; ++wait)
    if ((pipe = open("/tmp/.ZelTracePipe", O_WRONLY | O_NONBLOCK)) < 0) usleep(10000);
  if (pipe >= 0) fcntl(pipe, F_SETFL, O_WRONLY);
  return pipe;
}

void TraceLine_orvgui(benchmark::State& state) {
  Child viewer(RunViewer);
  const int probe = OpenViewerPipe();
  if (probe < 0) return state.SkipWithError("no trace server reads the pipe");
  close(probe);
  usleep(1100 * 1000);  // past any rest a failed open of this process started
  TraceToTracer();
  TraceSetOutput(kTraceDefaultFormat);
  for (auto _ : state) TraceStr(kTraceTrace, 0x1, "bench", 1, kText);
}
BENCHMARK(TraceLine_orvgui)->Name("TraceLine/orvgui")->UseRealTime();

// The floor: the finished record written with write(2) into the same pipe, read by the same
// kind of viewer. A line costs at least this much however it is made.
void TraceLine_write(benchmark::State& state) {
  Child viewer(RunViewer);
  const int pipe = OpenViewerPipe();
  if (pipe < 0) return state.SkipWithError("no trace server reads the pipe");
  char record[256];
  const int length = snprintf(record, sizeof record, "TT|0x%X|0x%lX|bench: %s", static_cast<unsigned>(getpid()),
                              0x7f0000001000ul, kText);
  for (auto _ : state)
    if (write(pipe, record, static_cast<size_t>(length) + 1) < 0) return state.SkipWithError("write failed");
  close(pipe);
}
BENCHMARK(TraceLine_write)->Name("TraceLine/write")->UseRealTime();

void TraceLine_fprintf(benchmark::State& state) {
  int ends[2];
  if (pipe(ends) != 0) return state.SkipWithError("no pipe");
  Child drain([&] {
    close(ends[1]);
    char buffer[65536];
    while (read(ends[0], buffer, sizeof buffer) > 0) {
    }
  });
  close(ends[0]);
  FILE* out = fdopen(ends[1], "w");
  setvbuf(out, nullptr, _IONBF, 0);  // unbuffered, as standard error is
  for (auto _ : state) {
    fprintf(out, "TT|0x%X|0x%lX|bench: %s\n", static_cast<unsigned>(getpid()), 0x7f0000001000ul, kText);
    fflush(out);
  }
  fclose(out);
}
BENCHMARK(TraceLine_fprintf)->Name("TraceLine/fprintf")->UseRealTime();

// PrepareSystemLog: a drained datagram socket at /dev/log, in a private mount namespace when the
// machine has none. False when neither exists nor can be made.
bool PrepareSystemLog() {
  static int s_ready = -1;
  if (s_ready >= 0) return s_ready == 1;
  s_ready = 0;
  if (access("/dev/log", F_OK) == 0) return (s_ready = 1) == 1;
  if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
      mount("none", "/dev", "tmpfs", 0, nullptr) != 0)
    return false;
  const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  strcpy(address.sun_path, "/dev/log");
  if (fd < 0 || bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) return false;
  static Child s_drain([fd] {
    char buffer[65536];
    while (recv(fd, buffer, sizeof buffer, 0) >= 0) {
    }
  });
  close(fd);
  return (s_ready = s_drain.IsRunning() ? 1 : 0) == 1;
}

void TraceLine_syslog(benchmark::State& state) {
  if (!PrepareSystemLog()) return state.SkipWithError("no system-log socket and no private one (not root?)");
  openlog("bench", LOG_PID, LOG_USER);
  for (auto _ : state) syslog(LOG_INFO, "%s", kText);
  closelog();
}
BENCHMARK(TraceLine_syslog)->Name("TraceLine/syslog")->UseRealTime();

}  // namespace
