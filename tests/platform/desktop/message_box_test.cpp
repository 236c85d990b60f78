#include <fcntl.h>
#include <gtest/gtest.h>
#include <qnlith/win32.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "support/scratch.h"

namespace {

struct Seen {
  std::wstring text, caption;
  unsigned style = 0;
  int calls = 0;
};
Seen seen;

int recordingHook(const wchar_t* text, const wchar_t* caption, unsigned style) {
  seen.text = text;
  seen.caption = caption;
  seen.style = style;
  ++seen.calls;
  return IDRETRY;
}

// Runs body in a child without a controlling terminal or a display, which
// must end within the alarm; returns its exit code, or -1.
template <typename Body>
int inSession(Body body) {
  const pid_t child = fork();
  if (child == 0) {
    setsid();
    unsetenv("DISPLAY");
    unsetenv("WAYLAND_DISPLAY");
    alarm(60);  // a box that holds the process fails the test instead of hanging it
    _exit(body());
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// A socket where a display server would listen; nothing behind it speaks,
// but a client can connect, which is all the layer asks before it starts a
// dialog program. X11: in the abstract namespace under /tmp/.X11-unix.
class ListeningSocket {
 public:
  ListeningSocket(const std::string& path, bool abstract) {
    fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::size_t offset = abstract ? 1 : 0;
    std::memcpy(address.sun_path + offset, path.data(), path.size());
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + offset + path.size());
    listening_ = fd_ >= 0 && bind(fd_, reinterpret_cast<sockaddr*>(&address), length) == 0 && listen(fd_, 16) == 0;
  }
  ~ListeningSocket() {
    if (fd_ >= 0) close(fd_);
  }
  bool listening() const { return listening_; }

 private:
  int fd_ = -1;
  bool listening_ = false;
};

// An X11 display number whose abstract socket this test holds.
struct FakeX11Display {
  FakeX11Display() {
    for (int n = 900 + getpid() % 4000; !socket_ && n < 9000; n += 7) {
      auto candidate = std::make_unique<ListeningSocket>("/tmp/.X11-unix/X" + std::to_string(n), true);
      if (candidate->listening()) {
        socket_ = std::move(candidate);
        name = ":" + std::to_string(n) + ".0";
      }
    }
  }
  std::string name;

 private:
  std::unique_ptr<ListeningSocket> socket_;
};

std::string readAll(int fd) {
  std::string text;
  char buffer[256];
  for (ssize_t n; (n = read(fd, buffer, sizeof buffer)) > 0;) text.append(buffer, static_cast<std::size_t>(n));
  return text;
}

}  // namespace

TEST(MessageBox, TheHookSeesEveryBox) {
  EXPECT_EQ(qnSetMessageBoxHook(recordingHook), nullptr);
  seen = {};
  EXPECT_EQ(MessageBoxW(nullptr, L"Something failed", L"Caption", MB_RETRYCANCEL | MB_ICONHAND | MB_SETFOREGROUND),
            IDRETRY);
  EXPECT_EQ(seen.text, L"Something failed");
  EXPECT_EQ(seen.caption, L"Caption");
  EXPECT_EQ(seen.style, 0x10015u);
  EXPECT_EQ(MessageBoxW(nullptr, nullptr, nullptr, MB_OK), IDRETRY);
  EXPECT_EQ(seen.text, L"");
  EXPECT_EQ(seen.caption, L"Error") << "the caption of a box without one";

  HWND owner = CreateWindowExW(0, L"any", L"Main window", 0, 0, 0, 10, 10, nullptr, nullptr, nullptr, nullptr);
  ASSERT_NE(owner, nullptr);
  EXPECT_EQ(MessageBoxW(owner, L"t", L"c", MB_OK), IDRETRY);
  EXPECT_TRUE(DestroyWindow(owner));
  seen.calls = 0;
  SetLastError(0);
  EXPECT_EQ(MessageBoxW(owner, L"t", L"c", MB_OK), 0) << "the owner is gone";
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_WINDOW_HANDLE));
  EXPECT_EQ(MessageBoxW(nullptr, L"t", L"c", 7), 0);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_MSGBOX_STYLE));
  EXPECT_EQ(seen.calls, 0);
  EXPECT_EQ(qnSetMessageBoxHook(nullptr), recordingHook);
}

