// Holds a mutex for a scope: taken, without time-out, by the constructor;
// given back by release or by the destructor, on the thread that took it.
#pragma once

#include <qnlith/concurrency/cMutexSemaphore.h>
#include <qnlith/core/api.h>

class QNLITH_API cResourceLock {
 public:
  explicit cResourceLock(cMutexSemaphore& mutex);
  ~cResourceLock();

  // Gives back one level of the mutex, each time it is called.
  void release();

 private:
  bool acquire(DWORD milliseconds);

 protected:
  cMutexSemaphore& mutex;
  bool released;  // true once this object no longer counts as holding the mutex
};
