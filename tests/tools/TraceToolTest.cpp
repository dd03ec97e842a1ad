// Tests of `orvgui trace` and `orvgui trace emit` through the tool binary, with real writer
// processes. Other programs of the machine may write into the trace pipe while a viewer runs,
// so every test picks its lines by a tag of its own.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "TestProcess.h"
#include "TestRegex.h"
#include "trace/Trace.h"

namespace {

constexpr const char kPipe[] = "/tmp/.ZelTracePipe";
const std::string kTool = ORVGUI_TEST_TOOL;

// WaitForReader: true once a viewer has the pipe open for reading.
bool WaitForReader() {
  for (int wait = 0; wait < 1000; ++wait) {
    const int fd = open(kPipe, O_WRONLY | O_NONBLOCK);
    if (fd >= 0) {
      close(fd);
      return true;
    }
    usleep(10 * 1000);
  }
  return false;
}

// Viewer: `orvgui trace ARGS` on a thread of its own; Finish waits for its result.
class Viewer {
 public:
  explicit Viewer(std::vector<std::string> args) {
    args.insert(args.begin(), {kTool, "trace"});
    m_thread = std::thread([this, args] { m_result = RunProcess(args, {}, 60); });
  }
  ProcessResult Finish() {
    m_thread.join();
    return m_result;
  }

