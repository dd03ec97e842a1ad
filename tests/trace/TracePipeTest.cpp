// Tests of the trace pipe with real processes: a writer without a reader, the trace server in
// this process with writer processes forked beside it, records split across reads, the server
// reopening the pipe after the last writer left, and the shared format word reaching writers.
// They use the machine's /tmp/.ZelTracePipe and /ZelTraceMap (resource lock orvgui_trace_pipe)
// and put the shared format word back as they found it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "trace/Trace.h"
#include "trace/TraceServer.h"

namespace OrvGuiTrace {
namespace {

constexpr const char kPipe[] = "/tmp/.ZelTracePipe";

// RunChild: runs body in a forked child (which exits with body's result) and returns that
// result, or -1 when the child did not end normally.
template <class Body>
int RunChild(Body body) {
  const pid_t pid = fork();
  if (pid == 0) _exit(body());
  int status = 0;
  if (pid < 0 || waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

// A writer process: traces to the pipe with its own format word.
void BecomeWriter(unsigned format) {
  TraceToTracer();
  TraceSetOutput(format);
}

std::string ReadAvailable(int fd) {
  std::string data;
  char buffer[4096];
  ssize_t got;
  while ((got = read(fd, buffer, sizeof buffer)) > 0) data.append(buffer, static_cast<size_t>(got));
  return data;
}

// Runs first, before any server of this process reads the pipe.
TEST(TracePipeWriter, WithoutAReaderTheWriterRestsForASecond) {
  ASSERT_TRUE(mkfifo(kPipe, 0666) == 0 || errno == EEXIST);
  (void)chmod(kPipe, 0644);  // narrowed: the server must widen it again
  const int result = RunChild([] {
    BecomeWriter(kTraceBare);
    TraceStr(kTraceTrace, 1, nullptr, 0, "dropped: no reader");  // the open fails now
    const int reader = open(kPipe, O_RDONLY | O_NONBLOCK);
    if (reader < 0) return 10;
    TraceStr(kTraceTrace, 1, nullptr, 0, "skipped: the writer rests");  // no second open yet
    std::string first = ReadAvailable(reader);
    const auto rest = std::chrono::steady_clock::now() + std::chrono::milliseconds(1100);
    while (std::chrono::steady_clock::now() < rest) usleep(10 * 1000);
    TraceStr(kTraceTrace, 1, nullptr, 0, "arrives");
    std::string second = ReadAvailable(reader);
    close(reader);
    // Other programs of the machine may write into the pipe meanwhile: look for ours only.
    if (first.find("skipped") != std::string::npos) return 11;
    return (std::string(1, '\0') + second).find(std::string("\0arrives\0", 9)) != std::string::npos ? 0 : 12;
  });
  EXPECT_EQ(result, 0) << "10 no reader, 11 the resting writer opened again, 12 the line after the rest was lost";
}

// A viewer that goes away while a process traces never kills the process, whatever the
// process does with SIGPIPE; the process's own writes into a pipe without a reader still end it
// under the default action and fail with EPIPE when it ignores the signal.
TEST(TracePipeWriter, AViewerThatLeavesNeverKillsTheWriter) {
  ASSERT_TRUE(mkfifo(kPipe, 0666) == 0 || errno == EEXIST);
  for (const bool ignore : {false, true}) {
    int report[2];
    ASSERT_EQ(pipe(report), 0);
    const pid_t pid = fork();
    if (pid == 0) {
      close(report[0]);
      if (ignore) signal(SIGPIPE, SIG_IGN);
      const int reader = open(kPipe, O_RDONLY | O_NONBLOCK);
      if (reader < 0) _exit(10);
      BecomeWriter(kTraceBare);
      TraceStr(kTraceTrace, 1, nullptr, 0, "read");
      close(reader);
      TraceStr(kTraceTrace, 1, nullptr, 0, "into a pipe nobody reads");
      struct sigaction now {};
      sigaction(SIGPIPE, nullptr, &now);
      if (ignore && now.sa_handler != SIG_IGN) _exit(11);  // an ignoring host keeps its SIG_IGN
      if (write(report[1], "alive", 5) != 5) _exit(12);
      int own[2];
      if (pipe(own) != 0) _exit(13);
      close(own[0]);
      const bool failed = write(own[1], "x", 1) < 0 && errno == EPIPE;  // SIG_DFL ends the process here
      _exit(failed ? 0 : 14);
    }
    close(report[1]);
    char said[8] = {};
    const ssize_t got = read(report[0], said, sizeof said);
    close(report[0]);
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_EQ(std::string(said, got > 0 ? static_cast<size_t>(got) : 0), "alive") << "ignore " << ignore;
    if (ignore) {
      EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
    } else {
      EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGPIPE) << "status " << status;
    }
  }
}

struct Received {
  std::string text;
  uint32_t length;
  uint32_t state;
  bool first, second;
};

std::mutex g_lock;
std::condition_variable g_changed;
std::vector<Received> g_received;

void Collect(bool first, bool second, const char* line, uint32_t length, uint32_t state) {
  std::lock_guard<std::mutex> hold(g_lock);
  g_received.push_back({line, length, state, first, second});
  g_changed.notify_all();
}

class TraceServerTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    TraceToDebugger();  // this process never holds the pipe open as a writer
    ASSERT_TRUE(TraceInitServer(s_format, &Collect));
    ASSERT_NE(s_format, nullptr);
    s_saved = *s_format;
    // The server reads once its thread has opened the FIFO; writers before that are refused.
    int probe = -1;
    for (int wait = 0; wait < 500 && probe < 0; ++wait)
      if ((probe = open(kPipe, O_WRONLY | O_NONBLOCK)) < 0) usleep(10 * 1000);
    ASSERT_GE(probe, 0) << "the server never opened the pipe";
    close(probe);
  }
  static void TearDownTestSuite() {
    *s_format = s_saved;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(TraceExitServer());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3)) << "the wake-up record ends the read";
    TraceToTracer();
  }
  void SetUp() override {
    std::lock_guard<std::mutex> hold(g_lock);
    g_received.clear();
  }
  // WaitFor: the received records containing tag once count of them arrived (or 20 s passed).
  static std::vector<Received> WaitFor(const std::string& tag, size_t count) {
    std::unique_lock<std::mutex> hold(g_lock);
    std::vector<Received> matching;
    g_changed.wait_for(hold, std::chrono::seconds(20), [&] {
      matching.clear();
      for (const Received& r : g_received)
        if (r.text.find(tag) != std::string::npos) matching.push_back(r);
      return matching.size() >= count;
    });
    return matching;
  }
  static inline volatile uint32_t* s_format = nullptr;
  static inline uint32_t s_saved = 7;
};

