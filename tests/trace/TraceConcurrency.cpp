// Many threads tracing at once: per-thread settings stay with their thread, the hook sees
// every line whole, and lines of different threads never interleave in the trace file.
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "TestRegex.h"
#include "base/fs/File.h"
#include "trace/Trace.h"

namespace OrvGuiTrace {
namespace {

constexpr int kThreads = 8, kLines = 300;

std::mutex g_lock;
std::vector<std::string> g_lines;

bool Collect(const char* line) {
  std::lock_guard<std::mutex> hold(g_lock);
  g_lines.emplace_back(line);
  return true;
}

// Writes kLines messages of two lines each; every thread has its own mask, indentation,
// format word and context buffers.
void TraceFromThread(int t) {
  TraceSetOutput(0x20);
  TraceSetMask(t % 2 ? 0x3 : 0x1);
  for (int i = 0; i < t % 3; ++i) TraceIncrementIndent();
  const std::string file = "thread" + std::to_string(t);
  for (int i = 0; i < kLines; ++i) {
    char* text = InitTraceContext("%d %d first\n%d %d second", t, i, t, i);
    TraceStr(kTraceTrace, 0x1, file.c_str(), 0, text);
    TraceStr(kTraceTrace, 0x2, file.c_str(), 0, "only odd threads");
    FreeTraceContext();
  }
}

TEST(TraceConcurrency, EveryThreadKeepsItsSettingsAndItsLinesWhole) {
  g_lines.clear();
  TraceSetStrHandler(&Collect);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) threads.emplace_back(TraceFromThread, t);
  for (std::thread& thread : threads) thread.join();
  TraceSetStrHandler(nullptr);
  const char* form = "TT\\|thread([0-9]+): ( *)([0-9]+) ([0-9]+) (first|second)";
  std::set<std::string> seen;
  size_t odd = 0;
  for (const std::string& line : g_lines) {
    if (line.find("only odd threads") != std::string::npos) {
      ++odd;
      EXPECT_EQ(std::stoi(line.substr(9)) % 2, 1) << line;
      continue;
    }
    std::vector<std::string> m;
    ASSERT_TRUE(FullMatch(line, form, &m)) << line;
    EXPECT_EQ(m[1], m[3]) << "a line of one thread carries another's text";
    EXPECT_EQ(m[2].length(), size_t(std::stoi(m[1]) % 3)) << "indentation of another thread";
    seen.insert(m[3] + " " + m[4] + " " + m[5]);
  }
  EXPECT_EQ(seen.size(), size_t{kThreads * kLines * 2});
  EXPECT_EQ(odd, size_t{kThreads / 2 * kLines});
}

TEST(TraceConcurrency, TraceFileLinesNeverInterleave) {
  char pattern[] = "/tmp/orvgui-trace-conc-XXXXXX";
  ASSERT_NE(mkdtemp(pattern), nullptr);
  const std::string path = std::string(pattern) + "/trace.log";
  TraceToFile(OrvGuiBase::File(path.c_str()));
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([t] {
      TraceSetOutput(0);
      const std::string text = "file " + std::to_string(t) + " " + std::string(200 + 40 * t, 'a' + t);
      for (int i = 0; i < kLines; ++i) TraceStr(kTraceError, 1, nullptr, 0, text.c_str());
    });
  for (std::thread& thread : threads) thread.join();
  TraceToTracer();
  std::ifstream in(path);
  const char* form = "[0-9-]{10} [0-9:.]{12}: EE: file ([0-9]) ([a-z]+)";
  int count = 0;
  for (std::string line; std::getline(in, line); ++count) {
    std::vector<std::string> m;
    ASSERT_TRUE(FullMatch(line, form, &m)) << line.substr(0, 80);
    const int t = std::stoi(m[1]);
    EXPECT_EQ(m[2], std::string(200 + 40 * t, 'a' + t));
  }
  EXPECT_EQ(count, kThreads * kLines);
  unlink(path.c_str());
  rmdir(pattern);
}

}  // namespace
}  // namespace OrvGuiTrace
