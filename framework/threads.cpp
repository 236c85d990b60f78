#include <unistd.h>

#include <climits>
#include <cwchar>
#include <string>

#include <qnlith/framework/thread.h>
#include <qnlith/framework/window.h>
#include <qnlith/win32/codepage.h>

namespace {

thread_local CWinThread* currentThread = nullptr;
CWinApp* application = nullptr;

DWORD WINAPI threadEntry(LPVOID parameter) {
  auto* thread = static_cast<CWinThread*>(parameter);
  currentThread = thread;
  UINT code;
  if (thread->m_pfnThreadProc != nullptr) {
    code = thread->m_pfnThreadProc(thread->m_pThreadParams);
  } else {
    code = static_cast<UINT>(thread->InitInstance() ? thread->Run() : thread->ExitInstance());
  }
  AfxEndThread(code, TRUE);
}

wchar_t* copyOf(const std::wstring& text) {
  auto* copy = new wchar_t[text.size() + 1];
  std::wmemcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

// The program's file name without directory and extension.
const std::wstring& programName() {
  static const std::wstring name = [] {
    char path[PATH_MAX];
    const ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
    std::string file = n > 0 ? std::string(path, static_cast<std::size_t>(n)) : std::string("program");
    file.erase(0, file.rfind('/') + 1);
    const std::size_t dot = file.rfind('.');
    if (dot != std::string::npos && dot != 0) file.erase(dot);
    const int length = MultiByteToWideChar(CP_UTF8, 0, file.data(), static_cast<int>(file.size()), nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(length), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, file.data(), static_cast<int>(file.size()), wide.data(), length);
    return wide;
  }();
  return name;
}

}  // namespace

CCmdTarget::CCmdTarget() = default;
CCmdTarget::~CCmdTarget() = default;

CWinThread::CWinThread() = default;

CWinThread::CWinThread(AFX_THREADPROC procedure, LPVOID parameter)
    : m_pfnThreadProc(procedure), m_pThreadParams(parameter) {}

CWinThread::~CWinThread() {
  if (m_hThread != nullptr && m_hThread != GetCurrentThread()) CloseHandle(m_hThread);
  if (currentThread == this) currentThread = nullptr;
}

BOOL CWinThread::CreateThread(DWORD createFlags, UINT stackSize, LPSECURITY_ATTRIBUTES security) {
  DWORD id = 0;
  HANDLE handle = ::CreateThread(security, stackSize, threadEntry, this, createFlags | CREATE_SUSPENDED, &id);
  if (handle == nullptr) return FALSE;
  m_hThread = handle;
  m_nThreadID = id;
  if (!(createFlags & CREATE_SUSPENDED)) ::ResumeThread(handle);
  return TRUE;
}

DWORD CWinThread::SuspendThread() { return ::SuspendThread(m_hThread); }
DWORD CWinThread::ResumeThread() { return ::ResumeThread(m_hThread); }
int CWinThread::GetThreadPriority() { return ::GetThreadPriority(m_hThread); }
BOOL CWinThread::SetThreadPriority(int priority) { return ::SetThreadPriority(m_hThread, priority); }

CWnd* CWinThread::GetMainWnd() { return m_pMainWnd; }
BOOL CWinThread::InitInstance() { return FALSE; }
int CWinThread::Run() { return ExitInstance(); }
int CWinThread::ExitInstance() { return 0; }

LRESULT CWinThread::ProcessWndProcException(CException* exception, const MSG*) {
  wchar_t text[1024] = {};
  if (exception == nullptr || !exception->GetErrorMessage(text, 1024) || text[0] == L'\0')
    std::wcscpy(text, L"No error message is available.");
  AfxMessageBox(text, MB_ICONEXCLAMATION);
  return 0;
}

void CWinThread::Delete() {
  if (m_bAutoDelete) delete this;
}

CWinApp::CWinApp(LPCWSTR appName) {
  m_pszExeName = copyOf(programName());
  m_pszAppName = copyOf(appName != nullptr ? std::wstring(appName) : programName());
  m_hThread = GetCurrentThread();
  m_nThreadID = GetCurrentThreadId();
  application = this;
  currentThread = this;
}

CWinApp::~CWinApp() {
  delete[] m_pszAppName;
  delete[] m_pszExeName;
  if (application == this) application = nullptr;
}

CWinThread* AfxGetThread() { return currentThread; }

CWinApp* AfxGetApp() { return application; }

LPCWSTR AfxGetAppName() { return application != nullptr ? application->m_pszAppName : programName().c_str(); }

void AfxEndThread(UINT exitCode, BOOL deleteThread) {
  CWinThread* thread = currentThread;
  currentThread = nullptr;
  if (thread != nullptr && deleteThread) thread->Delete();
  ExitThread(exitCode);
}