TEST_F(TraceServerTest, StartsOnceAndOpensThePipeAndWordToEveryone) {
  volatile uint32_t* again = s_format;
  EXPECT_FALSE(TraceInitServer(again, &Collect));
  EXPECT_EQ(again, nullptr);
  struct stat status{};
  for (int wait = 0; wait < 200 && (stat(kPipe, &status) != 0 || (status.st_mode & 0666) != 0666); ++wait)
    usleep(10 * 1000);  // the server thread widens the permissions once it runs
  ASSERT_EQ(stat(kPipe, &status), 0);
  EXPECT_TRUE(S_ISFIFO(status.st_mode));
  EXPECT_EQ(status.st_mode & 0666, 0666u);
  ASSERT_EQ(stat("/dev/shm/ZelTraceMap", &status), 0);
  EXPECT_EQ(status.st_mode & 0666, 0666u);
  EXPECT_EQ(status.st_size, 4);
}

TEST_F(TraceServerTest, SharedFormatWordChoosesTheWritersFields) {
  struct Case {
    uint32_t format;
    std::string (*expected)(pid_t);
  } cases[] = {
      {0xF000, [](pid_t) { return std::string("shared-word"); }},
      {0xF001,
       [](pid_t pid) {
         char text[64];
         snprintf(text, sizeof text, "|0x%X: shared-word", static_cast<unsigned>(pid));
         return std::string(text);
       }},
      {0x0001,
       [](pid_t pid) {
         char text[64];
         snprintf(text, sizeof text, "KS|0x%X: shared-word", static_cast<unsigned>(pid));
         return std::string(text);
       }},
  };
  for (const Case& c : cases) {
    SetUp();
    *s_format = c.format;
    pid_t child = fork();
    if (child == 0) {
      TraceToTracer();  // no override: the shared word decides
      TraceStr(kTraceK, kTraceBitsS, nullptr, 0, "shared-word");
      _exit(0);
    }
    waitpid(child, nullptr, 0);
    const std::vector<Received> got = WaitFor("shared-word", 1);
    ASSERT_EQ(got.size(), 1u) << std::hex << c.format;
    EXPECT_EQ(got[0].text, c.expected(child));
    EXPECT_EQ(got[0].state, c.format == 0x0001 ? 0x4008u : 0x6001u);
    EXPECT_EQ(got[0].length, got[0].text.size() + 1);
    EXPECT_TRUE(got[0].first);
    EXPECT_FALSE(got[0].second);
  }
  *s_format = s_saved;
}

