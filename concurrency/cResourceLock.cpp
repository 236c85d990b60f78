#include <qnlith/concurrency/cResourceLock.h>

cResourceLock::cResourceLock(cMutexSemaphore& mutex) : mutex(mutex), released(true) { acquire(INFINITE); }

cResourceLock::~cResourceLock() {
  if (!released) release();
}

bool cResourceLock::acquire(DWORD milliseconds) {
  released = false;
  return mutex.wait(milliseconds);
}

void cResourceLock::release() {
  released = true;
  mutex.release();
}
