// Tests of per-thread records and the thread-exit registry.
#include "base/core/ThreadData.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <thread>
#include <vector>

#include "base/core/ThreadExit.h"

namespace OrvGuiBase {
namespace {

std::atomic<int> g_liveRecords{0};

struct CountedRecord {
  CountedRecord() { ++g_liveRecords; }
  ~CountedRecord() { --g_liveRecords; }
  int value = 0;
};

void* RawThread(void* arg) {
  auto* seen = static_cast<CountedRecord**>(arg);
  seen[0] = ThreadData<CountedRecord>::Get();
  seen[1] = ThreadData<CountedRecord>::Get();
  return nullptr;
}

TEST(ThreadData, ForeignThreadGetsItsOwnRecordReleasedAtItsEnd) {
  CountedRecord* mine = ThreadData<CountedRecord>::Get();
  const int before = g_liveRecords.load();
  CountedRecord* seen[2] = {nullptr, nullptr};
  pthread_t thread;  // a thread the library knows nothing about
  ASSERT_EQ(pthread_create(&thread, nullptr, &RawThread, seen), 0);
  ASSERT_EQ(pthread_join(thread, nullptr), 0);
  EXPECT_NE(seen[0], nullptr);
  EXPECT_EQ(seen[0], seen[1]) << "a thread keeps one record";
  EXPECT_NE(seen[0], mine);
  EXPECT_EQ(g_liveRecords.load(), before) << "the thread's record was released at its end";
  EXPECT_EQ(ThreadData<CountedRecord>::Get(), mine);
}

struct LateRecord {
  int value = 0;
};
LateRecord* g_lateSeen = nullptr;
uint32_t g_lateState = 0;
void UseRecordAfterTeardown() {
  g_lateSeen = ThreadData<LateRecord>::Get();
  g_lateState = ThreadData<LateRecord>::GetState();
}

TEST(ThreadData, LateCallerAfterTeardownGetsTheSharedFallback) {
  LateRecord* own = nullptr;
  LateRecord* fallbacks[2] = {nullptr, nullptr};
  for (LateRecord*& fallback : fallbacks) {
    std::thread worker([&] {
      own = ThreadData<LateRecord>::Get();
      // Runs after the record's own release (priority 0), like a late destructor would.
      SetThreadExitHandler(&UseRecordAfterTeardown, -5000);
    });
    worker.join();
    fallback = g_lateSeen;
    EXPECT_EQ(g_lateState, 4u) << "the record was released before the late handler ran";
  }
  ASSERT_NE(fallbacks[0], nullptr);
  EXPECT_NE(fallbacks[0], own);
  EXPECT_EQ(fallbacks[0], fallbacks[1]) << "one process-wide fallback serves every late caller";
}

std::vector<int> g_order;
void Handler1() { g_order.push_back(1); }
void Handler2() { g_order.push_back(2); }
void Handler3() { g_order.push_back(3); }
void Handler4() { g_order.push_back(4); }
void Handler5() { g_order.push_back(5); }

TEST(ThreadExit, HandlersRunByPriorityThenRegistrationOrder) {
  struct Case {
    const char* reason;
    std::vector<std::pair<ThreadExitHandler, int>> registrations;
    std::vector<int> expected;
  };
  const Case cases[] = {
      {"equal priorities run in registration order", {{Handler1, 0}, {Handler2, 0}, {Handler3, 0}}, {1, 2, 3}},
      {"higher priority first", {{Handler1, -10}, {Handler2, 10}, {Handler3, 0}}, {2, 3, 1}},
      {"0x7FFFFFFF is taken as 0, not as the highest",
       {{Handler1, 0}, {Handler2, 0x7FFFFFFF}, {Handler3, 1}, {Handler4, 0}},
       {3, 1, 2, 4}},
      {"negative priorities below the default", {{Handler1, -1006}, {Handler2, -1}, {Handler5, 0x7FFFFFFF}}, {5, 2, 1}},
  };
  for (const Case& c : cases) {
    g_order.clear();
    std::thread worker([&] {
      for (const auto& [handler, priority] : c.registrations) EXPECT_EQ(SetThreadExitHandler(handler, priority), 0);
    });
    worker.join();
    EXPECT_EQ(g_order, c.expected) << c.reason;
  }
}

TEST(ThreadExit, ExplicitRunOfOneHandlerLeavesTheOthers) {
  g_order.clear();
  std::thread worker([] {
    SetThreadExitHandler(&Handler1, 5);
    SetThreadExitHandler(&Handler2, 1);
    DoThreadExitHandler(&Handler1);
    EXPECT_EQ(g_order, std::vector<int>{1});
    DoThreadExitHandler(&Handler1);  // already gone: nothing runs twice
    EXPECT_EQ(g_order, std::vector<int>{1});
  });
  worker.join();
  EXPECT_EQ(g_order, (std::vector<int>{1, 2})) << "the remaining handler ran at thread end";
}

TEST(ThreadExit, InvalidHandlerAddressIsSkipped) {
  g_order.clear();
  std::thread worker([] {
    SetThreadExitHandler(reinterpret_cast<ThreadExitHandler>(uintptr_t{16}), 10);
    SetThreadExitHandler(&Handler3, 0);
  });
  worker.join();
  EXPECT_EQ(g_order, std::vector<int>{3});
}

void RegisterDuringExit() {
  g_order.push_back(1);
  SetThreadExitHandler(&Handler2);  // a handler that needs a record again at thread end
}

TEST(ThreadExit, HandlerRegisteredWhileExitingStillRuns) {
  g_order.clear();
  std::thread worker([] { SetThreadExitHandler(&RegisterDuringExit); });
  worker.join();
  EXPECT_EQ(g_order, (std::vector<int>{1, 2}));
}

TEST(ThreadExit, ExplicitRunForCurrentThread) {
  g_order.clear();
  std::thread worker([] {
    SetThreadExitHandler(&Handler4);
    DoThreadExitHandler();
    EXPECT_EQ(g_order, std::vector<int>{4});
    SetThreadExitHandler(&Handler5);
  });
  worker.join();
  EXPECT_EQ(g_order, (std::vector<int>{4, 5}));
  EXPECT_TRUE(IsThreadExitRegistryValid());
}

}  // namespace
}  // namespace OrvGuiBase
