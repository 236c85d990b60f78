// Threads on pthreads. Suspension of a running thread is a signal whose
// handler holds the thread until its suspend count is back at 0; a thread
// created suspended waits the same way before its procedure runs.
#include <linux/futex.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <mutex>

#include "errors/errors.h"
#include "faults/faults.h"
#include "threads/threads.h"

namespace qn {

namespace {


// The signal that holds a running thread for SuspendThread. Applications
// mostly take the first real-time signals; this one is near the end.
int suspendSignal() { return SIGRTMAX - 3; }

void futexWait(std::atomic<std::uint32_t>& word, std::uint32_t value, long nanoseconds) {
  struct timespec timeout {};
  timeout.tv_sec = nanoseconds / 1000000000;
  timeout.tv_nsec = nanoseconds % 1000000000;
  syscall(SYS_futex, reinterpret_cast<std::uint32_t*>(&word), FUTEX_WAIT_PRIVATE, value,
          nanoseconds < 0 ? nullptr : &timeout, nullptr, 0);
}

void futexWakeAll(std::atomic<std::uint32_t>& word) {
  syscall(SYS_futex, reinterpret_cast<std::uint32_t*>(&word), FUTEX_WAKE_PRIVATE, 0x7FFFFFFF, nullptr, nullptr, 0);
}

// The calling thread's object for the signal handler; its thread state
// keeps the object alive for as long as the thread runs.
thread_local __attribute__((tls_model("initial-exec"))) ThreadObject* currentObject = nullptr;

void holdWhileSuspended(ThreadObject& self) {
  for (std::uint32_t count; (count = self.suspendCount.load(std::memory_order_acquire)) != 0;)
    futexWait(self.suspendCount, count, -1);
}

void onSuspendSignal(int) {
  ThreadObject* self = currentObject;
  if (self == nullptr) return;
  const int savedErrno = errno;
  self->parked.store(1, std::memory_order_release);
  futexWakeAll(self->parked);
  holdWhileSuspended(*self);
  self->parked.store(0, std::memory_order_release);
  errno = savedErrno;
}

void installSuspendHandler() {
  static std::once_flag once;
  std::call_once(once, [] {
    struct sigaction action {};
    action.sa_handler = onSuspendSignal;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(suspendSignal(), &action, nullptr);
  });
}

// The calling thread's object; threads this layer did not start get one on
// first use, so that the pseudo handle works everywhere.
std::shared_ptr<ThreadObject> ownThreadObject() {
  ThreadState& state = threadState();
  if (state.threadObject == nullptr) {
    auto self = std::make_shared<ThreadObject>();
    self->thread = pthread_self();
    self->id = currentThreadId();
    self->started = true;
    state.threadObject = self;
    currentObject = self.get();
  }
  return std::static_pointer_cast<ThreadObject>(state.threadObject);
}

void* threadMain(void* argument) {
  std::shared_ptr<ThreadObject> self = std::move(*static_cast<std::shared_ptr<ThreadObject>*>(argument));
  delete static_cast<std::shared_ptr<ThreadObject>*>(argument);
  // The thread's state holds its object until the thread has wholly ended,
  // and signals it then (see thread_state.cpp).
  threadState().threadObject = self;
  currentObject = self.get();
  {
    std::lock_guard guard(self->lock);
    self->id = currentThreadId();
    self->started = true;
  }
  self->changed.notify_all();
  holdWhileSuspended(*self);
  const DWORD code = self->start(self->parameter);
  threadState().exitCode = code;
  return nullptr;
}

// Win32 priorities as nice values, beside the nice value the process had.
int processNice() {
  static const int nice = [] {
    errno = 0;
    const int value = getpriority(PRIO_PROCESS, 0);
    return errno == 0 ? value : 0;
  }();
  return nice;
}

bool niceFor(int priority, int& nice) {
  const int base = processNice();
  switch (priority) {
    case THREAD_PRIORITY_IDLE: nice = 19; break;
    case THREAD_PRIORITY_LOWEST: nice = base + 10; break;
    case THREAD_PRIORITY_BELOW_NORMAL: nice = base + 5; break;
    case THREAD_PRIORITY_NORMAL: nice = base; break;
    case THREAD_PRIORITY_ABOVE_NORMAL: nice = base - 5; break;
    case THREAD_PRIORITY_HIGHEST: nice = base - 10; break;
    case THREAD_PRIORITY_TIME_CRITICAL: nice = -20; break;
    default: return false;
  }
  nice = std::clamp(nice, -20, 19);
  return true;
}

int priorityForNice(int nice) {
  static constexpr int Levels[] = {THREAD_PRIORITY_NORMAL,        THREAD_PRIORITY_BELOW_NORMAL, THREAD_PRIORITY_ABOVE_NORMAL,
                                   THREAD_PRIORITY_LOWEST,        THREAD_PRIORITY_HIGHEST,      THREAD_PRIORITY_IDLE,
                                   THREAD_PRIORITY_TIME_CRITICAL};
  int best = THREAD_PRIORITY_NORMAL, distance = 100;
  for (int level : Levels) {
    int n = 0;
    niceFor(level, n);
    if (std::abs(n - nice) < distance) {
      distance = std::abs(n - nice);
      best = level;
    }
  }
  return best;
}

}  // namespace

std::shared_ptr<KernelObject> currentThreadObject() { return ownThreadObject(); }

void threadObjectEnded(KernelObject& object, DWORD exitCode) {
  if (object.kind() == ObjectKind::Thread) static_cast<ThreadObject&>(object).markEnded(exitCode);
}

void ThreadObject::markEnded(DWORD code) {
  {
    std::lock_guard guard(lock);
    ended = true;
    exitCode = code;
  }
  set();  // the handle is signalled: every wait on it ends
  changed.notify_all();
}

std::shared_ptr<ThreadObject> threadFromHandle(HANDLE handle) {
  return HandleTable::getAs<ThreadObject>(handle, ObjectKind::Thread);
}

bool nameThread(DWORD threadId, const char* name) {
  if (name == nullptr) return false;
  // Read as a debugger reads another process: a bad pointer names nothing.
  char text[64] = {};
  struct iovec local {text, sizeof text - 1};
  struct iovec remote {const_cast<char*>(name), sizeof text - 1};
  ssize_t got = process_vm_readv(getpid(), &local, 1, &remote, 1, 0);
  if (got <= 0) {
    // The read stops at the end of a readable page; take what lies before.
    const auto page = reinterpret_cast<std::uintptr_t>(name) | 4095;
    remote.iov_len = local.iov_len = page - reinterpret_cast<std::uintptr_t>(name) + 1;
    got = process_vm_readv(getpid(), &local, 1, &remote, 1, 0);
    if (got <= 0) return false;
  }
  // 15 bytes and the terminator, cut at a character boundary.
  std::size_t length = strnlen(text, 15);
  if (length == 15 && (static_cast<unsigned char>(text[15]) & 0xC0) == 0x80)
    while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) --length;
  text[length] = '\0';

