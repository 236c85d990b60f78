#include <qnlith/concurrency/cMutexSemaphore.h>
#include <qnlith/win32/handles.h>
#include <qnlith/win32/messages.h>
#include <qnlith/win32/sync.h>

cMutexSemaphore::cMutexSemaphore() : handle(CreateMutexW(nullptr, FALSE, nullptr)) {}

cMutexSemaphore::cMutexSemaphore(const cMutexSemaphore& other) : handle(other.handle) {}

cMutexSemaphore& cMutexSemaphore::operator=(const cMutexSemaphore& other) {
  handle = other.handle;
  return *this;
}

cMutexSemaphore::~cMutexSemaphore() {
  release();
  CloseHandle(handle);
  handle = nullptr;
}

bool cMutexSemaphore::waitForEventOrMsg(DWORD milliseconds) {
  return MsgWaitForMultipleObjects(1, &handle, FALSE, milliseconds, QS_ALLINPUT) == WAIT_OBJECT_0;
}
