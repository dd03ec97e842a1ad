// Concurrency of values and events: shared strings, maps and boxed reals copied and released on
// several threads while each thread reports events built from them.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "base/data/Json.h"
#include "trace/EventReport.h"

namespace OrvGuiTrace {
namespace {

std::atomic<int> g_seen{0};

void Count(const char*, unsigned, const char*, const EventField* fields, unsigned count, unsigned, unsigned, void*) {
  if (count == 3 && fields[0].value == "shared") g_seen.fetch_add(1, std::memory_order_relaxed);
}

TEST(EventReportConcurrency, SharedValuesInEventsOfManyThreads) {
  ValDic shared;
  shared.Set("name", "shared");
  shared.Set("ratio", 0.1);  // boxed
  shared.Set("list", Val(OrvGuiBase::Array<Val>().Append(Val(1)).Append(Val("two"))));
  const Val document(shared);
  SetEventObserver(&Count, nullptr);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&document, t] {
      for (int i = 0; i < 200; ++i) {
        const ValDic dic = document.GetDic();  // the same map on every thread
        ReportEvent("APP", "shared values", static_cast<unsigned>(t * 1000 + i + 1), "", dic, kEventModeTraceOnly,
                    kEventInformation, kCategoryTrace);
        AnsiStr text, error;
        EXPECT_TRUE(OrvGuiBase::Val2JSON(document, text, error));
        Val copy;
        EXPECT_TRUE(OrvGuiBase::JSON2Val(text, copy, error));
      }
    });
  for (std::thread& thread : threads) thread.join();
  SetEventObserver(nullptr, nullptr);
  EXPECT_EQ(g_seen.load(), 800);
  EXPECT_EQ(static_cast<const OrvGuiBase::Reference*>(document.GetPointer())->GetCount(), 2) << "document and shared";
}

}  // namespace
}  // namespace OrvGuiTrace
