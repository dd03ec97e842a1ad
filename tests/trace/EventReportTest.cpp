// Tests of the event entry point: words, JSON lines on a chosen stream, the caller's last error.
#include "trace/EventReport.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <unistd.h>

namespace OrvGuiTrace {
namespace {

TEST(EventReport, WordsOfTypesAndCategories) {
  EXPECT_STREQ(GetEventLevelWord(0), "err");
  EXPECT_STREQ(GetEventLevelWord(3), "notice");
  EXPECT_STREQ(GetEventLevelWord(9), "unknown");
  EXPECT_STREQ(GetEventTypeWord(9), "Error");
  EXPECT_STREQ(GetEventCategoryWord(0), "Unknown");
  EXPECT_STREQ(GetEventCategoryWord(7), "Performance");
  EXPECT_STREQ(GetEventCategoryWord(8), "Unknown");
}

// Reports one event and exits 0 when the caller's last error survived and stderr was chosen.
void ReportOneAndExit() {
  const EventField fields[] = {{"lockname", "L\"1"}};
  errno = 9;
  ReportEvent("ORVGUI", 7, "100% done\nnext", fields, 1, kEventNotice, kCategoryPerformance);
  _exit(errno == 9 && GetLogType() == 2 ? 0 : 1);
}

TEST(EventReportDeathTest, StderrLogTypeWritesOneJsonLinePerEvent) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  setenv("LOGTYPE", "STDERR", 1);  // read once, by the fresh child process
  EXPECT_EXIT(ReportOneAndExit(), testing::ExitedWithCode(0),
      "^\\{\"@timestamp\":\"[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9:.]+Z\",\"level\":\"notice\","
      "\"message\":\"100% done\\\\nnext\",\"pid\":[0-9]+,\"krs\":\\{\"lockname\":\"L\\\\\"1\","
      "\"id\":\"ORVGUI-00007\",\"category\":\"Performance\",\"processname\":\"[^\"]+\",\"threadid\":[0-9]+\\}\\}\n$");
  unsetenv("LOGTYPE");
}

}  // namespace
}  // namespace OrvGuiTrace
