// MessageBoxW: the hook, a dialog program, the terminal, standard error.
#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <cwctype>
#include <string>
#include <vector>

#include <qnlith/win32/msgbox.h>
#include <qnlith/win32/window.h>

#include "errors/errors.h"
#include "text/unicode.h"

extern char** environ;

namespace {

std::atomic<QnMessageBoxHook> installedHook{nullptr};

struct Button {
  int id;
  const wchar_t* label;
};

constexpr Button Ok{IDOK, L"OK"}, Cancel{IDCANCEL, L"Cancel"}, Abort{IDABORT, L"Abort"}, Retry{IDRETRY, L"Retry"},
    Ignore{IDIGNORE, L"Ignore"}, Yes{IDYES, L"Yes"}, No{IDNO, L"No"}, TryAgain{IDTRYAGAIN, L"Try Again"},
    Continue{IDCONTINUE, L"Continue"};

struct Box {
  std::string text, caption;  // UTF-8
  std::vector<Button> buttons;
  std::size_t defaultButton = 0;
  int closeResult = 0;  // what closing the box answers; 0 where it can't be closed
  UINT icon = 0;
};

bool layOut(UINT style, Box& box) {
  switch (style & MB_TYPEMASK) {
    case MB_OK: box.buttons = {Ok}; break;
    case MB_OKCANCEL: box.buttons = {Ok, Cancel}; break;
    case MB_ABORTRETRYIGNORE: box.buttons = {Abort, Retry, Ignore}; break;
    case MB_YESNOCANCEL: box.buttons = {Yes, No, Cancel}; break;
    case MB_YESNO: box.buttons = {Yes, No}; break;
    case MB_RETRYCANCEL: box.buttons = {Retry, Cancel}; break;
    case MB_CANCELTRYCONTINUE: box.buttons = {Cancel, TryAgain, Continue}; break;
    default: return false;
  }
  // A default beyond the last button falls back to the first, as Windows does.
  box.defaultButton = (style & MB_DEFMASK) >> 8;
  if (box.defaultButton >= box.buttons.size()) box.defaultButton = 0;
  for (const Button& b : box.buttons)
    if (b.id == IDCANCEL) box.closeResult = IDCANCEL;
  if ((style & MB_TYPEMASK) == MB_OK) box.closeResult = IDOK;
  box.icon = style & MB_ICONMASK;
  return true;
}

std::string narrow(const wchar_t* text) { return qn::wideToUtf8(text); }

const char* iconWord(UINT icon) {
  switch (icon) {
    case MB_ICONHAND: return "Error";
    case MB_ICONQUESTION: return "Question";
    case MB_ICONEXCLAMATION: return "Warning";
    case MB_ICONASTERISK: return "Information";
    default: return nullptr;
  }
}

// --- a dialog program on the graphical display ---------------------------

// Whether a server listens on a local stream socket; `abstract` names one
// in the abstract namespace.
bool socketAnswers(const std::string& path, bool abstract) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::size_t offset = abstract ? 1 : 0;
  if (path.empty() || path.size() + offset >= sizeof address.sun_path) return false;
  std::memcpy(address.sun_path + offset, path.data(), path.size());
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + offset + path.size() + (abstract ? 0 : 1));
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return false;
  const bool answered = connect(fd, reinterpret_cast<const sockaddr*>(&address), length) == 0;
  close(fd);
  return answered;
}

// Whether a server listens on a TCP port of a host, within a second.
bool portAnswers(const std::string& host, int port) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found) != 0) return false;
  bool answered = false;
  for (addrinfo* a = found; a != nullptr && !answered; a = a->ai_next) {
    const int fd = socket(a->ai_family, a->ai_socktype | SOCK_CLOEXEC | SOCK_NONBLOCK, a->ai_protocol);
    if (fd < 0) continue;
    if (connect(fd, a->ai_addr, a->ai_addrlen) == 0) {
      answered = true;
    } else if (errno == EINPROGRESS) {
      pollfd end{fd, POLLOUT, 0};
      int error = 0;
      socklen_t size = sizeof error;
      answered = poll(&end, 1, 1000) == 1 && getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0;
    }
    close(fd);
  }
  freeaddrinfo(found);
  return answered;
}

