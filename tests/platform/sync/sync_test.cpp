#include <gtest/gtest.h>
#include <qnlith/win32.h>

#include <atomic>
#include <chrono>
#include <set>
#include <thread>
#include <vector>

#include "support/wait_helpers.h"

using qntest::eventually;
using qntest::staysFalse;

namespace {

DWORD lastError() { return GetLastError(); }

// A handle that is closed when the test ends.
struct Owned {
  explicit Owned(HANDLE h) : handle(h) {}
  ~Owned() {
    if (handle != nullptr) CloseHandle(handle);
  }
  operator HANDLE() const { return handle; }
  HANDLE handle;
};

}  // namespace

TEST(Events, ResetModesAndInitialState) {
  Owned autoReset(CreateEventW(nullptr, FALSE, FALSE, nullptr));
  ASSERT_NE(autoReset.handle, nullptr);
  EXPECT_EQ(WaitForSingleObject(autoReset, 0), WAIT_TIMEOUT);
  EXPECT_TRUE(SetEvent(autoReset));
  EXPECT_TRUE(SetEvent(autoReset)) << "setting a set event changes nothing";
  EXPECT_EQ(WaitForSingleObject(autoReset, 0), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(autoReset, 0), WAIT_TIMEOUT) << "one wait resets it";

  Owned manual(CreateEventW(nullptr, TRUE, TRUE, nullptr));
  EXPECT_EQ(WaitForSingleObject(manual, 0), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(manual, INFINITE), WAIT_OBJECT_0) << "stays set";
  EXPECT_TRUE(ResetEvent(manual));
  EXPECT_EQ(WaitForSingleObject(manual, 0), WAIT_TIMEOUT);

  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(WaitForSingleObject(manual, 60), WAIT_TIMEOUT);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(60));
}

