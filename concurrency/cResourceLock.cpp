#include <qnlith/concurrency/cResourceLock.h>
#include <qnlith/win32/sync.h>

// The lock calls the layer on the mutex's handle itself rather than through
// the mutex's own wait and release: a scope then costs one call each way.

cResourceLock::cResourceLock(cMutexSemaphore& mutex) : mutex(mutex), released(false) {
  WaitForSingleObject(mutex.handle, INFINITE);
}

cResourceLock::~cResourceLock() {
  if (!released) ReleaseMutex(mutex.handle);
}

bool cResourceLock::acquire(DWORD milliseconds) {
  released = false;
  return WaitForSingleObject(mutex.handle, milliseconds) == WAIT_OBJECT_0;
}

void cResourceLock::release() {
  released = true;
  ReleaseMutex(mutex.handle);
}
