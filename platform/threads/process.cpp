#include "threads/process.h"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <qnlith/win32/threads.h>

#include "errors/errors.h"
#include "sync/handles.h"

namespace qn {

ProcessObject::ProcessObject() : Event(ObjectKind::Process, true, false), pid_(getpid()), statusPipe_(-1) {}

ProcessObject::ProcessObject(pid_t pid, int statusPipe)
    : Event(ObjectKind::Process, true, false), pid_(pid), statusPipe_(statusPipe) {}

ProcessObject::~ProcessObject() {
  if (statusPipe_ >= 0) close(statusPipe_);
}

bool ProcessObject::ended() const {
  if (statusPipe_ < 0) return false;
  pollfd ready{statusPipe_, POLLIN, 0};
  return poll(&ready, 1, 0) > 0;
}

DWORD ProcessObject::exitCode() {
  std::lock_guard guard(lock_);
  if (haveCode_ || !ended()) return code_;
  int status = 0;
  ssize_t got;
  while ((got = read(statusPipe_, &status, sizeof status)) < 0 && errno == EINTR) {
  }
  if (got != static_cast<ssize_t>(sizeof status)) {
    code_ = 1;  // the waiter was killed before it could tell: the code is lost
  } else if (WIFEXITED(status)) {
    code_ = static_cast<DWORD>(WEXITSTATUS(status));
  } else {
    code_ = 128u + static_cast<DWORD>(WTERMSIG(status));  // as a shell reports it
  }
  haveCode_ = true;
  return code_;
}

std::shared_ptr<KernelObject> currentProcessObject() {
  // Never destroyed: threads may look at it during static destruction.
  static auto* self = new std::shared_ptr<KernelObject>(std::make_shared<ProcessObject>());
  return *self;
}

}  // namespace qn

namespace {
std::shared_ptr<qn::ProcessObject> processFromHandle(HANDLE process) {
  return qn::HandleTable::getAs<qn::ProcessObject>(process, qn::ObjectKind::Process);
}
}  // namespace

HANDLE WINAPI GetCurrentProcess() { return reinterpret_cast<HANDLE>(static_cast<LONG_PTR>(-1)); }

DWORD WINAPI GetCurrentProcessId() { return static_cast<DWORD>(getpid()); }

BOOL WINAPI GetExitCodeProcess(HANDLE process, LPDWORD exitCode) {
  auto object = processFromHandle(process);
  if (object == nullptr) return FALSE;
  if (exitCode == nullptr) return qn::failWith(ERROR_INVALID_PARAMETER);
  *exitCode = object->exitCode();
  return TRUE;
}

DWORD WINAPI GetProcessId(HANDLE process) {
  auto object = processFromHandle(process);
  return object == nullptr ? 0 : object->id();
}
