#include "sync/thread_state.h"

#include <pthread.h>
#include <unistd.h>

#include <qnlith/win32/sync.h>

namespace qn {

namespace tls {
__thread DWORD threadId __attribute__((tls_model("initial-exec"))) = 0;
__thread ThreadState* state __attribute__((tls_model("initial-exec"))) = nullptr;
}  // namespace tls

namespace {

// A forked child runs on a thread with a new id; its cached id must go.
void forgetIdInChild() { tls::threadId = 0; }

struct ForkHandler {
  ForkHandler() { pthread_atfork(nullptr, nullptr, forgetIdInChild); }
} forkHandler;

// Runs as the thread ends, after its C++ thread-local destructors (which
// may still wait or signal): the thread's mutexes are abandoned, its queue
// goes, and the objects its cache held are let go. Should that bring the
// state back, the key's destructor runs again for it.
void threadEnded(void* value) {
  auto* state = static_cast<ThreadState*>(value);
  const DWORD id = currentThreadId();
  if (state->ownedMutexes != 0) abandonMutexesOf(id);
  if (state->queue != nullptr) dropMessageQueueOf(id);
  if (tls::state == state) tls::state = nullptr;
  delete state;
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
