// Concurrency tests of the installation's number symbols: readers on several threads while a
// host changes them. The ThreadSanitizer build runs these.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "base/process/Setup.h"
#include "base/text/NumberText.h"

namespace OrvGuiBase {
namespace {

class NumberSymbolsTest : public ::testing::Test {
 protected:
  void TearDown() override { Setup::ResetNumberSymbols(); }
};

TEST_F(NumberSymbolsTest, ReadersOnOtherThreadsSeeWholeSnapshots) {
  NumberSymbols european = Setup::GetNumberSymbols();
  strcpy(european.comma, ",");
  strcpy(european.thousand, ".");
  NumberSymbols english = Setup::GetNumberSymbols();
  strcpy(english.thousand, ",");
  ASSERT_TRUE(Setup::SetNumberSymbols(english));
  std::atomic<bool> stop{false};
  std::atomic<int> mixed{0};
  std::vector<std::thread> readers;
  for (int t = 0; t < 3; ++t) {
    readers.emplace_back([&] {
      while (!stop.load()) {
        const NumberSymbols& s = Setup::GetNumberSymbols();
        const bool ok = (strcmp(s.comma, ",") == 0 && strcmp(s.thousand, ".") == 0) ||
                        (strcmp(s.comma, ".") == 0 && strcmp(s.thousand, ",") == 0);
        if (!ok) mixed.fetch_add(1);
        // One rendering uses one snapshot: never a mixture such as "-1,234,567,25".
        const AnsiStr text = Double2Str(-1234567.25, 2);
        if (text != "-1,234,567.25" && text != "-1.234.567,25") mixed.fetch_add(1);
      }
    });
  }
  for (int i = 0; i < 2000; ++i) {
    ASSERT_TRUE(Setup::SetNumberSymbols(i % 2 ? european : english));
  }
  stop = true;
  for (std::thread& reader : readers) reader.join();
  EXPECT_EQ(mixed.load(), 0);
}

TEST_F(NumberSymbolsTest, SettersOnTwoThreadsKeepBothChanges) {
  for (int round = 0; round < 200; ++round) {
    Setup::ResetNumberSymbols();
    std::atomic<int> ready{0};
    std::thread comma([&] {
      ready.fetch_add(1);
      while (ready.load() < 2) {
      }
      EXPECT_TRUE(Setup::SetComma(","));
    });
    std::thread sign([&] {
      ready.fetch_add(1);
      while (ready.load() < 2) {
      }
      EXPECT_TRUE(Setup::SetNegativeSign("\xE2\x88\x92"));
    });
    comma.join();
    sign.join();
    ASSERT_STREQ(Setup::GetComma(), ",") << "round " << round;
    ASSERT_STREQ(Setup::GetNegativeSign(), "\xE2\x88\x92") << "round " << round;
  }
}

}  // namespace
}  // namespace OrvGuiBase
