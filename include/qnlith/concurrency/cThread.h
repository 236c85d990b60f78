/// @file
/// cThread: the application derives, overrides run and calls start; the body
/// runs with fault translation, what escapes it is shown in a box, and the
/// thread ends with the code the body chose. The object outlives its thread.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/core/cString.h>
#include <qnlith/framework/thread.h>

/// The platform's thread priority numbers, passed through unchanged.
enum ThreadPriorityEnum {
  ThreadPriorityIdle = THREAD_PRIORITY_IDLE,
  ThreadPriorityLowest = THREAD_PRIORITY_LOWEST,
  ThreadPriorityBelowNormal = THREAD_PRIORITY_BELOW_NORMAL,
  ThreadPriorityNormal = THREAD_PRIORITY_NORMAL,
  ThreadPriorityAboveNormal = THREAD_PRIORITY_ABOVE_NORMAL,
  ThreadPriorityHighest = THREAD_PRIORITY_HIGHEST,
  ThreadPriorityTimeCritical = THREAD_PRIORITY_TIME_CRITICAL
};

class cThread;

/// The procedure every cThread runs on its new thread, with the object as
/// its parameter; returns the code the body set (1 unless set). A null
/// parameter throws cException.
QNLITH_API DWORD cThreadStartProc(void* parameter);

/// A thread object: derive, override run, call start.
class QNLITH_API cThread : public CWinThread {
 public:
  /// Prepares the object; the thread does not start yet.
  cThread();
  /// Neither waits for the thread nor stops it: delete the object only after
  /// the thread has ended.
  ~cThread() override;

  /// Creates the thread (suspended if asked) and then sets its priority;
  /// false, with the thread's last error set, when it could not be created.
  bool start(ThreadPriorityEnum priority = ThreadPriorityNormal, bool suspended = false,
             SECURITY_ATTRIBUTES* security = nullptr);
  /// While the thread's exit code reads as STILL_ACTIVE (259).
  bool isRunning() const;
  /// Waits without time-out for the thread to end; false if the wait failed.
  static bool waitFor(const cThread& thread);
  /// The thread's priority as the platform reports it.
  ThreadPriorityEnum priority() const;
  /// Sets the thread's priority; false when the platform refuses.
  bool changePriority(ThreadPriorityEnum priority);
  /// Suspends the thread once more; the platform's result is dropped.
  virtual void suspend();
  /// The thread that calls sleep sleeps, whichever object it is called on.
  virtual void sleep(DWORD milliseconds);
  /// Takes back one suspension; the platform's result is dropped.
  virtual void resume();
  /// The thread's handle, null before start; the object keeps it.
  void* handle() const;
  /// The thread's id, 0 before start.
  DWORD id() const;
  /// Tells an attached debugger (and ps) the thread's name.
  void setThreadName(const cString& name);

  /// Shows a failure of a window procedure in an error box; returns the base's result.
  LRESULT ProcessWndProcException(CException* exception, const MSG* message) override;

 protected:
  /// The thread's body. The base version throws.
  virtual void run();
  /// The exit code the thread ends with once run returns.
  void setReturnCode(DWORD code);

 private:
  friend DWORD cThreadStartProc(void* parameter);
  DWORD returnCode;
};

/// A termination request that a body polls; nothing in the library sets or reads it.
class QNLITH_API cThreadStatus {
 public:
  /// No request; copies take the other's flag.
  ///@{
  cThreadStatus();
  cThreadStatus(const cThreadStatus& other);
  cThreadStatus& operator=(const cThreadStatus& other);
  virtual ~cThreadStatus();
  ///@}

  /// Sets the request.
  void requestTermination();
  /// Clears the request.
  void reset();
  /// Whether termination was requested.
  bool isTerminationRequested() const volatile;

 private:
  bool terminationRequested;
};

/// Operations on the calling thread.
class QNLITH_API cCurrentThread {
 public:
  /// The object has no state.
  ///@{
  cCurrentThread();
  ~cCurrentThread();
  cCurrentThread& operator=(const cCurrentThread& other);
  ///@}

  /// The calling thread sleeps for the time.
  static void sleep(DWORD milliseconds);
  /// Sets the calling thread's priority; false when the platform refuses.
  /// Needs a thread for which AfxGetThread gives an object.
  static bool changePriority(ThreadPriorityEnum priority);
  /// Waits without time-out for another thread to end; throws cException if
  /// the wait fails while the thread still runs.
  static bool waitFor(const cThread& thread);
};
