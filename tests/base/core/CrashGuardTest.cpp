// Tests of crash guards, the exception filter's crash report and its chaining.
#include "base/core/CrashGuard.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <csignal>
#include <cstring>

#include "base/core/ExceptionFilter.h"
#include "base/text/Formatter.h"

namespace OrvGuiBase {
namespace {

volatile int g_zero = 0;
volatile int g_quotient = 0;
volatile int g_dividend = 7;
volatile uintptr_t g_noOffset = 0;
// A real division fault, not the sanitizer's report of one.
__attribute__((no_sanitize_undefined, noinline)) int Divide(int a, int b) { return a / b; }
// An address the compiler cannot see through, so the faulting read really happens.
const volatile int* Wild(uintptr_t address) { return reinterpret_cast<const volatile int*>(address + g_noOffset); }

TEST(CrashGuard, FaultsComeBackAsFailedCalls) {
  volatile const char* wild = reinterpret_cast<const char*>(uintptr_t{8});
  int inner = 0;
  const bool outer = CallGuarded("outer", [&] {
    const bool nested = CallGuarded("inner", [&] { inner = *wild; });
    EXPECT_FALSE(nested);
    inner = 1;  // the outer guard is still armed and its body goes on
  });
  EXPECT_TRUE(outer);
  EXPECT_EQ(inner, 1);
  EXPECT_EQ(GetCrashGuard(), nullptr) << "every frame was unlinked";
  EXPECT_FALSE(CallGuarded("again", [&] { inner = *wild; })) << "the guard works more than once";
}

TEST(CrashGuard, FrameFormKeepsSignalAndAddress) {
  CrashGuardFrame frame;
  frame.name = "probe";
  if (sigsetjmp(frame.jump, 1) == 0) {
    PushCrashGuard(&frame);
    (void)*Wild(0x40);
    PopCrashGuard(&frame);
    FAIL() << "the read should have faulted";
  }
  EXPECT_EQ(frame.signal, SIGSEGV);
  EXPECT_EQ(frame.address, reinterpret_cast<const void*>(uintptr_t{0x40}));
}

TEST(CrashGuard, IsValidAddressProbesWithoutFaulting) {
  int local = 0;
  EXPECT_TRUE(IsValidAddress(&local));
  EXPECT_TRUE(IsValidAddress(reinterpret_cast<const void*>(&GetCrashGuard)));
  EXPECT_FALSE(IsValidAddress(nullptr));
  EXPECT_FALSE(IsValidAddress(reinterpret_cast<const void*>(uintptr_t{16})));
  EXPECT_TRUE(IsValidAddress(&local, sizeof local));
  const long page = sysconf(_SC_PAGESIZE);
  void* mapped = mmap(nullptr, static_cast<size_t>(page) * 2, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(mapped, MAP_FAILED);
  munmap(static_cast<char*>(mapped) + page, static_cast<size_t>(page));
  EXPECT_TRUE(IsValidAddress(mapped, static_cast<size_t>(page)));
  EXPECT_FALSE(IsValidAddress(mapped, static_cast<size_t>(page) + 1)) << "the second page is gone";
  munmap(mapped, static_cast<size_t>(page));
}

TEST(CrashGuard, FormatterTurnsABadStringPointerIntoError) {
  const char* bad = reinterpret_cast<const char*>(uintptr_t{24});
  EXPECT_STREQ(FmtArgs("%s", bad).GetStr(), "(error)");
  EXPECT_STREQ(FmtArgs("%d-%s", 5, "ok").GetStr(), "5-ok");
}

TEST(ExceptionFilterDeathTest, UnguardedFaultWritesACrashReport) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      { (void)*Wild(0x10); },
      "fatal signal 11 \\(SIGSEGV\\) at address 0x10 in process [0-9]+ \\(.*\\)\ncall stack:\n");
  EXPECT_DEATH({ g_quotient = Divide(g_dividend, g_zero); }, "fatal signal 8 \\(SIGFPE\\)");
}

void HostHandler(int signal) {
  const char text[] = "host handler saw the signal\n";
  (void)!write(2, text, sizeof text - 1);
  _exit(40 + signal);
}

TEST(ExceptionFilterDeathTest, ChainsToTheHandlerThatWasThereBefore) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        signal(SIGBUS, &HostHandler);   // a host handler, replacing the filter
        InstallFatalSignalHandlers();  // the filter again, now chaining to the host's
        struct sigaction saved {};
        GetSavedSignalAction(SIGBUS, &saved);
        if (saved.sa_handler != &HostHandler) _exit(1);
        raise(SIGBUS);
      },
      testing::ExitedWithCode(40 + SIGBUS), "fatal signal 7 \\(SIGBUS\\)(.|\n)*host handler saw the signal");
}

TEST(ExceptionFilter, InstallingTwiceNeverChainsToItself) {
  InstallFatalSignalHandlers();
  InstallFatalSignalHandlers();
  struct sigaction saved {};
  ASSERT_TRUE(GetSavedSignalAction(SIGSEGV, &saved));
  struct sigaction current {};
  sigaction(SIGSEGV, nullptr, &current);
  EXPECT_NE(saved.sa_sigaction, current.sa_sigaction);
  EXPECT_FALSE(GetSavedSignalAction(SIGINT, &saved));
}

}  // namespace
}  // namespace OrvGuiBase
