#include "sync/thread_state.h"

#include <pthread.h>
#include <unistd.h>

#include <climits>

#include <qnlith/win32/sync.h>

namespace qn {

namespace tls {
__thread DWORD threadId __attribute__((tls_model("initial-exec"))) = 0;
__thread ThreadState* state __attribute__((tls_model("initial-exec"))) = nullptr;
}  // namespace tls

constinit const std::atomic<std::uint64_t> ThreadState::emptyTagWord{ThreadState::EmptyTag};

namespace {

// A forked child runs on a thread with a new id; its cached id must go.
void forgetIdInChild() { tls::threadId = 0; }

struct ForkHandler {
  ForkHandler() { pthread_atfork(nullptr, nullptr, forgetIdInChild); }
} forkHandler;

pthread_key_t endKey();

// The thread and address sanitizers end their own record of a thread in
// the last round of these destructors, before keys made after their own:
// ThreadSanitizer then can't watch code that runs, and LeakSanitizer no
// longer looks at the thread's stack, so what the thread still holds (its
// own thread object) reads as leaked if the process ends just then. Under
// either, the layer's end comes one round sooner.
#if defined(__has_feature)
#if __has_feature(thread_sanitizer) || __has_feature(address_sanitizer)
#define QN_UNDER_SANITIZER 1
#endif
#endif
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__) || defined(QN_UNDER_SANITIZER)
constexpr unsigned LastRound = PTHREAD_DESTRUCTOR_ITERATIONS - 1;
#else
constexpr unsigned LastRound = PTHREAD_DESTRUCTOR_ITERATIONS;
#endif

// Calls of the key's destructor for this thread so far.
__thread unsigned endRounds __attribute__((tls_model("initial-exec"))) = 0;

// Whether another key of the thread still holds a value: its destructor
// is still to run, in this round of the thread's end or the next.
bool otherDestructorsPending() {
  const pthread_key_t own = endKey();
  for (pthread_key_t key = 0; key < PTHREAD_KEYS_MAX; ++key)
    if (key != own && pthread_getspecific(key) != nullptr) return true;
  return false;
}

// Runs as the thread ends, after its C++ thread-local destructors (which
// may still wait or signal). While other destructors of thread-specific
// data are still to run (they may use the layer too), the state stays and
// comes back in the next round; in the last round, or once nothing else is
// left, the thread's mutexes are abandoned, its queue goes, the objects its
// cache held are let go and, last of all, its thread object is signalled.
void threadEnded(void* value) {
  auto* state = static_cast<ThreadState*>(value);
  if (++endRounds < LastRound && otherDestructorsPending()) {
    pthread_setspecific(endKey(), state);
    return;
  }
  const DWORD id = currentThreadId();
  if (state->ownedMutexes != 0) abandonMutexesOf(id);
  if (state->queue != nullptr) dropMessageQueueOf(id);
  std::shared_ptr<KernelObject> object = std::move(state->threadObject);
  const DWORD exitCode = state->exitCode;
  if (tls::state == state) tls::state = nullptr;
  delete state;
  if (object != nullptr) threadObjectEnded(*object, exitCode);
}

pthread_key_t endKey() {
  static const pthread_key_t key = [] {
    pthread_key_t k;
    pthread_key_create(&k, threadEnded);
    return k;
  }();
  return key;
}

}  // namespace

DWORD assignThreadId() {
  tls::threadId = static_cast<DWORD>(gettid());
  return tls::threadId;
}

ThreadState& createThreadState() {
  auto* state = new ThreadState;
  tls::state = state;
  pthread_setspecific(endKey(), state);
  return *state;
}

}  // namespace qn

DWORD WINAPI GetCurrentThreadId() { return qn::currentThreadId(); }
