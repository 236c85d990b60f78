/// @file
/// Holds a mutex for a scope: taken, without time-out, by the constructor;
/// given back by release or by the destructor, on the thread that took it.
#pragma once

#include <qnlith/concurrency/cMutexSemaphore.h>
#include <qnlith/core/api.h>

/// A scoped owner of a cMutexSemaphore, which it does not own.
class QNLITH_API cResourceLock {
 public:
  // Inline, like the mutex's own wait and release, so that a scope costs
  // one call into the layer each way.
  /// Waits without time-out until the mutex is this thread's; a failed wait goes unnoticed.
  explicit cResourceLock(cMutexSemaphore& mutex) : mutex(mutex), released(true) { acquire(INFINITE); }
  /// Gives the mutex back unless release already did.
  ~cResourceLock() {
    if (!released) release();
  }

  /// Gives back one level of the mutex, each time it is called.
  void release() {
    released = true;
    mutex.release();
  }

 private:
  bool acquire(DWORD milliseconds) {
    released = false;
    return mutex.wait(milliseconds);
  }

 protected:
  /// The mutex held, which must outlive the lock.
  cMutexSemaphore& mutex;
  /// True once this object no longer counts as holding the mutex.
  bool released;  // true once this object no longer counts as holding the mutex
};
