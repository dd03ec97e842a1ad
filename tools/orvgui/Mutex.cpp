// Mutex.cpp: `orvgui mutex`, a command run while a named mutex is held.
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/core/ErrorMessage.h"
#include "base/core/NamedMutex.h"
#include "tools/orvgui/Command.h"

extern char** environ;

namespace OrvGuiTool {

namespace {

using namespace OrvGuiBase;

const char kUsage[] =
    "usage: orvgui mutex NAME [--timeout MS] -- COMMAND [ARGS...]\n"
    "\n"
    "Runs COMMAND with its arguments while holding the named mutex NAME, the way flock(1) runs a\n"
    "command under a file lock. Programs that wait for the library's named mutex NAME, and\n"
    "programs that flock the file /tmp/.mutexes/NAME, wait while the command runs.\n"
    "\n"
    "  NAME          the mutex name: a path below /tmp/.mutexes whose components are not empty,\n"
    "                '.' or '..'. The directory (mode 0777) and the file (mode 0666) are made\n"
    "                when missing; the file stays in place afterwards.\n"
    "  --timeout MS  give up when the mutex is not free within MS milliseconds (0: try once).\n"
    "                Without it orvgui waits as long as it takes; 4294967295 means the same.\n"
    "  COMMAND ARGS  the command, looked up along PATH, run with orvgui's environment, standard\n"
    "                input, output and error.\n"
    "\n"
    "The mutex is held by orvgui itself and not handed to the command: it is released when the\n"
    "command has ended, or when orvgui ends in any way. While the command runs, orvgui ignores\n"
    "SIGINT and SIGQUIT (the command gets them from the terminal) and passes SIGTERM and SIGHUP\n"
    "on to the command; a signal that orvgui was started ignoring stays ignored for both.\n"
    "Symbolic links at the directory or the file are never followed, and a mutex file that is\n"
    "not a regular file is refused.\n"
    "\n"
    "orvgui writes nothing on standard output. Its errors on standard error:\n"
    "  orvgui mutex: timed out after MS ms waiting for mutex 'NAME'\n"
    "  orvgui mutex: cannot open mutex 'NAME': REASON\n"
    "  orvgui mutex: cannot lock mutex 'NAME': REASON\n"
    "  orvgui mutex: cannot run 'COMMAND': REASON\n"
    "\n"
    "Exit status: the command's exit status, or 128+N when a signal N ended it; 1 when the mutex\n"
    "could not be opened or had in time; 2 for a usage error; 126 when the command could not be\n"
    "started, 127 when it was not found.\n";

constexpr const char* kSub = "mutex";

volatile pid_t g_child = 0;

void ForwardSignal(int signal) {
  if (g_child > 0) kill(g_child, signal);
}

// DescribeOpenFailure: why the mutex file could not be opened, naming the place at fault when
// the refusal came from what is on disk.
std::string DescribeOpenFailure(const char* name, int error) {
  if (error == ELOOP || error == ENOTDIR) {
    std::string path = GetMutexDirectory();
    const char* rest = name;
    for (;;) {
      struct stat status;
      if (lstat(path.c_str(), &status) == 0) {
        if (S_ISLNK(status.st_mode)) return path + " is a symbolic link (not followed)";
        if (!S_ISDIR(status.st_mode) && *rest != 0) return path + " is not a directory";
      }
      if (*rest == 0) break;
      const char* slash = strchr(rest, '/');
      const size_t length = slash != nullptr ? static_cast<size_t>(slash - rest) : strlen(rest);
      path.append("/").append(rest, length);
      rest += length + (slash != nullptr ? 1 : 0);
    }
  }
  const std::string file = GetMutexFileName(name).GetStr();
  if (error == EINVAL) return file + " is not a regular file";
  if (error == EISDIR) return file + " is a directory";
  return GetErrorMessage(error, nullptr, false).GetStr();
}

// RunCommand: spawns the command and waits for it; the exit status to report.
int RunCommand(char** command) {
  // SIGTERM and SIGHUP are passed on, SIGINT and SIGQUIT ignored, while the command runs; the
  // command gets them at their default. A signal this process already ignores (nohup, a
  // background job) stays ignored for both.
  struct Disposition {
    int signal;
    bool forward;
  };
  const Disposition dispositions[] = {{SIGTERM, true}, {SIGHUP, true}, {SIGINT, false}, {SIGQUIT, false}};
  sigset_t handled, previousMask;
  sigemptyset(&handled);
  for (const Disposition& d : dispositions) sigaddset(&handled, d.signal);
  // Until the child's id is known the signals wait blocked; then they reach it.
  sigprocmask(SIG_BLOCK, &handled, &previousMask);
  sigset_t defaults;
  sigemptyset(&defaults);
  for (const Disposition& d : dispositions) {
    struct sigaction action {
    }, previous{};
    action.sa_handler = d.forward ? &ForwardSignal : SIG_IGN;
    action.sa_flags = SA_RESTART;
    if (sigaction(d.signal, nullptr, &previous) != 0 || previous.sa_handler == SIG_IGN) continue;
    sigaction(d.signal, &action, nullptr);
    sigaddset(&defaults, d.signal);
  }

  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setsigdefault(&attributes, &defaults);
  posix_spawnattr_setsigmask(&attributes, &previousMask);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
  pid_t child = -1;
  const int rc = posix_spawnp(&child, command[0], nullptr, &attributes, command, environ);
  posix_spawnattr_destroy(&attributes);
  if (rc == 0) g_child = child;
  sigprocmask(SIG_SETMASK, &previousMask, nullptr);
  if (rc != 0) {
    Fail(kSub, "cannot run '%s': %s", command[0], GetErrorMessage(rc, nullptr, false).GetStr());
    return rc == ENOENT ? 127 : 126;
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0)
    if (errno != EINTR) return Fail(kSub, "cannot wait for '%s': %s", command[0], strerror(errno));
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  return 128 + WTERMSIG(status);
}

int Run(int argc, char** argv) {
  const char* name = nullptr;
  uint32_t timeout = kInfinite;
  int commandAt = -1;
  for (int i = 1; i < argc; ++i) {
    const char* arg = argv[i];
    if (strcmp(arg, "--") == 0) {
      commandAt = i + 1;
      break;
    }
    if (strcmp(arg, "--timeout") == 0) {
      if (i + 1 >= argc || strcmp(argv[i + 1], "--") == 0) return UsageError(kSub, "--timeout needs a value");
      if (!ParseUInt32(argv[++i], timeout))
        return UsageError(kSub, "invalid timeout '%s' (milliseconds, 0 to 4294967295)", argv[i]);
    } else if (arg[0] == '-' && arg[1] != 0) {
      return UsageError(kSub, "unknown option '%s'", arg);
    } else if (name != nullptr) {
      return UsageError(kSub, "unexpected argument '%s' (the command follows '--')", arg);
    } else {
      name = arg;
    }
  }
  if (name == nullptr) return UsageError(kSub, "missing mutex name (see 'orvgui mutex --help')");
  if (commandAt < 0) return UsageError(kSub, "missing '--' before the command");
  if (commandAt >= argc) return UsageError(kSub, "missing command after '--'");
  if (!IsValidMutexName(name))
    return UsageError(kSub, "invalid mutex name '%s' (a relative path without empty, '.' or '..' parts)", name);

  MutexHandleData* mutex = CreateMutex(false, name);
  if (mutex == nullptr) {
    const int error = errno;
    return Fail(kSub, "cannot open mutex '%s': %s", name, DescribeOpenFailure(name, error).c_str());
  }
  if (!WaitForMutex(mutex, timeout)) {
    const int error = errno;
    CloseMutex(mutex);
    if (error == kWaitTimeoutError) return Fail(kSub, "timed out after %u ms waiting for mutex '%s'", timeout, name);
    return Fail(kSub, "cannot lock mutex '%s': %s", name, GetErrorMessage(error, nullptr, false).GetStr());
  }
  const int status = RunCommand(argv + commandAt);
  DropMutex(mutex);
  CloseMutex(mutex);
  return status;
}

SubcommandRegistration g_registration({"mutex", "run a command while holding a named mutex", kUsage, &Run});

}  // namespace

}  // namespace OrvGuiTool
