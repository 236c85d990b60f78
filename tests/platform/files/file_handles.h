// What the file tests share: short names for access rights, an open with
// the usual arguments, whole reads and writes, and a child process that
// holds what it opened until told to let go.
#pragma once

#include <gtest/gtest.h>
#include <qnlith/win32.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

constexpr DWORD Read = GENERIC_READ;
constexpr DWORD Write = GENERIC_WRITE;
constexpr DWORD ReadWrite = GENERIC_READ | GENERIC_WRITE;

inline HANDLE open(const std::wstring& path, DWORD access, DWORD share, DWORD disposition,
            DWORD attributes = FILE_ATTRIBUTE_NORMAL) {
  return CreateFileW(path.c_str(), access, share, nullptr, disposition, attributes, nullptr);
}

inline std::string readAll(HANDLE file) {
  std::string out;
  char buffer[256];
  DWORD got = 0;
  while (ReadFile(file, buffer, sizeof buffer, &got, nullptr) && got > 0) out.append(buffer, got);
  return out;
}

inline bool writeText(HANDLE file, const std::string& text) {
  DWORD done = 0;
  return WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &done, nullptr) && done == text.size();
}

inline DWORD error() { return GetLastError(); }

// A child process that runs `body` when told to and then holds what it
// opened until the parent lets it go. Forked before the parent opens
// anything, it knows nothing of the parent's handles but what the files'
// locks tell.
class Child {
 public:
  template <typename Body>
  explicit Child(Body body) {
    int go[2], ready[2], release[2];
    if (::pipe(go) != 0 || ::pipe(ready) != 0 || ::pipe(release) != 0) throw std::runtime_error("pipe");
    pid_ = ::fork();
    if (pid_ == 0) {
      ::close(go[1]);
      ::close(ready[0]);
      ::close(release[1]);
      char ignored;
      (void)!::read(go[0], &ignored, 1);
      const char ok = body() ? 'y' : 'n';
      (void)!::write(ready[1], &ok, 1);
      (void)!::read(release[0], &ignored, 1);
      ::_exit(0);
    }
    ::close(go[0]);
    ::close(ready[1]);
    ::close(release[0]);
    go_ = go[1];
    ready_ = ready[0];
    release_ = release[1];
  }
  ~Child() { finish(); }

  // Runs the body in the child; whether it succeeded.
  bool run() {
    const char start = 'g';
    (void)!::write(go_, &start, 1);
    char ok = 'n';
    (void)!::read(ready_, &ok, 1);
    return ok == 'y';
  }

  void finish() {
    if (pid_ <= 0) return;
    ::close(go_);
    ::close(ready_);
    ::close(release_);
    int status = 0;
    ::waitpid(pid_, &status, 0);
    pid_ = -1;
  }

 private:
  pid_t pid_ = -1;
  int go_ = -1, ready_ = -1, release_ = -1;
};

