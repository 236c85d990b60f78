#include <fcntl.h>
#include <gtest/gtest.h>
#include <qnlith/qnlith.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <vector>
#include <regex>
#include <string>
#include <thread>

#include "support/fault_helpers.h"
#include "support/box_recorder.h"

namespace {

DWORD exitCodeOf(const cThread& thread) {
  DWORD code = 0;
  EXPECT_TRUE(GetExitCodeThread(thread.handle(), &code));
  return code;
}

class Dividing : public cThread {
 protected:
  void run() override { faults::divide(10, 0); }
};

class Returning : public cThread {
 protected:
  void run() override {}
};

class Coded : public cThread {
 public:
  explicit Coded(DWORD code, bool thenThrow) : code(code), thenThrow(thenThrow) {}

 protected:
  void run() override {
    setReturnCode(code);
    if (thenThrow) throw cException(L"Thrown by the body");
  }

 private:
  DWORD code;
  bool thenThrow;
};

class Base : public cThread {};

class Named : public cThread {
 protected:
  void run() override {
    setThreadName(L"named-by-test");
    char name[16] = {};
    pthread_getname_np(pthread_self(), name, sizeof name);
    setReturnCode(std::string(name) == "named-by-test" ? 7 : 8);
  }
};

class Throwing : public cThread {
 protected:
  void run() override { throw L"bare text"; }
};

}  // namespace

TEST(Threads, AFaultInRunEndsInABoxAndExitCodeOne) {
  BoxRecorder boxes;
  Dividing thread;
  EXPECT_EQ(thread.handle(), nullptr);
  ASSERT_TRUE(thread.start());
  EXPECT_NE(thread.handle(), nullptr);
  EXPECT_NE(thread.id(), 0u);
  EXPECT_TRUE(cThread::waitFor(thread));
  EXPECT_FALSE(thread.isRunning());
  EXPECT_EQ(exitCodeOf(thread), 1u);
  ASSERT_EQ(boxes.size(), 1u);
  const std::wstring text = boxes[0].text;
  EXPECT_TRUE(std::regex_match(text, std::wregex(L"An integer divide by 0 violation occurred at \naddress 0x[1-9a-f][0-9a-f]* in file /.*")))
      << std::string(text.begin(), text.end());
  EXPECT_EQ(boxes[0].caption, L"concurrency_tests") << "no parent: the framework's caption";
  EXPECT_EQ(boxes[0].style, 0x10010u);
  EXPECT_TRUE(cThread::waitFor(thread)) << "an ended thread is waited for at once";
}

TEST(Threads, ExitCodes) {
  BoxRecorder boxes;
  Returning returning;
  ASSERT_TRUE(returning.start());
  EXPECT_TRUE(cCurrentThread::waitFor(returning));
  EXPECT_EQ(exitCodeOf(returning), 1u) << "a body that sets no code ends with 1";
  EXPECT_TRUE(boxes.empty());

  Coded zeroThenThrow(0, true);
  ASSERT_TRUE(zeroThenThrow.start());
  EXPECT_TRUE(cThread::waitFor(zeroThenThrow));
  EXPECT_EQ(exitCodeOf(zeroThenThrow), 0u);
  ASSERT_EQ(boxes.size(), 1u);
  EXPECT_EQ(boxes[0].text, L"Thrown by the body");

  Coded stillActive(STILL_ACTIVE, false);
  ASSERT_TRUE(stillActive.start());
  EXPECT_TRUE(cThread::waitFor(stillActive)) << "the wait itself succeeds";
  EXPECT_TRUE(stillActive.isRunning()) << "259 reads as running for ever";

  Base base;
  ASSERT_TRUE(base.start());
  EXPECT_TRUE(cThread::waitFor(base));
  EXPECT_EQ(exitCodeOf(base), 1u);
  ASSERT_EQ(boxes.size(), 2u);
  EXPECT_EQ(boxes[1].text, L"cThread :: run() is virtual and must be overloaded.");

  // Started again once ended: a new thread, a new code.
  ASSERT_TRUE(returning.start());
  EXPECT_TRUE(cThread::waitFor(returning));
  EXPECT_EQ(exitCodeOf(returning), 1u);
}

TEST(Threads, NullParameterIsReportedToo) {
  BoxRecorder boxes;
  HANDLE thread = CreateThread(nullptr, 0, [](LPVOID) -> DWORD { return cThreadStartProc(nullptr); }, nullptr, 0,
                               nullptr);
  ASSERT_NE(thread, nullptr);
  ASSERT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
  DWORD code = 0;
  EXPECT_TRUE(GetExitCodeThread(thread, &code));
  EXPECT_EQ(code, 1u);
  ASSERT_EQ(boxes.size(), 1u);
  EXPECT_EQ(boxes[0].text, L"cThreadStartProc: param is null");
  CloseHandle(thread);
}

