// Tests of event reporting: words and ids, the text form, JSON lines read back with jq, and the
// system-log path against a receiver bound at /dev/log in a private mount namespace.
#include "trace/EventReport.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "../helpers/EventLog.h"
#include "trace/Trace.h"

namespace OrvGuiTrace {
namespace {

using OrvGuiBase::Array;
using OrvGuiBase::ValDic;

std::string RunCommand(const std::string& command) {
  std::string out;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return out;
  char buffer[4096];
  for (size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) out.append(buffer, n);
  pclose(pipe);
  return out;
}

// SharedOutputPath: a temporary file for a death test's child to write into. The child runs
// the test again up to its statement, and finds the parent's file through the environment.
std::string SharedOutputPath() {
  if (getenv("EVENT_TEST_OUT") == nullptr) {
    char name[] = "/tmp/orvgui-event-XXXXXX";
    const int fd = mkstemp(name);
    if (fd < 0) return std::string();
    close(fd);
    setenv("EVENT_TEST_OUT", name, 1);
  }
  return getenv("EVENT_TEST_OUT");
}

TEST(EventReport, WordsPrioritiesAndIds) {
  struct TypeRow {
    unsigned type;
    const char* word;
    const char* level;
    int priority;
  };
  const TypeRow types[] = {{0, "Error", "err", 3}, {1, "Warning", "warning", 4}, {2, "Information", "info", 6},
                           {3, "", "notice", 5},    {4, "Error", "unknown", 3}};
  for (const TypeRow& row : types) {
    EXPECT_STREQ(GetEventTypeWord(row.type), row.word);
    EXPECT_STREQ(GetEventLevelWord(row.type), row.level);
    EXPECT_EQ(GetEventPriority(row.type), row.priority);
  }
  const char* const categories[] = {"Unknown", "Unknown", "Internal", "Trace", "Message",
                                    "Application", "Installation", "Performance", "Unknown"};
  for (unsigned c = 0; c < 9; ++c) EXPECT_STREQ(GetEventCategoryWord(c), categories[c]) << c;
  EXPECT_EQ(FormatEventId("ORVGUI", 7), "ORVGUI-00007");
  EXPECT_EQ(FormatEventId("ORVGUI", 123456), "ORVGUI-123456");
  EXPECT_TRUE(FormatEventId("ORVGUI", 0).IsEmpty());
  EXPECT_TRUE(FormatEventId("", 7).IsEmpty());
}

TEST(EventReport, TextFormAndBuildEvent) {
  EventDic event;
  event.eventId = "APP-00012";
  event.message = "Disk 95% full";
  event.dic1.Set("volume", "/srv");
  Array<Val> sizes;
  sizes.Append(Val(1)).Append(Val(2));
  event.dic1.Set("sizes", Val(sizes));
  ValDic inner;
  inner.Set("free", 5);
  event.dic1.Set("usage", Val(inner));
  event.dic3.Set("note", "x");
  EXPECT_EQ(event.GetText(), "APP-00012: Disk 95% full\nvolume=/srv\nsizes[0]=1\nsizes[1]=2\nusage.free=5\nnote=x");

  ValDic dic;
  dic.Set("k", "v");
  const std::string built = BuildEvent("base", dic).GetStr();
  EXPECT_EQ(built.rfind("base\nk=v\nprocessid=" + std::to_string(getpid()) + "\nprocessname=", 0), 0u) << built;
  EXPECT_NE(built.find("\nthreadid="), std::string::npos);
}

// In a child with LOGTYPE=stdout (sent to /dev/null), so that nothing reaches the machine's
// system log: exits 0 when the observer saw the three events and errno survived.
void ObserveAndExit() {
  const int null = open("/dev/null", O_WRONLY);
  dup2(null, STDOUT_FILENO);
  EventLog log;
  const EventField fields[] = {{"size_bytes", "4096"}, {"length", "512"}};
  errno = 9;
  ReportEvent("ORVGUI", 800, "Array allocation failed", fields, 2, kEventError, kCategoryInternal);
  const bool kept = errno == 9;
  ValDic dic;
  dic.Set("lockname", "L");
  ReportEvent("APP", 5, "held", dic, kEventWarning, kCategoryPerformance);
  ReportEvent("only a message", kEventInformation, kCategoryMessage);
  const auto events = log.Events();
  const bool ok = kept && events.size() == 3 &&
                  events[0] == std::vector<std::string>{"ORVGUI/800/0/2", "Array allocation failed", "size_bytes=4096",
                                                        "length=512"} &&
                  events[1] == std::vector<std::string>{"APP/5/1/7", "held", "lockname=L"} &&
                  events[2] == std::vector<std::string>{"/0/2/4", "only a message"};
  _exit(ok ? 0 : 1);
}

TEST(EventReportDeathTest, ObserverSeesLowerLayerEventsAndLastErrorIsKept) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  setenv("LOGTYPE", "stdout", 1);
  EXPECT_EXIT(ObserveAndExit(), testing::ExitedWithCode(0), "");
  unsetenv("LOGTYPE");
}

std::vector<std::string> g_traced;

bool KeepTraceLine(const char* line) {
  g_traced.emplace_back(line);
  return true;  // consumed: nothing reaches the pipe
}

TEST(EventReport, MirroredIntoTheTraceLineByLine) {
  TraceSetStrHandler(&KeepTraceLine);
  ValDic dic;
  dic.Set("lockname", "L");
  dic.Set("waits", 3);
  // Trace only: the test writes nothing to the machine's system log.
  ReportEvent("APP", "held", 5, "", dic, kEventModeTraceOnly, kEventWarning, kCategoryPerformance);
  ReportEvent("APP", "quiet", 6, EventDic(), kEventModeTraceOnly, kEventError, kCategoryInternal, true);
  TraceSetStrHandler(nullptr);
  ASSERT_EQ(g_traced.size(), 3u);
  EXPECT_EQ(g_traced[0][0], 'E') << "kind 0x1000";
  EXPECT_NE(g_traced[0].find("ReportEvent: APP-00005: held"), std::string::npos) << g_traced[0];
  EXPECT_NE(g_traced[1].find(": " "  lockname=L"), std::string::npos) << g_traced[1];
  EXPECT_NE(g_traced[2].find(": " "  waits=3"), std::string::npos) << g_traced[2];
  g_traced.clear();
}

// Reports the events whose JSON lines the parent reads back; standard error goes to the file
// named by EVENT_TEST_OUT.
void ReportJsonEventsAndExit() {
  const int fd = open(getenv("EVENT_TEST_OUT"), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  dup2(fd, STDERR_FILENO);
  for (unsigned type = 0; type < 5; ++type) ReportEvent("ORVGUI", 7, "typed", type, kCategoryInternal);
  for (unsigned category = 0; category < 9; ++category)
    ReportEvent("ORVGUI", 123456, "categorised", kEventInformation, category);
  EventDic event;
  event.dic1.Set("first", 1);
  event.dic2.Set("second", true);
  event.dic3.Set("third", "3%");
  errno = 4;
  ReportEvent("APP", "three \"dictionaries\"\nand a second line \xC3\xA9", 12, event, kEventWarning, kCategoryApplication);
  ReportEvent(nullptr, "bare", 0, EventDic(), kEventNotice, 0);
  _exit(errno == 4 && GetLogType() == 2 ? 0 : 1);
}

TEST(EventReportDeathTest, JsonLinesReadBackWithJq) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const std::string path = SharedOutputPath();
  ASSERT_FALSE(path.empty());
  setenv("LOGTYPE", "StdErr", 1);  // read once, by the fresh child process
  EXPECT_EXIT(ReportJsonEventsAndExit(), testing::ExitedWithCode(0), "");
  unsetenv("LOGTYPE");
  const std::string lines = RunCommand(std::string("jq -c '[.level, .message, .pid > 0, (.krs | keys_unsorted), "
                                                   ".krs.id, .krs.category, (.\"@timestamp\" | test(\"^[0-9]{4}-[0-9]{2}-"
                                                   "[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}[.][0-9]{3}Z$\"))]' ") + path);
  unlink(path.c_str());
  unsetenv("EVENT_TEST_OUT");
  const std::string base = "\"processname\",\"threadid\"]";
  std::string expected;
  const char* const levels[] = {"err", "warning", "info", "notice", "unknown"};
  for (const char* level : levels)
    expected += std::string("[\"") + level + "\",\"typed\",true,[\"id\",\"category\",\"version\"," + base +
                ",\"ORVGUI-00007\",\"Internal\",true]\n";
  const char* const categories[] = {"Unknown", "Unknown", "Internal", "Trace", "Message",
                                    "Application", "Installation", "Performance", "Unknown"};
  for (const char* category : categories)
    expected += std::string("[\"info\",\"categorised\",true,[\"id\",\"category\",\"version\",") + base +
                ",\"ORVGUI-123456\",\"" + category + "\",true]\n";
  expected += "[\"warning\",\"three \\\"dictionaries\\\"\\nand a second line \xC3\xA9\",true,[\"first\",\"id\","
              "\"category\",\"version\",\"second\"," + base.substr(0, base.size() - 1) +
              ",\"third\"],\"APP-00012\",\"Application\",true]\n";
  expected += "[\"notice\",\"bare\",true,[\"category\",\"version\"," + base + ",null,\"Unknown\",true]\n";
  EXPECT_EQ(lines, expected);
}

// In a private mount namespace: a datagram socket bound at /dev/log receives one event, whose
// '%' signs must arrive as they were sent.
void ReportToOwnSyslogAndExit() {
  if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
      mount("none", "/dev", "tmpfs", 0, nullptr) != 0)
    _exit(2);
  const int receiver = socket(AF_UNIX, SOCK_DGRAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  strcpy(address.sun_path, "/dev/log");
  if (receiver < 0 || bind(receiver, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) _exit(3);
  const EventField fields[] = {{"load", "100%s%n"}};
  ReportEvent("ORVGUI", 7, "100% done %s %d", fields, 1, kEventNotice, kCategoryPerformance);
  timeval timeout{5, 0};
  setsockopt(receiver, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
  char datagram[2048] = {};
  const ssize_t n = recv(receiver, datagram, sizeof datagram - 1, 0);
  if (n <= 0) _exit(4);
  // <13> is LOG_USER | LOG_NOTICE; the program's name and pid follow the time stamp.
  const std::string text(datagram, static_cast<size_t>(n));
  const std::string pid = "[" + std::to_string(getpid()) + "]: ";
  const bool ok = text.rfind("<13>", 0) == 0 && text.find(pid + "ORVGUI-00007: 100% done %s %d\nload=100%s%n") !=
                                                      std::string::npos;
  if (!ok) fprintf(stderr, "received: %s\n", text.c_str());
  _exit(ok ? 0 : 5);
}

TEST(EventReportDeathTest, SystemLogReceivesTheTextUnchanged) {
  if (geteuid() != 0) GTEST_SKIP() << "a private mount namespace needs root";
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  for (const char* logType : {"", "System", "journal"}) {  // unknown words keep the system log
    setenv("LOGTYPE", logType, 1);
    EXPECT_EXIT(ReportToOwnSyslogAndExit(), testing::ExitedWithCode(0), "") << logType;
  }
  unsetenv("LOGTYPE");
}

// Four threads report at once into one pipe; every line must be one whole JSON object.
void ReportFromThreadsAndExit() {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([t] {
      ValDic values;
      values.Set("thread", t);
      values.Set("padding", std::string(3000, 'x').c_str());  // lines longer than a pipe's atomic write
      for (int i = 0; i < 50; ++i) ReportEvent("APP", static_cast<unsigned>(i + 1), "concurrent", values, kEventInformation, kCategoryTrace);
    });
  for (std::thread& thread : threads) thread.join();
  _exit(0);
}

TEST(EventReportDeathTest, EventsOfManyThreadsStayWholeLines) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const std::string path = SharedOutputPath();
  ASSERT_FALSE(path.empty());
  setenv("LOGTYPE", "stdout", 1);
  EXPECT_EXIT(
      {
        const int fd = open(path.c_str(), O_WRONLY | O_APPEND);
        dup2(fd, STDOUT_FILENO);
        ReportFromThreadsAndExit();
      },
      testing::ExitedWithCode(0), "");
  unsetenv("LOGTYPE");
  const std::string counts =
      RunCommand("jq -r '\"\\(.krs.thread) \\(.krs.padding | length)\"' " + path + " | sort | uniq -c | tr -s ' '");
  unlink(path.c_str());
  unsetenv("EVENT_TEST_OUT");
  EXPECT_EQ(counts, " 50 0 3000\n 50 1 3000\n 50 2 3000\n 50 3 3000\n");
}

}  // namespace
}  // namespace OrvGuiTrace