// DISPLAY is [host]:number[.screen]. A local display listens under
// /tmp/.X11-unix (in the abstract namespace too), a remote one on TCP port
// 6000 + number.
bool x11Reachable() {
  const char* value = std::getenv("DISPLAY");
  if (value == nullptr || *value == '\0') return false;
  const std::string display = value;
  const std::size_t colon = display.rfind(':');
  if (colon == std::string::npos) return false;
  const std::string host = display.substr(0, colon);
  const std::string number = display.substr(colon + 1, display.find('.', colon) - colon - 1);
  if (number.empty() || number.size() > 5 || number.find_first_not_of("0123456789") != std::string::npos)
    return false;
  if (!host.empty() && host[0] == '/') return socketAnswers(host, false);
  if (host.empty() || host == "unix") {
    const std::string socketPath = "/tmp/.X11-unix/X" + number;
    return socketAnswers(socketPath, true) || socketAnswers(socketPath, false);
  }
  return portAnswers(host, 6000 + std::stoi(number));
}

// WAYLAND_DISPLAY is a socket path, or a name in XDG_RUNTIME_DIR.
bool waylandReachable() {
  const char* name = std::getenv("WAYLAND_DISPLAY");
  if (name == nullptr || *name == '\0') return false;
  if (name[0] == '/') return socketAnswers(name, false);
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  if (runtime == nullptr || *runtime == '\0') return false;
  return socketAnswers(std::string(runtime) + "/" + name, false);
}

// What a toolkit writes when it finds no display it can use.
bool couldNotShow(const std::string& errors) {
  for (const char* sign : {"annot open display", "Failed to connect to"})
    if (errors.find(sign) != std::string::npos) return true;
  return false;
}

std::string onPath(const char* program) {
  const char* path = std::getenv("PATH");
  if (path == nullptr) return {};
  std::string all(path);
  std::size_t start = 0;
  while (start <= all.size()) {
    std::size_t end = all.find(':', start);
    if (end == std::string::npos) end = all.size();
    std::string candidate = all.substr(start, end - start);
    if (!candidate.empty()) {
      candidate += '/';
      candidate += program;
      if (access(candidate.c_str(), X_OK) == 0) return candidate;
    }
    start = end + 1;
  }
  return {};
}

// A pipe whose ends lie above the standard descriptors, so that moving them
// there in the child always takes effect, even when this process runs with
// standard input or output closed.
bool pipeAboveStandard(int ends[2]) {
  int made[2];
  if (pipe2(made, O_CLOEXEC) != 0) return false;
  for (int i = 0; i < 2; ++i) {
    ends[i] = made[i] > 2 ? made[i] : fcntl(made[i], F_DUPFD_CLOEXEC, 3);
    if (ends[i] != made[i]) close(made[i]);
  }
  if (ends[0] >= 0 && ends[1] >= 0) return true;
  if (ends[0] >= 0) close(ends[0]);
  if (ends[1] >= 0) close(ends[1]);
  return false;
}