TEST(Events, WaitersReallyBlockAndWake) {
  Owned event(CreateEventW(nullptr, FALSE, FALSE, nullptr));
  std::atomic<int> released{0};
  std::vector<std::thread> waiters;
  for (int i = 0; i < 3; ++i) {
    waiters.emplace_back([&] {
      EXPECT_EQ(WaitForSingleObject(event, INFINITE), WAIT_OBJECT_0);
      ++released;
    });
  }
  EXPECT_TRUE(staysFalse([&] { return released > 0; }));
  for (int expected = 1; expected <= 3; ++expected) {
    // An auto-reset event lets exactly one waiter through per signal.
    SetEvent(event);
    EXPECT_TRUE(eventually([&] { return released == expected; }));
    if (expected < 3) {
      EXPECT_TRUE(staysFalse([&] { return released > expected; }));
    }
  }
  for (auto& t : waiters) t.join();

  Owned gate(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  released = 0;
  waiters.clear();
  for (int i = 0; i < 3; ++i) {
    waiters.emplace_back([&] {
      EXPECT_EQ(WaitForSingleObject(gate, 20000), WAIT_OBJECT_0);
      ++released;
    });
  }
  EXPECT_TRUE(staysFalse([&] { return released > 0; }));
  SetEvent(gate);  // a manual-reset event frees every waiter
  for (auto& t : waiters) t.join();
  EXPECT_EQ(released, 3);
}

TEST(Events, SignalThenCloseReleasesAWaiter) {
  // The order the library's destructors use: signal, then close at once.
  for (int round = 0; round < 20; ++round) {
    HANDLE event = CreateEventW(nullptr, round % 2 == 0, FALSE, nullptr);
    std::atomic<unsigned> waiting{0};
    DWORD result = 1234;
    std::thread waiter([&] {
      waiting = GetCurrentThreadId();
      result = WaitForSingleObject(event, INFINITE);
    });
    ASSERT_TRUE(qntest::blocks(waiting));
    SetEvent(event);
    EXPECT_TRUE(CloseHandle(event));
    waiter.join();
    EXPECT_EQ(result, WAIT_OBJECT_0);
  }
}

TEST(Semaphores, CountAndMaximum) {
  SetLastError(0);
  EXPECT_EQ(CreateSemaphoreW(nullptr, 3, 2, nullptr), nullptr);
  EXPECT_EQ(lastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(CreateSemaphoreW(nullptr, 0, 0, nullptr), nullptr);
  EXPECT_EQ(CreateSemaphoreW(nullptr, -1, 5, nullptr), nullptr);

  Owned semaphore(CreateSemaphoreW(nullptr, 2, 3, nullptr));
  ASSERT_NE(semaphore.handle, nullptr);
  EXPECT_EQ(WaitForSingleObject(semaphore, 0), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(semaphore, 0), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(semaphore, 0), WAIT_TIMEOUT);

  LONG previous = -1;
  EXPECT_TRUE(ReleaseSemaphore(semaphore, 2, &previous));
  EXPECT_EQ(previous, 0);
  previous = -1;
  SetLastError(0);
  EXPECT_FALSE(ReleaseSemaphore(semaphore, 2, &previous)) << "2 + 2 passes the maximum of 3";
  EXPECT_EQ(lastError(), static_cast<DWORD>(ERROR_TOO_MANY_POSTS));
  EXPECT_EQ(previous, -1) << "a refused release reports nothing";
  EXPECT_FALSE(ReleaseSemaphore(semaphore, 0, nullptr));
  EXPECT_EQ(lastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_TRUE(ReleaseSemaphore(semaphore, 1, &previous));
  EXPECT_EQ(previous, 2) << "the refused release left the count alone";
  for (int i = 0; i < 3; ++i) EXPECT_EQ(WaitForSingleObject(semaphore, 0), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(semaphore, 0), WAIT_TIMEOUT);

  Owned big(CreateSemaphoreW(nullptr, 0x7FFFFFFF, 0x7FFFFFFF, nullptr));
  EXPECT_FALSE(ReleaseSemaphore(big, 1, nullptr));
  EXPECT_EQ(lastError(), static_cast<DWORD>(ERROR_TOO_MANY_POSTS));
  EXPECT_FALSE(ReleaseSemaphore(big, 0x7FFFFFFF, nullptr)) << "no wrap-around past 32 bits";
}

TEST(Semaphores, ReleaseWakesThatManyWaiters) {
  Owned semaphore(CreateSemaphoreW(nullptr, 0, 10, nullptr));
  std::atomic<int> through{0};
  std::vector<std::thread> waiters;
  for (int i = 0; i < 4; ++i) {
    waiters.emplace_back([&] {
      if (WaitForSingleObject(semaphore, INFINITE) == WAIT_OBJECT_0) ++through;
    });
  }
  EXPECT_TRUE(staysFalse([&] { return through > 0; }));
  EXPECT_TRUE(ReleaseSemaphore(semaphore, 3, nullptr));
  EXPECT_TRUE(eventually([&] { return through == 3; }));
  EXPECT_TRUE(staysFalse([&] { return through > 3; }));
  EXPECT_TRUE(ReleaseSemaphore(semaphore, 1, nullptr));
  for (auto& t : waiters) t.join();
  EXPECT_EQ(through, 4);
  EXPECT_EQ(WaitForSingleObject(semaphore, 0), WAIT_TIMEOUT);
}

TEST(Mutexes, RecursiveOwnership) {
  Owned mutex(CreateMutexW(nullptr, FALSE, nullptr));
  ASSERT_NE(mutex.handle, nullptr);
  SetLastError(0);
  EXPECT_FALSE(ReleaseMutex(mutex)) << "nobody owns a new mutex";
  EXPECT_EQ(lastError(), static_cast<DWORD>(ERROR_NOT_OWNER));

  EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0) << "the owner takes it again";
  std::thread([&] {
    EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_TIMEOUT);
    EXPECT_EQ(WaitForSingleObject(mutex, 30), WAIT_TIMEOUT);
    SetLastError(0);
    EXPECT_FALSE(ReleaseMutex(mutex));
    EXPECT_EQ(lastError(), static_cast<DWORD>(ERROR_NOT_OWNER));
  }).join();
  EXPECT_TRUE(ReleaseMutex(mutex));
  std::thread([&] { EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_TIMEOUT) << "one level still held"; }).join();
  EXPECT_TRUE(ReleaseMutex(mutex));
  EXPECT_FALSE(ReleaseMutex(mutex));
  std::thread([&] {
    EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0);
    EXPECT_TRUE(ReleaseMutex(mutex));
  }).join();

  Owned owned(CreateMutexW(nullptr, TRUE, nullptr));
  std::thread([&] { EXPECT_EQ(WaitForSingleObject(owned, 0), WAIT_TIMEOUT); }).join();
  EXPECT_TRUE(ReleaseMutex(owned));
}

