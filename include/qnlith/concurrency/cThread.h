// cThread: the application derives, overrides run and calls start; the body
// runs with fault translation, what escapes it is shown in a box, and the
// thread ends with the code the body chose. The object outlives its thread.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/core/cString.h>
#include <qnlith/framework/thread.h>

// The platform's thread priority numbers, passed through unchanged.
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

// The procedure every cThread runs on its new thread, with the object as
// its parameter.
QNLITH_API DWORD cThreadStartProc(void* parameter);

class QNLITH_API cThread : public CWinThread {
 public:
  cThread();
  // Neither waits for the thread nor stops it: delete the object only after
  // the thread has ended.
  ~cThread() override;

  bool start(ThreadPriorityEnum priority = ThreadPriorityNormal, bool suspended = false,
             SECURITY_ATTRIBUTES* security = nullptr);
  // While the thread's exit code reads as STILL_ACTIVE (259).
  bool isRunning() const;
  // Waits without time-out for the thread to end.
  static bool waitFor(const cThread& thread);
  ThreadPriorityEnum priority() const;
  bool changePriority(ThreadPriorityEnum priority);
  // The thread that calls sleep sleeps, whichever object it is called on.
  virtual void suspend();
  virtual void sleep(DWORD milliseconds);
  virtual void resume();
  void* handle() const;
  DWORD id() const;
  // Tells an attached debugger (and ps) the thread's name.
  void setThreadName(const cString& name);

  LRESULT ProcessWndProcException(CException* exception, const MSG* message) override;

 protected:
  // The thread's body. The base version throws.
  virtual void run();
  void setReturnCode(DWORD code);

 private:
  friend DWORD cThreadStartProc(void* parameter);
  DWORD returnCode;
};

// A termination request that a body polls; nothing in the library sets or reads it.
class QNLITH_API cThreadStatus {
 public:
  cThreadStatus();
  cThreadStatus(const cThreadStatus& other);
  cThreadStatus& operator=(const cThreadStatus& other);
  virtual ~cThreadStatus();

  void requestTermination();
  void reset();
  bool isTerminationRequested() const volatile;

 private:
  bool terminationRequested;
};

// Operations on the calling thread.
class QNLITH_API cCurrentThread {
 public:
  cCurrentThread();
  ~cCurrentThread();
  cCurrentThread& operator=(const cCurrentThread& other);

  static void sleep(DWORD milliseconds);
  // Needs a thread for which AfxGetThread gives an object.
  static bool changePriority(ThreadPriorityEnum priority);
  // Waits without time-out for another thread to end; throws cException if
  // the wait fails while the thread still runs.
  static bool waitFor(const cThread& thread);
};
