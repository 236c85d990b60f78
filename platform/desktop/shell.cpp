#include <qnlith/win32/errors.h>
#include <qnlith/win32/shell.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <cwctype>
#include <memory>
#include <string>
#include <vector>

#include "desktop/cmdline.h"
#include "errors/errors.h"
#include "text/unicode.h"
#include "sync/handles.h"
#include "threads/process.h"
#include "files/paths.h"
#include "text/unicode.h"

namespace {

bool isUrl(const std::wstring& file) {
  // A scheme of two or more letters and a colon; one letter is a drive.
  std::size_t i = 0;
  while (i < file.size() && (std::iswalnum(static_cast<wint_t>(file[i])) || file[i] == L'+' || file[i] == L'.' ||
                             file[i] == L'-'))
    ++i;
  return i >= 2 && i < file.size() && file[i] == L':' && std::iswalpha(static_cast<wint_t>(file[0]));
}

std::string join(const std::string& directory, const std::string& name) {
  std::string path;
  path.reserve(directory.size() + 1 + name.size());
  path.append(directory).append(1, '/').append(name);
  return path;
}

bool exists(const std::string& path, struct stat& info) { return stat(path.c_str(), &info) == 0; }

// Where a bare name is found: the directory given, then each entry of PATH.
std::string locate(const std::string& name, const std::string& directory, struct stat& info) {
  if (name.find('/') != std::string::npos) {
    const std::string full = (name[0] != '/' && !directory.empty()) ? join(directory, name) : name;
    return exists(full, info) ? full : std::string();
  }
  const std::string here = directory.empty() ? name : join(directory, name);
  if (exists(here, info)) return here;
  const char* path = std::getenv("PATH");
  for (std::string rest = path ? path : ""; !rest.empty();) {
    const std::size_t colon = rest.find(':');
    std::string entry = rest.substr(0, colon);
    rest = colon == std::string::npos ? std::string() : rest.substr(colon + 1);
    if (entry.empty()) entry.push_back('.');  // an empty entry is the current directory
    const std::string candidate = join(entry, name);
    if (exists(candidate, info) && S_ISREG(info.st_mode) && access(candidate.c_str(), X_OK) == 0) return candidate;
  }
  return {};
}

// Starts the program detached: an intermediate child forks and ends at
// once, so what it forked is reparented and reaped by the system. Without a
// process handle that is the program itself. With one, it is a waiter that
// forks the program, waits for it and writes its wait status on a pipe whose
// read end the handle keeps. A close-on-exec pipe carries the program's pid,
// or the errno of a failed fork or exec, back.
BOOL launch(const std::string& program, const std::vector<std::string>& arguments, const std::string& directory,
            HANDLE* processHandle) {
  std::vector<char*> argv;
  for (const auto& a : arguments) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);