  if (threadId == 0xFFFFFFFFu || threadId == currentThreadId())
    return pthread_setname_np(pthread_self(), text) == 0;
  char path[64];
  std::snprintf(path, sizeof path, "/proc/self/task/%u/comm", threadId);
  const int file = open(path, O_WRONLY | O_CLOEXEC);
  if (file < 0) return false;
  const bool written = write(file, text, length) == static_cast<ssize_t>(length);
  close(file);
  return written;
}

}  // namespace qn

using qn::ThreadObject;

HANDLE WINAPI CreateThread(LPSECURITY_ATTRIBUTES, SIZE_T stackSize, LPTHREAD_START_ROUTINE start, LPVOID parameter,
                           DWORD creationFlags, LPDWORD threadId) {
  if (start == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  qn::installSuspendHandler();
  auto object = std::make_shared<ThreadObject>();
  object->start = start;
  object->parameter = parameter;
  if (creationFlags & CREATE_SUSPENDED) object->suspendCount.store(1);

  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  if (stackSize != 0) {
    const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    std::size_t size = (stackSize + page - 1) / page * page;
    size = std::max<std::size_t>(size, static_cast<std::size_t>(PTHREAD_STACK_MIN));
    pthread_attr_setstacksize(&attributes, size);
  }
  auto* handover = new std::shared_ptr<ThreadObject>(object);
  const int error = pthread_create(&object->thread, &attributes, qn::threadMain, handover);
  pthread_attr_destroy(&attributes);
  if (error != 0) {
    delete handover;
    qn::failWithErrno(error);
    return nullptr;
  }
  {
    // The id is the thread's own, known once it runs.
    std::unique_lock guard(object->lock);
    object->changed.wait(guard, [&] { return object->started; });
  }
  if (threadId != nullptr) *threadId = object->id;
  HANDLE handle = qn::HandleTable::insert(object);
  if (handle == nullptr) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    // The thread can't be reached without a handle: let it run to its end.
    object->suspendCount.store(0);
    qn::futexWakeAll(object->suspendCount);
  }
  return handle;
}

