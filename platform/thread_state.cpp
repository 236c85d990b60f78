#include "internal/thread_state.h"

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

// Its destructor runs as the thread ends: the thread's mutexes are
// abandoned, its queue goes, and the objects its cache held are let go.
struct ThreadEnd {
  bool armed = false;
  ~ThreadEnd() {
    ThreadState* state = tls::state;
    if (state == nullptr) return;
    const DWORD id = currentThreadId();
    if (state->ownedMutexes != 0) abandonMutexesOf(id);
    if (state->queue != nullptr) dropMessageQueueOf(id);
    tls::state = nullptr;
    delete state;
  }
};

thread_local ThreadEnd threadEnd;

}  // namespace

DWORD assignThreadId() {
  tls::threadId = static_cast<DWORD>(gettid());
  return tls::threadId;
}

ThreadState& createThreadState() {
  auto* state = new ThreadState;
  tls::state = state;
  threadEnd.armed = true;  // first use on this thread registers its destructor
  return *state;
}

}  // namespace qn

DWORD WINAPI GetCurrentThreadId() { return qn::currentThreadId(); }
