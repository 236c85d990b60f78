/// @file
/// A counting platform semaphore. Its destructor gives one count before it
/// closes the semaphore, which frees at most one blocked waiter.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/win32/types.h>

/// An unnamed counting semaphore (maximum 0x7FFFFFFF). Nothing throws: if
/// creation failed the handle is null, signal does nothing and wait returns false.
class QNLITH_API cSemaphore {
 public:
  /// A semaphore with a count of 1 if initially signalled, else 0.
  explicit cSemaphore(bool initiallySignalled = false);
  /// Copies share one platform semaphore and close it each on its own.
  ///@{
  cSemaphore(const cSemaphore& other);
  cSemaphore& operator=(const cSemaphore& other);
  ///@}
  /// Gives one count, then closes the handle.
  virtual ~cSemaphore();

  /// Adds one to the count.
  void signal();
  /// True if a count was taken within the time-out (0xFFFFFFFF: none).
  bool wait(DWORD milliseconds);

 private:
  bool waitForEventOrMsg(DWORD milliseconds);

 protected:
  /// The platform semaphore, closed by the destructor.
  void* handle;
};
