// TestProcess.h: run a real program and collect its exit status, standard output and error.
//
//   ProcessResult r = RunProcess({ORVGUI_TEST_TOOL, "info"}, {"LOGTYPE=stderr"});
//   EXPECT_EQ(r.status, 0);
//
// The environment is the test's own plus the given NAME=VALUE entries (which replace existing
// ones). Output is read through pipes until both close; the child cannot hang the test for
// longer than the timeout, after which it is killed. BackgroundProcess keeps a program running
// beside the test (a lock holder, a server) and reads its output line by line.
#pragma once

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

extern char** environ;

struct ProcessResult {
  int status = -1;      // exit status, or 128 + signal
  std::string out;
  std::string err;
};

inline ProcessResult RunProcess(const std::vector<std::string>& args, const std::vector<std::string>& env = {},
                                int timeoutSeconds = 60) {
  ProcessResult result;
  std::vector<std::string> environment;
  for (char** e = environ; *e != nullptr; ++e) {
    const std::string entry = *e;
    const std::string name = entry.substr(0, entry.find('='));
    bool replaced = false;
    for (const std::string& extra : env)
      if (extra.substr(0, extra.find('=')) == name) replaced = true;
    if (!replaced) environment.push_back(entry);
  }
  for (const std::string& extra : env) environment.push_back(extra);
  std::vector<char*> argv, envp;
  for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  for (const std::string& e : environment) envp.push_back(const_cast<char*>(e.c_str()));
  envp.push_back(nullptr);

  int out[2], err[2];
  if (pipe(out) != 0 || pipe(err) != 0) return result;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, out[1], 1);
  posix_spawn_file_actions_adddup2(&actions, err[1], 2);
  posix_spawn_file_actions_addclose(&actions, out[0]);
  posix_spawn_file_actions_addclose(&actions, err[0]);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", 0, 0);
  pid_t pid = -1;
  const int rc = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), envp.data());
  posix_spawn_file_actions_destroy(&actions);
  close(out[1]);
  close(err[1]);
  if (rc != 0) {
    close(out[0]);
    close(err[0]);
    result.err = std::string("spawn failed: ") + strerror(rc);
    return result;
  }
  pollfd fds[2] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}};
  std::string* sinks[2] = {&result.out, &result.err};
  int open = 2;
  const time_t deadline = time(nullptr) + timeoutSeconds;
  while (open > 0 && time(nullptr) < deadline) {
    if (poll(fds, 2, 1000) <= 0) continue;
    for (int i = 0; i < 2; ++i) {
      if (fds[i].fd < 0 || fds[i].revents == 0) continue;
      char buffer[4096];
      const ssize_t got = read(fds[i].fd, buffer, sizeof buffer);
      if (got > 0) {
        sinks[i]->append(buffer, static_cast<size_t>(got));
      } else {
        close(fds[i].fd);
        fds[i].fd = -1;
        --open;
      }
    }
  }
  if (open > 0) kill(pid, SIGKILL);
  for (pollfd& fd : fds)
    if (fd.fd >= 0) close(fd.fd);
  int status = 0;
  waitpid(pid, &status, 0);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result;
}

// LineWith: the first line of text that starts with prefix, without the prefix; "" if none.
inline std::string LineWith(const std::string& text, const std::string& prefix) {
  size_t at = 0;
  while (at < text.size()) {
    size_t end = text.find('\n', at);
    if (end == std::string::npos) end = text.size();
    if (text.compare(at, prefix.size(), prefix) == 0) return text.substr(at + prefix.size(), end - at - prefix.size());
    at = end + 1;
  }
  return "";
}

// BackgroundProcess: a program left running while the test goes on, in a process group of its
// own, with its standard output readable line by line (standard error is the test's).
//
//   BackgroundProcess holder({"/usr/bin/flock", path, "sh", "-c", "echo held; exec sleep 60"});
//   ASSERT_TRUE(holder.WaitForLine("held"));
//   holder.KillGroup(SIGKILL);
class BackgroundProcess {
 public:
  explicit BackgroundProcess(const std::vector<std::string>& args) {
    std::vector<char*> argv;
    for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    int out[2];
    if (pipe(out) != 0) return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_addclose(&actions, out[0]);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", 0, 0);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    if (posix_spawn(&m_pid, argv[0], &actions, &attributes, argv.data(), environ) != 0) m_pid = -1;
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    close(out[1]);
    m_out = out[0];
  }
  ~BackgroundProcess() {
    if (m_pid > 0) {
      KillGroup(SIGKILL);
      Wait();
    }
    if (m_out >= 0) close(m_out);
  }
  BackgroundProcess(const BackgroundProcess&) = delete;
  BackgroundProcess& operator=(const BackgroundProcess&) = delete;

  pid_t GetPid() const { return m_pid; }

  // WaitForLine: reads output until a line equal to line arrived; false at its end or timeout.
  bool WaitForLine(const std::string& line, int timeoutSeconds = 30) {
    const time_t deadline = time(nullptr) + timeoutSeconds;
    while (time(nullptr) < deadline) {
      for (size_t end; (end = m_buffer.find('\n')) != std::string::npos;) {
        const std::string got = m_buffer.substr(0, end);
        m_buffer.erase(0, end + 1);
        if (got == line) return true;
      }
      pollfd fd = {m_out, POLLIN, 0};
      if (poll(&fd, 1, 1000) <= 0) continue;
      char buffer[256];
      const ssize_t got = read(m_out, buffer, sizeof buffer);
      if (got <= 0) return false;
      m_buffer.append(buffer, static_cast<size_t>(got));
    }
    return false;
  }

  void Signal(int signal) const {
    if (m_pid > 0) kill(m_pid, signal);
  }
  void KillGroup(int signal) const {
    if (m_pid > 0) kill(-m_pid, signal);
  }
  // Wait: the exit status (128 + signal when a signal ended it), once.
  int Wait() {
    int status = 0;
    if (m_pid <= 0 || waitpid(m_pid, &status, 0) != m_pid) return -1;
    m_pid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

 private:
  pid_t m_pid = -1;
  int m_out = -1;
  std::string m_buffer;
};

// FindProgram: the full path of a program found along PATH, or "".
inline std::string FindProgram(const std::string& name) {
  const char* path = getenv("PATH");
  std::string list = path != nullptr ? path : "/usr/bin:/bin";
  for (size_t at = 0; at <= list.size();) {
    size_t end = list.find(':', at);
    if (end == std::string::npos) end = list.size();
    const std::string candidate = list.substr(at, end - at) + "/" + name;
    if (access(candidate.c_str(), X_OK) == 0) return candidate;
    at = end + 1;
  }
  return "";
}
