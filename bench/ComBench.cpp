// ComBench.cpp: class activation beside calling the class factory directly.
//
// Group "CreateInstance": a cached CoCreateInstance of the example greeter (cache search under
// its lock, the factory, the object) beside the same factory's CreateInstance called directly.
// Target: within 2x. Group "ColdActivation" (a figure, no peer): the first activation of a
// class in the process: the registry read, the library-list search and the cache entry.
// The program runs with a registry of its own (see tests/helpers/PrivateRegistry.h).
#include <benchmark/benchmark.h>

#include <filesystem>
#include <vector>

#include "base/com/ClassActivation.h"
#include "base/com/Registration.h"
#include "bench/BenchMain.h"
#include "examples/greeter/Greeter.h"
#include "tests/helpers/PrivateRegistry.h"

namespace {

using namespace OrvGuiBase;

constexpr int kColdClasses = 256;

CLSID ColdClass(int i) {
  CLSID clsid = CLSID_Greeter;
  clsid.Data1 = 0xC0000000u + static_cast<uint32_t>(i);
  return clsid;
}

bool RegisterAll() {
  static const bool s_done = [] {
    const std::string path = std::filesystem::canonical(ORVGUI_BENCH_GREETER).string();
    if (!CoRegisterObject(true, CLSID_Greeter, path.c_str(), kGreeterProgId)) return false;
    for (int i = 0; i < kColdClasses; ++i)
      if (!CoRegisterObject(true, ColdClass(i), path.c_str(), "")) return false;
    return true;
  }();
  return s_done;
}

void CreateInstance_orvgui(benchmark::State& state) {
  if (!RegisterAll()) return state.SkipWithError("registration failed");
  for (auto _ : state) {
    IGreeter* greeter = nullptr;
    if (FAILED(CoCreateInstance(CLSID_Greeter, nullptr, CLSCTX_ALL, IID_IGreeter, reinterpret_cast<void**>(&greeter))))
      return state.SkipWithError("activation failed");
    greeter->Release();
  }
}

void CreateInstance_factory(benchmark::State& state) {
  if (!RegisterAll()) return state.SkipWithError("registration failed");
  IClassFactory* factory = nullptr;
  if (FAILED(CoGetClassObject(CLSID_Greeter, CLSCTX_ALL, nullptr, IID_IClassFactory, reinterpret_cast<void**>(&factory))))
    return state.SkipWithError("no class object");
  for (auto _ : state) {
    IGreeter* greeter = nullptr;
    if (FAILED(factory->CreateInstance(nullptr, IID_IGreeter, reinterpret_cast<void**>(&greeter))))
      return state.SkipWithError("CreateInstance failed");
    greeter->Release();
  }
  factory->Release();
}

void ColdActivation_orvgui(benchmark::State& state) {
  if (!RegisterAll()) return state.SkipWithError("registration failed");
  int next = 0;
  for (auto _ : state) {
    IClassFactory* factory = nullptr;
    // The greeter answers "not available" for these classes: the runtime's path is complete.
    benchmark::DoNotOptimize(
        CoGetClassObject(ColdClass(next++), CLSCTX_ALL, nullptr, IID_IClassFactory, reinterpret_cast<void**>(&factory)));
  }
}

BENCHMARK(CreateInstance_orvgui)->Name("CreateInstance/orvgui");
BENCHMARK(CreateInstance_factory)->Name("CreateInstance/direct_factory");
BENCHMARK(ColdActivation_orvgui)->Name("ColdActivation/orvgui")->Iterations(kColdClasses)->Unit(benchmark::kMicrosecond);

}  // namespace
