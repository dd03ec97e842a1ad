// DirectoryBench.cpp: listing a directory of 100,000 files.
//
// Group "DirectoryIteration" builds a FileIterator over the directory (every entry read, its
// full path made, the type checked) beside std::filesystem::directory_iterator doing the same
// work (full paths, regular-file check from the cached entry type). Target: within 1.2x.
// The directory is made once in a fresh temporary directory and removed at exit.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "base/fs/FileIterator.h"

namespace {

constexpr int kEntries = 100000;

// BenchDirectory: the temporary directory with kEntries empty files.
class BenchDirectory {
 public:
  BenchDirectory() {
    char pattern[] = "/tmp/orvgui-dirbench-XXXXXX";
    if (::mkdtemp(pattern) == nullptr) return;
    m_path = pattern;
    char name[64];
    for (int i = 0; i < kEntries; ++i) {
      std::snprintf(name, sizeof name, "/entry-%06d.dat", i);
      const int fd = ::open((m_path + name).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
      if (fd >= 0) ::close(fd);
    }
  }
  ~BenchDirectory() {
    std::error_code ignored;
    if (!m_path.empty()) std::filesystem::remove_all(m_path, ignored);
  }
  const std::string& Path() const { return m_path; }

 private:
  std::string m_path;
};

const std::string& Directory100k() {
  static BenchDirectory directory;
  return directory.Path();
}

void DirectoryIteration_orvgui(benchmark::State& state) {
  const OrvGuiBase::Directory directory(Directory100k().c_str());
  for (auto _ : state) {
    OrvGuiBase::FileIterator it(directory);
    unsigned count = 0;
    for (; it; it.ToNext()) count += it.GetPath().GetLength() != 0;
    if (count != kEntries) state.SkipWithError("wrong count");
    benchmark::DoNotOptimize(count);
  }
  state.SetItemsProcessed(state.iterations() * kEntries);
}
BENCHMARK(DirectoryIteration_orvgui)->Name("DirectoryIteration/orvgui")->Unit(benchmark::kMillisecond);

void DirectoryIteration_std(benchmark::State& state) {
  const std::filesystem::path directory(Directory100k());
  for (auto _ : state) {
    unsigned count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(directory))
      count += entry.is_regular_file() && !entry.path().native().empty();
    if (count != kEntries) state.SkipWithError("wrong count");
    benchmark::DoNotOptimize(count);
  }
  state.SetItemsProcessed(state.iterations() * kEntries);
}
BENCHMARK(DirectoryIteration_std)->Name("DirectoryIteration/std_filesystem")->Unit(benchmark::kMillisecond);

}  // namespace
