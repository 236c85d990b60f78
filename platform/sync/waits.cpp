// The waits of one thread on kernel objects, and Sleep.
#include <qnlith/win32/sync.h>

#include <sched.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>

#include "errors/errors.h"
#include "sync/futex.h"
#include "sync/sync_objects.h"

namespace qn {

WaitableObject* asWaitable(KernelObject* object) {
  switch (object->kind()) {
    case ObjectKind::Event:
    case ObjectKind::Semaphore:
    case ObjectKind::Mutex: return static_cast<WaitableObject*>(object);
    case ObjectKind::Thread:
    case ObjectKind::Process: return dynamic_cast<WaitableObject*>(object);
    default: return nullptr;
  }
}

bool waitablesFor(const HANDLE* handles, DWORD count, std::shared_ptr<KernelObject>* keep,
                  WaitableObject** objects) {
  for (DWORD i = 0; i < count; ++i) {
    keep[i] = HandleTable::get(handles[i]);
    if (keep[i] == nullptr) return false;
    objects[i] = asWaitable(keep[i].get());
    if (objects[i] == nullptr) return failWith(ERROR_INVALID_HANDLE);
  }
  return true;
}

bool hasDuplicates(WaitableObject* const* objects, DWORD count) {
  // One object twice cannot be taken "all at once".
  for (DWORD i = 0; i < count; ++i) {
    for (DWORD j = 0; j < i; ++j) {
      if (objects[i] == objects[j]) return true;
    }
  }
  return false;
}

}  // namespace qn

namespace {

// Every wait of WaitForSingleObject that its quick path does not finish.
// Kept apart so that the quick path needs no stack frame.
__attribute__((noinline)) DWORD waitForOne(HANDLE handle, DWORD milliseconds) {
  std::shared_ptr<qn::KernelObject> keep;
  qn::KernelObject* object = qn::HandleTable::borrow(handle, keep);
  if (object == nullptr) return WAIT_FAILED;
  qn::WaitableObject* waitable = qn::asWaitable(object);
  if (waitable == nullptr) {
    SetLastError(ERROR_INVALID_HANDLE);
    return WAIT_FAILED;
  }
  qn::Take take;
  switch (object->kind()) {
    case qn::ObjectKind::Mutex: take = static_cast<qn::Mutex*>(object)->tryTakeAs<qn::Mutex>(); break;
    case qn::ObjectKind::Event: take = static_cast<qn::Event*>(object)->tryTakeAs<qn::Event>(); break;
    case qn::ObjectKind::Semaphore: take = static_cast<qn::Semaphore*>(object)->tryTakeAs<qn::Semaphore>(); break;
    default: take = waitable->tryTake();
  }
  if (take != qn::Take::No) return qn::waitResult(take, 0);
  if (milliseconds == 0) return WAIT_TIMEOUT;
  return qn::waitForObjects(&waitable, 1, false, milliseconds);
}

}  // namespace

DWORD WINAPI WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
  // A mutex this thread used lately and can take at once: neither the
  // table nor a virtual call.
  qn::ThreadState* self = qn::existingThreadState();
  const DWORD tid = qn::knownThreadId();
  if (self != nullptr && tid != 0) {
    qn::KernelObject* cached;
    if (qn::cachedObject(handle, *self, cached) && cached->kind() == qn::ObjectKind::Mutex &&
        static_cast<qn::Mutex*>(cached)->tryTakeQuickly(*self, tid)) {
      return WAIT_OBJECT_0;
    }
  }
  return waitForOne(handle, milliseconds);
}

DWORD WINAPI WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL waitAll, DWORD milliseconds) {
  if (count == 0 || count > MAXIMUM_WAIT_OBJECTS) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return WAIT_FAILED;
  }
  if (handles == nullptr) {
    SetLastError(ERROR_NOACCESS);
    return WAIT_FAILED;
  }
  std::shared_ptr<qn::KernelObject> keep[MAXIMUM_WAIT_OBJECTS];
  qn::WaitableObject* objects[MAXIMUM_WAIT_OBJECTS];
  if (!qn::waitablesFor(handles, count, keep, objects)) return WAIT_FAILED;
  if (waitAll && qn::hasDuplicates(objects, count)) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return WAIT_FAILED;
  }
  return qn::waitForObjects(objects, count, waitAll != FALSE, milliseconds);
}

void WINAPI Sleep(DWORD milliseconds) {
  if (milliseconds == 0) {
    sched_yield();  // gives the rest of the time slice to a thread that is ready
    return;
  }
  const qn::Deadline deadline = qn::Deadline::after(milliseconds);
  if (deadline.infinite()) {
    for (;;) pause();
  }
  while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, deadline.at(), nullptr) == EINTR) {
  }
}
