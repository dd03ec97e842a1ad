// Concurrency of telemetry: sinks replaced and modules switched while other threads report.
// Once APMSetEventSink returned, the sink it replaced is never called again.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "telemetry/Telemetry.h"

namespace {

struct SinkState {
  std::atomic<bool> retired{false};
  std::atomic<long> calls{0};
  std::atomic<long> lateCalls{0};
};

void CountingSink(int, int, int value, const char* const* params, unsigned count, void* context) {
  auto* state = static_cast<SinkState*>(context);
  if (state->retired.load()) state->lateCalls.fetch_add(1);
  state->calls.fetch_add(1);
  if (count != 1 || params[0][0] != 'x' || value < 0) state->lateCalls.fetch_add(1000000);
}

TEST(TelemetryConcurrency, ReplacedSinksAreNeverCalledAgain) {
  std::atomic<bool> stop{false};
  std::vector<std::thread> reporters;
  for (int t = 0; t < 3; ++t)
    reporters.emplace_back([&stop, t] {
      for (int i = 0; !stop.load(std::memory_order_relaxed); ++i) {
        APMEventParam(APM_MODULE_HTTP, 1, i & 0xffff, 1, "x");
        DI_AddCounter(APM_MODULE_HTTP, t, 1);
      }
    });
  std::vector<SinkState> states(60);
  long delivered = 0;
  for (size_t round = 0; round < states.size(); ++round) {
    APMSetModuleActive(APM_MODULE_HTTP, round % 3 != 2);
    APMSetEventSink(&CountingSink, &states[round]);
    if (round > 0) states[round - 1].retired = true;  // its replacement has returned
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  APMSetEventSink(nullptr, nullptr);
  states.back().retired = true;
  stop = true;
  for (std::thread& t : reporters) t.join();
  APMSetModuleActive(APM_MODULE_HTTP, 0);
  for (const SinkState& state : states) {
    EXPECT_EQ(state.lateCalls.load(), 0);
    delivered += state.calls.load();
  }
  EXPECT_GT(delivered, 0);
  EXPECT_GT(DI_GetCounter(APM_MODULE_HTTP, 0) + DI_GetCounter(APM_MODULE_HTTP, 1), 0);
  DI_ResetCounters(APM_MODULE_HTTP);
}

}  // namespace
