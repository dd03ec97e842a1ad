// Tests of `orvgui mutex`: its command line, exit statuses and messages, which scripts rely on,
// and that the command really runs under the mutex.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "TestMutexDirectory.h"
#include "TestProcess.h"
#include "base/core/NamedMutex.h"

namespace {

using namespace OrvGuiBase;

ProcessResult OrvguiMutex(std::vector<std::string> args) {
  args.insert(args.begin(), {ORVGUI_TEST_TOOL, "mutex"});
  return RunProcess(args);
}

TEST(MutexTool, UsageErrors) {
  MutexDirectoryGuard guard;
  const std::string name = guard.Name("usage");
  struct Case {
    std::vector<std::string> args;
    const char* err;
  };
  const Case cases[] = {
      {{}, "orvgui mutex: missing mutex name (see 'orvgui mutex --help')\n"},
      {{"--", "true"}, "orvgui mutex: missing mutex name (see 'orvgui mutex --help')\n"},
      {{name, "true"}, "orvgui mutex: unexpected argument 'true' (the command follows '--')\n"},
      {{name}, "orvgui mutex: missing '--' before the command\n"},
      {{name, "--"}, "orvgui mutex: missing command after '--'\n"},
      {{name, "--timeout"}, "orvgui mutex: --timeout needs a value\n"},
      {{name, "--timeout", "--", "true"}, "orvgui mutex: --timeout needs a value\n"},
      {{name, "--timeout", "1s", "--", "true"}, "orvgui mutex: invalid timeout '1s' (milliseconds, 0 to 4294967295)\n"},
      {{name, "--timeout", "-1", "--", "true"}, "orvgui mutex: invalid timeout '-1' (milliseconds, 0 to 4294967295)\n"},
      {{name, "--timeout", "4294967296", "--", "true"},
       "orvgui mutex: invalid timeout '4294967296' (milliseconds, 0 to 4294967295)\n"},
      {{name, "-w", "--", "true"}, "orvgui mutex: unknown option '-w'\n"},
      {{"../etc/x", "--", "true"},
       "orvgui mutex: invalid mutex name '../etc/x' (a relative path without empty, '.' or '..' parts)\n"},
  };
  for (const Case& c : cases) {
    const ProcessResult result = OrvguiMutex(c.args);
    EXPECT_EQ(result.status, 2) << c.err;
    EXPECT_EQ(result.err, c.err);
    EXPECT_EQ(result.out, "");
  }
  struct stat status;
  EXPECT_NE(stat(MutexDirectoryGuard::Path(name).c_str(), &status), 0) << "a usage error touches nothing";

  const ProcessResult help = OrvguiMutex({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_EQ(help.out.rfind("usage: orvgui mutex NAME [--timeout MS] -- COMMAND [ARGS...]\n", 0), 0u);
  const ProcessResult passed = OrvguiMutex({name, "--", "sh", "-c", "echo \"$0\"", "--help"});
  EXPECT_EQ(passed.status, 0);
  EXPECT_EQ(passed.out, "--help\n") << "options after '--' are the command's";
}

TEST(MutexTool, RunsTheCommandUnderTheMutexAndPassesItsStatus) {
  const std::string flockProgram = FindProgram("flock");
  ASSERT_FALSE(flockProgram.empty()) << "util-linux flock(1) is needed: run 'make deps'";
  MutexDirectoryGuard guard;
  const std::string name = guard.Name("run");
  const std::string path = MutexDirectoryGuard::Path(name);
  struct Case {
    std::vector<std::string> command;
    int status;
    const char* out;
    const char* err;
  };
  const Case cases[] = {
      {{"sh", "-c", "echo out; echo err >&2; exit 7"}, 7, "out\n", "err\n"},
      {{"true"}, 0, "", ""},
      {{"sh", "-c", "kill -9 $$"}, 128 + SIGKILL, "", ""},
      {{flockProgram, "-n", path, "true"}, 1, "", ""},  // the mutex is held while the command runs...
      // ...by orvgui: the command does not inherit the mutex file.
      {{"sh", "-c", "readlink /proc/$$/fd/* | grep -qxF \"$0\" && echo inherited; true", path}, 0, "", ""},
      {{"orvgui-no-such-command"},
       127,
       "",
       "orvgui mutex: cannot run 'orvgui-no-such-command': No such file or directory\n"},
      {{"/dev/null"}, 126, "", "orvgui mutex: cannot run '/dev/null': Permission denied\n"},
  };
  for (const Case& c : cases) {
    std::vector<std::string> args = {name, "--timeout", "5000", "--"};
    args.insert(args.end(), c.command.begin(), c.command.end());
    const ProcessResult result = OrvguiMutex(args);
    EXPECT_EQ(result.status, c.status) << c.command[0] << result.err;
    EXPECT_EQ(result.out, c.out) << c.command[0];
    EXPECT_EQ(result.err, c.err) << c.command[0];
  }
  EXPECT_EQ(RunProcess({flockProgram, "-n", path, "true"}).status, 0) << "...and released when it ends";

  // A signal orvgui was started ignoring stays ignored for the command (nohup keeps working).
  const ProcessResult nohup =
      RunProcess({"/bin/sh", "-c", "trap '' HUP; exec \"$0\" mutex \"$1\" -- sh -c 'kill -HUP $$; echo survived'",
                  ORVGUI_TEST_TOOL, name});
  EXPECT_EQ(nohup.status, 0) << nohup.err;
  EXPECT_EQ(nohup.out, "survived\n");
}

TEST(MutexTool, TimesOutWhileTheMutexIsHeldElsewhere) {
  MutexDirectoryGuard guard;
  const std::string name = guard.Name("busy");
  MutexHandleData* mine = CreateMutex(false, name.c_str());
  ASSERT_NE(mine, nullptr);
  ASSERT_TRUE(WaitForMutex(mine, 0));
  for (const char* timeout : {"0", "100"}) {
    const ProcessResult result = OrvguiMutex({name, "--timeout", timeout, "--", "sh", "-c", "echo ran"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "") << "the command did not run";
    EXPECT_EQ(result.err,
              std::string("orvgui mutex: timed out after ") + timeout + " ms waiting for mutex '" + name + "'\n");
  }
  DropMutex(mine);
  EXPECT_EQ(OrvguiMutex({name, "--timeout", "0", "--", "true"}).status, 0);
  CloseMutex(mine);
}

TEST(MutexTool, AKilledHolderReleasesAndTerminationReachesTheCommand) {
  MutexDirectoryGuard guard;
  const std::string name = guard.Name("holder");
  MutexHandleData* mine = CreateMutex(false, name.c_str());
  ASSERT_NE(mine, nullptr);
  struct Case {
    int signal;
    bool wholeGroup;
    int status;
    const char* reason;
  };
  const Case cases[] = {
      {SIGKILL, true, 128 + SIGKILL, "orvgui and the command killed"},
      {SIGTERM, false, 128 + SIGTERM, "SIGTERM to orvgui is passed on to the command, whose status it returns"},
      {SIGHUP, false, 128 + SIGHUP, "so is SIGHUP"},
  };
  for (const Case& c : cases) {
    BackgroundProcess holder({ORVGUI_TEST_TOOL, "mutex", name, "--", "sh", "-c", "echo held; exec sleep 60"});
    ASSERT_TRUE(holder.WaitForLine("held")) << c.reason;
    EXPECT_FALSE(WaitForMutex(mine, 0)) << c.reason;
    if (c.wholeGroup)
      holder.KillGroup(c.signal);
    else
      holder.Signal(c.signal);
    EXPECT_EQ(holder.Wait(), c.status) << c.reason;
    EXPECT_TRUE(WaitForMutex(mine, 0)) << c.reason;
    DropMutex(mine);
  }
  CloseMutex(mine);
}

TEST(MutexTool, RefusesLinksAndOtherFilesWithAClearMessage) {
  MutexDirectoryGuard guard;
  char scratch[] = "/tmp/orvgui-mutex-tool-XXXXXX";
  ASSERT_NE(mkdtemp(scratch), nullptr);
  const std::string target = std::string(scratch) + "/victim";
  ASSERT_EQ(OrvguiMutex({guard.Name("prime"), "--", "true"}).status, 0);  // makes the directory
  const std::string link = guard.Name("link"), fifo = guard.Name("fifo");
  ASSERT_EQ(symlink(target.c_str(), MutexDirectoryGuard::Path(link).c_str()), 0);
  ASSERT_EQ(mkfifo(MutexDirectoryGuard::Path(fifo).c_str(), 0666), 0);
  struct Case {
    std::string name, err;
  };
  const Case cases[] = {
      {link, "orvgui mutex: cannot open mutex '" + link + "': " + MutexDirectoryGuard::Path(link) +
                 " is a symbolic link (not followed)\n"},
      {link + "/x", "orvgui mutex: cannot open mutex '" + link + "/x': " + MutexDirectoryGuard::Path(link) +
                        " is a symbolic link (not followed)\n"},
      {fifo, "orvgui mutex: cannot open mutex '" + fifo + "': " + MutexDirectoryGuard::Path(fifo) +
                 " is not a regular file\n"},
  };
  for (const Case& c : cases) {
    const ProcessResult result = OrvguiMutex({c.name, "--", "sh", "-c", "echo ran"});
    EXPECT_EQ(result.status, 1) << c.name;
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, c.err);
  }
  struct stat status;
  EXPECT_NE(lstat(target.c_str(), &status), 0) << "nothing was created through the link";
  rmdir(scratch);
}

}  // namespace
