// The kernel object of a thread: a pthread, its suspend count, its priority
// and its exit code. The object outlives the thread for as long as a handle
// to it is open. It is a manual-reset event, set once the thread has ended,
// so that every wait works on it.
#pragma once

#include <pthread.h>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <qnlith/win32/threads.h>

#include "../errors/api.h"
#include "../sync/handles.h"
#include "../sync/sync_objects.h"

namespace qn {

class QN_INTERNAL ThreadObject : public Event {
 public:
  ThreadObject() : Event(ObjectKind::Thread, true, false) {}

  // Under `lock`.
  std::mutex lock;
  std::condition_variable changed;
  pthread_t thread{};
  DWORD id = 0;
  bool started = false;  // past its creation, running or held by the suspend count
  bool ended = false;
  DWORD exitCode = STILL_ACTIVE;
  int priority = THREAD_PRIORITY_NORMAL;

  LPTHREAD_START_ROUTINE start = nullptr;
  LPVOID parameter = nullptr;

  // Futex words, read by the thread inside its suspension handler.
  std::atomic<std::uint32_t> suspendCount{0};
  std::atomic<std::uint32_t> parked{0};  // 1 while held by SuspendThread

  void markEnded(DWORD code);
};

// The object behind a thread handle; GetCurrentThread's pseudo handle gives
// the calling thread's own (made on first use for threads that this layer
// did not start). Null with ERROR_INVALID_HANDLE otherwise.
QN_INTERNAL std::shared_ptr<ThreadObject> threadFromHandle(HANDLE handle);

}  // namespace qn
