// A counting platform semaphore. Its destructor gives one count before it
// closes the semaphore, which frees at most one blocked waiter.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/win32/types.h>

class QNLITH_API cSemaphore {
 public:
  explicit cSemaphore(bool initiallySignalled = false);
  // Copies share one platform semaphore and close it each on its own.
  cSemaphore(const cSemaphore& other);
  cSemaphore& operator=(const cSemaphore& other);
  virtual ~cSemaphore();

  void signal();
  // True if a count was taken within the time-out (0xFFFFFFFF: none).
  bool wait(DWORD milliseconds);

 private:
  bool waitForEventOrMsg(DWORD milliseconds);

 protected:
  void* handle;
};
