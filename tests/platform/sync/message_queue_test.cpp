#include <gtest/gtest.h>
#include <qnlith/win32.h>

#include <atomic>
#include <thread>

#include "support/wait_helpers.h"

using qntest::eventually;
using qntest::staysFalse;

namespace {

// A thread with a queue, which runs `body` once its queue exists.
template <typename Body>
std::thread queueThread(std::atomic<DWORD>& id, Body body) {
  return std::thread([&id, body] {
    MSG msg;
    PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE);  // makes the queue
    id = GetCurrentThreadId();
    body();
  });
}

}  // namespace

TEST(MessageQueues, PostPeekAndGet) {
  std::atomic<DWORD> id{0};
  DWORD ended = 0;
  std::thread([&] { ended = GetCurrentThreadId(); }).join();
  SetLastError(0);
  EXPECT_FALSE(PostThreadMessageW(ended, WM_USER, 0, 0)) << "that thread never had a queue";
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_THREAD_ID));

  HANDLE posted = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  HANDLE drained = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  std::thread receiver = queueThread(id, [&] {
    WaitForSingleObject(posted, INFINITE);
    MSG msg{};
    EXPECT_TRUE(PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE));
    EXPECT_EQ(msg.message, static_cast<UINT>(WM_USER + 1));
    EXPECT_EQ(msg.wParam, 10u);
    EXPECT_EQ(msg.lParam, -10);
    EXPECT_EQ(msg.hwnd, nullptr);
    EXPECT_TRUE(PeekMessageW(&msg, nullptr, WM_USER + 2, WM_USER + 2, PM_REMOVE)) << "the filter skips the first";
    EXPECT_EQ(msg.message, static_cast<UINT>(WM_USER + 2));
    EXPECT_TRUE(PeekMessageW(&msg, reinterpret_cast<HWND>(-1), 0, 0, PM_REMOVE));
    EXPECT_EQ(msg.message, static_cast<UINT>(WM_USER + 1));
    EXPECT_FALSE(PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE));

    SetLastError(0);
    EXPECT_FALSE(PeekMessageW(&msg, reinterpret_cast<HWND>(0x1234), 0, 0, PM_REMOVE));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_WINDOW_HANDLE));
    EXPECT_EQ(GetMessageW(&msg, reinterpret_cast<HWND>(0x1234), 0, 0), -1);
    SetEvent(drained);

    // GetMessage blocks for the next one; WM_QUIT passes any filter and ends the loop.
    int got = 0;
    while (GetMessageW(&msg, nullptr, WM_APP, WM_APP) > 0) ++got;
    EXPECT_EQ(got, 2);
    EXPECT_EQ(msg.message, static_cast<UINT>(WM_QUIT));
    EXPECT_EQ(msg.wParam, 7u);
    EXPECT_TRUE(PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE));
    EXPECT_EQ(msg.message, static_cast<UINT>(WM_USER)) << "outside the filter, still queued";
  });
  ASSERT_TRUE(eventually([&] { return id != 0; }));
  EXPECT_TRUE(PostThreadMessageW(id, WM_USER + 1, 10, -10));
  EXPECT_TRUE(PostThreadMessageW(id, WM_USER + 2, 0, 0));
  SetEvent(posted);
  WaitForSingleObject(drained, INFINITE);
  EXPECT_TRUE(PostThreadMessageW(id, WM_APP, 0, 0));
  EXPECT_TRUE(PostThreadMessageW(id, WM_USER, 0, 0));
  Sleep(20);  // most often the receiver is blocked in GetMessageW by now
  EXPECT_TRUE(PostThreadMessageW(id, WM_APP, 0, 0));
  EXPECT_TRUE(PostThreadMessageW(id, WM_QUIT, 7, 0));
  receiver.join();
  CloseHandle(posted);
  CloseHandle(drained);

  SetLastError(0);
  EXPECT_FALSE(PostThreadMessageW(id, WM_USER, 0, 0)) << "the queue went with its thread";
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_THREAD_ID));
}

TEST(MessageQueues, QuitComesAfterThePostedMessages) {
  MSG msg;
  PostQuitMessage(3);
  PostThreadMessageW(GetCurrentThreadId(), WM_USER, 0, 0);
  EXPECT_EQ(GetMessageW(&msg, nullptr, 0, 0), 1);
  EXPECT_EQ(msg.message, static_cast<UINT>(WM_USER));
  EXPECT_EQ(GetMessageW(&msg, nullptr, 0, 0), 0);
  EXPECT_EQ(msg.wParam, 3u);
  EXPECT_FALSE(PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE));
}

TEST(MessageQueues, MsgWaitEndsOnNewInputAndLeavesItQueued) {
  HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  std::atomic<DWORD> id{0};
  std::atomic<bool> returned{false};
  std::atomic<unsigned> lastWait{0};
  DWORD first = 0, second = 0, afterPeek = 0, third = 0;
  std::thread receiver = queueThread(id, [&] {
    first = MsgWaitForMultipleObjects(1, &event, FALSE, INFINITE, QS_ALLINPUT);
    returned = true;
    // The input is no longer new: the next wait does not end on it.
    second = MsgWaitForMultipleObjects(1, &event, FALSE, 50, QS_ALLINPUT);
    MSG msg{};
    EXPECT_TRUE(PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE)) << "the message stayed in the queue";
    EXPECT_EQ(msg.message, static_cast<UINT>(WM_USER + 5));
    afterPeek = MsgWaitForMultipleObjects(1, &event, FALSE, 0, QS_ALLINPUT);
    lastWait = GetCurrentThreadId();
    third = MsgWaitForMultipleObjects(1, &event, FALSE, INFINITE, QS_ALLINPUT);
  });
  ASSERT_TRUE(eventually([&] { return id != 0; }));
  EXPECT_TRUE(staysFalse([&] { return returned.load(); }));
  PostThreadMessageW(id, WM_USER + 5, 0, 0);
  ASSERT_TRUE(eventually([&] { return returned.load(); }));
  ASSERT_TRUE(qntest::blocks(lastWait));
  SetEvent(event);
  receiver.join();
  EXPECT_EQ(first, WAIT_OBJECT_0 + 1);
  EXPECT_EQ(second, WAIT_TIMEOUT);
  EXPECT_EQ(afterPeek, WAIT_TIMEOUT);
  EXPECT_EQ(third, WAIT_OBJECT_0) << "the event still ends the wait";

  // Objects come before input; a mask without posted messages ignores them.
  MSG msg;
  EXPECT_FALSE(PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE));  // this thread's queue
  EXPECT_TRUE(PostThreadMessageW(GetCurrentThreadId(), WM_USER, 0, 0));
  SetEvent(event);
  EXPECT_EQ(MsgWaitForMultipleObjects(1, &event, FALSE, 0, QS_ALLINPUT), WAIT_OBJECT_0);
  EXPECT_EQ(MsgWaitForMultipleObjects(1, &event, FALSE, 0, QS_KEY), WAIT_TIMEOUT);
  EXPECT_EQ(MsgWaitForMultipleObjects(0, nullptr, FALSE, 0, QS_ALLINPUT), WAIT_OBJECT_0);
  while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
  }
  SetLastError(0);
  EXPECT_EQ(MsgWaitForMultipleObjects(1, &event, FALSE, 0, 0x80000000u), WAIT_FAILED);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_FLAGS));
  CloseHandle(event);
  EXPECT_EQ(MsgWaitForMultipleObjects(1, &event, FALSE, INFINITE, QS_ALLINPUT), WAIT_FAILED);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
}