TEST(Threads, NeverStartedAndSuspended) {
  Returning never;
  EXPECT_FALSE(never.isRunning());
  EXPECT_TRUE(cThread::waitFor(never)) << "the wait fails on the null handle and that is accepted";
  EXPECT_TRUE(cCurrentThread::waitFor(never));

  Returning held;
  ASSERT_TRUE(held.start(ThreadPriorityBelowNormal, true));
  EXPECT_TRUE(held.isRunning()) << "a suspended thread counts as running";
  EXPECT_EQ(held.priority(), ThreadPriorityBelowNormal);
  std::atomic<bool> waited{false};
  std::thread waiter([&] {
    cThread::waitFor(held);
    waited = true;
  });
  Sleep(100);
  EXPECT_FALSE(waited.load()) << "waitFor blocks until the thread has been resumed and has ended";
  held.resume();
  waiter.join();
  EXPECT_TRUE(waited.load());
  EXPECT_FALSE(held.isRunning());
}

TEST(Threads, PriorityNameAndStatus) {
  Returning idle;
  ASSERT_TRUE(idle.start(ThreadPriorityLowest, true));
  EXPECT_EQ(idle.priority(), ThreadPriorityLowest);
  EXPECT_TRUE(idle.changePriority(ThreadPriorityIdle));
  EXPECT_EQ(idle.priority(), ThreadPriorityIdle);
  EXPECT_FALSE(idle.changePriority(static_cast<ThreadPriorityEnum>(3)));
  idle.suspend();
  idle.resume();
  idle.resume();
  EXPECT_TRUE(cThread::waitFor(idle));

  BoxRecorder boxes;
  Named named;
  ASSERT_TRUE(named.start());
  EXPECT_TRUE(cThread::waitFor(named));
  EXPECT_EQ(exitCodeOf(named), 7u) << "named, and the translator never saw the raise";
  EXPECT_TRUE(boxes.empty());

  // A thread the framework does not know has no handle to change.
  std::thread([] {
    EXPECT_FALSE(cCurrentThread::changePriority(ThreadPriorityBelowNormal));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  }).join();

  cThreadStatus status;
  EXPECT_FALSE(status.isTerminationRequested());
  status.requestTermination();
  cThreadStatus copy(status);
  EXPECT_TRUE(copy.isTerminationRequested());
  copy.reset();
  EXPECT_FALSE(copy.isTerminationRequested());
}

TEST(Threads, ProcessWndProcExceptionShowsTheFrameworkText) {
  BoxRecorder boxes;
  Returning thread;
  cMfcException failure(L"In a window procedure");
  EXPECT_EQ(thread.ProcessWndProcException(&failure, nullptr), 0);
  ASSERT_EQ(boxes.size(), 2u) << "the thread's box, then the framework's own report";
  EXPECT_EQ(boxes[0].text, L"In a window procedure");
  EXPECT_EQ(boxes[0].caption, L"concurrency_tests") << "the title goes no further than the cMessageBox";
  EXPECT_EQ(boxes[0].style, 0x10010u);
  EXPECT_EQ(boxes[1].text, L"In a window procedure");
}

TEST(Threads, AnUncaughtBareTextFailureEndsInTheTerminatorBox) {
  int channel[2];
  ASSERT_EQ(pipe(channel), 0);
  static int writeEnd;
  writeEnd = channel[1];
  const pid_t child = fork();
  if (child == 0) {
    qnSetMessageBoxHook([](const wchar_t* text, const wchar_t* caption, unsigned style) {
      const std::wstring line = std::wstring(caption) + L"|" + text + L"|" + std::to_wstring(style);
      const std::string narrow(line.begin(), line.end());
      (void)!write(writeEnd, narrow.data(), narrow.size());
      return IDOK;
    });
    Throwing thread;
    thread.start();
    cThread::waitFor(thread);
    _exit(0);  // not reached: the run time ends the process
  }
  close(channel[1]);
  std::string seen;
  char buffer[512];
  for (ssize_t n; (n = read(channel[0], buffer, sizeof buffer)) > 0;) seen.append(buffer, static_cast<std::size_t>(n));
  close(channel[0]);
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(seen, "concurrency_tests|An Unrecoverable Error was encountered\nThe application will be terminated now|65552");
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGABRT);
}
