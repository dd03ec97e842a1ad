// Concurrency tests of the shared text bodies; the ThreadSanitizer build runs these.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "base/text/AnsiStr.h"
#include "base/text/Array.h"
#include "base/text/WideStr.h"

namespace OrvGuiBase {
namespace {

constexpr int kThreads = 6;
constexpr int kRounds = 2000;

TEST(TextConcurrency, WideCopiesChangeOnTheirOwnWhileOthersShareTheBody) {
  const WideStr source(L"shared text body");
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([&, t] {
      for (int i = 0; i < kRounds; ++i) {
        WideStr copy = source;  // count up on a body that the other threads copy too
        switch ((t + i) % 4) {
          case 0:
            copy.Append(L'!', 3);
            break;
          case 1:
            copy.ToUpper();
            break;
          case 2:
            copy.Delete(0, 7);
            break;
          default:
            copy.Replace(L"text", L"TEXT");
            break;
        }
        const WideStr again = copy;  // a second owner of the private body
        if (copy == source || again != copy || source != L"shared text body") ++failures;
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures.load(), 0);
  EXPECT_FALSE(source.IsShared()) << "every copy has been released";
}

TEST(TextConcurrency, NarrowCopiesChangeOnTheirOwnWhileOthersShareTheBody) {
  const AnsiStr source("shared text body");
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([&, t] {
      for (int i = 0; i < kRounds; ++i) {
        AnsiStr copy = source;
        switch ((t + i) % 4) {
          case 0: copy.Append('!', 3); break;
          case 1: copy.ToUpper(); break;
          case 2: copy.Delete(0, 7); break;
          default: copy.Replace("text", "TEXT"); break;
        }
        const AnsiStr again = copy;
        AnsiStr unknown;
        strcpy(unknown.Alloc(32), source.GetStr());  // a private body of unknown length
        if (copy == source || !(again == copy) || !(source == "shared text body") || unknown.GetLength() != 16)
          ++failures;
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures.load(), 0);
  EXPECT_FALSE(source.IsShared()) << "every copy has been released";
}

TEST(TextConcurrency, ManyReadersResolveAnUnknownLengthTogether) {
  for (int round = 0; round < 200; ++round) {
    WideStr text;
    wcscpy(text.Alloc(64), L"written after Alloc");
    const WideStr shared = text;  // nobody has asked for the length yet
    std::atomic<int> wrong{0};
    std::vector<std::thread> readers;
    for (int t = 0; t < 4; ++t)
      readers.emplace_back([&] {
        const WideStr mine = shared;
        if (mine.GetLen() != 19 || WideSubStr(mine).GetLength() != 19) ++wrong;
      });
    for (std::thread& reader : readers) reader.join();
    EXPECT_EQ(wrong.load(), 0);
  }
}

TEST(TextConcurrency, BodiesMadeOnOneThreadAreReleasedOnAnother) {
  std::vector<WideStr> strings;
  std::vector<Array<AnsiStr>> arrays;
  std::thread maker([&] {
    for (int i = 0; i < 5000; ++i) {
      strings.emplace_back(L'x', static_cast<uint32_t>(i % 300 + 1));
      Array<AnsiStr> array;
      array.Append(AnsiStr("element"), static_cast<uint32_t>(i % 7 + 1));
      arrays.push_back(array);
    }
  });
  maker.join();
  std::thread releaser([&] {
    strings.clear();
    arrays.clear();
  });
  releaser.join();
  EXPECT_TRUE(strings.empty());
}

TEST(TextConcurrency, ArrayCopiesAreWrittenWithoutDisturbingTheShared) {
  Array<AnsiStr> source;
  for (int i = 0; i < 16; ++i) source.Append(AnsiStr("item"));
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([&, t] {
      for (int i = 0; i < kRounds / 4; ++i) {
        Array<AnsiStr> copy = source;
        copy[static_cast<uint32_t>(i % 16)] = AnsiStr("mine");
        if (t % 2)
          copy.Delete(0, 3);
        else
          copy[copy.GetCount()] = AnsiStr("appended");
        for (const AnsiStr& element : source)
          if (!(element == "item")) ++failures;
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures.load(), 0);
  EXPECT_EQ(source.GetCount(), 16u);
  EXPECT_FALSE(source.IsShared());
}

TEST(TextConcurrency, AnOwnerWritesInPlaceOnlyAfterTheOtherOwnersHaveLetGo) {
  for (int round = 0; round < 200; ++round) {
    WideStr text(L"read by other threads");
    text.Append(L' ', 40);  // room to change in place
    std::atomic<int> started{0};
    std::vector<std::thread> readers;
    for (int t = 0; t < 3; ++t)
      readers.emplace_back([copy = WideStr(text), &started]() mutable {
        ++started;
        volatile wchar_t sum = 0;
        for (uint32_t i = 0; i < copy.GetLen(); ++i) sum = sum + copy.GetStr()[i];
        copy.Clear();  // lets go while the owner may already be waiting to write
      });
    while (started.load() < 3) std::this_thread::yield();
    while (text.IsShared()) std::this_thread::yield();
    const wchar_t* body = text.GetStr();
    text.Overwrite(0, L"READ");  // the owner alone: in place, after every reader is done
    EXPECT_EQ(text.GetStr(), body);
    for (std::thread& reader : readers) reader.join();
  }
}

}  // namespace
}  // namespace OrvGuiBase
