/// @file
/// Holds a mutex for a scope: taken, without time-out, by the constructor;
/// given back by release or by the destructor, on the thread that took it.
#pragma once

#include <qnlith/concurrency/cMutexSemaphore.h>
#include <qnlith/core/api.h>

/// A scoped owner of a cMutexSemaphore, which it does not own.
class QNLITH_API cResourceLock {
 public:
  /// Waits without time-out until the mutex is this thread's; a failed wait goes unnoticed.
  explicit cResourceLock(cMutexSemaphore& mutex);
  /// Gives the mutex back unless release already did.
  ~cResourceLock();

  /// Gives back one level of the mutex, each time it is called.
  void release();

 private:
  bool acquire(DWORD milliseconds);

 protected:
  /// The mutex held, which must outlive the lock.
  cMutexSemaphore& mutex;
  /// True once this object no longer counts as holding the mutex.
  bool released;  // true once this object no longer counts as holding the mutex
};
