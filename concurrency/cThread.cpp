#include <qnlith/concurrency/cThread.h>
#include <qnlith/failure/cException.h>
#include <qnlith/failure/cExceptionDispatcher.h>
#include <qnlith/failure/cMessageBox.h>
#include <qnlith/failure/errorText.h>
#include <qnlith/win32.h>

#include "../core/trace.h"
#include "../failure/errorBoxes.h"

namespace {
const DWORD ThreadNameException = 0x406D1388;
// The first word of that exception's record: the record's type.
const ULONG_PTR ThreadNameRecordType = 0x1000;
}  // namespace

DWORD cThreadStartProc(void* parameter) {
  cExceptionDispatcher::handleExceptionsFor();
  auto* thread = static_cast<cThread*>(parameter);
  try {
    if (parameter == nullptr) throw cException(L"cThreadStartProc: param is null");
    thread->returnCode = 1;
    thread->run();
  } catch (cException& exception) {
    cString title;
    title.format(L"Application Error - SEH Exception Caught in Thread %Iu (object:0x%p)!",
                 thread != nullptr ? thread->m_hThread : nullptr, thread);
    showExceptionMessageBox(exception, nullptr, title, false);
  }
  cExceptionDispatcher::stopHandlingExceptionsFor();
  const DWORD code = thread != nullptr ? thread->returnCode : 1;
  QNLITH_TRACE(0x400, L"cThread :: ending(0x%x) - rc:%u", thread, code);
  AfxEndThread(code, 1);
}

cThread::cThread() : CWinThread(cThreadStartProc, this), returnCode(0) { m_bAutoDelete = FALSE; }

cThread::~cThread() {}

bool cThread::start(ThreadPriorityEnum priority, bool suspended, SECURITY_ATTRIBUTES* security) {
  const DWORD flags = suspended ? CREATE_SUSPENDED : 0;
  m_hThread = nullptr;  // an earlier thread's handle stays open
  if (CreateThread(flags, 0, security)) {
    ::SetThreadPriority(m_hThread, priority);
    return true;
  }
  QNLITH_TRACE(0x440, L"cThread :: start(0x%x) failed- rc:%u %s", m_hThread, 0,
               findErrorMessageText(GetLastError()).c_str());
  return false;
}

void cThread::run() { throw cException(L"cThread :: run() is virtual and must be overloaded."); }

void cThread::setReturnCode(DWORD code) { returnCode = code; }

bool cThread::isRunning() const {
  DWORD exitCode = 0;
  if (!GetExitCodeThread(m_hThread, &exitCode) && m_hThread != nullptr) {
    QNLITH_TRACE(0xC0, L"cThread :: isRunning(0x%x) - bad rc:%u %s", m_hThread, exitCode,
                 findErrorMessageText(GetLastError()).c_str());
  }
  return exitCode == STILL_ACTIVE;
}

bool cThread::waitFor(const cThread& thread) {
  if (WaitForSingleObject(thread.m_hThread, INFINITE) == WAIT_OBJECT_0) return true;
  // The object itself may be gone.
  if (IsBadReadPtr(&thread, sizeof(cThread))) return true;
  if (thread.m_hThread == nullptr) return true;
  if (!thread.isRunning()) return true;
  QNLITH_TRACE(0x40, L"cThread :: waitFor(0x%x) failed", &thread);
  return false;
}

ThreadPriorityEnum cThread::priority() const { return static_cast<ThreadPriorityEnum>(::GetThreadPriority(m_hThread)); }

bool cThread::changePriority(ThreadPriorityEnum value) { return ::SetThreadPriority(m_hThread, value) != 0; }

void cThread::suspend() { ::SuspendThread(m_hThread); }

void cThread::sleep(DWORD milliseconds) { Sleep(milliseconds); }

void cThread::resume() { ::ResumeThread(m_hThread); }

void* cThread::handle() const { return m_hThread; }

DWORD cThread::id() const { return m_nThreadID; }

void cThread::setThreadName(const cString& name) {
  char* narrowName = name.asChar();
  const ULONG_PTR record[4] = {ThreadNameRecordType, reinterpret_cast<ULONG_PTR>(narrowName), m_nThreadID, 0};
  // The platform takes this code as a debugger does: it names the thread and
  // execution continues behind the raise, unseen by the translator.
  RaiseException(ThreadNameException, 0, 4, record);
  delete[] narrowName;
}

LRESULT cThread::ProcessWndProcException(CException* exception, const MSG* message) {
  QNLITH_TRACE(0x440, L"cThread :: ProcessWndProcException for 0x%p", m_hThread);
  const cString text = frameworkErrorText(*exception);
  cMessageBox box(nullptr);
  box.setTitle(L"cThread :: ProcessWndProcException");
  box.show(text.c_str(), ErrorBoxStyle, 0);
  return CWinThread::ProcessWndProcException(exception, message);
}

cThreadStatus::cThreadStatus() : terminationRequested(false) {}
cThreadStatus::cThreadStatus(const cThreadStatus& other) : terminationRequested(other.terminationRequested) {}
cThreadStatus& cThreadStatus::operator=(const cThreadStatus& other) {
  terminationRequested = other.terminationRequested;
  return *this;
}
cThreadStatus::~cThreadStatus() {}
void cThreadStatus::requestTermination() { terminationRequested = true; }
void cThreadStatus::reset() { terminationRequested = false; }
bool cThreadStatus::isTerminationRequested() const volatile { return terminationRequested; }

cCurrentThread::cCurrentThread() {}
cCurrentThread::~cCurrentThread() {}
cCurrentThread& cCurrentThread::operator=(const cCurrentThread&) { return *this; }

void cCurrentThread::sleep(DWORD milliseconds) { Sleep(milliseconds); }

bool cCurrentThread::changePriority(ThreadPriorityEnum priority) {
  // Without a framework thread object there is no handle: the call fails
  // with the null handle's error instead of reading through null.
  CWinThread* thread = AfxGetThread();
  return ::SetThreadPriority(thread != nullptr ? thread->m_hThread : nullptr, priority) != 0;
}

bool cCurrentThread::waitFor(const cThread& thread) {
  if (WaitForSingleObject(thread.m_hThread, INFINITE) == WAIT_OBJECT_0) return true;
  if (thread.m_hThread == nullptr) return true;
  if (!thread.isRunning()) return true;
  QNLITH_TRACE(0x40, L"cCurrentThread :: waitFor(0x%p) failed", &thread);
  throw cException(L"cCurrentThread :: waitFor failed");
}
