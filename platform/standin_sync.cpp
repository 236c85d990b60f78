// Stand-in for the waits until the synchronisation calls arrive: only thread
// handles can be waited on here. Removed then.
#include <sched.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>

#include "internal/errors.h"
#include "internal/threads.h"

DWORD WINAPI WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
  auto thread = qn::HandleTable::getAs<qn::ThreadObject>(handle, qn::ObjectKind::Thread);
  if (thread == nullptr) return WAIT_FAILED;
  return thread->waitForEnd(milliseconds) ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
}

void WINAPI Sleep(DWORD milliseconds) {
  if (milliseconds == 0) {
    sched_yield();
    return;
  }
  if (milliseconds == INFINITE) {
    for (;;) pause();
  }
  struct timespec left {static_cast<time_t>(milliseconds / 1000), static_cast<long>(milliseconds % 1000) * 1000000L};
  while (nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
}

DWORD WINAPI GetCurrentThreadId() { return static_cast<DWORD>(gettid()); }
