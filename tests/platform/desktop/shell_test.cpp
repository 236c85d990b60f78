// Windows command-line splitting and ShellExecuteExW: programs run with
// their parameters and no shell; documents and URLs go to the opener.
#include <gtest/gtest.h>
#include <qnlith/win32.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "../../../platform/desktop/cmdline.h"
#include "support/scratch.h"

using Words = std::vector<std::wstring>;

TEST(CommandLineSplit, FollowsTheWindowsRules) {
  EXPECT_EQ(qn::splitCommandLine(L"a  b\tc"), (Words{L"a", L"b", L"c"}));
  EXPECT_EQ(qn::splitCommandLine(L"\"a b\" c"), (Words{L"a b", L"c"}));
  EXPECT_EQ(qn::splitCommandLine(L"a\\\\b c\\"), (Words{L"a\\\\b", L"c\\"}));
  EXPECT_EQ(qn::splitCommandLine(L"\"a\\\"b\""), (Words{L"a\"b"}));          // \" is a literal quote
  EXPECT_EQ(qn::splitCommandLine(L"a\\\\\"b c\""), (Words{L"a\\b c"}));      // \\" halves and groups
  EXPECT_EQ(qn::splitCommandLine(L"a\\\\\\\"b"), (Words{L"a\\\"b"}));        // \\\" halves and quotes
  EXPECT_EQ(qn::splitCommandLine(L"\"a\"\"b\" c"), (Words{L"a\"b", L"c"}));  // "" inside quotes
  EXPECT_EQ(qn::splitCommandLine(L"\"\" x"), (Words{L"", L"x"}));
  EXPECT_EQ(qn::splitCommandLine(L"  "), Words{});
  EXPECT_EQ(qn::splitCommandLine(L"a\"b c"), (Words{L"ab c"})) << "an open quote runs to the end";
}

namespace {

std::wstring wide(const std::string& s) { return std::wstring(s.begin(), s.end()); }

bool hasZombieChild() {
  const std::string command = "ps -o stat= --ppid " + std::to_string(getpid()) + " | grep -q Z";
  return std::system(command.c_str()) == 0;
}

}  // namespace

TEST(ShellExecute, RunsAProgramWithItsParametersAndNoShell) {
  ScratchDirectory scratch;
  const std::string marker = scratch.path().string() + "/marker";
  const std::string program =
      scratch.script("writer", "for a in \"$@\"; do printf '[%s]\\n' \"$a\"; done > '" + marker + "'\necho END >> '" +
                                   marker + "'\n");
  SHELLEXECUTEINFOW info{};
  info.cbSize = SHELLEXECUTEINFOW_SIZE32;
  info.fMask = SEE_MASK_NOCLOSEPROCESS;
  info.lpVerb = L"open";
  const std::wstring file = wide(program);
  info.lpFile = file.c_str();
  info.lpParameters = L"plain \"two words\" $(touch pwned);echo `id` a\\\"b";
  info.nShow = SW_SHOWNORMAL;
  ASSERT_TRUE(ShellExecuteExW(&info)) << GetLastError();
  EXPECT_GT(reinterpret_cast<INT_PTR>(info.hInstApp), 32);
  EXPECT_NE(info.hProcess, nullptr);
  EXPECT_EQ(scratch.await("marker", "END\n"), "[plain]\n[two words]\n[$(touch]\n[pwned);echo]\n[`id`]\n[a\"b]\nEND\n");
  EXPECT_NE(access((scratch.path().string() + "/pwned").c_str(), F_OK), 0);
  EXPECT_NE(access("pwned", F_OK), 0);
  EXPECT_TRUE(CloseHandle(info.hProcess));
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_FALSE(hasZombieChild());
}

TEST(ShellExecute, RefusesWhatItCannotOpen) {
  SHELLEXECUTEINFOW info{};
  info.cbSize = sizeof info;
  info.lpFile = L"/no/such/program-anywhere";
  SetLastError(0);
  EXPECT_FALSE(ShellExecuteExW(&info));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(reinterpret_cast<INT_PTR>(info.hInstApp), SE_ERR_FNF);

  info.lpFile = L"no-such-program-on-the-path-either";
  EXPECT_FALSE(ShellExecuteExW(&info));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));

  info.cbSize = 12;
  EXPECT_FALSE(ShellExecuteExW(&info));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_FALSE(ShellExecuteExW(nullptr));
}