  int status[2];
  if (pipe2(status, O_CLOEXEC) != 0) return qn::failWithErrno();
  int exitStatus[2] = {-1, -1};
  if (processHandle != nullptr && pipe2(exitStatus, O_CLOEXEC) != 0) {
    const int error = errno;
    close(status[0]);
    close(status[1]);
    return qn::failWithErrno(error);
  }
  const pid_t intermediate = fork();
  if (intermediate < 0) {
    const int error = errno;
    for (int fd : {status[0], status[1], exitStatus[0], exitStatus[1]})
      if (fd >= 0) close(fd);
    return qn::failWithErrno(error);
  }
  if (intermediate == 0) {
    close(status[0]);
    if (exitStatus[0] >= 0) close(exitStatus[0]);
    const bool watch = exitStatus[1] >= 0;
    if (watch) {
      const pid_t waiter = fork();
      if (waiter != 0) {
        if (waiter < 0) {
          const int report[2] = {-1, errno};
          (void)!write(status[1], report, sizeof report);
        }
        _exit(0);
      }
      // The waiter outlives a terminal's signals to its group and gets
      // the status of its child whatever the caller did with SIGCHLD.
      sigset_t all;
      sigfillset(&all);
      sigprocmask(SIG_SETMASK, &all, nullptr);
      signal(SIGCHLD, SIG_DFL);
    }
    const pid_t program_pid = fork();
    if (program_pid != 0) {
      // Tell the caller who runs; -1 carries fork's failure.
      const int report[2] = {program_pid, program_pid < 0 ? errno : 0};
      (void)!write(status[1], report, sizeof report);
      if (!watch || program_pid < 0) _exit(0);
      close(status[1]);
      int programStatus = 0;
      while (waitpid(program_pid, &programStatus, 0) < 0 && errno == EINTR) {
      }
      (void)!write(exitStatus[1], &programStatus, sizeof programStatus);
      _exit(0);
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    for (int s = 1; s < NSIG; ++s) signal(s, SIG_DFL);
    // The program inherits no descriptor of ours but the three standard ones.
    if (status[1] > 3) close_range(3, static_cast<unsigned>(status[1]) - 1, 0);
    close_range(static_cast<unsigned>(status[1]) + 1, ~0u, 0);
    int error = 0;
    if (!directory.empty() && chdir(directory.c_str()) != 0) error = errno;
    if (error == 0) {
      execv(program.c_str(), argv.data());
      error = errno;
    }
    const int report[2] = {-1, error};
    (void)!write(status[1], report, sizeof report);
    _exit(127);
  }
  close(status[1]);
  if (exitStatus[1] >= 0) close(exitStatus[1]);
  int started[2] = {-1, EIO};
  int failed[2] = {0, 0};
  bool haveStart = false, haveFailure = false;
  for (;;) {
    int record[2];
    const ssize_t n = read(status[0], record, sizeof record);
    if (n < 0 && errno == EINTR) continue;
    if (n != static_cast<ssize_t>(sizeof record)) break;
    if (record[0] >= 0 && !haveStart) {
      std::memcpy(started, record, sizeof record);
      haveStart = true;
    } else {
      std::memcpy(failed, record, sizeof record);
      haveFailure = true;
    }
  }
  close(status[0]);
  while (waitpid(intermediate, nullptr, 0) < 0 && errno == EINTR) {
  }
  if (haveFailure || !haveStart) {
    if (exitStatus[0] >= 0) close(exitStatus[0]);
    return qn::failWithErrno(haveFailure ? failed[1] : started[1]);
  }
  if (processHandle != nullptr) {
    *processHandle = qn::HandleTable::insert(std::make_shared<qn::ProcessObject>(started[0], exitStatus[0]));
    if (*processHandle == nullptr) return FALSE;
  }
  return TRUE;
}

BOOL refuse(SHELLEXECUTEINFOW* information, DWORD error, int code) {
  information->hInstApp = reinterpret_cast<HINSTANCE>(static_cast<INT_PTR>(code));
  SetLastError(error);
  return FALSE;
}

bool isOpenVerb(LPCWSTR verb) {
  if (verb == nullptr || *verb == L'\0') return true;
  return qn::equalIgnoringCase(verb, L"open");
}

}  // namespace

BOOL WINAPI ShellExecuteExW(SHELLEXECUTEINFOW* information) {
  if (information == nullptr) return qn::failWith(ERROR_INVALID_PARAMETER);
  if (information->cbSize != sizeof(SHELLEXECUTEINFOW) && information->cbSize != SHELLEXECUTEINFOW_SIZE32)
    return qn::failWith(ERROR_INVALID_PARAMETER);
  information->hProcess = nullptr;
  if (!isOpenVerb(information->lpVerb)) return refuse(information, ERROR_NO_ASSOCIATION, SE_ERR_NOASSOC);
  if (information->lpFile == nullptr || *information->lpFile == L'\0')
    return refuse(information, ERROR_FILE_NOT_FOUND, SE_ERR_FNF);

  const std::wstring file(information->lpFile);
  std::string directory;
  if (information->lpDirectory != nullptr && *information->lpDirectory != L'\0' &&
      !qn::toSystemPath(information->lpDirectory, directory))
    return refuse(information, GetLastError(), SE_ERR_PNF);
  HANDLE* processHandle = (information->fMask & SEE_MASK_NOCLOSEPROCESS) ? &information->hProcess : nullptr;

  std::string target;
  bool runIt = false;
  if (isUrl(file)) {
    target = qn::wideToUtf8(file);
  } else {
    struct stat info {};
    std::string path;
    if (!qn::toSystemPath(file.c_str(), path)) return refuse(information, GetLastError(), SE_ERR_FNF);
    target = locate(path, directory, info);
    if (target.empty()) return refuse(information, ERROR_FILE_NOT_FOUND, SE_ERR_FNF);
    runIt = S_ISREG(info.st_mode) && access(target.c_str(), X_OK) == 0;
  }

  BOOL started;
  if (runIt) {
    std::vector<std::string> arguments{target};
    if (information->lpParameters != nullptr)
      for (const auto& a : qn::splitCommandLine(information->lpParameters)) arguments.push_back(qn::wideToUtf8(a));
    started = launch(target, arguments, directory, processHandle);
  } else {
    struct stat info {};
    const std::string opener = locate("xdg-open", std::string(), info);
    if (opener.empty()) return refuse(information, ERROR_NO_ASSOCIATION, SE_ERR_NOASSOC);
    started = launch(opener, {opener, target}, directory, processHandle);
  }
  if (!started) {
    const DWORD error = GetLastError();
    return refuse(information, error, error == ERROR_ACCESS_DENIED ? SE_ERR_ACCESSDENIED : SE_ERR_FNF);
  }
  information->hInstApp = reinterpret_cast<HINSTANCE>(static_cast<INT_PTR>(33));
  return TRUE;
}
