// Each thread's message queue, made on its first call of a queue function
// and dropped when the thread ends.
#include <qnlith/win32/messages.h>

#include <deque>
#include <map>
#include <mutex>
#include <qnlith/win32/sync.h>

#include "errors/errors.h"
#include "sync/futex.h"
#include "sync/waitable.h"

namespace qn {

// A queue is waitable: it is signalled while it has input the thread has
// not looked at yet, and a wait that ends on it marks that input as seen.
class MessageQueue final : public WaitableObject {
 public:
  static constexpr std::size_t Limit = 10000;

  MessageQueue() : WaitableObject(ObjectKind::Other, 0) {}

  bool post(const MSG& msg) {
    PendingWakes wakes;
    lock();
    const bool room = messages_.size() < Limit;
    if (room) {
      messages_.push_back(msg);
      markNew(wakes);
    }
    unlock();
    return room;
  }

  void quit(int exitCode) {
    PendingWakes wakes;
    lock();
    quitPending_ = true;
    quitCode_ = exitCode;
    markNew(wakes);
    unlock();
  }

  // Looking at the queue makes what is in it old, found or not.
  bool peek(MSG& out, UINT filterMin, UINT filterMax, bool remove) {
    lock();
    setFlagLocked(word::Signalled, false);
    bool found = false;
    for (auto it = messages_.begin(); it != messages_.end(); ++it) {
      if (passes(it->message, filterMin, filterMax)) {
        out = *it;
        if (remove) messages_.erase(it);
        found = true;
        break;
      }
    }
    if (!found && quitPending_) {
      // The quit message comes once the queue has nothing else to give.
      out = MSG{};
      out.message = WM_QUIT;
      out.wParam = static_cast<WPARAM>(static_cast<LONG_PTR>(quitCode_));
      out.time = monotonicMilliseconds();
      if (remove) quitPending_ = false;
      found = true;
    }
    unlock();
    return found;
  }

 protected:
  Take canTake(std::uint64_t w, DWORD, std::uint64_t& after) const override {
    if (!(w & word::Signalled)) return Take::No;
    after = w & ~word::Signalled;
    return Take::Yes;
  }

 private:
  static bool passes(UINT message, UINT filterMin, UINT filterMax) {
    if (message == WM_QUIT) return true;
    if (filterMin == 0 && filterMax == 0) return true;
    return message >= filterMin && message <= filterMax;
  }

  void markNew(PendingWakes& wakes) {
    updateLocked(
        [](std::uint64_t current, std::uint64_t& next) {
          next = current | word::Signalled;
          return true;
        },
        wakes);
  }

  std::deque<MSG> messages_;  // under the object's lock
  bool quitPending_ = false;
  int quitCode_ = 0;
};

namespace {

struct Queues {
  std::mutex lock;
  std::map<DWORD, std::shared_ptr<MessageQueue>> byThread;
};

Queues& queues() {
  static Queues* instance = new Queues;  // threads may end after static destruction
  return *instance;
}

MessageQueue& ownQueue() {
  ThreadState& state = threadState();
  if (state.queue == nullptr) {
    auto queue = std::make_shared<MessageQueue>();
    auto& q = queues();
    std::lock_guard guard(q.lock);
    q.byThread[currentThreadId()] = queue;
    state.queue = std::move(queue);
  }
  return *state.queue;
}

// Thread messages only: null, or -1 which asks for exactly those.
bool threadMessagesOnly(HWND hwnd) { return hwnd == nullptr || hwnd == reinterpret_cast<HWND>(-1); }

}  // namespace

void dropMessageQueueOf(DWORD threadId) {
  auto& q = queues();
  std::lock_guard guard(q.lock);
  q.byThread.erase(threadId);
}

}  // namespace qn

BOOL WINAPI PostThreadMessageW(DWORD threadId, UINT message, WPARAM wParam, LPARAM lParam) {
  std::shared_ptr<qn::MessageQueue> queue;
  {
    auto& q = qn::queues();
    std::lock_guard guard(q.lock);
    auto it = q.byThread.find(threadId);
    if (it != q.byThread.end()) queue = it->second;
  }
  if (queue == nullptr) return qn::failWith(ERROR_INVALID_THREAD_ID);
  MSG msg{};
  msg.message = message;
  msg.wParam = wParam;
  msg.lParam = lParam;
  msg.time = qn::monotonicMilliseconds();
  if (!queue->post(msg)) return qn::failWith(ERROR_NOT_ENOUGH_QUOTA);
  return TRUE;
}

void WINAPI PostQuitMessage(int exitCode) { qn::ownQueue().quit(exitCode); }

BOOL WINAPI PeekMessageW(LPMSG msg, HWND hwnd, UINT filterMin, UINT filterMax, UINT removeMessage) {
  qn::MessageQueue& queue = qn::ownQueue();
  if (msg == nullptr) return qn::failWith(ERROR_NOACCESS);
  if (!qn::threadMessagesOnly(hwnd)) return qn::failWith(ERROR_INVALID_WINDOW_HANDLE);
  return queue.peek(*msg, filterMin, filterMax, (removeMessage & PM_REMOVE) != 0) ? TRUE : FALSE;
}

BOOL WINAPI GetMessageW(LPMSG msg, HWND hwnd, UINT filterMin, UINT filterMax) {
  qn::MessageQueue& queue = qn::ownQueue();
  if (msg == nullptr) {
    SetLastError(ERROR_NOACCESS);
    return -1;
  }
  if (!qn::threadMessagesOnly(hwnd)) {
    SetLastError(ERROR_INVALID_WINDOW_HANDLE);
    return -1;
  }
  qn::WaitableObject* waitable = &queue;
  // A post after the look marks the queue new, so the wait cannot miss it.
  while (!queue.peek(*msg, filterMin, filterMax, true)) qn::waitForObjects(&waitable, 1, false, INFINITE);
  return msg->message == WM_QUIT ? 0 : 1;
}

DWORD WINAPI MsgWaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL waitAll, DWORD milliseconds,
                                       DWORD wakeMask) {
  qn::MessageQueue& queue = qn::ownQueue();
  if (count > MAXIMUM_WAIT_OBJECTS - 1) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return WAIT_FAILED;
  }
  if (count > 0 && handles == nullptr) {
    SetLastError(ERROR_NOACCESS);
    return WAIT_FAILED;
  }
  constexpr DWORD KnownInput = 0x1FFF;
  if ((wakeMask & ~KnownInput) != 0) {
    SetLastError(ERROR_INVALID_FLAGS);
    return WAIT_FAILED;
  }
  std::shared_ptr<qn::KernelObject> keep[MAXIMUM_WAIT_OBJECTS];
  qn::WaitableObject* objects[MAXIMUM_WAIT_OBJECTS];
  if (!qn::waitablesFor(handles, count, keep, objects)) return WAIT_FAILED;
  if (qn::hasDuplicates(objects, count)) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return WAIT_FAILED;
  }
  // Posted messages are the only input there is; a mask without them
  // waits on the objects alone.
  DWORD total = count;
  if (wakeMask & (QS_POSTMESSAGE | QS_ALLPOSTMESSAGE)) objects[total++] = &queue;
  if (total == 0) {
    Sleep(milliseconds);
    return WAIT_TIMEOUT;
  }
  return qn::waitForObjects(objects, total, waitAll != FALSE, milliseconds);
}