TEST(MessageBox, WindowsHaveCaptionsAndChildren) {
  HWND parent = CreateWindowExW(0, nullptr, L"Parent caption", 0, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr);
  HWND child = CreateWindowExW(0, nullptr, L"Child", 0, 0, 0, 0, 0, parent, nullptr, nullptr, nullptr);
  ASSERT_NE(parent, nullptr);
  ASSERT_NE(child, nullptr);
  EXPECT_EQ(GetParent(child), parent);
  wchar_t text[8];
  EXPECT_EQ(GetWindowTextW(parent, text, 8), 7);
  EXPECT_STREQ(text, L"Parent ");
  EXPECT_EQ(GetWindowTextLengthW(parent), 14);
  EXPECT_TRUE(SetWindowTextW(parent, L"New"));
  EXPECT_EQ(GetWindowTextW(parent, text, 8), 3);
  EXPECT_STREQ(text, L"New");
  EXPECT_TRUE(DestroyWindow(parent));
  EXPECT_FALSE(IsWindow(parent));
  EXPECT_FALSE(IsWindow(child)) << "children go with their parent";
  EXPECT_EQ(GetWindowTextW(parent, text, 8), 0);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_WINDOW_HANDLE));
  EXPECT_FALSE(DestroyWindow(parent));
  EXPECT_EQ(CreateWindowExW(0, nullptr, L"x", 0, 0, 0, 0, 0, parent, nullptr, nullptr, nullptr), nullptr);
}

TEST(MessageBox, WithoutAUserTheDefaultAnswersAtOnce) {
  int channel[2];
  ASSERT_EQ(pipe(channel), 0);
  static int errorEnd;
  errorEnd = channel[1];
  const int result = inSession([] {
    dup2(errorEnd, 2);
    const int first = MessageBoxW(nullptr, L"Disk \u00e9 full", L"Saving", MB_YESNOCANCEL | MB_DEFBUTTON2 | MB_ICONHAND);
    const int second = MessageBoxW(nullptr, L"x", L"y", MB_OK | MB_DEFBUTTON4);
    return first == IDNO && second == IDOK ? 0 : 1;
  });
  close(channel[1]);
  const std::string written = readAll(channel[0]);
  close(channel[0]);
  EXPECT_EQ(result, 0);
  EXPECT_NE(written.find("[Error] Saving\nDisk \xC3\xA9 full\n(no one to ask: answered No)\n"), std::string::npos)
      << written;
}

