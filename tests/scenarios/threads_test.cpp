// Threads ending while others wait on them: on their handles, on the
// mutexes they hold, on their messages. A waiter that wakes finds the
// thread wholly gone.
#include <gtest/gtest.h>
#include <qnlith/win32.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int Workers = 48;

struct Worker {
  HANDLE mutex = nullptr;
  HANDLE thread = nullptr;
  DWORD id = 0;
  std::atomic<bool> cleanedUp{false};
  std::atomic<int> seenByWaiters{0};
};

Worker workers[Workers];
HANDLE allStarted = nullptr;
std::atomic<int> started{0};

// A thread-local object whose destructor does real work with the layer
// as the thread ends: it signals, waits, and posts to itself.
struct Cleanup {
  Worker* worker = nullptr;
  ~Cleanup() {
    if (worker == nullptr) return;
    HANDLE scratch = CreateEventW(nullptr, FALSE, TRUE, nullptr);
    WaitForSingleObject(scratch, INFINITE);
    CloseHandle(scratch);
    PostThreadMessageW(GetCurrentThreadId(), WM_USER, 0, 0);
    Sleep(1);
    worker->cleanedUp = true;
  }
};
thread_local Cleanup cleanup;

DWORD WINAPI work(LPVOID parameter) {
  auto* w = static_cast<Worker*>(parameter);
  cleanup.worker = w;
  EXPECT_EQ(WaitForSingleObject(w->mutex, 0), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(w->mutex, 0), WAIT_OBJECT_0) << "twice: recursion";
  MSG msg;
  PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE);
  if (++started == Workers) SetEvent(allStarted);
  WaitForSingleObject(allStarted, INFINITE);
  const auto index = static_cast<DWORD>(w - workers);
  if (index % 3 == 0) ExitThread(1000 + index);
  return 1000 + index;
}

// What a waiter must find once the worker's handle is signalled.
void checkWhollyEnded(Worker& w) {
  EXPECT_TRUE(w.cleanedUp.load()) << "thread-local destructors ran first";
  DWORD code = 0;
  EXPECT_TRUE(GetExitCodeThread(w.thread, &code));
  EXPECT_EQ(code, 1000 + static_cast<DWORD>(&w - workers));
  EXPECT_FALSE(PostThreadMessageW(w.id, WM_USER, 0, 0));
}

}  // namespace

TEST(ThreadScenario, ThreadsEndWhileOthersWaitOnThem) {
  for (int round = 0; round < 4; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    started = 0;
    allStarted = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    for (Worker& w : workers) {
      w.mutex = CreateMutexW(nullptr, FALSE, nullptr);
      w.cleanedUp = false;
      w.seenByWaiters = 0;
      w.thread = CreateThread(nullptr, 0, work, &w, CREATE_SUSPENDED, &w.id);
      ASSERT_NE(w.thread, nullptr);
    }

    // Several threads wait on each worker's handle, and one on its mutex.
    std::vector<std::thread> waiters;
    for (int k = 0; k < 4; ++k) {
      waiters.emplace_back([k] {
        for (int i = k; i < Workers; i += 4) {
          Worker& w = workers[i];
          if (WaitForSingleObject(w.thread, INFINITE) == WAIT_OBJECT_0) {
            checkWhollyEnded(w);
            ++w.seenByWaiters;
          }
        }
      });
    }
    std::thread mutexWaiter([] {
      WaitForSingleObject(allStarted, INFINITE);  // each worker holds its mutex by then
      for (Worker& w : workers) {
        // Taken only once its owner has ended holding it.
        EXPECT_EQ(WaitForSingleObject(w.mutex, INFINITE), static_cast<DWORD>(WAIT_ABANDONED));
        EXPECT_TRUE(w.cleanedUp.load()) << "abandoned after the destructors";
        EXPECT_TRUE(ReleaseMutex(w.mutex));
        EXPECT_FALSE(ReleaseMutex(w.mutex)) << "recursion starts again at 1";
      }
    });
    for (Worker& w : workers) ResumeThread(w.thread);

    // The main thread waits for all of them at once.
    std::vector<HANDLE> handles;
    for (Worker& w : workers) handles.push_back(w.thread);
    ASSERT_EQ(WaitForMultipleObjects(Workers, handles.data(), TRUE, INFINITE), WAIT_OBJECT_0);
    for (Worker& w : workers) checkWhollyEnded(w);
    for (auto& t : waiters) t.join();
    mutexWaiter.join();
    for (Worker& w : workers) {
      EXPECT_EQ(w.seenByWaiters.load(), 1);
      EXPECT_TRUE(CloseHandle(w.thread));
      EXPECT_TRUE(CloseHandle(w.mutex));
    }
    CloseHandle(allStarted);
  }
}

TEST(ThreadScenario, ThreadsTheLayerDidNotStartAreSeenEnding) {
  for (int round = 0; round < 20; ++round) {
    HANDLE mutex = CreateMutexW(nullptr, FALSE, nullptr);
    HANDLE handed = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    HANDLE self = nullptr;
    std::atomic<bool> ended{false};
    struct Mark {
      std::atomic<bool>* flag = nullptr;
      ~Mark() {
        if (flag != nullptr) *flag = true;
      }
    };
    std::thread adopted([&] {
      static thread_local Mark mark;
      mark.flag = &ended;
      DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &self, 0, FALSE,
                      DUPLICATE_SAME_ACCESS);
      WaitForSingleObject(mutex, INFINITE);
      SetEvent(handed);
    });
    adopted.detach();  // nobody joins: the handle is the only way to know
    ASSERT_EQ(WaitForSingleObject(handed, INFINITE), WAIT_OBJECT_0);
    ASSERT_EQ(WaitForSingleObject(self, INFINITE), WAIT_OBJECT_0);
    EXPECT_TRUE(ended.load());
    EXPECT_EQ(WaitForSingleObject(mutex, 0), static_cast<DWORD>(WAIT_ABANDONED));
    ReleaseMutex(mutex);
    CloseHandle(self);
    CloseHandle(mutex);
    CloseHandle(handed);
  }
}
