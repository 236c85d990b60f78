#include <gtest/gtest.h>
#include <qnlith/win32.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "support/wait_helpers.h"

using qntest::eventually;

namespace {

std::atomic<int> ran{0};

DWORD WINAPI countAndReturn(LPVOID parameter) {
  ran.fetch_add(1);
  return static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(parameter));
}

std::atomic<bool> stopSpinning{false};

DWORD WINAPI spin(LPVOID parameter) {
  auto& counter = *static_cast<std::atomic<std::uint64_t>*>(parameter);
  while (!stopSpinning.load()) counter.fetch_add(1);
  return 0;
}

}  // namespace

TEST(Threads, CreatedSuspendedRunsOnlyOnceResumed) {
  ran = 0;
  DWORD id = 0;
  HANDLE thread = CreateThread(nullptr, 0, countAndReturn, reinterpret_cast<LPVOID>(42), CREATE_SUSPENDED, &id);
  ASSERT_NE(thread, nullptr);
  EXPECT_NE(id, 0u);
  EXPECT_EQ(GetThreadId(thread), id);
  DWORD code = 0;
  ASSERT_TRUE(GetExitCodeThread(thread, &code));
  EXPECT_EQ(code, STILL_ACTIVE);
  EXPECT_EQ(WaitForSingleObject(thread, 50), WAIT_TIMEOUT);
  EXPECT_EQ(ran.load(), 0) << "the procedure waits for ResumeThread";

  EXPECT_EQ(SuspendThread(thread), 1u);
  EXPECT_EQ(ResumeThread(thread), 2u);
  EXPECT_EQ(ResumeThread(thread), 1u);
  ASSERT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
  EXPECT_EQ(ran.load(), 1);
  ASSERT_TRUE(GetExitCodeThread(thread, &code));
  EXPECT_EQ(code, 42u);
  EXPECT_EQ(ResumeThread(thread), 0u);
  EXPECT_EQ(SuspendThread(thread), static_cast<DWORD>(-1)) << "an ended thread can't be suspended";
  EXPECT_TRUE(CloseHandle(thread));

  SetLastError(0);
  EXPECT_FALSE(GetExitCodeThread(thread, &code));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  EXPECT_EQ(SuspendThread(thread), static_cast<DWORD>(-1));
  EXPECT_EQ(CreateThread(nullptr, 0, nullptr, nullptr, 0, nullptr), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
}

TEST(Threads, HandlesWorkWithEveryWait) {
  HANDLE go = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  ASSERT_NE(go, nullptr);
  HANDLE thread = CreateThread(nullptr, 0, [](LPVOID event) -> DWORD {
    return WaitForSingleObject(static_cast<HANDLE>(event), INFINITE) == WAIT_OBJECT_0 ? 3 : 4;
  }, go, 0, nullptr);
  ASSERT_NE(thread, nullptr);
  const HANDLE both[2] = {thread, go};
  EXPECT_EQ(WaitForMultipleObjects(2, both, TRUE, 30), WAIT_TIMEOUT);
  EXPECT_EQ(WaitForSingleObject(thread, 0), WAIT_TIMEOUT);
  EXPECT_TRUE(SetEvent(go));
  EXPECT_EQ(WaitForMultipleObjects(2, both, TRUE, INFINITE), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(thread, 0), WAIT_OBJECT_0) << "an ended thread stays signalled";
  DWORD code = 0;
  EXPECT_TRUE(GetExitCodeThread(thread, &code));
  EXPECT_EQ(code, 3u);
  CloseHandle(thread);
  CloseHandle(go);
}

TEST(Threads, ExitThreadEndsWithItsCode) {
  HANDLE thread = CreateThread(nullptr, 0, [](LPVOID) -> DWORD {
    ExitThread(259);  // STILL_ACTIVE as a real exit code: it reads as running for ever
  }, nullptr, 0, nullptr);
  ASSERT_NE(thread, nullptr);
  ASSERT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
  DWORD code = 0;
  EXPECT_TRUE(GetExitCodeThread(thread, &code));
  EXPECT_EQ(code, STILL_ACTIVE);
  CloseHandle(thread);

  thread = CreateThread(nullptr, 64 * 1024, [](LPVOID) -> DWORD { ExitThread(0); }, nullptr, 0, nullptr);
  ASSERT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
  EXPECT_TRUE(GetExitCodeThread(thread, &code));
  EXPECT_EQ(code, 0u);
  CloseHandle(thread);
}

TEST(Threads, SuspendHoldsARunningThread) {
  stopSpinning.store(false);
  std::atomic<std::uint64_t> counter{0};
  HANDLE thread = CreateThread(nullptr, 0, spin, &counter, 0, nullptr);
  ASSERT_NE(thread, nullptr);
  ASSERT_TRUE(eventually([&] { return counter.load() > 1000; }));

  EXPECT_EQ(SuspendThread(thread), 0u);
  EXPECT_EQ(SuspendThread(thread), 1u);
  const std::uint64_t held = counter.load();
  Sleep(50);
  EXPECT_EQ(counter.load(), held) << "a suspended thread does not run";
  DWORD code = 0;
  EXPECT_TRUE(GetExitCodeThread(thread, &code));
  EXPECT_EQ(code, STILL_ACTIVE);
  EXPECT_EQ(ResumeThread(thread), 2u);
  Sleep(20);
  EXPECT_EQ(counter.load(), held) << "still suspended once";
  EXPECT_EQ(ResumeThread(thread), 1u);
  EXPECT_TRUE(eventually([&] { return counter.load() > held + 1000; }));

  stopSpinning.store(true);
  EXPECT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
  CloseHandle(thread);
}

TEST(Threads, PseudoHandleMeansTheCallingThread) {
  EXPECT_EQ(GetCurrentThread(), reinterpret_cast<HANDLE>(static_cast<LONG_PTR>(-2)));
  DWORD code = 0;
  EXPECT_TRUE(GetExitCodeThread(GetCurrentThread(), &code));
  EXPECT_EQ(code, STILL_ACTIVE);
  EXPECT_EQ(GetThreadId(GetCurrentThread()), GetCurrentThreadId());
  EXPECT_EQ(GetCurrentThreadId(), static_cast<DWORD>(gettid()));
  DWORD other = 0;
  std::thread([&] { other = GetCurrentThreadId(); }).join();
  EXPECT_NE(other, GetCurrentThreadId());
}

TEST(Threads, PrioritiesAreNiceValues) {
  HANDLE thread = CreateThread(nullptr, 0, [](LPVOID) -> DWORD {
    Sleep(INFINITE);
    return 0;
  }, nullptr, 0, nullptr);
  ASSERT_NE(thread, nullptr);
  const id_t tid = GetThreadId(thread);
  errno = 0;
  const int base = getpriority(PRIO_PROCESS, 0);
  EXPECT_EQ(GetThreadPriority(thread), THREAD_PRIORITY_NORMAL);
  EXPECT_TRUE(SetThreadPriority(thread, THREAD_PRIORITY_LOWEST));
  EXPECT_EQ(GetThreadPriority(thread), THREAD_PRIORITY_LOWEST);
  EXPECT_EQ(getpriority(PRIO_PROCESS, tid), std::min(base + 10, 19));
  EXPECT_TRUE(SetThreadPriority(thread, THREAD_PRIORITY_IDLE));
  EXPECT_EQ(getpriority(PRIO_PROCESS, tid), 19);
  EXPECT_EQ(GetThreadPriority(thread), THREAD_PRIORITY_IDLE);

  SetLastError(0);
  EXPECT_FALSE(SetThreadPriority(thread, 3));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(GetThreadPriority(thread), THREAD_PRIORITY_IDLE);

  // Raising a thread needs the right to; an unprivileged process lacks it.
  const pid_t child = fork();
  if (child == 0) {
    if (geteuid() == 0 && setuid(65534) != 0) _exit(3);
    const BOOL raised = SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_HIGHEST);
    _exit(!raised && GetLastError() == ERROR_ACCESS_DENIED ? 0 : 1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  EXPECT_EQ(GetThreadPriority(reinterpret_cast<HANDLE>(0x7777)), THREAD_PRIORITY_ERROR_RETURN);
  CloseHandle(thread);
}

TEST(Threads, BadPointerProbesNeverFault) {
  const long page = sysconf(_SC_PAGESIZE);
  auto* block = static_cast<char*>(mmap(nullptr, 3 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  ASSERT_NE(block, MAP_FAILED);
  mprotect(block + page, page, PROT_READ);
  mprotect(block + 2 * page, page, PROT_NONE);

  int local = 0;
  EXPECT_FALSE(IsBadReadPtr(&local, sizeof local));
  EXPECT_FALSE(IsBadWritePtr(&local, sizeof local));
  EXPECT_FALSE(IsBadReadPtr(nullptr, 0));
  EXPECT_TRUE(IsBadReadPtr(nullptr, 1));
  EXPECT_TRUE(IsBadWritePtr(nullptr, 4));
  EXPECT_FALSE(IsBadReadPtr(block, 2 * page));
  EXPECT_TRUE(IsBadReadPtr(block, 2 * page + 1)) << "the last byte lies on a page without access";
  EXPECT_TRUE(IsBadReadPtr(block + 2 * page + 10, 1));
  EXPECT_FALSE(IsBadWritePtr(block, page));
  EXPECT_TRUE(IsBadWritePtr(block + page - 4, 8)) << "runs into a read-only page";
  EXPECT_TRUE(IsBadWritePtr(block + page, 1));
  EXPECT_TRUE(IsBadReadPtr(reinterpret_cast<void*>(~std::uintptr_t{0} - 2), 8)) << "wraps around";
  munmap(block, 3 * page);
  EXPECT_TRUE(IsBadReadPtr(block, 1)) << "unmapped";
}

TEST(Threads, LocalSlots) {
  const DWORD slot = TlsAlloc();
  ASSERT_NE(slot, TLS_OUT_OF_INDEXES);
  SetLastError(5);
  EXPECT_EQ(TlsGetValue(slot), nullptr);
  EXPECT_EQ(GetLastError(), 0u) << "a successful read clears the last error";
  int mine = 0;
  EXPECT_TRUE(TlsSetValue(slot, &mine));
  EXPECT_EQ(TlsGetValue(slot), &mine);
  std::thread([&] {
    int theirs = 0;
    EXPECT_EQ(TlsGetValue(slot), nullptr) << "each thread starts empty";
    EXPECT_TRUE(TlsSetValue(slot, &theirs));
    EXPECT_EQ(TlsGetValue(slot), &theirs);
  }).join();
  EXPECT_EQ(TlsGetValue(slot), &mine);

  EXPECT_TRUE(TlsFree(slot));
  EXPECT_FALSE(TlsFree(slot));
  const DWORD again = TlsAlloc();
  EXPECT_EQ(again, slot) << "the lowest free slot comes first";
  EXPECT_EQ(TlsGetValue(again), nullptr) << "a freed slot is emptied in every thread";
  EXPECT_TRUE(TlsFree(again));

  EXPECT_EQ(TlsGetValue(1088), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_FALSE(TlsSetValue(5000, &mine));
}

namespace {

// What a thread leaves behind as it ends, and what its own thread-local
// destructor saw of its handle while it ran.
struct Ending {
  HANDLE mutex = nullptr;
  HANDLE ready = nullptr;
  HANDLE self = nullptr;  // the ending thread's handle, for its destructor to look at
  bool useExitThread = false;
  std::atomic<bool> destructorDone{false};
  std::atomic<bool> keyDestructorDone{false};
  std::atomic<DWORD> codeSeenByDestructor{0};
  std::atomic<DWORD> waitSeenByDestructor{0};
  DWORD threadId = 0;
};

Ending* ending = nullptr;

struct LastWords {
  ~LastWords() {
    // Still running: the handle is not signalled and has no code yet.
    DWORD code = 0;
    if (ending->self != nullptr && GetExitCodeThread(ending->self, &code)) ending->codeSeenByDestructor = code;
    if (ending->self != nullptr) ending->waitSeenByDestructor = WaitForSingleObject(ending->self, 0);
    Sleep(30);  // a waiter that woke too early would see the flag unset
    ending->destructorDone = true;
  }
};
thread_local LastWords lastWords;

// Thread-specific data of other code, whose destructor runs after the
// thread_local ones and may still use the layer.
pthread_key_t otherKey() {
  static const pthread_key_t key = [] {
    pthread_key_t k;
    pthread_key_create(&k, [](void*) {
      HANDLE event = CreateEventW(nullptr, FALSE, TRUE, nullptr);
      WaitForSingleObject(event, INFINITE);
      CloseHandle(event);
      Sleep(20);
      ending->keyDestructorDone = true;
    });
    return k;
  }();
  return key;
}

void endWithEverything(DWORD code) {
  (void)&lastWords;  // made on first use: its destructor runs as the thread ends
  pthread_setspecific(otherKey(), ending);
  EXPECT_EQ(WaitForSingleObject(ending->mutex, 0), WAIT_OBJECT_0);
  MSG msg;
  PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE);  // the thread has a queue
  ending->threadId = GetCurrentThreadId();
  SetEvent(ending->ready);
  if (ending->useExitThread) ExitThread(code);
}

DWORD WINAPI endingThread(LPVOID) {
  endWithEverything(41);
  return 42;
}

// The thread's end as a waiter sees it once the wait returns.
void expectWhollyEnded(HANDLE thread, DWORD expectedCode) {
  EXPECT_TRUE(ending->destructorDone) << "thread-local destructors finish before the handle is signalled";
  EXPECT_TRUE(ending->keyDestructorDone) << "so do the destructors of other thread-specific data";
  EXPECT_EQ(ending->codeSeenByDestructor.load(), STILL_ACTIVE);
  EXPECT_EQ(ending->waitSeenByDestructor.load(), static_cast<DWORD>(WAIT_TIMEOUT));
  DWORD code = 0;
  EXPECT_TRUE(GetExitCodeThread(thread, &code));
  EXPECT_EQ(code, expectedCode);
  EXPECT_EQ(WaitForSingleObject(ending->mutex, 0), static_cast<DWORD>(WAIT_ABANDONED)) << "abandoned by then";
  EXPECT_TRUE(ReleaseMutex(ending->mutex));
  SetLastError(0);
  EXPECT_FALSE(PostThreadMessageW(ending->threadId, WM_USER, 0, 0)) << "its queue is gone";
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_THREAD_ID));
}

}  // namespace

TEST(Threads, HandleIsSignalledAsTheLastStepOfTheEnd) {
  struct Case {
    const char* how;
    bool useExitThread;
    DWORD code;
  };
  const Case cases[] = {{"return", false, 42}, {"ExitThread", true, 41}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.how);
    Ending state;
    ending = &state;
    state.mutex = CreateMutexW(nullptr, FALSE, nullptr);
    state.ready = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    state.useExitThread = c.useExitThread;
    HANDLE thread = CreateThread(nullptr, 0, endingThread, nullptr, CREATE_SUSPENDED, nullptr);
    ASSERT_NE(thread, nullptr);
    state.self = thread;
    ResumeThread(thread);
    ASSERT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
    expectWhollyEnded(thread, c.code);
    CloseHandle(thread);
    CloseHandle(state.mutex);
    CloseHandle(state.ready);
  }
}

TEST(Threads, ThreadsTheLayerDidNotStartEndTheSameWay) {
  for (bool useExitThread : {false, true}) {
    SCOPED_TRACE(useExitThread ? "ExitThread" : "return");
    Ending state;
    ending = &state;
    state.mutex = CreateMutexW(nullptr, FALSE, nullptr);
    state.ready = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    state.useExitThread = useExitThread;
    HANDLE handed = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    HANDLE thread = nullptr;
    std::thread adopted([&] {
      // Its own handle, real and usable by others, from the pseudo handle.
      EXPECT_TRUE(DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &thread, 0, FALSE,
                                  DUPLICATE_SAME_ACCESS));
      state.self = thread;
      SetEvent(handed);
      endWithEverything(5);
    });
    ASSERT_EQ(WaitForSingleObject(handed, INFINITE), WAIT_OBJECT_0);
    ASSERT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
    expectWhollyEnded(thread, useExitThread ? 5 : 0);
    adopted.join();
    CloseHandle(thread);
    CloseHandle(handed);
    CloseHandle(state.mutex);
    CloseHandle(state.ready);
  }
}

