// Message boxes where a display variable names no reachable display, as in
// SSH sessions, containers and CI: several processes put up many boxes at
// once, with texts beyond ASCII and beyond 260 characters. No dialog program
// may be started, none may hang, and every box is written to standard error
// and answered with its default button.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <qnlith/win32.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "support/scratch.h"

namespace {

struct Style {
  UINT style;
  int answer;        // the default button's id
  const char* label;  // and its label
};

const Style styles[] = {
    {MB_OK, IDOK, "OK"},
    {MB_OKCANCEL | MB_DEFBUTTON2, IDCANCEL, "Cancel"},
    {MB_ABORTRETRYIGNORE | MB_DEFBUTTON3, IDIGNORE, "Ignore"},
    {MB_YESNOCANCEL | MB_DEFBUTTON2 | MB_ICONQUESTION, IDNO, "No"},
    {MB_YESNO, IDYES, "Yes"},
    {MB_RETRYCANCEL | MB_ICONHAND, IDRETRY, "Retry"},
    {MB_CANCELTRYCONTINUE | MB_DEFBUTTON3, IDCONTINUE, "Continue"},
    {MB_YESNO | MB_DEFBUTTON4, IDYES, "Yes"},  // a default beyond the buttons is the first
};

// The text of box `n` of process `p`: beyond ASCII, beyond the BMP, and
// longer than 260 characters.
std::wstring boxText(int p, int n) {
  return L"Prozess " + std::to_wstring(p) + L" Box " + std::to_wstring(n) + L": \u00e9t\u00e9 \u263A \U0001F600 " +
         std::wstring(300, L'w') + L" Ende";
}

std::string utf8(const std::wstring& text) {
  const int n = WideCharToMultiByte(CP_UTF8, 0, text.c_str(), -1, nullptr, 0, nullptr, nullptr);
  std::string out(static_cast<std::size_t>(n), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.c_str(), -1, out.data(), n, nullptr, nullptr);
  out.resize(static_cast<std::size_t>(n - 1));
  return out;
}

}  // namespace

TEST(BoxScenario, AStaleDisplayLeavesEveryBoxToStandardErrorWithItsDefault) {
  ScratchDirectory scratch;
  const std::string dir = scratch.path().string();
  // Dialog programs that would hold the box for half a minute if started.
  for (const std::string name : {"zenity", "xmessage"})
    scratch.script(name, "echo " + name + " >> " + dir + "/started\nsleep 30\nexit 1\n");
  constexpr int Processes = 4, Boxes = 40;
  std::vector<pid_t> children;
  for (int p = 0; p < Processes; ++p) {
    const pid_t child = fork();
    if (child == 0) {
      setsid();  // no controlling terminal to prompt on
      alarm(30);
      const std::string errors = dir + "/stderr-" + std::to_string(p);
      const int fd = open(errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
      dup2(fd, 2);
      setenv("PATH", (dir + ":/usr/bin:/bin").c_str(), 1);
      // Nothing listens behind either variable.
      setenv("DISPLAY", ":99", 1);
      setenv("WAYLAND_DISPLAY", "wayland-stale", 1);
      setenv("XDG_RUNTIME_DIR", dir.c_str(), 1);
      int wrong = 0;
      for (int n = 0; n < Boxes; ++n) {
        const Style& s = styles[n % (sizeof styles / sizeof styles[0])];
        if (MessageBoxW(nullptr, boxText(p, n).c_str(), L"Veraltete Anzeige \U0001F4BB", s.style) != s.answer) ++wrong;
      }
      _exit(wrong == 0 ? 0 : 1);
    }
    children.push_back(child);
  }
  for (pid_t child : children) {
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "a box was answered otherwise; status " << status;
  }
  EXPECT_FALSE(scratch.exists("started")) << "a dialog program was started: " << scratch.read("started");
  for (int p = 0; p < Processes; ++p) {
    const std::string written = scratch.read("stderr-" + std::to_string(p));
    for (int n = 0; n < Boxes; ++n) {
      const Style& s = styles[n % (sizeof styles / sizeof styles[0])];
      const std::string expected = "Veraltete Anzeige \xF0\x9F\x92\xBB\n" + utf8(boxText(p, n)) +
                                   "\n(no one to ask: answered " + s.label + ")\n";
      EXPECT_NE(written.find(expected), std::string::npos) << "process " << p << ", box " << n;
    }
  }
}
