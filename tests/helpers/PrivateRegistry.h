// PrivateRegistry.h: a registry of its own for every test process.
//
// The library fixes its registry root (KRS_REGISTRY) when it loads, so a test cannot move it
// afterwards. Including this header in a source of a test program makes the program, before
// main, run itself again with KRS_REGISTRY set to a new, empty temporary directory, which the
// second run removes when it exits. CTest runs every case as a process of its own, so each
// case starts with an empty registry that no other test sees, and nothing is ever written
// below the machine's own registry.
//
//   std::string root = PrivateRegistryRoot();    // the directory KRS_REGISTRY names
#pragma once

#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace orvgui_test {

inline constexpr const char* kPrivateRegistryVariable = "ORVGUI_TEST_PRIVATE_REGISTRY";

inline void RemovePrivateRegistry() {
  if (const char* root = getenv(kPrivateRegistryVariable)) {
    std::error_code ignored;
    std::filesystem::remove_all(root, ignored);
  }
}

inline int EnterPrivateRegistry() {
  const char* mine = getenv(kPrivateRegistryVariable);
  if (mine != nullptr && *mine != 0 && getenv("KRS_REGISTRY") != nullptr &&
      std::string(getenv("KRS_REGISTRY")) == mine) {
    atexit(RemovePrivateRegistry);
    return 0;
  }
  const char* tmp = getenv("TMPDIR");
  std::string pattern = std::string(tmp != nullptr && *tmp != 0 ? tmp : "/tmp") + "/orvgui-registry-XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr) {
    perror("mkdtemp");
    abort();
  }
  std::ifstream in("/proc/self/cmdline", std::ios::binary);
  const std::string line((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::vector<std::string> args;
  for (size_t at = 0; at < line.size();) {
    const size_t end = line.find('\0', at);
    args.push_back(line.substr(at, end - at));
    at = end == std::string::npos ? line.size() : end + 1;
  }
  std::vector<char*> argv;
  for (std::string& arg : args) argv.push_back(arg.data());
  argv.push_back(nullptr);
  setenv("KRS_REGISTRY", pattern.c_str(), 1);
  setenv(kPrivateRegistryVariable, pattern.c_str(), 1);
  execv("/proc/self/exe", argv.data());
  // Going on would write into the machine's registry: never.
  perror("execv /proc/self/exe");
  abort();
}

inline const int g_privateRegistry = EnterPrivateRegistry();

inline std::string PrivateRegistryRoot() { return getenv(kPrivateRegistryVariable); }

}  // namespace orvgui_test