void WINAPI ExitThread(DWORD exitCode) {
  // The code is given when the thread has wholly ended, as after a return.
  qn::threadState().exitCode = exitCode;
  pthread_exit(nullptr);
}

HANDLE WINAPI GetCurrentThread() { return reinterpret_cast<HANDLE>(static_cast<LONG_PTR>(-2)); }

BOOL WINAPI GetExitCodeThread(HANDLE thread, LPDWORD exitCode) {
  auto object = qn::threadFromHandle(thread);
  if (object == nullptr) return FALSE;
  if (exitCode == nullptr) return qn::failWith(ERROR_INVALID_PARAMETER);
  std::lock_guard guard(object->lock);
  *exitCode = object->exitCode;
  return TRUE;
}

DWORD WINAPI GetThreadId(HANDLE thread) {
  auto object = qn::threadFromHandle(thread);
  if (object == nullptr) return 0;
  std::lock_guard guard(object->lock);
  return object->id;
}

DWORD WINAPI SuspendThread(HANDLE thread) {
  auto object = qn::threadFromHandle(thread);
  if (object == nullptr) return static_cast<DWORD>(-1);
  std::unique_lock guard(object->lock);
  if (object->ended) {
    SetLastError(ERROR_ACCESS_DENIED);
    return static_cast<DWORD>(-1);
  }
  const std::uint32_t previous = object->suspendCount.load();
  if (previous >= MAXIMUM_SUSPEND_COUNT) {
    SetLastError(ERROR_SIGNAL_REFUSED);
    return static_cast<DWORD>(-1);
  }
  object->suspendCount.store(previous + 1, std::memory_order_release);
  if (previous != 0 || !object->started) return previous;
  if (pthread_equal(object->thread, pthread_self())) {
    guard.unlock();
    qn::holdWhileSuspended(*object);
    return previous;
  }
  qn::installSuspendHandler();
  if (pthread_kill(object->thread, qn::suspendSignal()) != 0) {
    object->suspendCount.store(previous);
    SetLastError(ERROR_ACCESS_DENIED);
    return static_cast<DWORD>(-1);
  }
  guard.unlock();
  // Returns once the thread is held, unless it was resumed meanwhile.
  while (object->parked.load(std::memory_order_acquire) == 0 && object->suspendCount.load() != 0)
    qn::futexWait(object->parked, 0, 10 * 1000 * 1000);
  return previous;
}

DWORD WINAPI ResumeThread(HANDLE thread) {
  auto object = qn::threadFromHandle(thread);
  if (object == nullptr) return static_cast<DWORD>(-1);
  std::lock_guard guard(object->lock);
  const std::uint32_t previous = object->suspendCount.load();
  if (previous == 0) return 0;
  object->suspendCount.store(previous - 1, std::memory_order_release);
  if (previous == 1) qn::futexWakeAll(object->suspendCount);
  return previous;
}

BOOL WINAPI SetThreadPriority(HANDLE thread, int priority) {
  auto object = qn::threadFromHandle(thread);
  if (object == nullptr) return FALSE;
  int nice = 0;
  if (!qn::niceFor(priority, nice)) return qn::failWith(ERROR_INVALID_PARAMETER);
  std::lock_guard guard(object->lock);
  if (!object->ended && setpriority(PRIO_PROCESS, static_cast<id_t>(object->id), nice) != 0) {
    // Below the process's nice value only with the right to; an ended thread has none to set.
    if (errno != ESRCH) return qn::failWith(ERROR_ACCESS_DENIED);
  }
  object->priority = priority;
  return TRUE;
}

int WINAPI GetThreadPriority(HANDLE thread) {
  auto object = qn::threadFromHandle(thread);
  if (object == nullptr) return THREAD_PRIORITY_ERROR_RETURN;
  std::lock_guard guard(object->lock);
  if (object->ended) return object->priority;
  errno = 0;
  const int nice = getpriority(PRIO_PROCESS, static_cast<id_t>(object->id));
  if (errno != 0) return object->priority;
  int expected = 0;
  qn::niceFor(object->priority, expected);
  // Changed behind this layer's back: the nearest Win32 level.
  return nice == expected ? object->priority : qn::priorityForNice(nice);
}
