/// @file
/// The framework's thread objects: CWinThread starts a thread on a procedure
/// and keeps its handle and id; CWinApp is the main thread's object.
#pragma once

#include <qnlith/framework/api.h>
#include <qnlith/framework/exceptions.h>
#include <qnlith/win32/handles.h>
#include <qnlith/win32/threads.h>

class CWnd;
struct tagMSG;
/// A window message record.
typedef struct tagMSG MSG;

/// The procedure of a worker thread: its parameter in, its exit code out.
typedef UINT (*AFX_THREADPROC)(LPVOID parameter);

/// The base of objects that receive commands; here only a link in the hierarchy.
class QN_FRAMEWORK_API CCmdTarget : public CObject {
 public:
  /// Has no state of its own.
  ///@{
  CCmdTarget();
  ~CCmdTarget() override;
  ///@}
};

/// A thread of the framework: its procedure, handle, id and main window.
class QN_FRAMEWORK_API CWinThread : public CCmdTarget {
 public:
  /// A thread object without a procedure (one that runs InitInstance and Run).
  CWinThread();
  /// Remembers the procedure and its parameter for CreateThread.
  CWinThread(AFX_THREADPROC procedure, LPVOID parameter);
  /// Closes the thread handle; neither waits for the thread nor stops it.
  ~CWinThread() override;

  /// Starts the thread (held while m_hThread and m_nThreadID are set, then let
  /// go unless CREATE_SUSPENDED is asked for). False if it can't be created.
  BOOL CreateThread(DWORD createFlags = 0, UINT stackSize = 0, LPSECURITY_ATTRIBUTES security = nullptr);

  /// SuspendThread on the handle: the previous suspend count, 0xFFFFFFFF on failure.
  DWORD SuspendThread();
  /// ResumeThread on the handle: the previous suspend count, 0xFFFFFFFF on failure.
  DWORD ResumeThread();
  /// The thread's priority, THREAD_PRIORITY_ERROR_RETURN on failure.
  int GetThreadPriority();
  /// Sets the thread's priority; FALSE on failure.
  BOOL SetThreadPriority(int priority);
  /// The thread's handle, null before CreateThread; the object closes it.
  operator HANDLE() const { return m_hThread; }

  /// The thread's main window, or null.
  virtual CWnd* GetMainWnd();
  /// A thread without a procedure runs InitInstance, then Run and ExitInstance.
  virtual BOOL InitInstance();
  /// The thread's work after InitInstance; the base returns ExitInstance().
  virtual int Run();
  /// The exit code of a thread without a procedure; the base gives 0.
  virtual int ExitInstance();
  /// Reports a failure in a window procedure in a box; 0.
  virtual LRESULT ProcessWndProcException(CException* exception, const MSG* message);
  /// Deletes the object if m_bAutoDelete is set.
  virtual void Delete();

  /// The thread's main window, not owned.
  CWnd* m_pMainWnd = nullptr;
  /// Whether Delete() (and the end of the thread) deletes the object.
  BOOL m_bAutoDelete = TRUE;
  /// The thread's handle, closed by the destructor.
  HANDLE m_hThread = nullptr;
  /// The thread's id.
  DWORD m_nThreadID = 0;
  /// The procedure the thread runs, or null.
  AFX_THREADPROC m_pfnThreadProc = nullptr;
  /// The procedure's parameter.
  LPVOID m_pThreadParams = nullptr;
};

/// The application object, the main thread's framework object; one per program.
class QN_FRAMEWORK_API CWinApp : public CWinThread {
 public:
  /// Becomes the application object and the constructing thread's object.
  /// Without a name the application is called after its program.
  explicit CWinApp(LPCWSTR appName = nullptr);
  /// Stops being the application object.
  ~CWinApp() override;

  /// The application's name, kept by the object.
  LPCWSTR m_pszAppName = nullptr;
  /// The program's file name without directory and extension.
  LPCWSTR m_pszExeName = nullptr;  // the program's file name without directory and extension
};

/// The calling thread's framework object: the CWinThread that started it, the
/// application object on the thread that made it, else null.
QN_FRAMEWORK_API CWinThread* AfxGetThread();
/// The application object, or null before one is made.
QN_FRAMEWORK_API CWinApp* AfxGetApp();
/// Ends the calling thread with the code; with deleteThread its object is
/// deleted first (if its m_bAutoDelete is set).
[[noreturn]] QN_FRAMEWORK_API void AfxEndThread(UINT exitCode, BOOL deleteThread = TRUE);
/// The program's name: its file name without directory and extension.
QN_FRAMEWORK_API LPCWSTR AfxGetAppName();
