#include <gtest/gtest.h>
#include <qnlith/win32.h>

#include <thread>

TEST(LastError, IsKeptPerThread) {
  SetLastError(ERROR_SHARING_VIOLATION);
  DWORD seenByOther = 1234;
  std::thread other([&] {
    seenByOther = GetLastError();
    SetLastError(ERROR_ACCESS_DENIED);
  });
  other.join();
  EXPECT_EQ(seenByOther, 0u);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
}