TEST(Threads, PseudoHandlesWorkWhereverTheirKindDoes) {
  HANDLE self = GetCurrentThread();
  EXPECT_EQ(WaitForSingleObject(self, 10), static_cast<DWORD>(WAIT_TIMEOUT));
  EXPECT_EQ(WaitForSingleObject(self, 0), static_cast<DWORD>(WAIT_TIMEOUT));
  HANDLE event = CreateEventW(nullptr, TRUE, TRUE, nullptr);
  const HANDLE both[] = {self, event};
  EXPECT_EQ(WaitForMultipleObjects(2, both, FALSE, 10), WAIT_OBJECT_0 + 1);
  EXPECT_EQ(WaitForMultipleObjects(2, both, TRUE, 10), static_cast<DWORD>(WAIT_TIMEOUT));
  const int before = GetThreadPriority(self);
  EXPECT_TRUE(SetThreadPriority(self, THREAD_PRIORITY_BELOW_NORMAL));
  EXPECT_EQ(GetThreadPriority(self), THREAD_PRIORITY_BELOW_NORMAL);
  EXPECT_TRUE(SetThreadPriority(self, before));
  EXPECT_TRUE(CloseHandle(self)) << "closing a pseudo handle has no effect";
  EXPECT_EQ(WaitForSingleObject(self, 0), static_cast<DWORD>(WAIT_TIMEOUT));

  HANDLE process = GetCurrentProcess();
  EXPECT_EQ(process, reinterpret_cast<HANDLE>(static_cast<LONG_PTR>(-1)));
  EXPECT_EQ(WaitForSingleObject(process, 10), static_cast<DWORD>(WAIT_TIMEOUT));
  DWORD code = 0;
  EXPECT_TRUE(GetExitCodeProcess(process, &code));
  EXPECT_EQ(code, STILL_ACTIVE);
  EXPECT_EQ(GetProcessId(process), GetCurrentProcessId());
  EXPECT_EQ(GetCurrentProcessId(), static_cast<DWORD>(getpid()));
  EXPECT_TRUE(CloseHandle(process));

  // Each pseudo handle only where its kind is taken.
  SetLastError(0);
  EXPECT_FALSE(GetExitCodeProcess(self, &code));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  SetLastError(0);
  EXPECT_FALSE(GetExitCodeThread(process, &code));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  EXPECT_FALSE(SetEvent(self));
  EXPECT_FALSE(ReleaseMutex(process));

  // The duplicate of the pseudo handle names this thread from any thread.
  HANDLE real = nullptr;
  ASSERT_TRUE(DuplicateHandle(process, self, process, &real, 0, FALSE, DUPLICATE_SAME_ACCESS));
  EXPECT_NE(real, self);
  DWORD seen = 0;
  std::thread([&] { seen = GetThreadId(real); }).join();
  EXPECT_EQ(seen, GetCurrentThreadId());
  EXPECT_TRUE(CloseHandle(real));
  SetLastError(0);
  EXPECT_FALSE(DuplicateHandle(process, real, process, &real, 0, FALSE, DUPLICATE_SAME_ACCESS)) << "closed";
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  HANDLE copy = nullptr;
  ASSERT_TRUE(DuplicateHandle(process, event, process, &copy, 0, FALSE, DUPLICATE_CLOSE_SOURCE | DUPLICATE_SAME_ACCESS));
  EXPECT_EQ(WaitForSingleObject(copy, 0), WAIT_OBJECT_0);
  EXPECT_FALSE(CloseHandle(event)) << "the source went with the copy";
  EXPECT_TRUE(CloseHandle(copy));
}
