#include <gtest/gtest.h>
#include <qnlith/qnlith.h>

#include <atomic>
#include <optional>
#include <thread>

#include "concurrency/private_access.h"
#include "support/wait_helpers.h"

using qntest::eventually;
using qntest::staysFalse;

TEST(cEvent, ResetModesAndInitialState) {
  cEvent automatic;
  EXPECT_FALSE(automatic.wait(0)) << "auto-reset and not signalled";
  automatic.signal();
  EXPECT_TRUE(automatic.wait(0));
  EXPECT_FALSE(automatic.wait(0)) << "one wait per signal";
  automatic.signal();
  automatic.clear();
  EXPECT_FALSE(automatic.wait(0));

  cEvent manual(false);
  manual.signal();
  EXPECT_TRUE(manual.wait(0));
  EXPECT_TRUE(manual.wait(0xFFFFFFFF)) << "stays signalled";
  manual.clear();
  EXPECT_FALSE(manual.wait(0));

  cEvent startsSignalled(true, true);
  EXPECT_TRUE(startsSignalled.wait(0));
  EXPECT_FALSE(startsSignalled.wait(0));
}

TEST(cEvent, CopiesShareOneEvent) {
  cEvent original;
  cEvent copy(original);
  cEvent assigned(false, true);
  assigned = original;  // the target's own event is left as it was, unclosed
  copy.signal();
  EXPECT_TRUE(assigned.wait(0));
  EXPECT_FALSE(original.wait(0));
}

TEST(cEvent, DestructionReleasesABlockedWaiter) {
  for (bool autoReset : {true, false}) {
    std::optional<cEvent> event(std::in_place, autoReset);
    std::atomic<unsigned> waiting{0};
    bool result = false;
    std::thread waiter([&] {
      cEvent& e = *event;
      waiting = GetCurrentThreadId();
      result = e.wait(0xFFFFFFFF);
    });
    ASSERT_TRUE(qntest::blocks(waiting));
    event.reset();  // signals, then closes
    waiter.join();
    EXPECT_TRUE(result);
  }
}

TEST(cEvent, SurvivingCopiesFailQuietly) {
  auto* first = new cEvent;
  cEvent second(*first);
  delete first;  // signalled and closed the shared event
  SetLastError(0);
  EXPECT_FALSE(second.wait(0xFFFFFFFF)) << "fails at once rather than blocking";
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  second.signal();
  second.clear();
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  // second's destructor closes the handle a second time: harmless.
}

TEST(cEvent, WaitForEventOrMsgEndsOnPostedInput) {
  cEvent event;
  std::atomic<DWORD> id{0};
  std::atomic<bool> returned{false};
  std::atomic<unsigned> lastWait{0};
  bool byMessage = true, byEvent = false, timedOut = true;
  bool messageStayed = false;
  std::thread receiver([&] {
    MSG msg;
    PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE);  // the thread's queue
    id = GetCurrentThreadId();
    byMessage = qntest::waitForEventOrMsg(event, 0xFFFFFFFF);
    returned = true;
    messageStayed = PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE) && msg.message == WM_USER + 9;
    timedOut = qntest::waitForEventOrMsg(event, 30);
    lastWait = GetCurrentThreadId();
    byEvent = qntest::waitForEventOrMsg(event, 0xFFFFFFFF);
  });
  ASSERT_TRUE(eventually([&] { return id != 0; }));
  EXPECT_TRUE(staysFalse([&] { return returned.load(); })) << "no input and no signal yet";
  PostThreadMessageW(id, WM_USER + 9, 0, 0);
  ASSERT_TRUE(eventually([&] { return returned.load(); }));
  ASSERT_TRUE(qntest::blocks(lastWait));
  event.signal();
  receiver.join();
  EXPECT_FALSE(byMessage) << "the message ended the wait: false, before any signal";
  EXPECT_TRUE(messageStayed) << "the wait neither took nor dispatched the message";
  EXPECT_FALSE(timedOut);
  EXPECT_TRUE(byEvent);
}