TEST(MessageBox, PromptOnTheControllingTerminal) {
  struct Case {
    UINT style;
    const char* answers;
    int expected;
  };
  const Case cases[] = {
      {MB_YESNOCANCEL | MB_DEFBUTTON2, "no\n", IDNO},
      {MB_YESNOCANCEL | MB_DEFBUTTON2, "\n", IDNO},
      {MB_ABORTRETRYIGNORE | MB_DEFBUTTON3, "maybe\n3\n", IDIGNORE},
      {MB_CANCELTRYCONTINUE, "c\nCO\n", IDCONTINUE},  // "c" names two buttons
      {MB_RETRYCANCEL, "r\n", IDRETRY},
      {MB_OKCANCEL, "\x04\n", IDCANCEL},  // end of input: the box is closed
      {MB_YESNO | MB_DEFBUTTON2, "\x04\n", IDNO},  // one that can't be closed takes its default
  };
  for (const Case& c : cases) {
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(master, 0);
    ASSERT_EQ(grantpt(master), 0);
    ASSERT_EQ(unlockpt(master), 0);
    static std::string slave;
    static UINT style;
    static int masterEnd;
    masterEnd = master;
    slave = ptsname(master);
    style = c.style;
    const pid_t child = fork();
    if (child == 0) {
      close(masterEnd);
      setsid();
      unsetenv("DISPLAY");
      unsetenv("WAYLAND_DISPLAY");
      alarm(60);
      const int terminal = open(slave.c_str(), O_RDWR);  // becomes the controlling terminal
      if (terminal < 0) _exit(100);
      _exit(MessageBoxW(nullptr, L"Question text", L"Prompt caption", style));
    }
    // Answers each question as it appears.
    std::string screen;
    const char* answer = c.answers;
    std::size_t questions = 0;
    char buffer[512];
    for (ssize_t n; (n = read(master, buffer, sizeof buffer)) > 0;) {
      screen.append(buffer, static_cast<std::size_t>(n));
      std::size_t count = 0;
      for (std::size_t at = 0; (at = screen.find("): ", at)) != std::string::npos; ++at) ++count;
      if (count > questions) {
        questions = count;
        const char* end = std::strchr(answer, '\n');
        if (end == nullptr) break;
        ASSERT_EQ(write(master, answer, static_cast<std::size_t>(end - answer + 1)), end - answer + 1);
        answer = end + 1;
      }
    }
    close(master);
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status)) << screen;
    EXPECT_EQ(WEXITSTATUS(status), c.expected) << screen;
    EXPECT_NE(screen.find("Prompt caption"), std::string::npos);
    EXPECT_NE(screen.find("Question text"), std::string::npos);
  }
}

TEST(MessageBox, DialogProgramsOnTheDisplay) {
  // Stand-ins for the dialog programs record how they are started and
  // answer as told.
  ScratchDirectory scratch;
  const std::string dir = scratch.path().string(), log = dir + "/log";
  const std::string script = "for a in \"$0\" \"$@\"; do printf '%s\\n' \"$a\"; done > " + log + "\n/bin/cat >> " + log +
                             " </dev/stdin\nprintf '%s' \"$QN_DIALOG_OUT\"\nexit $QN_DIALOG_EXIT\n";
  for (const char* name : {"zenity", "xmessage"}) scratch.script(name, script);
  static std::string searchPath, runtimeDirectory;
  searchPath = dir;
  runtimeDirectory = dir;
  static FakeX11Display x11;
  ASSERT_FALSE(x11.name.empty());
  ListeningSocket wayland(dir + "/wayland-qn", false);
  ASSERT_TRUE(wayland.listening());
  struct Case {
    const char* display;
    const char* exit;
    const char* out;
    UINT style;
    int expected;
    const char* program;
    const char* firstArgument;
  };
  const Case cases[] = {
      {"DISPLAY", "0", "", MB_YESNOCANCEL | MB_ICONQUESTION, IDYES, "zenity", "--question"},
      {"DISPLAY", "1", "No\n", MB_YESNOCANCEL, IDNO, "zenity", "--question"},
      {"WAYLAND_DISPLAY", "1", "", MB_YESNOCANCEL, IDCANCEL, "zenity", "--question"},
      {"DISPLAY", "0", "", MB_OK | MB_ICONHAND, IDOK, "zenity", "--error"},
  };
  for (const Case& c : cases) {
    static const Case* current;
    current = &c;
    const int result = inSession([] {
      setenv("PATH", searchPath.c_str(), 1);
      setenv("XDG_RUNTIME_DIR", runtimeDirectory.c_str(), 1);
      setenv(current->display, std::strcmp(current->display, "DISPLAY") == 0 ? x11.name.c_str() : "wayland-qn", 1);
      setenv("QN_DIALOG_EXIT", current->exit, 1);
      setenv("QN_DIALOG_OUT", current->out, 1);
      return MessageBoxW(nullptr, L"-text that is no option", L"Dialog caption", current->style);
    });
    EXPECT_EQ(result, c.expected) << c.program << " " << c.exit;
    const std::string recorded = scratch.read("log");
    EXPECT_EQ(recorded.find(dir + "/" + c.program + "\n" + c.firstArgument + "\n"), 0u) << recorded;
    EXPECT_NE(recorded.find("--title=Dialog caption\n--text=-text that is no option\n--no-markup\n"),
              std::string::npos)
        << recorded;
  }

  // Without zenity: xmessage, with the text on its standard input.
  unlink((dir + "/zenity").c_str());
  const int result = inSession([] {
    setenv("PATH", searchPath.c_str(), 1);
    setenv("DISPLAY", x11.name.c_str(), 1);
    setenv("QN_DIALOG_EXIT", "104", 1);  // Retry
    return MessageBoxW(nullptr, L"-text", L"Caption", MB_ABORTRETRYIGNORE | MB_DEFBUTTON3);
  });
  EXPECT_EQ(result, IDRETRY);
  EXPECT_EQ(scratch.read("log"), dir + "/xmessage\n-title\nCaption\n-buttons\nAbort:103,Retry:104,Ignore:105\n-default\nIgnore\n"
                                      "-center\n-file\n-\n-text\n");
}

