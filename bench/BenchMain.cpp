// BenchMain.cpp: runs the registered benchmarks and prints this library's time ratios.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>

#include "bench/BenchMain.h"

namespace {

class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
      // "<group>/<implementation>[/<argument>...]": the arguments belong to the group.
      const std::string name = run.benchmark_name();
      const size_t slash = name.find('/');
      if (slash == std::string::npos) continue;
      const size_t next = name.find('/', slash + 1);
      const std::string implementation = name.substr(slash + 1, next == std::string::npos ? std::string::npos : next - slash - 1);
      const std::string group = name.substr(0, slash) + (next == std::string::npos ? "" : name.substr(next));
      // Single-threaded groups compare CPU time (steadier on a shared machine); groups measured
      // in real time (their name says so) compare real time. With --benchmark_repetitions the
      // fastest repetition counts: the others lost time to the machine's other work.
      const double time =
          name.find("real_time") != std::string::npos ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime();
      const auto [slot, first] = m_times[group].try_emplace(implementation, time);
      if (!first && time < slot->second) slot->second = time;
    }
  }

  void Finalize() override {
    ConsoleReporter::Finalize();
    for (const auto& [group, times] : m_times) {
      const auto ours = times.find("orvgui");
      if (ours == times.end()) continue;
      for (const auto& [peer, time] : times)
        if (peer != "orvgui" && time > 0)
          printf("ratio %s: orvgui/%s = %.2f\n", group.c_str(), peer.c_str(), ours->second / time);
    }
  }

 private:
  std::map<std::string, std::map<std::string, double>> m_times;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
