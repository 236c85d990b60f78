// The version the layer reports, the screen's capabilities and registered
// message numbers shared between processes.
#include <gtest/gtest.h>
#include <qnlith/win32.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cwctype>
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
  // Names of this run only, so that earlier runs sharing the table don't matter.
  const std::wstring run = std::to_wstring(getpid());
  const std::wstring name = L"cNotifier :: messageId " + run, other = L"another name " + run,
                     childFirst = L"a third name " + run;

  const UINT first = RegisterWindowMessageW(name.c_str());
  EXPECT_GE(first, 0xC000u);
  EXPECT_LE(first, 0xFFFFu);
  std::wstring shouted(name);
  for (auto& c : shouted) c = static_cast<wchar_t>(std::towupper(c));
  EXPECT_EQ(RegisterWindowMessageW(shouted.c_str()), first);
  const UINT second = RegisterWindowMessageW(other.c_str());
  EXPECT_NE(second, first);

  // Another process registers a name first; this one then gets its number.
  int pipes[2];
  ASSERT_EQ(pipe(pipes), 0);
  const pid_t child = fork();
  if (child == 0) {
    const UINT number = RegisterWindowMessageW(childFirst.c_str());
    (void)!write(pipes[1], &number, sizeof number);
    _exit(0);
  }
  UINT fromChild = 0;
  ASSERT_EQ(read(pipes[0], &fromChild, sizeof fromChild), static_cast<ssize_t>(sizeof fromChild));
  waitpid(child, nullptr, 0);
  close(pipes[0]);
  close(pipes[1]);
  EXPECT_EQ(RegisterWindowMessageW(childFirst.c_str()), fromChild);
  EXPECT_NE(fromChild, first);
  EXPECT_NE(fromChild, second);

  SetLastError(0);
  EXPECT_EQ(RegisterWindowMessageW(L""), 0u);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(RegisterWindowMessageW(nullptr), 0u);
  EXPECT_EQ(RegisterWindowMessageW(std::wstring(256, L'n').c_str()), 0u);
}