TEST(Mutexes, MutualExclusion) {
  Owned mutex(CreateMutexW(nullptr, FALSE, nullptr));
  long counter = 0;  // guarded by the mutex alone
  int inside = 0;
  bool overlapped = false;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 2000; ++i) {
        ASSERT_EQ(WaitForSingleObject(mutex, INFINITE), WAIT_OBJECT_0);
        if (++inside != 1) overlapped = true;
        ++counter;
        if (i % 100 == 0) std::this_thread::yield();
        --inside;
        ASSERT_TRUE(ReleaseMutex(mutex));
      }
    });
  }
  for (auto& t : threads) t.join();
  EXPECT_EQ(counter, 8000);
  EXPECT_FALSE(overlapped);
}

TEST(Mutexes, AbandonedWhenTheOwnerEnds) {
  Owned mutex(CreateMutexW(nullptr, FALSE, nullptr));
  std::thread([&] {
    EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0);
  }).join();  // ends holding two levels

  EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_ABANDONED);
  std::thread([&] { EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_TIMEOUT) << "the abandoned mutex is taken"; })
      .join();
  EXPECT_TRUE(ReleaseMutex(mutex));
  EXPECT_FALSE(ReleaseMutex(mutex)) << "the new owner holds one level only";
  EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0) << "abandonment is reported once";
  EXPECT_TRUE(ReleaseMutex(mutex));

  // A waiter blocked while the owner ends gets the mutex, abandoned.
  Owned go(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  std::atomic<bool> held{false};
  std::thread owner([&] {
    WaitForSingleObject(mutex, INFINITE);
    held = true;
    WaitForSingleObject(go, INFINITE);
  });
  ASSERT_TRUE(eventually([&] { return held.load(); }));
  DWORD result = 0;
  std::atomic<bool> done{false};
  std::thread waiter([&] {
    result = WaitForSingleObject(mutex, INFINITE);
    done = true;
    if (result == WAIT_ABANDONED) ReleaseMutex(mutex);
  });
  EXPECT_TRUE(staysFalse([&] { return done.load(); }));
  SetEvent(go);
  owner.join();
  waiter.join();
  EXPECT_EQ(result, WAIT_ABANDONED);
}

