// TestMutexDirectory.h: tests that use the machine's named-mutex directory, /tmp/.mutexes.
//
//   MutexDirectoryGuard guard;                       // one per test
//   const std::string name = guard.Name("busy");     // "orvgui-test-<pid>-busy", removed at the end
//
// The directory is the library's own fixed place, so tests use names of their own (with the
// process id) and remove every file they made; the directory itself is removed only when it
// did not exist before the test. The test programs that use it share the CTest resource lock
// "orvgui_mutex_directory", so that one test's clean-up never races another's set-up.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "base/core/NamedMutex.h"

class MutexDirectoryGuard {
 public:
  MutexDirectoryGuard() {
    struct stat status;
    m_existed = lstat(OrvGuiBase::GetMutexDirectory(), &status) == 0;
  }
  ~MutexDirectoryGuard() {
    for (auto it = m_paths.rbegin(); it != m_paths.rend(); ++it)
      if (unlink(it->c_str()) != 0) rmdir(it->c_str());
    if (!m_existed) rmdir(OrvGuiBase::GetMutexDirectory());
  }
  MutexDirectoryGuard(const MutexDirectoryGuard&) = delete;
  MutexDirectoryGuard& operator=(const MutexDirectoryGuard&) = delete;

  // Name: a mutex name unique to this process, whose file is removed at the end.
  std::string Name(const std::string& tag) {
    const std::string name = "orvgui-test-" + std::to_string(getpid()) + "-" + tag;
    Remove(name);
    return name;
  }
  // Remove: a name below the directory (a file, a link or an empty directory) to remove at the end.
  void Remove(const std::string& name) { m_paths.push_back(Path(name)); }
  // Path: the file of a name.
  static std::string Path(const std::string& name) { return OrvGuiBase::GetMutexFileName(name.c_str()).GetStr(); }
  // DirectoryExisted: whether the directory was there before the test.
  bool DirectoryExisted() const { return m_existed; }

 private:
  bool m_existed;
  std::vector<std::string> m_paths;
};
