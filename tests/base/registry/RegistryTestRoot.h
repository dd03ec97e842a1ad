// RegistryTestRoot.h: a private registry root per test.
//
// The library reads KRS_REGISTRY and KRS_USER once, when it loads; a test points it at a fresh
// temporary directory with Internal::SetRegRoot instead (user "tester"), and puts it back to
// what the environment says when done. Below the root sits "root/", the registry itself, and
// beside it "outside/", a directory that no registry operation may touch.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "base/process/Environment.h"
#include "base/registry/RegistryRoot.h"

namespace OrvGuiBase {

class RegistryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/orvgui-reg-XXXXXX";
    ASSERT_NE(::mkdtemp(pattern), nullptr);
    m_dir = pattern;
    m_root = m_dir + "/root";
    ASSERT_EQ(::mkdir(m_root.c_str(), 0755), 0);
    ASSERT_EQ(::mkdir(Outside().c_str(), 0755), 0);
    Put(Outside("canary"), "canary");
    Internal::SetRegRoot(m_root.c_str(), "tester");
  }
  void TearDown() override {
    Internal::SetRegRoot(GetEnv("KRS_REGISTRY"), GetEnv("KRS_USER"));
    std::error_code ignored;
    for (auto it = std::filesystem::recursive_directory_iterator(m_dir, ignored);
         it != std::filesystem::recursive_directory_iterator(); it.increment(ignored))
      if (!it->is_symlink())
        std::filesystem::permissions(it->path(), std::filesystem::perms::owner_all,
                                     std::filesystem::perm_options::add, ignored);
    std::filesystem::remove_all(m_dir, ignored);
  }

  // R: a path below the registry root ("machine/A/v"). Outside: a path in the outside directory.
  std::string R(const std::string& tail) const { return m_root + "/" + tail; }
  std::string Outside(const std::string& tail = "") const { return m_dir + "/outside" + (tail.empty() ? "" : "/" + tail); }

  static void Put(const std::string& path, const std::string& content) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << content;
  }
  static std::string Get(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  static bool IsFile(const std::string& path) { return std::filesystem::is_regular_file(std::filesystem::symlink_status(path)); }
  static bool IsDir(const std::string& path) { return std::filesystem::is_directory(std::filesystem::symlink_status(path)); }
  static bool Missing(const std::string& path) {
    struct stat status;
    return ::lstat(path.c_str(), &status) != 0;
  }

  // Snapshot: every entry below dir with its kind and content, sorted: two equal snapshots
  // are the same tree, byte for byte.
  static std::vector<std::string> Snapshot(const std::string& dir) {
    std::vector<std::string> entries;
    std::error_code ignored;
    for (auto it = std::filesystem::recursive_directory_iterator(dir, ignored);
         it != std::filesystem::recursive_directory_iterator(); it.increment(ignored)) {
      const std::string rel = it->path().string().substr(dir.size());
      if (it->is_symlink()) entries.push_back("L " + rel);
      else if (it->is_directory()) entries.push_back("D " + rel);
      else entries.push_back("F " + rel + " = " + Get(it->path().string()));
    }
    std::sort(entries.begin(), entries.end());
    return entries;
  }
  // OutsideUntouched: the outside directory still holds the canary and nothing else, and
  // nothing appeared beside the root and the outside directory (but the tests' own ".reg"
  // files).
  bool OutsideUntouched() const {
    const std::vector<std::string> expected = {"F /canary = canary"};
    if (Snapshot(Outside()) != expected) return false;
    size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(m_dir))
      if (entry.path().extension() != ".reg") ++count;
    return count == 2;
  }

  std::string m_dir;   // the test's temporary directory
  std::string m_root;  // the registry root in it
};

}  // namespace OrvGuiBase
