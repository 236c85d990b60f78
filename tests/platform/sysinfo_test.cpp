// The version the layer reports, the screen's capabilities and registered
// message numbers shared between processes.
#include <gtest/gtest.h>
#include <qnlith/win32.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace {

struct ScopedEnv {
  ScopedEnv(const char* name, const char* value) : name(name) {
    if (const char* old = std::getenv(name)) previous = old, hadPrevious = true;
    setenv(name, value, 1);
  }
  ~ScopedEnv() { hadPrevious ? setenv(name, previous.c_str(), 1) : unsetenv(name); }
  const char* name;
  std::string previous;
  bool hadPrevious = false;
};

}  // namespace

TEST(Version, ReportsNt10WorkstationOrTheOverride) {
  OSVERSIONINFOEXW ex{};
  ex.dwOSVersionInfoSize = sizeof ex;
  {
    ScopedEnv none("QNLITH_OS_VERSION", "");
    ASSERT_TRUE(GetVersionExW(reinterpret_cast<LPOSVERSIONINFOW>(&ex)));
    EXPECT_EQ(ex.dwPlatformId, 2u);
    EXPECT_EQ(ex.dwMajorVersion, 10u);
    EXPECT_EQ(ex.dwMinorVersion, 0u);
    EXPECT_EQ(ex.wProductType, 1);
  }
  {
    ScopedEnv me("QNLITH_OS_VERSION", "1 4 90 0");
    OSVERSIONINFOW v{};
    v.dwOSVersionInfoSize = 276;
    ASSERT_TRUE(GetVersionExW(&v));
    EXPECT_EQ(v.dwPlatformId, 1u);
    EXPECT_EQ(v.dwMajorVersion, 4u);
    EXPECT_EQ(v.dwMinorVersion, 90u);
  }
  OSVERSIONINFOW wrong{};
  wrong.dwOSVersionInfoSize = 100;
  SetLastError(0);
  EXPECT_FALSE(GetVersionExW(&wrong));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
}

TEST(Display, ScreenIsTrueColour) {
  HDC screen = GetDC(nullptr);
  ASSERT_NE(screen, nullptr);
  EXPECT_EQ(GetDeviceCaps(screen, NUMCOLORS), -1);
  EXPECT_EQ(GetDeviceCaps(screen, BITSPIXEL), 32);
  EXPECT_EQ(ReleaseDC(nullptr, screen), 1);
}

TEST(RegisteredMessages, SameNumberForTheSameNameInEveryProcess) {
  const std::string table = std::string(std::getenv("QNLITH_TEST_TMP") ? std::getenv("QNLITH_TEST_TMP") : "/tmp") +
                            "/atoms-" + std::to_string(getpid());
  std::system(("mkdir -p \"$(dirname '" + table + "')\"").c_str());
  ScopedEnv where("QNLITH_ATOM_TABLE", table.c_str());

  const UINT first = RegisterWindowMessageW(L"cNotifier :: messageId");
  EXPECT_GE(first, 0xC000u);
  EXPECT_LE(first, 0xFFFFu);
  EXPECT_EQ(RegisterWindowMessageW(L"CNOTIFIER :: MESSAGEID"), first);
  const UINT second = RegisterWindowMessageW(L"another name");
  EXPECT_NE(second, first);

  // A child process registers in the opposite order and gets the same numbers.
  int pipes[2];
  ASSERT_EQ(pipe(pipes), 0);
  const pid_t child = fork();
  if (child == 0) {
    UINT numbers[3] = {RegisterWindowMessageW(L"a third name"), RegisterWindowMessageW(L"Another Name"),
                       RegisterWindowMessageW(L"cNotifier :: messageId")};
    (void)!write(pipes[1], numbers, sizeof numbers);
    _exit(0);
  }
  UINT numbers[3] = {};
  ASSERT_EQ(read(pipes[0], numbers, sizeof numbers), static_cast<ssize_t>(sizeof numbers));
  waitpid(child, nullptr, 0);
  close(pipes[0]);
  close(pipes[1]);
  EXPECT_EQ(numbers[1], second);
  EXPECT_EQ(numbers[2], first);
  EXPECT_NE(numbers[0], first);
  EXPECT_NE(numbers[0], second);
  EXPECT_EQ(RegisterWindowMessageW(L"a third name"), numbers[0]);

  SetLastError(0);
  EXPECT_EQ(RegisterWindowMessageW(L""), 0u);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(RegisterWindowMessageW(nullptr), 0u);
  unlink(table.c_str());
}
