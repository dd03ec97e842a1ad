// Fuzz target: registry import of arbitrary text into a private root.
//
// The root holds a link to a directory beside it (a planted link), and that directory holds a
// canary file. Whatever the text says, after the import the canary directory must hold exactly
// the canary, and nothing may have appeared beside the root; the import itself must neither
// crash nor hang. The registry tree is emptied after every input so that it does not grow.
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "base/registry/RegistryText.h"

using namespace OrvGuiBase;

namespace {

std::string g_dir;

void Check(bool condition) {
  if (!condition) abort();
}

void Write(const std::string& path, const uint8_t* data, size_t size) {
  std::ofstream(path, std::ios::binary | std::ios::trunc).write(reinterpret_cast<const char*>(data),
                                                                 static_cast<std::streamsize>(size));
}

void Prepare() {
  char pattern[] = "/tmp/orvgui-fuzz-reg-XXXXXX";
  Check(mkdtemp(pattern) != nullptr);
  g_dir = pattern;
  Check(mkdir((g_dir + "/root").c_str(), 0755) == 0);
  Check(mkdir((g_dir + "/outside").c_str(), 0755) == 0);
  std::ofstream(g_dir + "/outside/canary") << "canary";
  Check(mkdir((g_dir + "/root/machine").c_str(), 0755) == 0);
  Check(symlink((g_dir + "/outside").c_str(), (g_dir + "/root/machine/Link").c_str()) == 0);
  Internal::SetRegRoot((g_dir + "/root").c_str(), "fuzz");
  atexit([] {
    std::error_code ignored;
    std::filesystem::remove_all(g_dir, ignored);
  });
}

// Clean: empties the registry, keeping the planted link.
void Clean() {
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(g_dir + "/root", ignored))
    if (entry.path().filename() != "machine") std::filesystem::remove_all(entry.path(), ignored);
  for (const auto& entry : std::filesystem::directory_iterator(g_dir + "/root/machine", ignored))
    if (entry.path().filename() != "Link") std::filesystem::remove_all(entry.path(), ignored);
}

void CheckOutside() {
  size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(g_dir + "/outside")) {
    Check(entry.path().filename() == "canary" && entry.is_regular_file());
    ++count;
  }
  Check(count == 1);
  std::ifstream in(g_dir + "/outside/canary");
  std::string content;
  std::getline(in, content);
  Check(content == "canary");
  count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(g_dir)) {
    const std::string name = entry.path().filename();
    Check(name == "root" || name == "outside" || name == "in.reg");
    ++count;
  }
  Check(count <= 3);
  struct stat status;
  Check(lstat((g_dir + "/root/machine/Link").c_str(), &status) == 0 && S_ISLNK(status.st_mode));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (g_dir.empty()) Prepare();
  const std::string file = g_dir + "/in.reg";
  Write(file, data, size);
  RegImport(File(AnsiStr(file.c_str())), nullptr, nullptr, true, false);
  CheckOutside();
  Clean();
  return 0;
}