TEST_F(TraceServerTest, RecordSplitAcrossReadsIsDeliveredOnceAndWhole) {
  // The record is written in two parts, so a whole record of another process of the machine
  // (a test beside this one tracing a failure, say) can land between them: such a try is
  // repeated. A server that does not join the parts fails every try.
  for (int attempt = 0;; ++attempt) {
    const std::string tag = "split-record-" + std::to_string(attempt);
    std::string record = "TT: " + tag + " ";
    while (record.size() < 1024) record += static_cast<char>('a' + record.size() % 26);
    ASSERT_EQ(RunChild([&] {
                const int fd = open(kPipe, O_WRONLY);
                if (fd < 0) return 1;
                bool ok = write(fd, record.data(), 600) == 600;
                usleep(200 * 1000);  // the server reads the first part on its own
                ok = ok && write(fd, record.data() + 600, record.size() - 600 + 1) == ssize_t(record.size() - 600 + 1);
                const std::string tail = std::string(2, '\0') + "not a trace line " + tag + std::string(1, '\0');
                ok = ok && write(fd, tail.data(), tail.size()) == ssize_t(tail.size());  // empty records are skipped
                close(fd);
                return ok ? 0 : 2;
              }),
              0);
    const std::vector<Received> got = WaitFor(tag, 2);
    ASSERT_EQ(got.size(), 2u);
    if (got[0].text != record && attempt < 4) continue;
    EXPECT_EQ(got[0].text, record);
    EXPECT_EQ(got[0].length, 1025u);
    EXPECT_EQ(got[0].state, 0x2001u);
    EXPECT_EQ(got[1].text, "not a trace line " + tag);
    EXPECT_EQ(got[1].state, 0x6001u);
    std::lock_guard<std::mutex> hold(g_lock);
    for (const Received& r : g_received) EXPECT_FALSE(r.text.empty());
    break;
  }
}

TEST_F(TraceServerTest, ReopensAfterTheLastWriterLeaves) {
  // The first writer leaves a record without its zero: only the end of every writer (read
  // returning 0) delivers it. A later writer is heard on the reopened pipe.
  ASSERT_EQ(RunChild([] {
              const int fd = open(kPipe, O_WRONLY);
              const bool ok = fd >= 0 && write(fd, "TT: reopen-first", 16) == 16;
              close(fd);
              return ok ? 0 : 1;
            }),
            0);
  std::vector<Received> got = WaitFor("reopen-first", 1);
  ASSERT_EQ(got.size(), 1u);
  EXPECT_EQ(got[0].text, "TT: reopen-first");
  for (int writer = 0; writer < 3; ++writer) {
    ASSERT_EQ(RunChild([writer] {
                BecomeWriter(0x1000);
                const std::string text = "reopen-next " + std::to_string(writer);
                TraceStr(kTraceTrace, 1, nullptr, 0, text.c_str());
                return 0;
              }),
              0);
    got = WaitFor("reopen-next " + std::to_string(writer), 1);
    ASSERT_EQ(got.size(), 1u) << writer;
    EXPECT_EQ(got[0].text, ": reopen-next " + std::to_string(writer));
  }
}

TEST_F(TraceServerTest, ManyWriterProcessesAtOnceLoseNothing) {
  constexpr int kWriters = 8, kLines = 400;
  std::vector<pid_t> children;
  for (int w = 0; w < kWriters; ++w) {
    const pid_t pid = fork();
    if (pid == 0) {
      BecomeWriter(kTraceBare);
      std::string padding(100 + 97 * w, 'p');  // records of different lengths
      for (int i = 0; i < kLines; ++i) {
        const std::string text = "many " + std::to_string(w) + " " + std::to_string(i) + " " + padding + " end";
        TraceStr(kTraceTrace, 1, nullptr, 0, text.c_str());
      }
      _exit(0);
    }
    children.push_back(pid);
  }
  for (pid_t pid : children) waitpid(pid, nullptr, 0);
  const std::vector<Received> got = WaitFor("many ", kWriters * kLines);
  ASSERT_EQ(got.size(), size_t{kWriters * kLines});
  std::set<std::pair<int, int>> seen;
  for (const Received& r : got) {
    int w = -1, i = -1;
    ASSERT_EQ(sscanf(r.text.c_str(), "many %d %d", &w, &i), 2) << r.text;
    const std::string expected =
        "many " + std::to_string(w) + " " + std::to_string(i) + " " + std::string(100 + 97 * w, 'p') + " end";
    EXPECT_EQ(r.text, expected) << "a record mixed with another";
    seen.insert({w, i});
  }
  EXPECT_EQ(seen.size(), size_t{kWriters * kLines}) << "every line exactly once";
}

}  // namespace
}  // namespace OrvGuiTrace
