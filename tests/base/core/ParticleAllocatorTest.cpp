// Tests of the particle allocator: classes, thread lists and their limits, pools and blocks.
#include "base/core/ParticleAllocator.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "base/core/ThreadExit.h"
#include "trace/Trace.h"

namespace OrvGuiBase {
namespace {

uint64_t PoolFree(size_t size) {
  ParticleClassStatistics statistics;
  EXPECT_TRUE(GetParticleClassStatistics(static_cast<unsigned>((size + 7) / 8), &statistics));
  return statistics.poolFree;
}

TEST(ParticleAllocator, RequestSizesMapToClassesOrTheHeap) {
  void* one = AllocParticle(1);
  FreeParticle(1, one);
  EXPECT_EQ(AllocParticle(8), one) << "sizes 1 and 8 share class 1 (the list is last in, first out)";
  FreeParticle(8, one);
  const uint32_t held = GetThreadParticleCount(1024);
  for (size_t size : {size_t{0}, size_t{1025}, size_t{70000}}) {
    void* p = AllocParticle(size);
    ASSERT_NE(p, nullptr) << size;
    FreeParticle(size, p);  // a heap block: free() takes it (ASan would object otherwise)
  }
  EXPECT_EQ(GetThreadParticleCount(1024), held);
  EXPECT_TRUE(TestParticleList(1024, 1, nullptr));
  EXPECT_FALSE(TestParticleList(1025, 1, nullptr));
  EXPECT_FALSE(TestParticleList(0, 1, nullptr));
  EXPECT_TRUE(TestParticle(8, nullptr));
  FreeParticle(8, nullptr);  // ignored
}

TEST(ParticleAllocator, FreeingPastTheLimitKeepsOneBatch) {
  for (size_t size : {size_t{8}, size_t{64}, size_t{1000}}) {
    const size_t count = 524288 / ((size + 7) / 8 * 8) + 1;
    std::vector<void*> particles;
    std::thread producer([&] {
      for (size_t i = 0; i < count; ++i) particles.push_back(AllocParticle(size));
    });
    producer.join();
    uint32_t left = 0;
    std::thread consumer([&] {  // a fresh thread with an empty list frees what another allocated
      for (void* p : particles) FreeParticle(size, p);
      left = GetThreadParticleCount(size);
    });
    consumer.join();
    EXPECT_EQ(left, 4096 / ((size + 7) / 8 * 8)) << "size " << size;
  }
}

TEST(ParticleAllocator, ThreadEndGivesItsListsBackToThePools) {
  constexpr size_t kSize = 888;
  uint32_t held = 0;
  uint64_t before = 0;
  std::thread worker([&] {
    std::vector<void*> particles;
    for (int i = 0; i < 10; ++i) particles.push_back(AllocParticle(kSize));
    for (void* p : particles) FreeParticle(kSize, p);
    held = GetThreadParticleCount(kSize);
    before = PoolFree(kSize);
  });
  worker.join();
  EXPECT_GE(held, 10u);
  EXPECT_EQ(PoolFree(kSize), before + held);
}

TEST(ParticleAllocator, NoFreeSwitchTurnsEveryFreeIntoNothing) {
  void* heap = AllocSimple(100);
  void* particle = AllocParticle(24);
  const uint32_t held = GetThreadParticleCount(24);
  SetNoFree(true);
  FreeParticle(24, particle);
  FreeSimple(heap);
  FreeMemory(heap);
  SetNoFree(false);
  EXPECT_EQ(GetThreadParticleCount(24), held) << "the particle did not reach the list";
  memset(heap, 0, 100);  // still ours: nothing freed it
  FreeSimple(heap);
  FreeParticle(24, particle);
  EXPECT_EQ(GetThreadParticleCount(24), held + 1);
}

TEST(ParticleAllocator, ListsAreChainedClonedAndFreed) {
  struct Node {
    int value;
    Node* next;
  };
  void* head = AllocParticleList(sizeof(Node), offsetof(Node, next), 5, nullptr);
  int n = 0;
  for (Node* node = static_cast<Node*>(head); node != nullptr; node = node->next) node->value = n++;
  EXPECT_EQ(n, 5);
  Node tail{99, nullptr};
  void* clone = CloneParticleList(sizeof(Node), offsetof(Node, next), head, &tail);
  std::vector<int> values;
  for (Node* node = static_cast<Node*>(clone); node != nullptr; node = node->next) values.push_back(node->value);
  EXPECT_EQ(values, (std::vector<int>{0, 1, 2, 3, 4, 99})) << "the copy keeps its order, in front of the head";
  FreeParticleList(sizeof(Node), offsetof(Node, next), head);
  static_cast<Node*>(clone)->next->next->next->next->next = nullptr;  // detach the stack node
  FreeParticleList(sizeof(Node), offsetof(Node, next), clone);
}

std::vector<size_t> g_requests;
void* RefuseLargeBlocks(size_t bytes) {
  g_requests.push_back(bytes);
  return bytes > 16384 ? nullptr : malloc(bytes);
}

TEST(ParticleAllocator, BlocksFollowTheLadderAndHalveWhenRefused) {
  constexpr size_t kSize = 1016;  // class 127: 16 particles in a 16 KiB block, 4 per refill
  g_requests.clear();
  auto previous = Internal::SetParticleBlockAllocator(&RefuseLargeBlocks);
  std::vector<void*> particles;
  std::thread worker([&] {
    for (int i = 0; i < 48 + 1; ++i) particles.push_back(AllocParticle(kSize));
  });
  worker.join();
  Internal::SetParticleBlockAllocator(previous);
  ParticleClassStatistics statistics;
  ASSERT_TRUE(GetParticleClassStatistics(127, &statistics));
  EXPECT_EQ(g_requests, (std::vector<size_t>{16384, 16384, 32768, 16384, 32768, 16384}))
      << "16 KiB twice, then 32 KiB refused and halved";
  EXPECT_EQ(statistics.blocks, 4u);
  EXPECT_EQ(statistics.blockBytes, 4u * 16384);
  for (void* p : particles) FreeParticle(kSize, p);
}

void* RefuseEverything(size_t) { return nullptr; }

TEST(ParticleAllocatorDeathTest, APoolThatCannotGrowEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        Internal::SetParticleBlockAllocator(&RefuseEverything);
        for (int i = 0; i < 100000; ++i) (void)AllocParticle(1008);
      },
      "Could not allocate particle block data \\(16384 bytes\\) for size 1008 bytes");
}

