// CompressBench.cpp: the codecs beside zlib and bzip2 on text, JSON and binary input.
//
// Groups "Deflate<Input>": Deflate at the default level 6 (zlib format) beside zlib's
// compress2 at level 6. Targets: at least 0.8x zlib's speed, output within 2% of zlib's size.
// Groups "Inflate<Input>": Inflate of zlib's level-6 stream beside zlib's uncompress. Target: at
// least 0.8x zlib's speed. Groups "Block<Input>": the block compressor beside bzip2 at level 9
// (both one-shot). Inputs: "Text" the RTF documents and the UTF-8 test text of the shared
// corpus, "Json" twitter.json and citm_catalog.json, "Binary" this benchmark program itself.
// Before the runs, one line per input and codec gives the output sizes:
// "size Deflate<Input>: input <n> orvgui <n> zlib <m> (orvgui/zlib = r)", the same for Block
// beside bzip2.
#include <benchmark/benchmark.h>
#include <bzlib.h>
#include <zlib.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "base/compress/BlockCompress.h"
#include "base/compress/Deflate.h"
#include "base/compress/Inflate.h"

namespace {

using namespace OrvGuiBase;
using Bytes = std::vector<uint8_t>;

Bytes ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::string Corpus() {
  for (const char* dir : {"../shared/corpus", "../../../shared/corpus", "../../shared/corpus", "/work/shared/corpus"}) {
    if (std::filesystem::exists(std::string(dir) + "/json/bench/twitter.json")) return dir;
  }
  return "/work/shared/corpus";
}

struct Inputs {
  Bytes text, json, binary;
  Inputs() {
    const std::string corpus = Corpus();
    std::vector<std::filesystem::path> files;
    for (const auto& e : std::filesystem::directory_iterator(corpus + "/rtf")) files.push_back(e.path());
    std::sort(files.begin(), files.end());
    files.push_back(corpus + "/utf8/UTF-8-test.txt");
    for (const auto& f : files) {
      Bytes b = ReadFile(f);
      text.insert(text.end(), b.begin(), b.end());
    }
    for (const char* name : {"twitter.json", "citm_catalog.json"}) {
      Bytes b = ReadFile(corpus + "/json/bench/" + name);
      json.insert(json.end(), b.begin(), b.end());
    }
    binary = ReadFile("/proc/self/exe");
  }
};

const Inputs& GetInputs() {
  static const Inputs inputs;
  return inputs;
}

const Bytes& Input(int which) {
  const Inputs& i = GetInputs();
  return which == 0 ? i.text : which == 1 ? i.json : i.binary;
}

Bytes ZlibCompress(const Bytes& in, int level) {
  uLongf size = compressBound(in.size());
  Bytes out(size);
  compress2(out.data(), &size, in.data(), in.size(), level);
  out.resize(size);
  return out;
}

void Deflate_orvgui(benchmark::State& state, int which) {
  const Bytes& in = Input(which);
  Bytes out;
  for (auto _ : state) {
    Deflate(DeflateFormat::kZlib, in.data(), in.size(), out, 6);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * in.size()));
  state.counters["out"] = static_cast<double>(out.size());
}

void Deflate_zlib(benchmark::State& state, int which) {
  const Bytes& in = Input(which);
  Bytes out;
  for (auto _ : state) {
    out = ZlibCompress(in, 6);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * in.size()));
  state.counters["out"] = static_cast<double>(out.size());
}

void Inflate_orvgui(benchmark::State& state, int which) {
  const Bytes& in = Input(which);
  const Bytes packed = ZlibCompress(in, 6);
  Bytes out;
  out.reserve(in.size());
  for (auto _ : state) {
    if (!Inflate(DeflateFormat::kZlib, packed.data(), packed.size(), out)) state.SkipWithError("inflate failed");
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * in.size()));
}