// Runs the program without a shell, gives it `input` on standard input and
// returns its exit status (-1 if it could not run), standard output and
// standard error.
int run(const std::string& program, const std::vector<std::string>& arguments, const std::string& input,
        std::string& output, std::string& errors) {
  int in[2], out[2], err[2];
  if (!pipeAboveStandard(in)) return -1;
  if (!pipeAboveStandard(out)) {
    close(in[0]);
    close(in[1]);
    return -1;
  }
  if (!pipeAboveStandard(err)) {
    for (int fd : {in[0], in[1], out[0], out[1]}) close(fd);
    return -1;
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, in[0], 0);
  posix_spawn_file_actions_adddup2(&actions, out[1], 1);
  posix_spawn_file_actions_adddup2(&actions, err[1], 2);
  std::vector<char*> argv;
  argv.push_back(const_cast<char*>(program.c_str()));
  for (const std::string& a : arguments) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  pid_t child = 0;
  const int spawned = posix_spawn(&child, program.c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(in[0]);
  close(out[1]);
  close(err[1]);
  if (spawned == 0 && !input.empty()) {
    // A program that ends without reading must not take this process with
    // it: SIGPIPE is held for the write, and one that it caused is taken back.
    sigset_t pipeSignal, before;
    sigemptyset(&pipeSignal);
    sigaddset(&pipeSignal, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipeSignal, &before);
    bool broken = false;
    std::size_t written = 0;
    while (written < input.size()) {
      const ssize_t n = write(in[1], input.data() + written, input.size() - written);
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) {
        broken = errno == EPIPE;
        break;
      }
      written += static_cast<std::size_t>(n);
    }
    if (broken) {
      const struct timespec now {};
      sigtimedwait(&pipeSignal, nullptr, &now);
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
  }
  close(in[1]);
  // Both outputs are read as they come, so that neither pipe fills.
  pollfd ends[2] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}};
  std::string* texts[2] = {&output, &errors};
  for (int open = 2; open > 0;) {
    if (poll(ends, 2, -1) < 0) {
      if (errno == EINTR) continue;
      break;
    }
    for (int i = 0; i < 2; ++i) {
      if (ends[i].fd < 0 || ends[i].revents == 0) continue;
      char buffer[256];
      const ssize_t n = read(ends[i].fd, buffer, sizeof buffer);
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) {
        ends[i].fd = -1;
        --open;
        continue;
      }
      texts[i]->append(buffer, static_cast<std::size_t>(n));
    }
  }
  close(out[0]);
  close(err[0]);
  if (spawned != 0) return -1;
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int zenityDialog(const std::string& program, const Box& box) {
  std::vector<std::string> arguments;
  const std::size_t count = box.buttons.size();
  if (count == 1) {
    arguments.push_back(box.icon == MB_ICONHAND ? "--error" : box.icon == MB_ICONEXCLAMATION ? "--warning" : "--info");
  } else {
    arguments.push_back("--question");
    arguments.push_back("--cancel-label=" + narrow(box.buttons[count - 1].label));
    if (count == 3) arguments.push_back("--extra-button=" + narrow(box.buttons[1].label));
    if (box.icon == MB_ICONHAND) arguments.push_back("--icon-name=dialog-error");
    if (box.icon == MB_ICONEXCLAMATION) arguments.push_back("--icon-name=dialog-warning");
    if (box.icon == MB_ICONASTERISK) arguments.push_back("--icon-name=dialog-information");
  }
  arguments.push_back("--ok-label=" + narrow(box.buttons[0].label));
  arguments.push_back("--title=" + box.caption);
  arguments.push_back("--text=" + box.text);
  arguments.push_back("--no-markup");
  std::string output, errors;
  const int status = run(program, arguments, {}, output, errors);
  // 0 and 1 are the user's answers; anything else (a time-out, a crash, 255
  // for an error) means no box was seen.
  if (status == 0) return box.buttons[0].id;
  if (status != 1) return 0;
  while (!output.empty() && (output.back() == '\n' || output.back() == '\r')) output.pop_back();
  for (const Button& b : box.buttons)
    if (!output.empty() && output == narrow(b.label)) return b.id;
  // The toolkit also ends with 1 when it finds no display to open: that is
  // no answer. It says so on standard error.
  if (couldNotShow(errors)) return 0;
  return count == 1 ? box.buttons[0].id : box.buttons[count - 1].id;  // the cancel label, or the window closed
}

int xmessageDialog(const std::string& program, const Box& box) {
  // Each button exits with 100 + its result; the text comes on standard
  // input, so that nothing in it is taken for an option.
  std::string buttons;
  for (const Button& b : box.buttons) {
    if (!buttons.empty()) buttons += ',';
    buttons += narrow(b.label) + ':' + std::to_string(100 + b.id);
  }
  const std::vector<std::string> arguments = {
      "-title", box.caption, "-buttons", buttons, "-default", narrow(box.buttons[box.defaultButton].label),
      "-center", "-file", "-"};
  std::string output, errors;
  const int status = run(program, arguments, box.text + "\n", output, errors);
  for (const Button& b : box.buttons)
    if (status == 100 + b.id) return b.id;
  return 0;
}