 private:
  std::thread m_thread;
  ProcessResult m_result;
};

std::vector<std::string> SplitLines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

uint32_t ReadSharedWord() {
  const int fd = open("/dev/shm/ZelTraceMap", O_RDONLY);
  if (fd < 0) return 0xFFFFFFFFu;
  uint32_t value = 0xFFFFFFFFu;
  if (read(fd, &value, sizeof value) != sizeof value) value = 0xFFFFFFFFu;
  close(fd);
  return value;
}

TEST(TraceTool, UsageErrorsAndHelp) {
  struct Case {
    std::vector<std::string> args;
    int status;
    const char* stderrText;
  } cases[] = {
      {{"--help"}, 0, ""},
      {{"emit", "--help"}, 0, ""},
      {{"--kind", "E,X"}, 2, "orvgui trace: invalid kinds 'E,X'"},
      {{"--count", "0"}, 2, "orvgui trace: invalid count '0'"},
      {{"--duration", "soon"}, 2, "orvgui trace: invalid duration 'soon'"},
      {{"--fields", "pid,colour"}, 2, "orvgui trace: invalid fields 'pid,colour'"},
      {{"--grep", "(unclosed"}, 2, "orvgui trace: invalid regular expression '(unclosed'"},
      {{"--pid"}, 2, "orvgui trace: --pid needs a value"},
      {{"--bogus"}, 2, "orvgui trace: unknown option '--bogus'"},
      {{"emit"}, 2, "orvgui trace: missing TEXT"},
      {{"emit", "--kind", "Q", "x"}, 2, "orvgui trace: invalid kind 'Q'"},
      {{"emit", "--bits", "many", "x"}, 2, "orvgui trace: --bits needs a number"},
      {{"emit", "a", "b"}, 2, "orvgui trace: unexpected argument 'b'"},
      {{"--output", "/nonexistent-dir/x", "--duration", "0.1"}, 1, "orvgui trace: cannot open '/nonexistent-dir/x'"},
  };
  for (const Case& c : cases) {
    std::vector<std::string> args = {kTool, "trace"};
    args.insert(args.end(), c.args.begin(), c.args.end());
    const ProcessResult r = RunProcess(args);
    EXPECT_EQ(r.status, c.status) << c.args[0] << " " << r.err;
    EXPECT_EQ(r.err.find(c.stderrText), 0u) << r.err;
    if (c.status == 0) {
      EXPECT_NE(r.out.find("orvgui trace emit [--kind E|T|F|K|C|I] [--bits N] TEXT"), std::string::npos);
    }
  }
}

TEST(TraceTool, ShowsEmittedLinesFilteredByKindWithFieldsAndSavesThem) {
  char pattern[] = "/tmp/orvgui-trace-tool-XXXXXX";
  ASSERT_NE(mkdtemp(pattern), nullptr);
  const std::string saved = std::string(pattern) + "/shown.txt";
  const uint32_t before = ReadSharedWord();
  Viewer viewer({"--fields", "pid", "--kind", "T,K", "--grep", "tool-emit", "--exclude", "skip", "--count", "7",
                 "--output", saved});
  ASSERT_TRUE(WaitForReader());
  std::vector<std::thread> emitters;
  for (int i = 0; i < 8; ++i)
    emitters.emplace_back([i] {
      const char* kind = i < 4 ? "T" : i < 6 ? "K" : "E";
      const std::string text = "tool-emit " + std::to_string(i) + (i == 3 ? " skip" : "");
      EXPECT_EQ(RunProcess({kTool, "trace", "emit", "--kind", kind, "--bits", i == 5 ? "0x20" : "1", text}).status, 0);
    });
  for (std::thread& t : emitters) t.join();
  ASSERT_EQ(RunProcess({kTool, "trace", "emit", "tool-emit 8\r\ntool-emit 9"}).status, 0);
  const ProcessResult r = viewer.Finish();
  EXPECT_EQ(r.status, 0) << r.err;
  const std::vector<std::string> lines = SplitLines(r.out);
  ASSERT_EQ(lines.size(), 7u) << r.out;
  std::set<std::string> texts;
  const char* form = ("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} (TT|KK|KW)\\|0x[0-9A-F]+: (tool-emit [0-9])");
  for (const std::string& line : lines) {
    std::vector<std::string> match;
    ASSERT_TRUE(FullMatch(line, form, &match)) << line;
    texts.insert(match[2]);
  }
  // 3 is excluded, 6 and 7 are of kind E, and the CR LF text gives two lines.
  EXPECT_EQ(texts, (std::set<std::string>{"tool-emit 0", "tool-emit 1", "tool-emit 2", "tool-emit 4", "tool-emit 5",
                                          "tool-emit 8", "tool-emit 9"}));
  std::ifstream in(saved);
  std::stringstream content;
  content << in.rdbuf();
  EXPECT_EQ(content.str(), r.out) << "the output file holds what was shown";
  EXPECT_EQ(ReadSharedWord(), before) << "the viewer puts the shared word back";
  unlink(saved.c_str());
  rmdir(pattern);
}

TEST(TraceTool, ManyWriterProcessesAsJsonWholeAndComplete) {
  constexpr int kWriters = 6, kLines = 200;
  Viewer viewer({"--json", "--grep", "^(TT|EE)[^ ]*: json-many ", "--count", std::to_string(kWriters * kLines),
                 "--duration", "50"});
  ASSERT_TRUE(WaitForReader());
  std::vector<pid_t> children;
  for (int w = 0; w < kWriters; ++w) {
    const pid_t pid = fork();
    if (pid == 0) {
      OrvGuiTrace::TraceToTracer();
      OrvGuiTrace::TraceSetOutput(0);
      for (int i = 0; i < kLines; ++i) {
        const std::string text = "json-many " + std::to_string(w) + " " + std::to_string(i) + " \"q\" " +
                                 std::string(50 * w, 'x');
        OrvGuiTrace::TraceStr(w % 2 ? OrvGuiTrace::kTraceError : OrvGuiTrace::kTraceTrace, 1, nullptr, 0, text.c_str());
      }
      _exit(0);
    }
    children.push_back(pid);
  }
  for (pid_t pid : children) waitpid(pid, nullptr, 0);
  const ProcessResult r = viewer.Finish();
  EXPECT_EQ(r.status, 0) << r.err;
  const std::vector<std::string> lines = SplitLines(r.out);
  ASSERT_EQ(lines.size(), size_t{kWriters * kLines});
  const char* form = (
      "\\{\"time\":\"[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}\",\"state\":(8193|4097),"
      "\"kind\":\"(T|E)\",\"text\":\"(TT|EE): json-many ([0-9]+) ([0-9]+) \\\\\"q\\\\\" (x*)\"\\}");
  std::set<std::pair<int, int>> seen;
  for (const std::string& line : lines) {
    std::vector<std::string> m;
    ASSERT_TRUE(FullMatch(line, form, &m)) << line;
    const int w = std::stoi(m[4]), i = std::stoi(m[5]);
    EXPECT_EQ(m[6].length(), size_t(50 * w)) << "whole record";
    EXPECT_EQ(m[2], w % 2 ? "E" : "T");
    EXPECT_EQ(m[1], w % 2 ? "4097" : "8193");
    seen.insert({w, i});
  }
  EXPECT_EQ(seen.size(), size_t{kWriters * kLines}) << "none lost, none twice";
}

TEST(TraceTool, PidFilterAndBareFields) {
  const uint32_t before = ReadSharedWord();
  // --pid: of two writers only the chosen one is shown.
  pid_t chosen = fork();
  if (chosen == 0) {
    // Waits until the viewer reads, so that the viewer can be told the pid first.
    for (int wait = 0; wait < 1000; ++wait) {
      const int fd = open(kPipe, O_WRONLY | O_NONBLOCK);
      if (fd >= 0) {
        close(fd);
        break;
      }
      usleep(10 * 1000);
    }
    usleep(200 * 1000);
    OrvGuiTrace::TraceToTracer();
    OrvGuiTrace::TraceStr(OrvGuiTrace::kTraceTrace, 1, nullptr, 0, "pid-chosen");
    _exit(0);
  }
  Viewer viewer({"--fields", "pid", "--pid", std::to_string(chosen), "--grep", "pid-(chosen|other)", "--count", "1"});
  ASSERT_TRUE(WaitForReader());
  ASSERT_EQ(RunProcess({kTool, "trace", "emit", "pid-other"}).status, 0);
  waitpid(chosen, nullptr, 0);
  ProcessResult r = viewer.Finish();
  EXPECT_EQ(r.status, 0);
  char expected[64];
  snprintf(expected, sizeof expected, " TT|0x%X: pid-chosen\n", static_cast<unsigned>(chosen));
  ASSERT_GT(r.out.size(), 24u);
  EXPECT_EQ(r.out.substr(23), expected);

  Viewer bare({"--fields", "bare", "--grep", "bare-text", "--count", "1"});
  ASSERT_TRUE(WaitForReader());
  ASSERT_EQ(RunProcess({kTool, "trace", "emit", "bare-text"}).status, 0);
  r = bare.Finish();
  EXPECT_EQ(r.out.substr(r.out.size() > 23 ? 23 : 0), " bare-text\n");
  EXPECT_EQ(ReadSharedWord(), before);
}

TEST(TraceTool, DurationAndInterruptEndTheViewerCleanly) {
  const auto start = std::chrono::steady_clock::now();
  const ProcessResult r = RunProcess({kTool, "trace", "--grep", "never-written-tag", "--duration", "0.5"});
  const auto elapsed = std::chrono::steady_clock::now() - start;
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "");
  EXPECT_GE(elapsed, std::chrono::milliseconds(450));
  EXPECT_LT(elapsed, std::chrono::seconds(10));

  BackgroundProcess viewer({kTool, "trace", "--grep", "never-written-tag"});
  ASSERT_TRUE(WaitForReader());
  viewer.Signal(SIGINT);
  EXPECT_EQ(viewer.Wait(), 0) << "Ctrl-C ends the viewer with status 0";
}

}  // namespace
