#include <gtest/gtest.h>
#include <qnlith/framework.h>

#include <atomic>
#include <string>

#include "support/box_recorder.h"

namespace {

std::atomic<CWinThread*> seenThread{nullptr};
std::atomic<int> destroyed{0};

struct Counted : CWinThread {
  using CWinThread::CWinThread;
  ~Counted() override { destroyed.fetch_add(1); }
};

UINT recordAndReturn(LPVOID parameter) {
  seenThread = AfxGetThread();
  return static_cast<UINT>(reinterpret_cast<std::uintptr_t>(parameter));
}

}  // namespace

TEST(FrameworkThreads, CreateThreadRunsTheProcedureOnItsObject) {
  auto* thread = new Counted(recordAndReturn, reinterpret_cast<LPVOID>(17));
  thread->m_bAutoDelete = FALSE;
  ASSERT_TRUE(thread->CreateThread(CREATE_SUSPENDED));
  ASSERT_NE(thread->m_hThread, nullptr);
  EXPECT_EQ(thread->m_nThreadID, GetThreadId(thread->m_hThread));
  EXPECT_EQ(WaitForSingleObject(thread->m_hThread, 30), WAIT_TIMEOUT);
  EXPECT_EQ(seenThread.load(), nullptr);
  EXPECT_EQ(thread->ResumeThread(), 1u);
  ASSERT_EQ(WaitForSingleObject(thread->m_hThread, INFINITE), WAIT_OBJECT_0);
  EXPECT_EQ(seenThread.load(), thread) << "AfxGetThread on the new thread";
  DWORD code = 0;
  EXPECT_TRUE(GetExitCodeThread(thread->m_hThread, &code));
  EXPECT_EQ(code, 17u);
  EXPECT_EQ(destroyed.load(), 0) << "auto-delete was off";
  delete thread;
  EXPECT_EQ(destroyed.load(), 1);

  // With auto-delete the thread's end deletes the object.
  destroyed = 0;
  thread = new Counted([](LPVOID) -> UINT { AfxEndThread(5); }, nullptr);
  ASSERT_TRUE(thread->CreateThread());
  for (int i = 0; i < 10000 && destroyed.load() == 0; ++i) Sleep(1);
  EXPECT_EQ(destroyed.load(), 1);
  EXPECT_EQ(AfxGetThread(), nullptr) << "a thread the framework did not start has no object";
}

TEST(FrameworkThreads, TheApplicationIsTheMainThreadsObject) {
  {
    CWinApp app(L"Test application");
    EXPECT_EQ(AfxGetApp(), &app);
    EXPECT_EQ(AfxGetThread(), &app);
    EXPECT_STREQ(app.m_pszExeName, L"framework_tests");
    EXPECT_STREQ(AfxGetAppName(), L"Test application");
    EXPECT_EQ(app.m_nThreadID, GetCurrentThreadId());
    // The application keeps the main thread's pseudo handle; it works as a thread handle.
    EXPECT_EQ(WaitForSingleObject(app.m_hThread, 10), static_cast<DWORD>(WAIT_TIMEOUT));
    DWORD code = 0;
    EXPECT_TRUE(GetExitCodeThread(app.m_hThread, &code));
    EXPECT_EQ(code, STILL_ACTIVE);
    EXPECT_EQ(GetThreadId(app.m_hThread), GetCurrentThreadId());

    BoxRecorder boxes;
    CWnd main;
    ASSERT_TRUE(main.CreateEx(0, L"frame", L"Main caption", 0, 0, 0, 100, 100, nullptr, nullptr));
    app.m_pMainWnd = &main;
    EXPECT_EQ(app.GetMainWnd(), &main);
    CString caption;
    main.GetWindowTextW(caption);
    EXPECT_STREQ(caption.GetString(), L"Main caption");
    EXPECT_EQ(AfxMessageBox(L"Hello", MB_OKCANCEL | MB_ICONHAND), IDOK);
    EXPECT_EQ(boxes.last().text, L"Hello");
    EXPECT_EQ(boxes.last().caption, L"Test application");
    EXPECT_EQ(boxes.last().style, MB_OKCANCEL | MB_ICONHAND);
    EXPECT_EQ(main.MessageBoxW(L"Owned", L"Own caption", MB_YESNO), IDOK);
    EXPECT_EQ(boxes.last().caption, L"Own caption");
    EXPECT_EQ(main.MessageBoxW(L"Owned"), IDOK);
    EXPECT_EQ(boxes.last().caption, L"Test application");
    EXPECT_TRUE(main.DestroyWindow());
    EXPECT_FALSE(IsWindow(main.m_hWnd));
    app.m_pMainWnd = nullptr;
  }
  EXPECT_EQ(AfxGetApp(), nullptr);
  EXPECT_EQ(AfxGetThread(), nullptr);
  BoxRecorder boxes;
  EXPECT_EQ(AfxMessageBox(L"No application"), IDOK);
  EXPECT_EQ(boxes.last().caption, L"framework_tests") << "the program's name";
  EXPECT_EQ(boxes.last().style, MB_OK);
}

TEST(FrameworkThreads, ProcessWndProcExceptionReportsInABox) {
  BoxRecorder boxes;
  CWinThread thread;
  COleException failure;
  failure.m_sc = E_FAIL;
  EXPECT_EQ(thread.ProcessWndProcException(&failure, nullptr), 0);
  EXPECT_EQ(boxes.last().text, L"OLE error 0x80004005.");
  CException plain;
  thread.ProcessWndProcException(&plain, nullptr);
  EXPECT_EQ(boxes.last().text, L"No error message is available.");
}
