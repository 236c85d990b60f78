// A recursive platform mutex. A wait that takes a mutex whose owner ended
// holding it gives false, though the caller then owns the mutex.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/win32/types.h>

class QNLITH_API cMutexSemaphore {
 public:
  cMutexSemaphore();
  // Copies share one platform mutex and close it each on its own.
  cMutexSemaphore(const cMutexSemaphore& other);
  cMutexSemaphore& operator=(const cMutexSemaphore& other);
  // Gives up one level of ownership if this thread owns it, then closes.
  virtual ~cMutexSemaphore();

  void release();
  // True if the mutex is this thread's within the time-out (0xFFFFFFFF: none).
  bool wait(DWORD milliseconds);

 private:
  bool waitForEventOrMsg(DWORD milliseconds);

 protected:
  void* handle;
};
