// Windows command-line splitting and ShellExecuteExW: programs run with
// their parameters and no shell; documents and URLs go to the opener.
#include <gtest/gtest.h>
#include <qnlith/win32.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "../../platform/internal/cmdline.h"

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

struct Scratch {
  Scratch() {
    const char* base = std::getenv("QNLITH_TEST_TMP");
    dir = std::string(base ? base : "/tmp") + "/shell-" + std::to_string(getpid());
    std::system(("rm -rf '" + dir + "' && mkdir -p '" + dir + "'").c_str());
  }
  ~Scratch() { std::system(("rm -rf '" + dir + "'").c_str()); }
  std::string script(const std::string& name, const std::string& body) const {
    const std::string path = dir + "/" + name;
    std::ofstream(path) << "#!/bin/sh\n" << body;
    chmod(path.c_str(), 0755);
    return path;
  }
  std::string dir;
};

std::wstring wide(const std::string& s) { return std::wstring(s.begin(), s.end()); }

// Reads a file that another process writes, waiting a while for it.
std::string awaitFile(const std::string& path) {
  for (int i = 0; i < 500; ++i) {
    std::ifstream in(path);
    std::stringstream content;
    content << in.rdbuf();
    if (in && content.str().find("END") != std::string::npos) return content.str();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return "(never written)";
}

bool hasZombieChild() {
  const std::string command = "ps -o stat= --ppid " + std::to_string(getpid()) + " | grep -q Z";
  return std::system(command.c_str()) == 0;
}

}  // namespace

TEST(ShellExecute, RunsAProgramWithItsParametersAndNoShell) {
  Scratch scratch;
  const std::string marker = scratch.dir + "/marker";
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
  EXPECT_EQ(awaitFile(marker), "[plain]\n[two words]\n[$(touch]\n[pwned);echo]\n[`id`]\n[a\"b]\nEND\n");
  EXPECT_NE(access((scratch.dir + "/pwned").c_str(), F_OK), 0);
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
  Scratch scratch;
  const std::string opened = scratch.dir + "/opened";
  scratch.script("xdg-open", "printf '%s\\n' \"$1\" >> '" + opened + "'\n[ \"$1\" = https://example.org/x ] && echo END >> '" +
                                 opened + "'\nexit 0\n");
  const std::string document = scratch.dir + "/notes.txt";
  std::ofstream(document) << "text";
  const std::string oldPath = std::getenv("PATH") ? std::getenv("PATH") : "";
  setenv("PATH", (scratch.dir + ":" + oldPath).c_str(), 1);

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
  EXPECT_EQ(awaitFile(opened), document + "\nhttps://example.org/x\nEND\n");

  info.lpVerb = L"print";
  EXPECT_FALSE(ShellExecuteExW(&info));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NO_ASSOCIATION));
}
