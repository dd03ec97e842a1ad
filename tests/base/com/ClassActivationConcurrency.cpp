// ClassActivationConcurrency.cpp: eight threads activating one cold class at once.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <thread>
#include <vector>

#include "base/com/ClassActivation.h"
#include "base/com/Registration.h"
#include "examples/greeter/Greeter.h"
#include "helpers/PrivateRegistry.h"

namespace {

using namespace OrvGuiBase;

TEST(ClassActivationConcurrency, EightThreadsOneColdClassOneLoad) {
  ASSERT_TRUE(CoRegisterObject(true, CLSID_Greeter, std::filesystem::canonical(ORVGUI_TEST_GREETER).c_str(),
                               kGreeterProgId));
  const ClassActivationCounts before = GetClassActivationCounts();
  std::atomic<int> ready{0}, greeted{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&] {
      ++ready;
      while (ready.load() < 8) std::this_thread::yield();
      for (int i = 0; i < 50; ++i) {
        CLSID clsid;
        IGreeter* greeter = nullptr;
        if (FAILED(CLSIDFromProgID(kGreeterProgId, &clsid))) continue;
        if (FAILED(CoCreateInstance(clsid, nullptr, CLSCTX_ALL, IID_IGreeter, reinterpret_cast<void**>(&greeter)))) continue;
        AnsiStr text;
        if (greeter->Greet("x", &text) == S_OK) ++greeted;
        greeter->Release();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(greeted.load(), 8 * 50);
  const ClassActivationCounts after = GetClassActivationCounts();
  EXPECT_EQ(after.libraries, before.libraries + 1);
  EXPECT_EQ(after.classes, before.classes + 1);
}

}  // namespace