TEST(ShellExecute, DocumentsAndUrlsGoToTheOpener) {
  ScratchDirectory scratch;
  const std::string opened = scratch.path().string() + "/opened";
  scratch.script("xdg-open", "printf '%s\\n' \"$1\" >> '" + opened + "'\n[ \"$1\" = https://example.org/x ] && echo END >> '" +
                                 opened + "'\nexit 0\n");
  const std::string document = scratch.path().string() + "/notes.txt";
  std::ofstream(document) << "text";
  const std::string oldPath = std::getenv("PATH") ? std::getenv("PATH") : "";
  setenv("PATH", (scratch.path().string() + ":" + oldPath).c_str(), 1);

  SHELLEXECUTEINFOW info{};
  info.cbSize = sizeof info;
  info.lpVerb = L"open";
  const std::wstring doc = wide(document);
  // A Windows path with backslashes reaches the same file.
  std::wstring backslashed = doc;
  for (auto& c : backslashed)
    if (c == L'/') c = L'\\';
  info.lpFile = backslashed.c_str();
  EXPECT_TRUE(ShellExecuteExW(&info)) << GetLastError();
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  info.lpFile = L"https://example.org/x";
  EXPECT_TRUE(ShellExecuteExW(&info)) << GetLastError();
  setenv("PATH", oldPath.c_str(), 1);
  EXPECT_EQ(scratch.await("opened", "END\n"), document + "\nhttps://example.org/x\nEND\n");

  info.lpVerb = L"print";
  EXPECT_FALSE(ShellExecuteExW(&info));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NO_ASSOCIATION));
}

namespace {

// Starts an executable with SEE_MASK_NOCLOSEPROCESS; its process handle.
HANDLE startProgram(const std::string& path) {
  SHELLEXECUTEINFOW info{};
  info.cbSize = sizeof info;
  info.fMask = SEE_MASK_NOCLOSEPROCESS;
  const std::wstring file = wide(path);
  info.lpFile = file.c_str();
  EXPECT_TRUE(ShellExecuteExW(&info)) << GetLastError();
  EXPECT_NE(info.hProcess, nullptr);
  return info.hProcess;
}

DWORD exitCodeOf(HANDLE process) {
  DWORD code = 0;
  EXPECT_TRUE(GetExitCodeProcess(process, &code));
  return code;
}

bool processExists(DWORD pid) { return access(("/proc/" + std::to_string(pid)).c_str(), F_OK) == 0; }

}  // namespace

TEST(ShellExecute, StartedProgramsCanBeWaitedOn) {
  ScratchDirectory scratch;
  const std::string seven = scratch.script("seven", "sleep 0.2; exit 7\n");
  const std::string three = scratch.script("three", "sleep 0.3; exit 3\n");
  const std::string killed = scratch.script("killed", "kill -TERM $$\n");

  HANDLE process = startProgram(seven);
  const DWORD pid = GetProcessId(process);
  EXPECT_GT(pid, 0u);
  EXPECT_NE(pid, GetCurrentProcessId());
  EXPECT_EQ(exitCodeOf(process), STILL_ACTIVE);
  EXPECT_EQ(WaitForSingleObject(process, 0), static_cast<DWORD>(WAIT_TIMEOUT));
  EXPECT_EQ(WaitForSingleObject(process, INFINITE), WAIT_OBJECT_0);
  EXPECT_EQ(exitCodeOf(process), 7u);
  EXPECT_EQ(WaitForSingleObject(process, 0), WAIT_OBJECT_0) << "an ended program stays signalled";
  EXPECT_EQ(exitCodeOf(process), 7u);
  EXPECT_FALSE(processExists(pid)) << "reaped by the time the wait ends";
  EXPECT_TRUE(CloseHandle(process));

  // Several at once, alone and beside objects that threads signal.
  HANDLE programs[] = {startProgram(seven), startProgram(three)};
  EXPECT_EQ(WaitForMultipleObjects(2, programs, TRUE, INFINITE), WAIT_OBJECT_0);
  EXPECT_EQ(exitCodeOf(programs[0]), 7u);
  EXPECT_EQ(exitCodeOf(programs[1]), 3u);
  for (HANDLE h : programs) CloseHandle(h);

  HANDLE never = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  HANDLE always = CreateEventW(nullptr, TRUE, TRUE, nullptr);
  HANDLE mixed[] = {never, startProgram(seven)};
  EXPECT_EQ(WaitForMultipleObjects(2, mixed, FALSE, INFINITE), WAIT_OBJECT_0 + 1);
  CloseHandle(mixed[1]);
  mixed[0] = always;
  mixed[1] = startProgram(three);
  EXPECT_EQ(WaitForMultipleObjects(2, mixed, TRUE, 5), static_cast<DWORD>(WAIT_TIMEOUT));
  EXPECT_EQ(WaitForMultipleObjects(2, mixed, TRUE, INFINITE), WAIT_OBJECT_0);
  EXPECT_EQ(exitCodeOf(mixed[1]), 3u);
  CloseHandle(mixed[1]);
  CloseHandle(never);
  CloseHandle(always);

  process = startProgram(killed);
  EXPECT_EQ(WaitForSingleObject(process, INFINITE), WAIT_OBJECT_0);
  EXPECT_EQ(exitCodeOf(process), 128u + 15u) << "ended by SIGTERM";
  CloseHandle(process);

  // A handle closed while its program runs leaves nothing behind either.
  process = startProgram(three);
  const DWORD running = GetProcessId(process);
  EXPECT_TRUE(CloseHandle(process));
  EXPECT_FALSE(GetExitCodeProcess(process, nullptr));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  for (int i = 0; i < 400 && processExists(running); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  EXPECT_FALSE(processExists(running));
  EXPECT_FALSE(hasZombieChild());
}
