#include <gtest/gtest.h>
#include <qnlith/win32.h>

#include <thread>
#include <vector>

TEST(Interlocked, ResultsAndWrapAroundOf32BitVariables) {
  LONG value = 0x7FFFFFFF;
  EXPECT_EQ(InterlockedIncrement(&value), static_cast<LONG>(0x80000000u)) << "wraps as 32 bits";
  EXPECT_EQ(InterlockedDecrement(&value), 0x7FFFFFFF);
  EXPECT_EQ(InterlockedExchange(&value, -5), 0x7FFFFFFF);
  EXPECT_EQ(value, -5);
  EXPECT_EQ(InterlockedExchangeAdd(&value, 10), -5);
  EXPECT_EQ(value, 5);
  EXPECT_EQ(InterlockedCompareExchange(&value, 9, 4), 5) << "no match, no store";
  EXPECT_EQ(value, 5);
  EXPECT_EQ(InterlockedCompareExchange(&value, 9, 5), 5);
  EXPECT_EQ(value, 9);
}

TEST(Interlocked, NoIncrementIsLostBetweenThreads) {
  LONG counter = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < 100000; ++i) InterlockedIncrement(&counter);
      for (int i = 0; i < 50000; ++i) InterlockedDecrement(&counter);
    });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(counter, 4 * 50000);
}
