// What the layer keeps for each thread: its Win32 thread id, the futex word
// its waits sleep on, a cache of recently used handles, the count of mutexes
// it owns, its message queue and its own thread object. The state is made on
// first use and torn down as the last step of the thread's end: after its
// C++ thread-local destructors and the other destructors of thread-specific
// data, its mutexes are abandoned, its queue goes, and then its thread
// object is signalled. A process's main thread keeps its state until the
// process ends.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <qnlith/win32/types.h>

#include "../errors/api.h"

namespace qn {

class KernelObject;
class MessageQueue;

struct ThreadState {
  // Bumped by whoever wakes the thread; its waits sleep on it.
  std::atomic<std::uint32_t> wakeups{0};

  // Handles looked up lately by this thread, with a reference to their
  // objects (see HandleTable::borrow).
  // `openTag` is what the slot's tag word reads while the handle stays
  // open, so a repeated use checks one word and takes `raw` without
  // touching the reference count (`object` keeps it alive).
  // An empty entry's tag word never reads its openTag, so a look needs no
  // test for emptiness; nor does an entry whose handle was closed, since a
  // slot never carries the same tag twice.
  static constexpr std::uint64_t EmptyTag = 0;
  static const std::atomic<std::uint64_t> emptyTagWord;
  struct CachedHandle {
    HANDLE handle = nullptr;
    const std::atomic<std::uint64_t>* tag = &emptyTagWord;
    std::uint64_t openTag = EmptyTag + 1;
    KernelObject* raw = nullptr;
    std::shared_ptr<KernelObject> object;
  };
  static constexpr unsigned CacheSize = 16;
  CachedHandle cache[CacheSize];

  // Mutexes this thread has taken and not given back; at its end they are
  // abandoned if any remain.
  std::uint32_t ownedMutexes = 0;

  std::shared_ptr<MessageQueue> queue;

  // The thread's kernel object, once the layer started the thread or
  // somebody asked for it, and the code it ends with.
  std::shared_ptr<KernelObject> threadObject;
  DWORD exitCode = 0;
};

namespace tls {
extern __thread DWORD threadId __attribute__((tls_model("initial-exec")));
extern __thread ThreadState* state __attribute__((tls_model("initial-exec")));
}  // namespace tls

QN_INTERNAL DWORD assignThreadId();
QN_INTERNAL ThreadState& createThreadState();

// The calling thread's id: its Linux thread id, as debuggers and ps show it.
inline DWORD currentThreadId() {
  const DWORD id = tls::threadId;
  return id != 0 ? id : assignThreadId();
}

// The calling thread's id if it was asked for already; 0 otherwise (then
// currentThreadId finds it).
inline DWORD knownThreadId() { return tls::threadId; }

inline ThreadState& threadState() {
  ThreadState* state = tls::state;
  return state != nullptr ? *state : createThreadState();
}

// The calling thread's state if it has one already; null otherwise.
inline ThreadState* existingThreadState() { return tls::state; }

// Work done as a thread ends, registered by the areas that keep per-thread
// records (mutex ownership, message queues).
void abandonMutexesOf(DWORD threadId);
void dropMessageQueueOf(DWORD threadId);
// The thread object's end: its code is set and every wait on it ends.
void threadObjectEnded(KernelObject& object, DWORD exitCode);

}  // namespace qn
