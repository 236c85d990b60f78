/// @file
/// An unnamed platform event, signalled once more when the object dies so
/// that nobody stays blocked on it.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/win32/types.h>

/// An unnamed event of the platform. Nothing throws: if creation failed the
/// handle is null, signal and clear do nothing and wait returns false.
class QNLITH_API cEvent {
 public:
  /// The default lets one waiter through per signal and resets itself.
  explicit cEvent(bool autoReset = true, bool initiallySignalled = false);
  /// Copies share one platform event; the first of them to die signals and
  /// closes it.
  ///@{
  cEvent(const cEvent& other);
  cEvent& operator=(const cEvent& other);
  ///@}
  /// Signals the event once more, then closes its handle.
  virtual ~cEvent();

  /// Sets the event to signalled.
  void signal();
  /// Resets the event to not signalled.
  void clear();
  /// True if the event was signalled within the time-out (0xFFFFFFFF: none).
  bool wait(DWORD milliseconds);

 private:
  // True if the event was signalled; false when new input in the thread's
  // message queue, the time-out or a failure ended the wait.
  bool waitForEventOrMsg(DWORD milliseconds);

 protected:
  /// The platform event, closed by the destructor.
  void* handle;
};
