// Tests of load-time set-up, lazy statics and the initialisation section.
#include "base/core/Init.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>

#include "TestProcess.h"
#include "base/core/LazyStatic.h"

namespace OrvGuiBase {
namespace {

TEST(Init, LoadPublishedTheBuildIdentifier) {
  EXPECT_TRUE(BaseInitializer::IsDone());
  const std::string variable = GetBuildIdentifierVariable();
  ASSERT_EQ(variable.rfind("GNU_DEBUGLINK_", 0), 0u);
  ASSERT_NE(getenv(variable.c_str()), nullptr);
  EXPECT_STREQ(getenv(variable.c_str()), GetBuildIdentifier());
  EXPECT_NE(std::string(GetBuildIdentifier()).find(GetLibraryVersion()), std::string::npos);
  BaseInitializer again;  // a no-op after the first
  EXPECT_STREQ(getenv(variable.c_str()), GetBuildIdentifier());
}

TEST(Init, TakenDebugLinkNamesAreSkippedNotOverwritten) {
  struct Case {
    std::vector<std::string> env;
    const char* expected;
  };
  const Case cases[] = {
      {{"GNU_DEBUGLINK_000000=someone else"}, "GNU_DEBUGLINK_000001"},
      {{"GNU_DEBUGLINK_000000=a", "GNU_DEBUGLINK_000001=b", "GNU_DEBUGLINK_000002="}, "GNU_DEBUGLINK_000003"},
  };
  for (const Case& c : cases) {
    const ProcessResult result = RunProcess({ORVGUI_TEST_TOOL, "info"}, c.env);
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(LineWith(result.out, "build variable: "), c.expected);
  }
}

TEST(Init, InitSectionIsPerThreadAndNests) {
  EXPECT_FALSE(IsInitSection());
  EnterInitSection();
  EnterInitSection();
  LeaveInitSection();
  EXPECT_TRUE(IsInitSection());
  std::thread other([] { EXPECT_FALSE(IsInitSection()); });
  other.join();
  LeaveInitSection();
  EXPECT_FALSE(IsInitSection());
  LeaveInitSection();  // an unmatched leave changes nothing
  EXPECT_FALSE(IsInitSection());
}

std::atomic<int> g_constructed{0};
struct Service {
  Service() {
    ++g_constructed;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));  // widen the race window
  }
  int value = 7;
};

TEST(LazyStatic, ConstructsOnceUnderContention) {
  static LazyStatic<Service> s_service;
  EXPECT_EQ(s_service.GetState(), 1u);
  std::vector<std::thread> threads;
  std::atomic<int> sum{0};
  for (int i = 0; i < 8; ++i) threads.emplace_back([&] { sum += s_service.Get()->value; });
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(g_constructed.load(), 1);
  EXPECT_EQ(sum.load(), 56);
  EXPECT_EQ(s_service.GetState(), 2u);
  EXPECT_TRUE(s_service.IsValid());
}

}  // namespace
}  // namespace OrvGuiBase

namespace OrvGuiBase {
namespace {

TEST(ProcessExit, LateCallersFallBackInsteadOfTouchingFreedState) {
  const ProcessResult result = RunProcess({ORVGUI_TEST_EXIT_PROBE});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out,
            "early error text: early message\n"
            "main record released\n"            // the closer released the exiting thread's record
            "registry valid: 0\n"               // the registry was destroyed with the statics
            "register after teardown: 1\n"      // registration now answers 1 and does nothing
            "main record state: 4\n"
            "late error text: late message\n")  // the shared fallback record serves late callers
      << result.err;
}

}  // namespace
}  // namespace OrvGuiBase
