// Tests of named mutexes: handles per thread, recursion, exclusion between threads and
// processes and against util-linux flock, the schedule of timed waits, release at thread end
// and at a holder's death, and the refusal of links and of files that are not regular.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "TestMutexDirectory.h"
#include "TestProcess.h"
#include "base/core/NamedMutex.h"
#include "base/core/Thread.h"
#include "base/core/ThreadExit.h"

namespace OrvGuiBase {
namespace {

// Peer: an open file description of its own on a mutex file, locked with flock directly.
class Peer {
 public:
  explicit Peer(const std::string& path) : m_fd(open(path.c_str(), O_RDWR | O_CLOEXEC)) {}
  ~Peer() {
    if (m_fd >= 0) close(m_fd);
  }
  bool TryLock() { return flock(m_fd, LOCK_EX | LOCK_NB) == 0; }
  void Unlock() { flock(m_fd, LOCK_UN); }

 private:
  int m_fd;
};

// IsFreeFor: whether a holder of its own could take the lock right now (and it gives it back).
bool IsFreeFor(const std::string& path) {
  Peer peer(path);
  const bool free = peer.TryLock();
  if (free) peer.Unlock();
  return free;
}

TEST(NamedMutex, BadNamesAndHandlesAreRefused) {
  MutexDirectoryGuard guard;
  const std::string missing = guard.Name("never-created"), below = missing + "/x";
  struct Case {
    bool create;
    const char* name;
    int error;
    const char* reason;
  };
  const Case cases[] = {
      {true, nullptr, 38, "a null name at creation"},
      {false, nullptr, EINVAL, "a null name at opening"},
      {true, "", EINVAL, "empty"},
      {false, "", EINVAL, "empty"},
      {true, ".", EINVAL, "the directory itself"},
      {true, "..", EINVAL, "climbs out"},
      {true, "a/../../etc/x", EINVAL, "climbs out through a component"},
      {true, "/tmp/x", EINVAL, "absolute"},
      {true, "a//b", EINVAL, "empty component"},
      {true, "a/", EINVAL, "empty last component"},
      {false, missing.c_str(), ENOENT, "opening does not create"},
      {true, below.c_str(), ENOENT, "sub-directories are not made"},
  };
  for (const Case& c : cases) {
    errno = 0;
    EXPECT_EQ(c.create ? CreateMutex(false, c.name) : OpenMutex(c.name), nullptr) << c.reason;
    EXPECT_EQ(errno, c.error) << c.reason;
  }
  struct stat status;
  EXPECT_NE(lstat(MutexDirectoryGuard::Path(missing).c_str(), &status), 0) << "nothing was created";

  for (bool (*call)(MutexHandleData*) : {+[](MutexHandleData* h) { return Wait(h, 0); }, &DropMutex, &CloseMutex}) {
    errno = 0;
    EXPECT_FALSE(call(nullptr));
    EXPECT_EQ(errno, EINVAL);
  }
}

TEST(NamedMutex, HandlesAreCountedPerThreadAndFilesStay) {
  MutexDirectoryGuard guard;
  const std::string name = guard.Name("counted");
  MutexHandleData* created = CreateMutex(true, name.c_str());
  ASSERT_NE(created, nullptr) << strerror(errno);
  MutexHandleData* opened = OpenMutex(name.c_str());
  EXPECT_EQ(opened, created) << "the same thread gets the same handle";
  EXPECT_EQ(created->openCount, 2u);
  EXPECT_EQ(created->lockDepth, 0u) << "the initial-owner flag has no effect";
  EXPECT_STREQ(created->name.GetStr(), name.c_str());
  EXPECT_EQ(fcntl(created->fd, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);

  MutexHandleData* other = nullptr;
  std::thread([&] {
    other = OpenMutex(name.c_str());
    EXPECT_EQ(other->openCount, 1u);
    EXPECT_TRUE(CloseMutex(other));
  }).join();
  EXPECT_NE(other, created) << "another thread gets a handle of its own";

  struct stat status;
  ASSERT_EQ(stat(MutexDirectoryGuard::Path(name).c_str(), &status), 0);
  EXPECT_TRUE(S_ISREG(status.st_mode));
  EXPECT_EQ(status.st_mode & 07777, 0666u) << "read and write for everybody, whatever the umask";
  ASSERT_EQ(stat(GetMutexDirectory(), &status), 0);
  if (!guard.DirectoryExisted()) {
    EXPECT_EQ(status.st_mode & 07777, 0777u);
  }

  EXPECT_TRUE(CloseMutex(created));
  EXPECT_EQ(created->openCount, 1u);
  EXPECT_TRUE(CloseMutex(created));  // the last close frees the handle
  errno = 0;
  EXPECT_FALSE(CloseMutex(created)) << "a closed handle is refused, not touched";
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(stat(MutexDirectoryGuard::Path(name).c_str(), &status), 0) << "closing never removes the file";
}

TEST(NamedMutex, RecursionPerThread) {
  MutexDirectoryGuard guard;
  const std::string name = guard.Name("recursive");
  MutexHandleData* mine = CreateMutex(false, name.c_str());
  ASSERT_NE(mine, nullptr);
  ASSERT_TRUE(WaitForMutex(mine, 0));
  ASSERT_TRUE(Wait(mine, 0)) << "the holder enters again";
  EXPECT_EQ(mine->lockDepth, 2u);
  EXPECT_TRUE(DropMutex(mine));

  auto tryFromAnotherThread = [&] {
    bool got = false;
    int error = 0;
    std::thread([&] {
      MutexHandleData* theirs = OpenMutex(name.c_str());
      got = WaitForMutex(theirs, 0);
      error = errno;
      CloseMutex(theirs);  // also releases it when it was had
    }).join();
    return got ? 0 : error;
  };
  EXPECT_EQ(tryFromAnotherThread(), kWaitTimeoutError) << "two waits, one drop: still held";
  EXPECT_FALSE(IsFreeFor(MutexDirectoryGuard::Path(name)));
  EXPECT_TRUE(DropMutex(mine));
  EXPECT_EQ(tryFromAnotherThread(), 0) << "the second drop released it";
  errno = 0;
  EXPECT_FALSE(DropMutex(mine)) << "nothing left to drop";
  EXPECT_EQ(errno, EPERM);
  EXPECT_TRUE(CloseMutex(mine));
}

TEST(NamedMutex, ThreadsOfOneProcessExcludeEachOther) {
  MutexDirectoryGuard guard;
  const std::string name = guard.Name("threads");
  MutexHandleData* setup = CreateMutex(false, name.c_str());
  ASSERT_NE(setup, nullptr);
  std::atomic<int> inside{0}, overlaps{0}, entries{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      MutexHandleData* handle = OpenMutex(name.c_str());
      for (int i = 0; i < 200; ++i) {
        ASSERT_TRUE(WaitForMutex(handle, kInfinite));
        if (inside.fetch_add(1) != 0) ++overlaps;
        std::this_thread::yield();
        ++entries;
        inside.fetch_sub(1);
        ASSERT_TRUE(DropMutex(handle));
      }
      CloseMutex(handle);
    });
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(overlaps.load(), 0);
  EXPECT_EQ(entries.load(), 800);
  CloseMutex(setup);
}

// A holder in another process lets go in one of two ways; either way the lock becomes free.
TEST(NamedMutex, ProcessesExcludeEachOtherAndAKilledHolderReleases) {
  MutexDirectoryGuard guard;
  const std::string name = guard.Name("processes");
  for (const bool kill9 : {false, true}) {
    SCOPED_TRACE(kill9 ? "holder killed with SIGKILL" : "holder drops the mutex");
    int held[2], release[2];
    ASSERT_EQ(pipe(held), 0);
    ASSERT_EQ(pipe(release), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {  // the holder: its own process, no handles inherited for this name
      MutexHandleData* handle = CreateMutex(false, name.c_str());
      if (handle == nullptr || !WaitForMutex(handle, kInfinite)) _exit(3);
      char byte = 'h';
      if (write(held[1], &byte, 1) != 1 || read(release[0], &byte, 1) != 1) _exit(4);
      _exit(DropMutex(handle) && CloseMutex(handle) ? 0 : 5);
    }
    close(held[1]);
    close(release[0]);
    char byte = 0;
    ASSERT_EQ(read(held[0], &byte, 1), 1) << "the holder took the mutex";
    MutexHandleData* mine = CreateMutex(false, name.c_str());
    ASSERT_NE(mine, nullptr);
    EXPECT_FALSE(WaitForMutex(mine, 0));
    EXPECT_EQ(errno, kWaitTimeoutError);
    EXPECT_FALSE(WaitForMutex(mine, 30));
    if (kill9)
      kill(child, SIGKILL);
    else
      ASSERT_EQ(write(release[1], "r", 1), 1);
    EXPECT_TRUE(WaitForMutex(mine, 20000)) << "released by the other process";
    int status = 0;
    waitpid(child, &status, 0);
    const bool endedAsExpected =
        kill9 ? WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL : WIFEXITED(status) && WEXITSTATUS(status) == 0;
    EXPECT_TRUE(endedAsExpected) << status;
    EXPECT_TRUE(DropMutex(mine));
    EXPECT_TRUE(CloseMutex(mine));
    close(held[0]);
    close(release[1]);
  }
}

TEST(NamedMutex, ExcludesAndIsExcludedByUtilLinuxFlock) {
  const std::string flockProgram = FindProgram("flock");
  ASSERT_FALSE(flockProgram.empty()) << "util-linux flock(1) is needed: run 'make deps'";
  MutexDirectoryGuard guard;
  const std::string name = guard.Name("flock");
  const std::string path = MutexDirectoryGuard::Path(name);
  MutexHandleData* mine = CreateMutex(false, name.c_str());
  ASSERT_NE(mine, nullptr);

  ASSERT_TRUE(WaitForMutex(mine, kInfinite));
  EXPECT_EQ(RunProcess({flockProgram, "-n", path, "true"}).status, 1) << "flock -n finds it held";
  ASSERT_TRUE(DropMutex(mine));
  EXPECT_EQ(RunProcess({flockProgram, "-n", path, "true"}).status, 0) << "and free after the drop";

  BackgroundProcess holder({flockProgram, "-o", path, "sh", "-c", "echo held; exec sleep 60"});
  ASSERT_TRUE(holder.WaitForLine("held"));
  EXPECT_FALSE(WaitForMutex(mine, 0));
  EXPECT_EQ(errno, kWaitTimeoutError);
  EXPECT_FALSE(WaitForMutex(mine, 50));
  holder.KillGroup(SIGKILL);
  EXPECT_EQ(holder.Wait(), 128 + SIGKILL);
  EXPECT_TRUE(WaitForMutex(mine, 20000));
  EXPECT_TRUE(DropMutex(mine));
  CloseMutex(mine);
}

std::vector<uint32_t> g_sleeps;
Peer* g_releaseAt = nullptr;  // the peer lets go after this many sleeps...
size_t g_releaseAfter = 0;    // ...when set
void RecordingSleeper(uint32_t milliseconds) {
  g_sleeps.push_back(milliseconds);
  if (g_releaseAt != nullptr && g_sleeps.size() == g_releaseAfter) g_releaseAt->Unlock();
}

TEST(NamedMutex, TimedWaitsFollowTheirScheduleOfTries) {
  MutexDirectoryGuard guard;
  const std::string name = guard.Name("schedule");
  MutexHandleData* mine = CreateMutex(false, name.c_str());
  ASSERT_NE(mine, nullptr);
  struct Run {
    uint32_t count, ms;
  };
  struct Case {
    uint32_t timeout;
    std::vector<Run> sleeps;  // the expected sleeps, as runs of equal steps
    size_t releaseAfter;      // 0: the peer holds throughout
    const char* reason;
  };
  const Case cases[] = {
      {0, {}, 0, "a timeout of 0 makes exactly one try"},
      {5, {{1, 5}}, 0, "never sleeps past the remaining time"},
      {100, {{10, 10}}, 0, "11 tries for 100 ms"},
      {125, {{10, 10}, {1, 25}}, 0, "the 11th sleep is cut to what remains"},
      {600, {{10, 10}, {10, 50}}, 0, "50 ms steps from the 11th try"},
      {2250, {{10, 10}, {40, 50}, {1, 100}, {1, 50}}, 0, "100 ms steps from the 51st try"},
      {1000, {{3, 10}}, 3, "a lock freed while sleeping is had on the next try"},
  };
  const MutexSleeper previous = SetMutexSleeper(&RecordingSleeper);
  for (const Case& c : cases) {
    Peer peer(MutexDirectoryGuard::Path(name));
    ASSERT_TRUE(peer.TryLock());
    g_sleeps.clear();
    g_releaseAt = c.releaseAfter ? &peer : nullptr;
    g_releaseAfter = c.releaseAfter;
    errno = 0;
    const bool got = WaitForMutex(mine, c.timeout);
    std::vector<uint32_t> expected;
    for (const Run& run : c.sleeps) expected.insert(expected.end(), run.count, run.ms);
    EXPECT_EQ(g_sleeps, expected) << c.reason;
    EXPECT_EQ(got, c.releaseAfter != 0) << c.reason;
    const int error = errno;
    if (got) {
      EXPECT_TRUE(DropMutex(mine));
    } else {
      EXPECT_EQ(error, kWaitTimeoutError) << c.reason;
    }
  }
  g_releaseAt = nullptr;

  // An infinite wait blocks in the system instead of sleeping in steps.
  Peer peer(MutexDirectoryGuard::Path(name));
  ASSERT_TRUE(peer.TryLock());
  g_sleeps.clear();
  std::thread releaser([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    peer.Unlock();
  });
  EXPECT_TRUE(WaitForMutex(mine, kInfinite));
  releaser.join();
  EXPECT_TRUE(g_sleeps.empty());
  EXPECT_TRUE(DropMutex(mine));
  SetMutexSleeper(previous);
  CloseMutex(mine);
}

void IgnoreSignal(int) {}

TEST(NamedMutex, SignalsDoNotShortenATimedWait) {
  MutexDirectoryGuard guard;
  const std::string name = guard.Name("signals");
  MutexHandleData* mine = CreateMutex(false, name.c_str());
  ASSERT_NE(mine, nullptr);
  Peer peer(MutexDirectoryGuard::Path(name));
  ASSERT_TRUE(peer.TryLock());
  struct sigaction action {
  }, previous{};
  action.sa_handler = &IgnoreSignal;  // no SA_RESTART: every signal interrupts the sleep
  sigaction(SIGUSR1, &action, &previous);
  const pthread_t waiter = pthread_self();
  std::atomic<bool> done{false};
  std::thread pest([&] {
    while (!done) {
      pthread_kill(waiter, SIGUSR1);
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
  });
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(WaitForMutex(mine, 150));
  const int error = errno;
  const auto elapsed = std::chrono::steady_clock::now() - start;
  done = true;
  pest.join();
  sigaction(SIGUSR1, &previous, nullptr);
  EXPECT_EQ(error, kWaitTimeoutError);
  // A lower bound only: interrupted sleeps that were not resumed would end the wait early.
  EXPECT_GE(elapsed, std::chrono::milliseconds(150));
  CloseMutex(mine);
}

int HoldAndEnd(Thread&, void* context) {
  const auto* name = static_cast<const std::string*>(context);
  MutexHandleData* handle = CreateMutex(false, name->c_str());
  if (handle == nullptr || OpenMutex(name->c_str()) != handle) return -1;
  if (!WaitForMutex(handle, 0) || !WaitForMutex(handle, 0)) return -2;
  return handle->fd;  // ends holding it twice, opened twice, closed never
}

TEST(NamedMutex, AThreadsHandlesAreReleasedAtItsEnd) {
  MutexDirectoryGuard guard;
  const std::string name = guard.Name("thread-end");
  const std::string path = MutexDirectoryGuard::Path(name);
  for (int round = 0; round < 3; ++round) {
    Thread worker;
    ASSERT_TRUE(worker.Start(&HoldAndEnd, const_cast<std::string*>(&name)));
    ASSERT_TRUE(worker.Join());
    const int fd = worker.GetExitCode();
    ASSERT_GE(fd, 0);
    EXPECT_TRUE(IsFreeFor(path)) << "round " << round;
    struct stat byFd, byPath;
    ASSERT_EQ(stat(path.c_str(), &byPath), 0);
    EXPECT_TRUE(fstat(fd, &byFd) != 0 || byFd.st_ino != byPath.st_ino) << "the thread's file was closed";
  }
}

std::string g_lateName;
std::atomic<int> g_lateResult{0};
void UseMutexLate() {  // runs after the thread's own handle list was released
  MutexHandleData* handle = CreateMutex(false, g_lateName.c_str());
  const bool ok = handle != nullptr && OpenMutex(g_lateName.c_str()) == handle && handle->openCount == 2 &&
                  WaitForMutex(handle, 0) && DropMutex(handle) && CloseMutex(handle) && CloseMutex(handle);
  g_lateResult = ok ? 1 : -1;
}

TEST(NamedMutex, ThreadExitHandlersAfterTheReleaseStillWork) {
  MutexDirectoryGuard guard;
  g_lateName = guard.Name("late");
  std::thread([] {
    MutexHandleData* own = CreateMutex(false, g_lateName.c_str());  // the thread's list exists
    ASSERT_TRUE(own != nullptr && WaitForMutex(own, 0));
    SetThreadExitHandler(&UseMutexLate, -100);  // after the list's release at priority 0
  }).join();
  EXPECT_EQ(g_lateResult.load(), 1) << "the late handler had the shared fallback list";
  EXPECT_TRUE(IsFreeFor(MutexDirectoryGuard::Path(g_lateName)));
}

TEST(NamedMutex, LinksAndFilesThatAreNotRegularAreRefused) {
  MutexDirectoryGuard guard;
  char scratch[] = "/tmp/orvgui-mutex-target-XXXXXX";
  ASSERT_NE(mkdtemp(scratch), nullptr);
  const std::string target = std::string(scratch) + "/victim";
  close(open(target.c_str(), O_WRONLY | O_CREAT, 0600));
  MutexHandleData* prime = CreateMutex(false, guard.Name("prime").c_str());  // makes the directory
  ASSERT_NE(prime, nullptr);
  CloseMutex(prime);

  const std::string link = guard.Name("link"), dirLink = guard.Name("dir-link"), fifo = guard.Name("fifo"),
                    directory = guard.Name("directory");
  ASSERT_EQ(symlink(target.c_str(), MutexDirectoryGuard::Path(link).c_str()), 0);
  ASSERT_EQ(symlink(scratch, MutexDirectoryGuard::Path(dirLink).c_str()), 0);
  ASSERT_EQ(mkfifo(MutexDirectoryGuard::Path(fifo).c_str(), 0666), 0);
  ASSERT_EQ(mkdir(MutexDirectoryGuard::Path(directory).c_str(), 0777), 0);
  struct Case {
    std::string name;
    int error;
    const char* reason;
  };
  const Case cases[] = {
      {link, ELOOP, "a link at the file's place"},
      {dirLink + "/victim", ELOOP, "a link on the way to the file"},
      {dirLink + "/fresh", ELOOP, "nothing is created through a link"},
      {fifo, EINVAL, "a FIFO (opened without hanging)"},
      {directory, EISDIR, "a directory"},
  };
  for (const Case& c : cases)
    for (const bool create : {true, false}) {
      errno = 0;
      EXPECT_EQ(create ? CreateMutex(false, c.name.c_str()) : OpenMutex(c.name.c_str()), nullptr) << c.reason;
      EXPECT_EQ(errno, c.error) << c.reason << (create ? " (create)" : " (open)");
    }
  struct stat status;
  EXPECT_EQ(stat(target.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600u) << "the link's target was not touched";
  EXPECT_TRUE(IsFreeFor(target));
  EXPECT_NE(stat((std::string(scratch) + "/fresh").c_str(), &status), 0);
  unlink(target.c_str());
  rmdir(scratch);
}

void TenthSleeper(uint32_t milliseconds) { usleep(milliseconds * 100); }

TEST(NamedMutex, ListWaitsTakeAllOrNothingWithoutDeadlock) {
  MutexDirectoryGuard guard;
  const std::string a = guard.Name("list-a"), b = guard.Name("list-b");
  MutexHandleData* ha = CreateMutex(false, a.c_str());
  MutexHandleData* hb = CreateMutex(false, b.c_str());
  ASSERT_TRUE(ha != nullptr && hb != nullptr);

  MutexHandleData* const withNull[] = {ha, nullptr};
  EXPECT_FALSE(WaitForMutexList(withNull, 2, 0) || WaitForMutexList(withNull, 0, 0) || WaitForMutexList(nullptr, 1, 0));
  EXPECT_EQ(errno, EINVAL);

  Peer peer(MutexDirectoryGuard::Path(b));
  ASSERT_TRUE(peer.TryLock());
  MutexHandleData* const both[] = {hb, ha};
  EXPECT_FALSE(Wait(both, 2, 30));
  EXPECT_EQ(errno, kWaitTimeoutError);
  EXPECT_EQ(ha->lockDepth, 0u) << "what was taken is given back";
  EXPECT_TRUE(IsFreeFor(MutexDirectoryGuard::Path(a)));
  peer.Unlock();

  MutexHandleData* const twice[] = {hb, ha, ha};
  ASSERT_TRUE(WaitForMutexList(twice, 3, 0));
  EXPECT_EQ(ha->lockDepth, 2u);
  EXPECT_EQ(hb->lockDepth, 1u);
  EXPECT_FALSE(IsFreeFor(MutexDirectoryGuard::Path(b)));
  DropMutex(ha);
  DropMutex(ha);
  DropMutex(hb);

  // Opposite orders on two threads at once. Taken in the given order, each thread would hold
  // one and wait for the other until both time out; taken by name, every wait succeeds. The
  // sleeper shortens the steps tenfold, so a deadlock shows as a failure within seconds.
  const MutexSleeper previous = SetMutexSleeper(&TenthSleeper);
  std::atomic<int> ready{0};
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (const bool reversed : {false, true})
    threads.emplace_back([&, reversed] {
      MutexHandleData* x = OpenMutex(a.c_str());
      MutexHandleData* y = OpenMutex(b.c_str());
      MutexHandleData* const list[] = {reversed ? y : x, reversed ? x : y};
      ++ready;
      while (ready < 2) std::this_thread::yield();
      for (int i = 0; i < 300 && failures == 0; ++i) {
        if (!WaitForMutexList(list, 2, 60000)) {
          ++failures;
          break;
        }
        DropMutex(x);
        DropMutex(y);
      }
      CloseMutex(x);
      CloseMutex(y);
    });
  for (std::thread& t : threads) t.join();
  SetMutexSleeper(previous);
  EXPECT_EQ(failures.load(), 0);
  CloseMutex(ha);
  CloseMutex(hb);
}

}  // namespace
}  // namespace OrvGuiBase
