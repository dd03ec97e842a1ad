// ToolTestFiles.h: what the tool tests share: a temporary directory of their own, whole files
// written and read, and a shell that finds the orvgui tool in $TOOL.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "TestProcess.h"

namespace ToolTest {

// TempDir: a directory of its own under TMPDIR (or /tmp), named after prefix, removed with
// what it holds.
class TempDir {
 public:
  explicit TempDir(const char* prefix = "orvgui-tool") {
    const char* tmp = getenv("TMPDIR");
    std::string pattern = std::string(tmp != nullptr && *tmp != 0 ? tmp : "/tmp") + "/" + prefix + "-XXXXXX";
    if (mkdtemp(pattern.data()) != nullptr) m_path = pattern;
  }
  ~TempDir() {
    std::error_code ignored;
    if (!m_path.empty()) std::filesystem::remove_all(m_path, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  std::string operator/(const std::string& name) const { return m_path + "/" + name; }
  // Count: the entries in the directory.
  size_t Count() const {
    size_t n = 0;
    for (auto it = std::filesystem::directory_iterator(m_path); it != std::filesystem::directory_iterator(); ++it) ++n;
    return n;
  }

 private:
  std::string m_path;
};

inline void WriteFile(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary).write(content.data(), static_cast<std::streamsize>(content.size()));
}

inline std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Shell: runs a command line through /bin/sh; "$TOOL" is the orvgui tool.
inline ProcessResult Shell(const std::string& command) {
  return RunProcess({"/bin/sh", "-c", command}, {std::string("TOOL=") + ORVGUI_TEST_TOOL});
}

}  // namespace ToolTest
