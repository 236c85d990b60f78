/// @file
/// A recursive platform mutex. A wait that takes a mutex whose owner ended
/// holding it gives false, though the caller then owns the mutex.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/win32/sync.h>
#include <qnlith/win32/types.h>

/// A recursive unnamed mutex of the platform. Nothing throws: if creation
/// failed the handle is null, release does nothing and wait returns false.
class QNLITH_API cMutexSemaphore {
 public:
  /// A new mutex that nobody owns.
  cMutexSemaphore();
  /// Copies share one platform mutex and close it each on its own.
  ///@{
  cMutexSemaphore(const cMutexSemaphore& other);
  cMutexSemaphore& operator=(const cMutexSemaphore& other);
  ///@}
  /// Gives up one level of ownership if this thread owns it, then closes.
  virtual ~cMutexSemaphore();

  // Inline, so that a wait or a release is one call into the layer.
  /// Gives up one level of ownership; the calling thread must own the mutex.
  void release() { ReleaseMutex(handle); }
  /// True if the mutex is this thread's within the time-out (0xFFFFFFFF: none).
  bool wait(DWORD milliseconds) { return WaitForSingleObject(handle, milliseconds) == WAIT_OBJECT_0; }

 private:
  bool waitForEventOrMsg(DWORD milliseconds);

 protected:
  /// The platform mutex, closed by the destructor.
  void* handle;
};