TEST(MessageBox, ADialogThatCouldNotShowTheBoxIsNoAnswer) {
  // Each stand-in records that it ran, writes what it is told on standard
  // error and exits as told; real ones do the same when no display answers.
  ScratchDirectory scratch;
  const std::string dir = scratch.path().string();
  for (const std::string name : {"zenity", "xmessage"})
    scratch.script(name, "echo " + name + " >> " + dir + "/ran\nprintf '%s' \"$QN_" + name + "_ERR\" >&2\nexit $QN_" +
                             name + "_EXIT\n");
  static std::string searchPath;
  searchPath = dir;
  static FakeX11Display reachable;
  ASSERT_FALSE(reachable.name.empty());
  struct Case {
    const char* display;  // null: the reachable stand-in
    const char *zenityExit, *zenityErr, *xmessageExit, *xmessageErr;
    int expected;
    const char* ran;
    bool toStandardError;
  };
  const Case cases[] = {
      // Nothing listens behind the variable: no dialog program is started.
      {":99", "1", "", "1", "", IDNO, "", true},
      {"localhost:99", "1", "", "1", "", IDNO, "", true},
      {"unix:99.0", "1", "", "1", "", IDNO, "", true},
      // A server answers, but the toolkit cannot use it.
      {nullptr, "1", "(zenity:1): Gtk-WARNING **: cannot open display: :1", "1", "Error: Can't open display: :1", IDNO,
       "zenity\nxmessage\n", true},
      {nullptr, "255", "", "106", "", IDYES, "zenity\nxmessage\n", false},
      {nullptr, "5", "", "102", "", IDCANCEL, "zenity\nxmessage\n", false},
      // The user's own Cancel stays an answer.
      {nullptr, "1", "Gtk-Message: mapped without a transient parent", "106", "", IDCANCEL, "zenity\n", false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.display ? c.display : "reachable") + " zenity " + c.zenityExit);
    unlink((dir + "/ran").c_str());
    static const Case* current;
    current = &c;
    int channel[2];
    ASSERT_EQ(pipe(channel), 0);
    static int errorEnd;
    errorEnd = channel[1];
    const int result = inSession([] {
      dup2(errorEnd, 2);
      setenv("PATH", searchPath.c_str(), 1);
      setenv("DISPLAY", current->display ? current->display : reachable.name.c_str(), 1);
      setenv("QN_zenity_EXIT", current->zenityExit, 1);
      setenv("QN_zenity_ERR", current->zenityErr, 1);
      setenv("QN_xmessage_EXIT", current->xmessageExit, 1);
      setenv("QN_xmessage_ERR", current->xmessageErr, 1);
      return MessageBoxW(nullptr, L"Save changes?", L"Stale display", MB_YESNOCANCEL | MB_DEFBUTTON2);
    });
    close(channel[1]);
    const std::string written = readAll(channel[0]);
    close(channel[0]);
    EXPECT_EQ(result, c.expected);
    EXPECT_EQ(scratch.read("ran"), c.ran);
    EXPECT_EQ(written.find("Stale display\nSave changes?\n(no one to ask: answered No)\n") != std::string::npos,
              c.toStandardError)
        << written;
  }
}
