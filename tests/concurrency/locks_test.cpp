#include <gtest/gtest.h>
#include <qnlith/qnlith.h>

#include <atomic>
#include <optional>
#include <thread>

#include "concurrency/private_access.h"
#include "support/wait_helpers.h"

using qntest::staysFalse;

namespace {

bool otherThreadTakes(cMutexSemaphore& mutex) {
  bool took = false;
  std::thread([&] {
    took = mutex.wait(0);
    if (took) mutex.release();
  }).join();
  return took;
}

}  // namespace

TEST(cCriticalSection, RecursiveAndExclusive) {
  cCriticalSection section;
  section.Lock();
  section.Lock();
  std::atomic<bool> entered{false};
  std::thread other([&] {
    section.Lock();
    entered = true;
    section.Unlock();
  });
  section.Unlock();
  EXPECT_TRUE(staysFalse([&] { return entered.load(); })) << "one level is still held";
  section.Unlock();
  other.join();
  EXPECT_TRUE(entered);

  // The persistent form holds the same way, also once assigned.
  cPersistentCriticalSection persistent, target;
  target = persistent;
  target.lock();
  std::atomic<bool> took{false};
  std::thread waiter([&] {
    target.lock();
    took = true;
    target.unlock();
  });
  EXPECT_TRUE(staysFalse([&] { return took.load(); }));
  target.unlock();
  waiter.join();
  EXPECT_TRUE(took);
}

TEST(cSemaphore, Counting) {
  cSemaphore empty;
  EXPECT_FALSE(empty.wait(0));
  cSemaphore one(true);
  EXPECT_TRUE(one.wait(0));
  EXPECT_FALSE(one.wait(0));
  for (int i = 0; i < 5; ++i) one.signal();
  for (int i = 0; i < 5; ++i) EXPECT_TRUE(one.wait(0));
  EXPECT_FALSE(one.wait(0));
}

TEST(cSemaphore, DestructionGivesOneCount) {
  std::optional<cSemaphore> semaphore(std::in_place);
  std::atomic<unsigned> first{0}, second{0};
  std::atomic<int> succeeded{0};
  auto waiter = [&](std::atomic<unsigned>& id) {
    cSemaphore& s = *semaphore;
    id = GetCurrentThreadId();
    if (s.wait(3000)) ++succeeded;  // the one not released times out
  };
  std::thread a(waiter, std::ref(first));
  std::thread b(waiter, std::ref(second));
  ASSERT_TRUE(qntest::blocks(first));
  ASSERT_TRUE(qntest::blocks(second));
  semaphore.reset();
  a.join();
  b.join();
  EXPECT_EQ(succeeded, 1);
}

TEST(cMutexSemaphore, OwnershipAndRecursion) {
  cMutexSemaphore mutex;
  EXPECT_TRUE(otherThreadTakes(mutex)) << "a new mutex is free";
  EXPECT_TRUE(mutex.wait(0));
  EXPECT_FALSE(otherThreadTakes(mutex));
  EXPECT_TRUE(mutex.wait(0)) << "the holder takes it again";
  mutex.release();
  EXPECT_FALSE(otherThreadTakes(mutex)) << "the second level needs its own release";
  std::thread([&] { mutex.release(); }).join();  // refused: not the owner
  EXPECT_FALSE(otherThreadTakes(mutex));
  mutex.release();
  EXPECT_TRUE(otherThreadTakes(mutex));
  mutex.release();  // not held: refused, changes nothing
  EXPECT_TRUE(otherThreadTakes(mutex));
}

TEST(cMutexSemaphore, AbandonedMutexWaitsFalseButIsOwned) {
  cMutexSemaphore mutex;
  std::thread([&] { EXPECT_TRUE(mutex.wait(0)); }).join();  // ends holding it
  EXPECT_FALSE(mutex.wait(0xFFFFFFFF));
  EXPECT_FALSE(otherThreadTakes(mutex)) << "the caller owns it all the same";
  mutex.release();
  EXPECT_TRUE(otherThreadTakes(mutex));
}

TEST(cMutexSemaphore, DestructorReleasesBeforeClosing) {
  auto* mutex = new cMutexSemaphore;
  cMutexSemaphore survivor(*mutex);
  ASSERT_TRUE(mutex->wait(0));
  std::atomic<unsigned> waiting{0};
  bool took = false;
  std::thread waiter([&] {
    waiting = GetCurrentThreadId();
    took = survivor.wait(0xFFFFFFFF);
  });
  ASSERT_TRUE(qntest::blocks(waiting));
  delete mutex;  // on the owner's thread: one level given back, then closed
  waiter.join();
  EXPECT_TRUE(took);
}

TEST(cResourceLock, HoldsForItsScope) {
  cMutexSemaphore mutex;
  {
    cResourceLock lock(mutex);
    EXPECT_FALSE(otherThreadTakes(mutex));
  }
  EXPECT_TRUE(otherThreadTakes(mutex));
}

TEST(cResourceLock, ReleaseByHand) {
  cMutexSemaphore mutex;
  ASSERT_TRUE(mutex.wait(0));
  {
    cResourceLock lock(mutex);  // a second level
    lock.release();
  }  // released by hand: the destructor gives back nothing more
  EXPECT_FALSE(otherThreadTakes(mutex));
  mutex.release();
  EXPECT_TRUE(otherThreadTakes(mutex));

  // release does not look at the flag: a second call gives up another level.
  ASSERT_TRUE(mutex.wait(0));
  ASSERT_TRUE(mutex.wait(0));
  {
    cResourceLock lock(mutex);
    lock.release();
    lock.release();
    EXPECT_FALSE(otherThreadTakes(mutex));
  }
  mutex.release();
  EXPECT_TRUE(otherThreadTakes(mutex));
}

TEST(cResourceLock, BlocksWhileAnotherThreadHolds) {
  cMutexSemaphore mutex;
  ASSERT_TRUE(mutex.wait(0));
  std::atomic<bool> locked{false};
  std::thread other([&] {
    cResourceLock lock(mutex);
    locked = true;
  });
  EXPECT_TRUE(staysFalse([&] { return locked.load(); }));
  mutex.release();
  other.join();
  EXPECT_TRUE(locked);
}

TEST(WaitForEventOrMsg, SemaphoreAndMutexEndOnInput) {
  cSemaphore semaphore;
  cMutexSemaphore mutex;
  std::thread holder([&] { mutex.wait(0); });  // abandoned when it ends
  holder.join();
  MSG msg;
  PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE);
  PostThreadMessageW(GetCurrentThreadId(), WM_USER, 0, 0);
  EXPECT_FALSE(qntest::waitForEventOrMsg(semaphore, 0xFFFFFFFF)) << "ended by the message";
  EXPECT_FALSE(qntest::waitForEventOrMsg(semaphore, 0)) << "the message is no longer new";
  semaphore.signal();
  EXPECT_TRUE(qntest::waitForEventOrMsg(semaphore, 0xFFFFFFFF));
  EXPECT_FALSE(qntest::waitForEventOrMsg(mutex, 0)) << "abandoned: taken, but not reported as signalled";
  EXPECT_TRUE(qntest::waitForEventOrMsg(mutex, 0));
  mutex.release();
  mutex.release();
  EXPECT_TRUE(PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE));
  EXPECT_EQ(msg.message, static_cast<UINT>(WM_USER));
}
