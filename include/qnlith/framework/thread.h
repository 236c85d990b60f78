// The framework's thread objects: CWinThread starts a thread on a procedure
// and keeps its handle and id; CWinApp is the main thread's object.
#pragma once

#include <qnlith/framework/api.h>
#include <qnlith/framework/exceptions.h>
#include <qnlith/win32/handles.h>
#include <qnlith/win32/threads.h>

class CWnd;
struct tagMSG;
typedef struct tagMSG MSG;

typedef UINT (*AFX_THREADPROC)(LPVOID parameter);

class QN_FRAMEWORK_API CCmdTarget : public CObject {
 public:
  CCmdTarget();
  ~CCmdTarget() override;
};

class QN_FRAMEWORK_API CWinThread : public CCmdTarget {
 public:
  CWinThread();
  // Remembers the procedure and its parameter for CreateThread.
  CWinThread(AFX_THREADPROC procedure, LPVOID parameter);
  // Closes the thread handle; neither waits for the thread nor stops it.
  ~CWinThread() override;

  // Starts the thread (held while m_hThread and m_nThreadID are set, then let
  // go unless CREATE_SUSPENDED is asked for). False if it can't be created.
  BOOL CreateThread(DWORD createFlags = 0, UINT stackSize = 0, LPSECURITY_ATTRIBUTES security = nullptr);

  DWORD SuspendThread();
  DWORD ResumeThread();
  int GetThreadPriority();
  BOOL SetThreadPriority(int priority);
  operator HANDLE() const { return m_hThread; }

  virtual CWnd* GetMainWnd();
  // A thread without a procedure runs InitInstance, then Run and ExitInstance.
  virtual BOOL InitInstance();
  virtual int Run();
  virtual int ExitInstance();
  // Reports a failure in a window procedure in a box; 0.
  virtual LRESULT ProcessWndProcException(CException* exception, const MSG* message);
  // Deletes the object if m_bAutoDelete is set.
  virtual void Delete();

  CWnd* m_pMainWnd = nullptr;
  BOOL m_bAutoDelete = TRUE;
  HANDLE m_hThread = nullptr;
  DWORD m_nThreadID = 0;
  AFX_THREADPROC m_pfnThreadProc = nullptr;
  LPVOID m_pThreadParams = nullptr;
};

class QN_FRAMEWORK_API CWinApp : public CWinThread {
 public:
  // Becomes the application object and the constructing thread's object.
  // Without a name the application is called after its program.
  explicit CWinApp(LPCWSTR appName = nullptr);
  ~CWinApp() override;

  LPCWSTR m_pszAppName = nullptr;
  LPCWSTR m_pszExeName = nullptr;  // the program's file name without directory and extension
};

// The calling thread's framework object: the CWinThread that started it, the
// application object on the thread that made it, else null.
QN_FRAMEWORK_API CWinThread* AfxGetThread();
QN_FRAMEWORK_API CWinApp* AfxGetApp();
// Ends the calling thread with the code; with deleteThread its object is
// deleted first (if its m_bAutoDelete is set).
[[noreturn]] QN_FRAMEWORK_API void AfxEndThread(UINT exitCode, BOOL deleteThread = TRUE);
// The program's name: its file name without directory and extension.
QN_FRAMEWORK_API LPCWSTR AfxGetAppName();