TEST(Mutexes, RepeatedUseByOneThreadKeepsEveryAnswer) {
  // A thread that used a handle lately takes it again without the table;
  // each answer below comes after such a use.
  auto used = [](HANDLE mutex) {
    ASSERT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0);
    ASSERT_TRUE(ReleaseMutex(mutex));
  };

  Owned mutex(CreateMutexW(nullptr, FALSE, nullptr));
  used(mutex);
  for (int level = 1; level <= 3; ++level) EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0) << level;
  std::thread([&] {
    used(Owned(CreateMutexW(nullptr, FALSE, nullptr)));  // the thread has a cache of its own
    EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_TIMEOUT);
    EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_TIMEOUT) << "a second look, after the first cached it";
    SetLastError(0);
    EXPECT_FALSE(ReleaseMutex(mutex)) << "not the owner";
    EXPECT_EQ(lastError(), static_cast<DWORD>(ERROR_NOT_OWNER));
  }).join();
  for (int level = 3; level >= 1; --level) EXPECT_TRUE(ReleaseMutex(mutex)) << level;
  SetLastError(0);
  EXPECT_FALSE(ReleaseMutex(mutex)) << "every level given back";
  EXPECT_EQ(lastError(), static_cast<DWORD>(ERROR_NOT_OWNER));

  // A waiter that sleeps is woken by the owner's quick release.
  ASSERT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0);
  std::atomic<bool> done{false};
  std::thread waiter([&] {
    EXPECT_EQ(WaitForSingleObject(mutex, INFINITE), WAIT_OBJECT_0);
    done = true;
    EXPECT_TRUE(ReleaseMutex(mutex));
  });
  EXPECT_TRUE(staysFalse([&] { return done.load(); }));
  EXPECT_TRUE(ReleaseMutex(mutex));
  waiter.join();
  EXPECT_TRUE(done);

  // A mutex taken the quick way counts as owned when its thread ends.
  std::thread([&] {
    used(mutex);
    EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0);
  }).join();
  EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_ABANDONED);
  EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0) << "the new owner once more";
  EXPECT_TRUE(ReleaseMutex(mutex));
  EXPECT_TRUE(ReleaseMutex(mutex));

  // Another thread closes a handle this thread used: both calls fail with 6,
  // also once the slot serves a new mutex.
  HANDLE closed = CreateMutexW(nullptr, FALSE, nullptr);
  used(closed);
  std::thread([&] { EXPECT_TRUE(CloseHandle(closed)); }).join();
  Owned next(CreateMutexW(nullptr, FALSE, nullptr));
  for (int round = 0; round < 2; ++round) {
    SetLastError(0);
    EXPECT_EQ(WaitForSingleObject(closed, 0), WAIT_FAILED) << round;
    EXPECT_EQ(lastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
    SetLastError(0);
    EXPECT_FALSE(ReleaseMutex(closed)) << round;
    EXPECT_EQ(lastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  }
  used(next);

  // A handle of another kind that the thread used lately is no mutex.
  Owned event(CreateEventW(nullptr, TRUE, TRUE, nullptr));
  EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
  SetLastError(0);
  EXPECT_FALSE(ReleaseMutex(event));
  EXPECT_EQ(lastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
}

namespace {
HANDLE mutexTakenAtThreadEnd = nullptr;
struct TakesTheMutexWhenDestroyed {
  ~TakesTheMutexWhenDestroyed() { WaitForSingleObject(mutexTakenAtThreadEnd, INFINITE); }
};
}  // namespace

TEST(Mutexes, TakenByAThreadLocalDestructorStillAbandoned) {
  Owned mutex(CreateMutexW(nullptr, FALSE, nullptr));
  Owned event(CreateEventW(nullptr, FALSE, TRUE, nullptr));
  mutexTakenAtThreadEnd = mutex;
  std::thread([&] {
    thread_local TakesTheMutexWhenDestroyed late;
    (void)&late;
    WaitForSingleObject(event, 0);  // the layer knows the thread before its thread-locals go
  }).join();
  EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_ABANDONED);
  EXPECT_TRUE(ReleaseMutex(mutex));
}

TEST(Waits, MultipleObjects) {
  Owned a(CreateEventW(nullptr, FALSE, FALSE, nullptr));
  Owned b(CreateEventW(nullptr, FALSE, FALSE, nullptr));
  Owned s(CreateSemaphoreW(nullptr, 1, 1, nullptr));
  HANDLE three[] = {a, b, s};
  EXPECT_EQ(WaitForMultipleObjects(3, three, FALSE, 0), WAIT_OBJECT_0 + 2);
  EXPECT_EQ(WaitForMultipleObjects(3, three, FALSE, 0), WAIT_TIMEOUT);
  SetEvent(b);
  SetEvent(a);
  EXPECT_EQ(WaitForMultipleObjects(3, three, FALSE, 0), WAIT_OBJECT_0) << "the lowest index wins";
  EXPECT_EQ(WaitForMultipleObjects(3, three, FALSE, 0), WAIT_OBJECT_0 + 1);

  // All at once or nothing: b alone is not enough, and is not consumed.
  HANDLE two[] = {a, b};
  SetEvent(b);
  EXPECT_EQ(WaitForMultipleObjects(2, two, TRUE, 0), WAIT_TIMEOUT);
  EXPECT_EQ(WaitForSingleObject(b, 0), WAIT_OBJECT_0);
  SetEvent(b);
  std::atomic<bool> done{false};
  DWORD result = 0;
  std::thread waiter([&] {
    result = WaitForMultipleObjects(2, two, TRUE, INFINITE);
    done = true;
  });
  EXPECT_TRUE(staysFalse([&] { return done.load(); }));
  SetEvent(a);
  waiter.join();
  EXPECT_EQ(result, WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(a, 0), WAIT_TIMEOUT) << "both auto-reset events were taken";
  EXPECT_EQ(WaitForSingleObject(b, 0), WAIT_TIMEOUT);

  // Any: a thread blocked on several is woken by the one that is set.
  done = false;
  std::thread anyWaiter([&] {
    result = WaitForMultipleObjects(2, two, FALSE, INFINITE);
    done = true;
  });
  EXPECT_TRUE(staysFalse([&] { return done.load(); }));
  SetEvent(b);
  anyWaiter.join();
  EXPECT_EQ(result, WAIT_OBJECT_0 + 1);

  // An abandoned mutex reports its own index.
  Owned m(CreateMutexW(nullptr, FALSE, nullptr));
  std::thread([&] { WaitForSingleObject(m, 0); }).join();
  SetEvent(a);
  HANDLE withMutex[] = {a, m};
  EXPECT_EQ(WaitForMultipleObjects(2, withMutex, TRUE, 0), WAIT_ABANDONED_0 + 1);
  EXPECT_TRUE(ReleaseMutex(m));

  SetLastError(0);
  EXPECT_EQ(WaitForMultipleObjects(0, two, FALSE, 0), WAIT_FAILED);
  EXPECT_EQ(lastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(WaitForMultipleObjects(MAXIMUM_WAIT_OBJECTS + 1, two, FALSE, 0), WAIT_FAILED);
  HANDLE twice[] = {a, a};
  EXPECT_EQ(WaitForMultipleObjects(2, twice, TRUE, 0), WAIT_FAILED);
  EXPECT_EQ(lastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  HANDLE withBad[] = {a, reinterpret_cast<HANDLE>(0x7FFFFFF0)};
  EXPECT_EQ(WaitForMultipleObjects(2, withBad, FALSE, 0), WAIT_FAILED);
  EXPECT_EQ(lastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
}

TEST(Waits, ClosedAndWrongHandlesFailWithError6) {
  HANDLE event = CreateEventW(nullptr, TRUE, TRUE, nullptr);
  HANDLE semaphore = CreateSemaphoreW(nullptr, 1, 1, nullptr);
  EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);  // cached by this thread now
  SetLastError(0);
  EXPECT_FALSE(SetEvent(semaphore)) << "a semaphore is not an event";
  EXPECT_EQ(lastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  EXPECT_FALSE(ReleaseMutex(event));
  EXPECT_EQ(lastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  EXPECT_FALSE(ReleaseSemaphore(event, 1, nullptr));
  EXPECT_EQ(lastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));

  EXPECT_TRUE(CloseHandle(event));
  EXPECT_TRUE(CloseHandle(semaphore));
  for (HANDLE stale : {event, semaphore, static_cast<HANDLE>(nullptr)}) {
    SetLastError(0);
    EXPECT_FALSE(CloseHandle(stale));
    EXPECT_EQ(lastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
    SetLastError(0);
    EXPECT_EQ(WaitForSingleObject(stale, INFINITE), WAIT_FAILED) << "fails at once, even without a time-out";
    EXPECT_EQ(lastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
    SetLastError(0);
    EXPECT_FALSE(SetEvent(stale));
    EXPECT_EQ(lastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
    EXPECT_FALSE(ResetEvent(stale));
    EXPECT_FALSE(ReleaseSemaphore(stale, 1, nullptr));
    EXPECT_FALSE(ReleaseMutex(stale));
    EXPECT_EQ(lastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  }

  // INVALID_HANDLE_VALUE is the process's pseudo handle: a process handle
  // to waits and closes, no handle at all to the calls of other kinds.
  EXPECT_TRUE(CloseHandle(INVALID_HANDLE_VALUE));
  EXPECT_EQ(WaitForSingleObject(INVALID_HANDLE_VALUE, 0), static_cast<DWORD>(WAIT_TIMEOUT));
  SetLastError(0);
  EXPECT_FALSE(SetEvent(INVALID_HANDLE_VALUE));
  EXPECT_EQ(lastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  EXPECT_FALSE(ReleaseSemaphore(INVALID_HANDLE_VALUE, 1, nullptr));
  EXPECT_FALSE(ReleaseMutex(INVALID_HANDLE_VALUE));
  EXPECT_EQ(lastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));

  // A stale handle never reaches a later object, whoever looked it up last.
  std::set<HANDLE> seen{event, semaphore};
  for (int i = 0; i < 3000; ++i) {
    HANDLE h = CreateEventW(nullptr, TRUE, TRUE, nullptr);
    EXPECT_TRUE(seen.insert(h).second) << "handle value given out twice";
    EXPECT_EQ(WaitForSingleObject(h, 0), WAIT_OBJECT_0);
    CloseHandle(h);
  }
  EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_FAILED);
}

TEST(Waits, HandlesClosedByOtherThreadsWhileInUse) {
  // One thread closes handles that others are setting and waiting on; every
  // call either works or fails with error 6, and nothing is touched after
  // it is gone (the sanitizer builds check that part).
  std::atomic<HANDLE> current{nullptr};
  std::atomic<bool> stop{false};
  std::atomic<int> failures{0};
  std::vector<std::thread> users;
  for (int t = 0; t < 2; ++t) {
    users.emplace_back([&] {
      while (!stop) {
        HANDLE h = current.load();
        if (h == nullptr) continue;
        const DWORD r = WaitForSingleObject(h, 1);
        if (r == WAIT_FAILED && GetLastError() != ERROR_INVALID_HANDLE) ++failures;
        if (!SetEvent(h) && GetLastError() != ERROR_INVALID_HANDLE) ++failures;
      }
    });
  }
  for (int i = 0; i < 2000; ++i) {
    HANDLE h = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    current = h;
    if (i % 8 == 0) std::this_thread::yield();
    CloseHandle(h);
  }
  stop = true;
  for (auto& t : users) t.join();
  EXPECT_EQ(failures, 0);
}

TEST(NamedObjects, SharedWithinTheProcess) {
  HANDLE first = CreateEventW(nullptr, TRUE, FALSE, L"qnlith-test-event");
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(lastError(), static_cast<DWORD>(ERROR_SUCCESS));
  HANDLE second = CreateEventW(nullptr, FALSE, TRUE, L"Local\\qnlith-test-event");
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(lastError(), static_cast<DWORD>(ERROR_ALREADY_EXISTS));
  EXPECT_NE(second, first);
  EXPECT_EQ(WaitForSingleObject(first, 0), WAIT_TIMEOUT) << "the existing event keeps its state";
  SetEvent(second);
  EXPECT_EQ(WaitForSingleObject(first, 0), WAIT_OBJECT_0);
  HANDLE opened = OpenEventW(EVENT_ALL_ACCESS, FALSE, L"qnlith-test-event");
  EXPECT_NE(opened, nullptr);

  SetLastError(0);
  EXPECT_EQ(CreateMutexW(nullptr, FALSE, L"qnlith-test-event"), nullptr);
  EXPECT_EQ(lastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  EXPECT_EQ(OpenSemaphoreW(SEMAPHORE_ALL_ACCESS, FALSE, L"qnlith-test-event"), nullptr);

  CloseHandle(first);
  CloseHandle(second);
  CloseHandle(opened);
  SetLastError(0);
  EXPECT_EQ(OpenEventW(EVENT_ALL_ACCESS, FALSE, L"qnlith-test-event"), nullptr) << "gone with its last handle";
  EXPECT_EQ(lastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));

  HANDLE owned = CreateMutexW(nullptr, TRUE, L"qnlith-test-mutex");
  std::thread([] {
    HANDLE again = CreateMutexW(nullptr, TRUE, L"qnlith-test-mutex");
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ALREADY_EXISTS));
    EXPECT_EQ(WaitForSingleObject(again, 0), WAIT_TIMEOUT) << "opening did not take it";
    CloseHandle(again);
  }).join();
  ReleaseMutex(owned);
  CloseHandle(owned);
}

TEST(Threads, IdsAndSleep) {
  const DWORD self = GetCurrentThreadId();
  EXPECT_NE(self, 0u);
  EXPECT_EQ(GetCurrentThreadId(), self);
  DWORD other = 0;
  std::thread([&] { other = GetCurrentThreadId(); }).join();
  EXPECT_NE(other, 0u);
  EXPECT_NE(other, self);

  const auto start = std::chrono::steady_clock::now();
  Sleep(30);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
  Sleep(0);
}
