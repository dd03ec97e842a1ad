// StreamBench.cpp: line reading and file copying beside the tools a program would otherwise use.
//
// Group "ReadLnFast": FastReadStream::ReadLn over a 100 MiB text file beside std::getline on an
// std::ifstream and fgets on a FILE (4 KiB line buffer). Target: at least 1.5x std::getline.
// Group "ReadLnStream": ReadStream::ReadLn over the same file beside the same peers.
// Group "FileCopy": File::Copy of a 1 GiB file beside cp(1) run as a process (real time).
// Every reader counts lines and bytes, so all do the same work. The files are made on first use
// in a fresh temporary directory, which is removed at exit. (Directory iteration is measured by
// DirectoryBench.cpp.)
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "base/fs/FastStream.h"
#include "base/fs/Stream.h"

extern char** environ;

namespace {

constexpr size_t kTextBytes = 100u << 20;
constexpr size_t kCopyBytes = 1u << 30;

// BenchFiles: the temporary directory and the files in it, made when first asked for.
class BenchFiles {
 public:
  BenchFiles() {
    char pattern[] = "/tmp/orvgui-streambench-XXXXXX";
    if (::mkdtemp(pattern) != nullptr) m_dir = pattern;
  }
  ~BenchFiles() {
    std::error_code ignored;
    if (!m_dir.empty()) std::filesystem::remove_all(m_dir, ignored);
  }
  // Text: lines of 0 to 149 printable characters, some ending in "\r\n".
  const std::string& Text() {
    if (m_text.empty() && !m_dir.empty()) {
      m_text = m_dir + "/text.txt";
      std::string content;
      content.reserve(kTextBytes + 256);
      unsigned seed = 12345;
      while (content.size() < kTextBytes) {
        seed = seed * 1103515245u + 12345u;
        const unsigned length = (seed >> 16) % 150;
        for (unsigned i = 0; i < length; ++i) content += static_cast<char>('!' + (i * 7 + seed) % 90);
        if ((seed & 7) == 0) content += '\r';
        content += '\n';
      }
      std::ofstream(m_text, std::ios::binary).write(content.data(), static_cast<std::streamsize>(content.size()));
    }
    return m_text;
  }
  // CopySource: kCopyBytes of varied bytes.
  const std::string& CopySource() {
    if (m_copy.empty() && !m_dir.empty()) {
      m_copy = m_dir + "/copy.src";
      std::string block(1 << 20, 0);
      for (size_t i = 0; i < block.size(); ++i) block[i] = static_cast<char>(i * 131 + (i >> 9));
      std::ofstream out(m_copy, std::ios::binary);
      for (size_t done = 0; done < kCopyBytes; done += block.size())
        out.write(block.data(), static_cast<std::streamsize>(block.size()));
    }
    return m_copy;
  }
  std::string Target() const { return m_dir + "/copy.dst"; }

 private:
  std::string m_dir, m_text, m_copy;
};

BenchFiles& Files() {
  static BenchFiles files;
  return files;
}

void Finish(benchmark::State& state, size_t lines, size_t bytes) {
  if (lines == 0) state.SkipWithError("nothing read");
  benchmark::DoNotOptimize(lines);
  benchmark::DoNotOptimize(bytes);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kTextBytes));
}

void ReadLn_FastReadStream(benchmark::State& state) {
  const OrvGuiBase::File file(Files().Text().c_str());
  size_t lines = 0, bytes = 0;
  for (auto _ : state) {
    OrvGuiBase::FastReadStream in(file, OrvGuiBase::kFastReadSequential);
    for (OrvGuiBase::AnsiStr line; in.ReadLn(line);) {
      ++lines;
      bytes += line.GetLength();
    }
  }
  Finish(state, lines, bytes);
}

void ReadLn_ReadStream(benchmark::State& state) {
  const OrvGuiBase::File file(Files().Text().c_str());
  size_t lines = 0, bytes = 0;
  for (auto _ : state) {
    OrvGuiBase::ReadStream in(file, OrvGuiBase::kReadBinary);
    for (OrvGuiBase::AnsiStr line; in.ReadLn(line);) {
      ++lines;
      bytes += line.GetLength();
    }
  }
  Finish(state, lines, bytes);
}

void ReadLn_getline(benchmark::State& state) {
  const std::string& path = Files().Text();
  size_t lines = 0, bytes = 0;
  for (auto _ : state) {
    std::ifstream in(path, std::ios::binary);
    for (std::string line; std::getline(in, line);) {
      if (!line.empty() && line.back() == '\r') line.pop_back();
      ++lines;
      bytes += line.size();
    }
  }
  Finish(state, lines, bytes);
}

void ReadLn_fgets(benchmark::State& state) {
  const std::string& path = Files().Text();
  size_t lines = 0, bytes = 0;
  char buffer[4096];
  for (auto _ : state) {
    FILE* in = std::fopen(path.c_str(), "rb");
    if (in == nullptr) break;
    while (std::fgets(buffer, sizeof buffer, in) != nullptr) {
      size_t length = std::strlen(buffer);
      if (length != 0 && buffer[length - 1] == '\n') --length;
      if (length != 0 && buffer[length - 1] == '\r') --length;
      ++lines;
      bytes += length;
    }
    std::fclose(in);
  }
  Finish(state, lines, bytes);
}

BENCHMARK(ReadLn_FastReadStream)->Name("ReadLnFast/orvgui")->Unit(benchmark::kMillisecond);
BENCHMARK(ReadLn_getline)->Name("ReadLnFast/std_getline")->Unit(benchmark::kMillisecond);
BENCHMARK(ReadLn_fgets)->Name("ReadLnFast/fgets")->Unit(benchmark::kMillisecond);
BENCHMARK(ReadLn_ReadStream)->Name("ReadLnStream/orvgui")->Unit(benchmark::kMillisecond);
BENCHMARK(ReadLn_getline)->Name("ReadLnStream/std_getline")->Unit(benchmark::kMillisecond);
BENCHMARK(ReadLn_fgets)->Name("ReadLnStream/fgets")->Unit(benchmark::kMillisecond);

void FileCopy_orvgui(benchmark::State& state) {
  const OrvGuiBase::File source(Files().CopySource().c_str());
  const OrvGuiBase::File target(Files().Target().c_str());
  for (auto _ : state)
    if (!source.Copy(target, false)) state.SkipWithError("copy failed");
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kCopyBytes));
}

void FileCopy_cp(benchmark::State& state) {
  std::string source = Files().CopySource(), target = Files().Target();
  char cp[] = "cp";
  char* argv[] = {cp, source.data(), target.data(), nullptr};
  for (auto _ : state) {
    pid_t child = 0;
    int status = 0;
    if (::posix_spawnp(&child, "cp", nullptr, nullptr, argv, environ) != 0 || ::waitpid(child, &status, 0) != child ||
        !WIFEXITED(status) || WEXITSTATUS(status) != 0)
      state.SkipWithError("cp failed");
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kCopyBytes));
}

BENCHMARK(FileCopy_orvgui)->Name("FileCopy/orvgui")->UseRealTime()->Iterations(4)->Unit(benchmark::kMillisecond);
BENCHMARK(FileCopy_cp)->Name("FileCopy/cp")->UseRealTime()->Iterations(4)->Unit(benchmark::kMillisecond);

}  // namespace