void Inflate_zlib(benchmark::State& state, int which) {
  const Bytes& in = Input(which);
  const Bytes packed = ZlibCompress(in, 6);
  Bytes out(in.size());
  for (auto _ : state) {
    uLongf size = out.size();
    if (uncompress(out.data(), &size, packed.data(), packed.size()) != Z_OK) state.SkipWithError("uncompress failed");
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * in.size()));
}

void Bzip2_compress(benchmark::State& state, int which) {
  const Bytes& in = Input(which);
  Bytes out(in.size() + in.size() / 100 + 600);
  unsigned size = 0;
  for (auto _ : state) {
    size = static_cast<unsigned>(out.size());
    BZ2_bzBuffToBuffCompress(reinterpret_cast<char*>(out.data()), &size,
                             const_cast<char*>(reinterpret_cast<const char*>(in.data())), static_cast<unsigned>(in.size()), 9,
                             0, 0);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * in.size()));
  state.counters["out"] = static_cast<double>(size);
}

void Block_orvgui(benchmark::State& state, int which) {
  const Bytes& in = Input(which);
  Bytes out;
  for (auto _ : state) {
    BlockCompress(in.data(), in.size(), out, 9);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * in.size()));
  state.counters["out"] = static_cast<double>(out.size());
}

const char* const kInputNames[] = {"Text", "Json", "Binary"};

// Registration: one group per codec and input, sizes printed first.
struct Registrar {
  Registrar() {
    for (int which = 0; which < 3; ++which) {
      const std::string input = kInputNames[which];
      benchmark::RegisterBenchmark(("Deflate" + input + "/orvgui").c_str(), Deflate_orvgui, which)->Unit(benchmark::kMillisecond);
      benchmark::RegisterBenchmark(("Deflate" + input + "/zlib").c_str(), Deflate_zlib, which)->Unit(benchmark::kMillisecond);
      benchmark::RegisterBenchmark(("Inflate" + input + "/orvgui").c_str(), Inflate_orvgui, which)->Unit(benchmark::kMillisecond);
      benchmark::RegisterBenchmark(("Inflate" + input + "/zlib").c_str(), Inflate_zlib, which)->Unit(benchmark::kMillisecond);
      benchmark::RegisterBenchmark(("Block" + input + "/orvgui").c_str(), Block_orvgui, which)->Unit(benchmark::kMillisecond);
      benchmark::RegisterBenchmark(("Block" + input + "/bzip2").c_str(), Bzip2_compress, which)->Unit(benchmark::kMillisecond);
    }
  }
};
const Registrar registrar;

// PrintSizes: the output sizes, before the timed runs.
struct SizeReport {
  SizeReport() {
    for (int which = 0; which < 3; ++which) {
      const Bytes& in = Input(which);
      Bytes ours;
      Deflate(DeflateFormat::kZlib, in.data(), in.size(), ours, 6);
      const Bytes theirs = ZlibCompress(in, 6);
      std::printf("size Deflate%s: input %zu orvgui %zu zlib %zu (orvgui/zlib = %.4f)\n", kInputNames[which], in.size(),
                  ours.size(), theirs.size(), static_cast<double>(ours.size()) / static_cast<double>(theirs.size()));
      Bytes block;
      BlockCompress(in.data(), in.size(), block, 9);
      Bytes bz(in.size() + in.size() / 100 + 600);
      unsigned bzSize = static_cast<unsigned>(bz.size());
      BZ2_bzBuffToBuffCompress(reinterpret_cast<char*>(bz.data()), &bzSize,
                               const_cast<char*>(reinterpret_cast<const char*>(in.data())), static_cast<unsigned>(in.size()), 9, 0, 0);
      std::printf("size Block%s: input %zu orvgui %zu bzip2 %u (orvgui/bzip2 = %.4f)\n", kInputNames[which], in.size(),
                  block.size(), bzSize, static_cast<double>(block.size()) / bzSize);
    }
    std::fflush(stdout);
  }
};
const SizeReport sizeReport;

}  // namespace
