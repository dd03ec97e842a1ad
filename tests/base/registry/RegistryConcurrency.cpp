// Concurrency tests of the registry store; the ThreadSanitizer build runs these. The store has
// no lock of its own: threads that make the same keys at once, write and read one value, and
// remove a tree while others write into it must all end without a crash and with a tree that
// holds only whole values.
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "base/registry/Registry.h"
#include "tests/base/registry/RegistryTestRoot.h"

namespace OrvGuiBase {
namespace {

using RegistryConcurrency = RegistryTest;

TEST_F(RegistryConcurrency, ThreadsMakeWriteReadAndRemoveOneTree) {
  const std::string texts[4] = {std::string(100, 'a'), std::string(200, 'b'), std::string(300, 'c'), std::string(50, 'd')};
  std::atomic<int> failures{0};
  std::atomic<int> torn{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      const Registry reg(AnsiStr("HKLM\\Shared\\Deep\\Key"));
      const AnsiStr mine(texts[t].c_str());
      for (int i = 0; i < 200; ++i) {
        // Every thread makes the same keys at once: a key another thread just made is fine.
        const AnsiStr sub(("Sub" + std::to_string(i % 5)).c_str());
        if (!reg.CreateKey(sub)) ++failures;
        if (!reg.Write(sub, "w", mine)) ++failures;  // into a key that the remover may take away
        if (!reg.Write("", "v", mine)) ++failures;
        AnsiStr read;
        if (reg.Read("", "v", read)) {
          const std::string got(read.GetStr(), read.GetLength());
          bool whole = got.empty();  // a writer may just have truncated it
          for (const std::string& text : texts) whole = whole || got == text || text.compare(0, got.size(), got) == 0;
          if (!whole) ++torn;
        }
      }
    });
  // One more thread removes the sub-keys while the others make them.
  threads.emplace_back([&] {
    const Registry reg(AnsiStr("HKLM\\Shared\\Deep\\Key"));
    for (int i = 0; i < 100; ++i) reg.RemoveKeys();
  });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures.load(), 0);
  EXPECT_EQ(torn.load(), 0);
  AnsiStr last;
  ASSERT_TRUE(Registry(AnsiStr("HKLM\\Shared\\Deep\\Key")).Read("", "v", last));
  const std::string got(last.GetStr(), last.GetLength());
  EXPECT_TRUE(got == texts[0] || got == texts[1] || got == texts[2] || got == texts[3]);
  EXPECT_TRUE(OutsideUntouched());
}

}  // namespace
}  // namespace OrvGuiBase
