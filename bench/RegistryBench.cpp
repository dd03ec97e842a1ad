// RegistryBench.cpp: the registry store beside the bare file system calls it stands on.
//
// Group "ValueRead": Registry::Read of one string value (key HKLM\Bench\Settings, two levels
// below the hive) beside the floor: open, read and close of the same file by its full path.
// Group "ValueWrite": Registry::Write of one value beside open (truncating), write and close.
// Target for both: within 1.5x of the floor.
// Group "Export": RegExport of a tree of 10,000 values (100 keys of 100 values) beside a plain
// walk that reads every value file and writes "name=value" lines to a FILE.
// Group "Import": RegImport of that export beside making the same 100 directories and 10,000
// files straight from memory (mkdir, open, write, close).
// Everything lives in a fresh temporary registry root, removed at exit.
#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "base/registry/RegistryText.h"

using namespace OrvGuiBase;

namespace {

constexpr int kKeys = 100;
constexpr int kValuesPerKey = 100;

class BenchRoot {
 public:
  BenchRoot() {
    char pattern[] = "/tmp/orvgui-regbench-XXXXXX";
    if (::mkdtemp(pattern) == nullptr) return;
    m_dir = pattern;
    Internal::SetRegRoot((m_dir + "/root").c_str(), "bench");
    Registry(AnsiStr("HKLM\\Bench\\Settings")).Write("", "port", AnsiStr("8080"));
  }
  ~BenchRoot() {
    std::error_code ignored;
    if (!m_dir.empty()) std::filesystem::remove_all(m_dir, ignored);
  }
  std::string ValueFile() const { return m_dir + "/root/machine/Bench/Settings/port"; }
  std::string Path(const char* tail) const { return m_dir + "/" + tail; }
  // Tree: the 10,000 values below HKLM\Tree, made once.
  void Tree() {
    if (m_tree) return;
    m_tree = true;
    const Registry tree(AnsiStr("HKLM\\Tree"));
    char key[32], name[32], value[64];
    for (int k = 0; k < kKeys; ++k)
      for (int v = 0; v < kValuesPerKey; ++v) {
        snprintf(key, sizeof key, "Key%03d", k);
        snprintf(name, sizeof name, "Value%03d", v);
        snprintf(value, sizeof value, "text of value %d in key %d", v, k);
        tree.Write(key, name, AnsiStr(value));
      }
  }

 private:
  std::string m_dir;
  bool m_tree = false;
};

BenchRoot& Root() {
  static BenchRoot root;
  return root;
}

void ValueRead_orvgui(benchmark::State& state) {
  const Registry reg(AnsiStr("HKLM\\Bench\\Settings"));
  const AnsiStr name("port");
  AnsiStr value;
  Root();
  for (auto _ : state) {
    reg.Read(AnsiStr(), name, value);
    benchmark::DoNotOptimize(value.GetStr());
  }
  if (value != "8080") state.SkipWithError("wrong value");
}

void ValueRead_syscalls(benchmark::State& state) {
  const std::string path = Root().ValueFile();
  char buffer[4096];
  for (auto _ : state) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const ssize_t got = ::read(fd, buffer, sizeof buffer);
    ::close(fd);
    benchmark::DoNotOptimize(got);
  }
}

void ValueWrite_orvgui(benchmark::State& state) {
  const Registry reg(AnsiStr("HKLM\\Bench\\Settings"));
  const AnsiStr name("port"), value("8080");
  Root();
  for (auto _ : state) benchmark::DoNotOptimize(reg.Write(AnsiStr(), name, value));
}

void ValueWrite_syscalls(benchmark::State& state) {
  const std::string path = Root().ValueFile();
  for (auto _ : state) {
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    const ssize_t put = ::write(fd, "8080", 4);
    ::close(fd);
    benchmark::DoNotOptimize(put);
  }
}

void Export_orvgui(benchmark::State& state) {
  Root().Tree();
  const File file(AnsiStr(Root().Path("tree.reg").c_str()));
  for (auto _ : state)
    if (!RegExport(file, RegPath("HKLM\\Tree"), {})) state.SkipWithError("export failed");
}

void Export_walk(benchmark::State& state) {
  Root().Tree();
  const std::string top = Root().Path("root/machine/Tree");
  const std::string out = Root().Path("walk.txt");
  char buffer[4096];
  for (auto _ : state) {
    FILE* file = fopen(out.c_str(), "w");
    DIR* keys = opendir(top.c_str());
    while (const dirent* key = readdir(keys)) {
      if (key->d_name[0] == '.') continue;
      const std::string dir = top + "/" + key->d_name;
      fprintf(file, "[%s]\n", key->d_name);
      DIR* values = opendir(dir.c_str());
      while (const dirent* value = readdir(values)) {
        if (value->d_name[0] == '.') continue;
        const int fd = ::open((dir + "/" + value->d_name).c_str(), O_RDONLY | O_CLOEXEC);
        const ssize_t got = ::read(fd, buffer, sizeof buffer);
        ::close(fd);
        fprintf(file, "%s=%.*s\n", value->d_name, static_cast<int>(got > 0 ? got : 0), buffer);
      }
      closedir(values);
    }
    closedir(keys);
    fclose(file);
  }
}

void Import_orvgui(benchmark::State& state) {
  Root().Tree();
  const File file(AnsiStr(Root().Path("tree.reg").c_str()));
  if (!RegExport(file, RegPath("HKLM\\Tree"), {})) state.SkipWithError("export failed");
  for (auto _ : state)
    if (!RegImport(file, nullptr, nullptr, true, false)) state.SkipWithError("import failed");
}

void Import_syscalls(benchmark::State& state) {
  const std::string top = Root().Path("plain");
  ::mkdir(top.c_str(), 0777);
  char value[64];
  for (auto _ : state) {
    for (int k = 0; k < kKeys; ++k) {
      const std::string dir = top + "/Key" + std::to_string(k);
      ::mkdir(dir.c_str(), 0777);
      for (int v = 0; v < kValuesPerKey; ++v) {
        const int n = snprintf(value, sizeof value, "text of value %d in key %d", v, k);
        const int fd = ::open((dir + "/Value" + std::to_string(v)).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        benchmark::DoNotOptimize(::write(fd, value, static_cast<size_t>(n)));
        ::close(fd);
      }
    }
  }
}

}  // namespace

BENCHMARK(ValueRead_orvgui)->Name("ValueRead/orvgui");
BENCHMARK(ValueRead_syscalls)->Name("ValueRead/syscalls");
BENCHMARK(ValueWrite_orvgui)->Name("ValueWrite/orvgui");
BENCHMARK(ValueWrite_syscalls)->Name("ValueWrite/syscalls");
BENCHMARK(Export_orvgui)->Name("Export/orvgui")->Unit(benchmark::kMillisecond);
BENCHMARK(Export_walk)->Name("Export/walk")->Unit(benchmark::kMillisecond);
BENCHMARK(Import_orvgui)->Name("Import/orvgui")->Unit(benchmark::kMillisecond);
BENCHMARK(Import_syscalls)->Name("Import/syscalls")->Unit(benchmark::kMillisecond);
