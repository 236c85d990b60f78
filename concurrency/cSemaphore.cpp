#include <qnlith/concurrency/cSemaphore.h>
#include <qnlith/win32/handles.h>
#include <qnlith/win32/messages.h>
#include <qnlith/win32/sync.h>

namespace {
// The largest count a semaphore can hold.
constexpr LONG MaximumCount = 0x7FFFFFFF;
}  // namespace

cSemaphore::cSemaphore(bool initiallySignalled)
    : handle(CreateSemaphoreW(nullptr, initiallySignalled ? 1 : 0, MaximumCount, nullptr)) {}

cSemaphore::cSemaphore(const cSemaphore& other) : handle(other.handle) {}

cSemaphore& cSemaphore::operator=(const cSemaphore& other) {
  handle = other.handle;
  return *this;
}

cSemaphore::~cSemaphore() {
  signal();
  CloseHandle(handle);
  handle = nullptr;
}

void cSemaphore::signal() { ReleaseSemaphore(handle, 1, nullptr); }

bool cSemaphore::wait(DWORD milliseconds) { return WaitForSingleObject(handle, milliseconds) == WAIT_OBJECT_0; }

bool cSemaphore::waitForEventOrMsg(DWORD milliseconds) {
  return MsgWaitForMultipleObjects(1, &handle, FALSE, milliseconds, QS_ALLINPUT) == WAIT_OBJECT_0;
}