// A dialog program answers with a button, or with 0 when it could not show
// the box: then the next way is tried, down to standard error.
int dialog(const Box& box) {
  const bool x11 = x11Reachable(), wayland = waylandReachable();
  if (!x11 && !wayland) return 0;
  const std::string zenity = onPath("zenity");
  if (!zenity.empty()) {
    if (const int result = zenityDialog(zenity, box)) return result;
  }
  const std::string xmessage = x11 ? onPath("xmessage") : std::string();
  if (!xmessage.empty()) return xmessageDialog(xmessage, box);
  return 0;
}

// --- a prompt on the controlling terminal -------------------------------

void writeAll(int fd, const std::string& text) {
  std::size_t written = 0;
  while (written < text.size()) {
    const ssize_t n = write(fd, text.data() + written, text.size() - written);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return;
    written += static_cast<std::size_t>(n);
  }
}

std::string heading(const Box& box) {
  std::string text = "\n";
  if (const char* word = iconWord(box.icon)) text += std::string("[") + word + "] ";
  text += box.caption + "\n" + box.text + "\n";
  return text;
}

// The button an answer names: its number, its label or the start of its
// label, in any case; -1 if it names none or several.
int chosen(const Box& box, std::string answer) {
  while (!answer.empty() && (answer.back() == ' ' || answer.back() == '\r')) answer.pop_back();
  while (!answer.empty() && answer.front() == ' ') answer.erase(0, 1);
  if (answer.size() == 1 && answer[0] >= '1' && answer[0] < static_cast<char>('1' + box.buttons.size()))
    return box.buttons[static_cast<std::size_t>(answer[0] - '1')].id;
  int found = -1;
  for (const Button& b : box.buttons) {
    const std::string label = narrow(b.label);
    if (answer.size() > label.size()) continue;
    if (strncasecmp(label.c_str(), answer.c_str(), answer.size()) != 0) continue;
    if (answer.size() == label.size()) return b.id;
    found = found == -1 ? b.id : -2;
  }
  return found >= 0 ? found : -1;
}

int terminalPrompt(const Box& box) {
  const int tty = open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (tty < 0) return 0;
  std::string question = "Answer";
  for (std::size_t i = 0; i < box.buttons.size(); ++i)
    question += std::string(i == 0 ? " " : ", ") + "[" + std::to_string(i + 1) + "] " + narrow(box.buttons[i].label);
  question += " (Enter: " + narrow(box.buttons[box.defaultButton].label) + "): ";
  writeAll(tty, heading(box));
  int result = 0;
  while (result == 0) {
    writeAll(tty, question);
    std::string line;
    bool ended = false;
    for (;;) {
      char c;
      const ssize_t n = read(tty, &c, 1);
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) {
        ended = true;
        break;
      }
      if (c == '\n') break;
      line += c;
    }
    if (ended && line.empty()) {
      // The terminal went away: the box is closed.
      result = box.closeResult != 0 ? box.closeResult : box.buttons[box.defaultButton].id;
    } else if (line.empty() || line == "\r") {
      result = box.buttons[box.defaultButton].id;
    } else {
      const int id = chosen(box, line);
      if (id > 0) result = id;
    }
  }
  close(tty);
  return result;
}

// --- nobody to ask ------------------------------------------------------

int headless(const Box& box) {
  const Button& answer = box.buttons[box.defaultButton];
  std::string text = heading(box).substr(1);
  text += "(no one to ask: answered " + narrow(answer.label) + ")\n";
  writeAll(STDERR_FILENO, text);
  return answer.id;
}

}  // namespace

QnMessageBoxHook qnSetMessageBoxHook(QnMessageBoxHook hook) { return installedHook.exchange(hook); }

int WINAPI MessageBoxW(HWND owner, LPCWSTR text, LPCWSTR caption, UINT style) {
  if (owner != nullptr && !IsWindow(owner)) {
    SetLastError(ERROR_INVALID_WINDOW_HANDLE);
    return 0;
  }
  Box box;
  if (!layOut(style, box)) {
    SetLastError(ERROR_INVALID_MSGBOX_STYLE);
    return 0;
  }
  if (text == nullptr) text = L"";
  if (caption == nullptr) caption = L"Error";
  if (const QnMessageBoxHook hook = installedHook.load()) return hook(text, caption, style);
  box.text = narrow(text);
  box.caption = narrow(caption);
  if (const int result = dialog(box)) return result;
  if (const int result = terminalPrompt(box)) return result;
  return headless(box);
}
