// Programs started through the shell and waited on, many at once, by
// several threads, with no process left behind.
#include <gtest/gtest.h>
#include <qnlith/win32.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "support/scratch.h"

namespace {

HANDLE start(const std::wstring& program, const std::wstring& parameters) {
  SHELLEXECUTEINFOW info{};
  info.cbSize = sizeof info;
  info.fMask = SEE_MASK_NOCLOSEPROCESS;
  info.lpFile = program.c_str();
  info.lpParameters = parameters.c_str();
  EXPECT_TRUE(ShellExecuteExW(&info)) << GetLastError();
  return info.hProcess;
}

bool hasChildren() {
  const std::string command = "ps -o pid= --ppid " + std::to_string(getpid()) + " | grep -v \"$$\" | grep -q .";
  return std::system(command.c_str()) == 0;
}

}  // namespace

TEST(ProcessScenario, ProgramsStartedAndWaitedOn) {
  ScratchDirectory scratch;
  const std::string program = scratch.script("ends", "sleep 0.0$(( $1 % 7 )); exit $1\n");
  const std::wstring file(program.begin(), program.end());

  for (int round = 0; round < 3; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    std::vector<HANDLE> processes;
    for (int i = 0; i < 40; ++i) processes.push_back(start(file, std::to_wstring(i + round)));

    // Two threads wait on every program beside the main thread.
    std::atomic<int> seen{0};
    std::vector<std::thread> waiters;
    for (int k = 0; k < 2; ++k) {
      waiters.emplace_back([&] {
        for (HANDLE h : processes)
          if (WaitForSingleObject(h, INFINITE) == WAIT_OBJECT_0) ++seen;
      });
    }
    ASSERT_EQ(WaitForMultipleObjects(static_cast<DWORD>(processes.size()), processes.data(), TRUE, INFINITE),
              WAIT_OBJECT_0);
    for (std::size_t i = 0; i < processes.size(); ++i) {
      DWORD code = 0;
      EXPECT_TRUE(GetExitCodeProcess(processes[i], &code));
      EXPECT_EQ(code, static_cast<DWORD>(i + static_cast<std::size_t>(round))) << "program " << i;
    }
    for (auto& t : waiters) t.join();
    EXPECT_EQ(seen.load(), 80);
    for (HANDLE h : processes) EXPECT_TRUE(CloseHandle(h));
  }
  // Every waiter has reaped its program and gone to the system.
  EXPECT_FALSE(hasChildren());
}
