// FsTestDirectory.h: a fresh temporary directory per test, removed with everything in it.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "base/text/AnsiStr.h"

namespace OrvGuiBase {

// TestPath: a path in the test directory, usable as text and as a path value.
struct TestPath : std::string {
  using std::string::string;
  TestPath(std::string s) : std::string(std::move(s)) {}  // NOLINT
  operator AnsiStr() const { return AnsiStr(c_str()); }  // NOLINT
};

class FsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/orvgui-fs-XXXXXX";
    ASSERT_NE(::mkdtemp(pattern), nullptr);
    m_root = pattern;
  }
  void TearDown() override {
    std::error_code ignored;
    // Give back owner rights first so that the removal cannot stop at a locked entry.
    for (auto it = std::filesystem::recursive_directory_iterator(m_root, ignored);
         it != std::filesystem::recursive_directory_iterator(); it.increment(ignored))
      if (!it->is_symlink()) std::filesystem::permissions(it->path(), std::filesystem::perms::owner_all,
                                                           std::filesystem::perm_options::add, ignored);
    std::filesystem::remove_all(m_root, ignored);
  }
  TestPath P(const std::string& tail) const { return TestPath(m_root + "/" + tail); }
  void Write(const std::string& tail, const std::string& content) const {
    std::ofstream(P(tail), std::ios::binary) << content;
  }
  std::string Read(const std::string& tail) const {
    std::ifstream in(P(tail), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

  std::string m_root;
};

}  // namespace OrvGuiBase