TEST(ParticleAllocator, FreeParticlesReturnsWhollyFreeBlocks) {
  constexpr size_t kSize = 1000;  // class 125
  std::thread worker([] {
    std::vector<void*> particles;
    for (int i = 0; i < 200; ++i) particles.push_back(AllocParticle(kSize));
    for (void* p : particles) FreeParticle(kSize, p);
  });  // its lists go back to the pool at its end
  worker.join();
  ParticleClassStatistics before;
  ASSERT_TRUE(GetParticleClassStatistics(125, &before));
  ASSERT_GT(before.blocks, 0u);
  EXPECT_TRUE(FreeParticles());
  ParticleClassStatistics after;
  ASSERT_TRUE(GetParticleClassStatistics(125, &after));
  EXPECT_LT(after.blocks, before.blocks);
  EXPECT_EQ(before.poolTotal - after.poolTotal, before.poolFree - after.poolFree)
      << "exactly the particles of the freed blocks left the pool";
  EXPECT_TRUE(CheckParticles()) << "the pools are consistent afterwards";
  void* p = AllocParticle(kSize);  // and still serve
  FreeParticle(kSize, p);
}

std::vector<std::string> g_traced;
bool CaptureTrace(const char* line) {
  g_traced.push_back(line);
  return true;
}

TEST(ParticleAllocator, CheckParticlesTracesEveryClass) {
  g_traced.clear();
  OrvGuiTrace::TraceSetStrHandler(&CaptureTrace);
  EXPECT_TRUE(CheckParticles());
  EXPECT_TRUE(g_traced.empty()) << "bit 0x1000 is not in the default mask";
  OrvGuiTrace::TraceSetMask(0xFFF | 0x1000);
  EXPECT_TRUE(CheckParticles());
  OrvGuiTrace::TraceSetMask(0xFFF);
  OrvGuiTrace::TraceSetStrHandler(nullptr);
  ASSERT_EQ(g_traced.size(), 128u);
  EXPECT_NE(g_traced[0].find(": ParticleManager::CheckBlocks: 0001/0128 size 0008"), std::string::npos) << g_traced[0];
  EXPECT_NE(g_traced[127].find(": ParticleManager::CheckBlocks: 0128/0128 size 1024"), std::string::npos);
}

void* g_late = nullptr;
void AllocateAfterTeardown() {
  g_late = AllocParticle(40);  // the shared fallback serves it
  FreeParticle(40, g_late);    // deliberately dropped: no list to take it
}

TEST(ParticleAllocator, LateCallersAfterTheThreadsDataIsGone) {
  std::thread worker([] {
    FreeParticle(40, AllocParticle(40));
    SetThreadExitHandler(&AllocateAfterTeardown, -5000);  // after the particle data's -1006
  });
  worker.join();
  EXPECT_NE(g_late, nullptr);
  EXPECT_TRUE(IsParticleManagerValid());
}

void AllocWithReplacement() {
  void* p = AllocParticle(16);
  ParticleClassStatistics statistics;
  GetParticleClassStatistics(2, &statistics);
  const bool heap = !UseParticles() && GetThreadParticleCount(16) == 0 && statistics.poolTotal == 0;
  FreeParticle(16, p);
  _exit(heap && !FreeParticles() ? 0 : 1);
}

TEST(ParticleAllocatorDeathTest, ReplacementSendsEverythingToTheHeap) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  setenv("PARTICLEREPLACEMENT", "1", 1);  // read once, by the fresh child process
  EXPECT_EXIT(AllocWithReplacement(), testing::ExitedWithCode(0), "");
  unsetenv("PARTICLEREPLACEMENT");
}

#if defined(__SANITIZE_ADDRESS__)
TEST(ParticleAllocatorDeathTest, AddressSanitizerSeesUseAfterFreeOfParticles) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        char* p = static_cast<char*>(AllocParticle(32));
        FreeParticle(32, p);
        p[3] = 1;
      },
      "use-after-poison");
  EXPECT_DEATH(
      {
        char* p = static_cast<char*>(AllocParticle(13));
        p[14] = 1;  // inside the 16-byte particle, past the 13 bytes asked for
      },
      "use-after-poison");
  EXPECT_DEATH(
      {
        void* p = AllocParticle(48);
        FreeParticle(48, p);
        FreeParticle(48, p);
      },
      "freed twice");
}
#endif

}  // namespace
}  // namespace OrvGuiBase
