#include <gtest/gtest.h>
#include <qnlith/win32.h>

#include <atomic>
#include <thread>
#include <vector>

#include "support/wait_helpers.h"

TEST(CriticalSections, RecursiveAndOwned) {
  CRITICAL_SECTION section;
  InitializeCriticalSection(&section);
  EnterCriticalSection(&section);
  EnterCriticalSection(&section);
  EXPECT_TRUE(TryEnterCriticalSection(&section)) << "the owner enters again";
  std::thread([&] {
    EXPECT_FALSE(TryEnterCriticalSection(&section));
    LeaveCriticalSection(&section);  // not the owner: gives nothing back
  }).join();
  LeaveCriticalSection(&section);
  LeaveCriticalSection(&section);
  std::thread([&] { EXPECT_FALSE(TryEnterCriticalSection(&section)) << "one level still held"; }).join();
  LeaveCriticalSection(&section);
  std::thread([&] {
    EXPECT_TRUE(TryEnterCriticalSection(&section));
    LeaveCriticalSection(&section);
  }).join();
  DeleteCriticalSection(&section);
}

TEST(CriticalSections, BlocksUntilLeft) {
  CRITICAL_SECTION section;
  ASSERT_TRUE(InitializeCriticalSectionAndSpinCount(&section, 4000));
  EXPECT_EQ(SetCriticalSectionSpinCount(&section, 100), 4000u);
  EnterCriticalSection(&section);
  std::atomic<bool> entered{false};
  std::thread other([&] {
    EnterCriticalSection(&section);
    entered = true;
    LeaveCriticalSection(&section);
  });
  EXPECT_TRUE(qntest::staysFalse([&] { return entered.load(); }));
  LeaveCriticalSection(&section);
  other.join();
  EXPECT_TRUE(entered);
  DeleteCriticalSection(&section);
}

TEST(CriticalSections, MutualExclusion) {
  CRITICAL_SECTION section;
  InitializeCriticalSection(&section);
  long counter = 0;  // guarded by the section alone
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 20000; ++i) {
        EnterCriticalSection(&section);
        EnterCriticalSection(&section);
        ++counter;
        LeaveCriticalSection(&section);
        LeaveCriticalSection(&section);
      }
    });
  }
  for (auto& t : threads) t.join();
  EXPECT_EQ(counter, 80000);
  DeleteCriticalSection(&section);

  // A null section is refused rather than followed.
  EXPECT_FALSE(InitializeCriticalSectionAndSpinCount(nullptr, 0));
  EnterCriticalSection(nullptr);
  EXPECT_FALSE(TryEnterCriticalSection(nullptr));
  LeaveCriticalSection(nullptr);
}
