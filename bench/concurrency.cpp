// The library's locks and events beside the POSIX and standard-library
// primitives they stand in for, each pair measured in the same run.
#include <pthread.h>

#include <atomic>
#include <qnlith/qnlith.h>
#include <semaphore>
#include <thread>

#include "baseline_report.h"

namespace {

void CriticalSectionLockUnlock(benchmark::State& state) {
  cCriticalSection section;
  for (auto _ : state) {
    section.Lock();
    section.Unlock();
  }
}

void PthreadMutexLockUnlock(benchmark::State& state) {
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
  for (auto _ : state) {
    pthread_mutex_lock(&mutex);
    pthread_mutex_unlock(&mutex);
  }
  pthread_mutex_destroy(&mutex);
}

// Each contending thread on a processor of its own, so that they do run at
// once (the machine has two); the thread's earlier set comes back after.
class PinnedThread {
 public:
  explicit PinnedThread(int index) {
    pthread_getaffinity_np(pthread_self(), sizeof before_, &before_);
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(index % 2, &one);
    pthread_setaffinity_np(pthread_self(), sizeof one, &one);
  }
  ~PinnedThread() { pthread_setaffinity_np(pthread_self(), sizeof before_, &before_); }

 private:
  cpu_set_t before_;
};

// Two threads taking turns on one lock as fast as they can, the work under
// the lock a single increment.
void CriticalSectionContended(benchmark::State& state) {
  static cCriticalSection section;
  static long counter = 0;
  PinnedThread pinned(state.thread_index());
  for (auto _ : state) {
    section.Lock();
    benchmark::DoNotOptimize(++counter);
    section.Unlock();
  }
}

void PthreadMutexContended(benchmark::State& state) {
  static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
  static long counter = 0;
  PinnedThread pinned(state.thread_index());
  for (auto _ : state) {
    pthread_mutex_lock(&mutex);
    benchmark::DoNotOptimize(++counter);
    pthread_mutex_unlock(&mutex);
  }
}

void MutexSemaphoreWaitRelease(benchmark::State& state) {
  cMutexSemaphore mutex;
  for (auto _ : state) {
    mutex.wait(0xFFFFFFFF);
    mutex.release();
  }
}

void PthreadRecursiveMutexLockUnlock(benchmark::State& state) {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_t mutex;
  pthread_mutex_init(&mutex, &attributes);
  for (auto _ : state) {
    pthread_mutex_lock(&mutex);
    pthread_mutex_unlock(&mutex);
  }
  pthread_mutex_destroy(&mutex);
  pthread_mutexattr_destroy(&attributes);
}

void ResourceLockScope(benchmark::State& state) {
  cMutexSemaphore mutex;
  for (auto _ : state) {
    cResourceLock lock(mutex);
  }
}

// The same two pinned threads taking one mutex in turn; compared with
// PthreadMutexContended.
void MutexSemaphoreContended(benchmark::State& state) {
  static cMutexSemaphore* mutex = nullptr;
  static long counter = 0;
  if (state.thread_index() == 0) mutex = new cMutexSemaphore;
  PinnedThread pinned(state.thread_index());
  for (auto _ : state) {
    mutex->wait(0xFFFFFFFF);
    benchmark::DoNotOptimize(++counter);
    mutex->release();
  }
  if (state.thread_index() == 0) {
    delete mutex;
    mutex = nullptr;
  }
}

// One round trip: this thread signals the partner and waits for its answer.
void EventPingPong(benchmark::State& state) {
  cEvent ping, pong;
  std::atomic<bool> stop{false};
  std::thread partner([&] {
    for (;;) {
      ping.wait(0xFFFFFFFF);
      if (stop.load(std::memory_order_relaxed)) break;
      pong.signal();
    }
  });
  for (auto _ : state) {
    ping.signal();
    pong.wait(0xFFFFFFFF);
  }
  stop = true;
  ping.signal();
  partner.join();
}

void BinarySemaphorePingPong(benchmark::State& state) {
  std::binary_semaphore ping(0), pong(0);
  std::atomic<bool> stop{false};
  std::thread partner([&] {
    for (;;) {
      ping.acquire();
      if (stop.load(std::memory_order_relaxed)) break;
      pong.release();
    }
  });
  for (auto _ : state) {
    ping.release();
    pong.acquire();
  }
  stop = true;
  ping.release();
  partner.join();
}

}  // namespace

BENCHMARK(CriticalSectionLockUnlock);
BENCHMARK(PthreadMutexLockUnlock);
BENCHMARK(CriticalSectionContended)->Threads(2)->UseRealTime();
BENCHMARK(PthreadMutexContended)->Threads(2)->UseRealTime();
BENCHMARK(MutexSemaphoreWaitRelease);
BENCHMARK(PthreadRecursiveMutexLockUnlock);
BENCHMARK(ResourceLockScope);
BENCHMARK(MutexSemaphoreContended)->Threads(2)->UseRealTime();
BENCHMARK(EventPingPong)->UseRealTime();
BENCHMARK(BinarySemaphorePingPong)->UseRealTime();

int main(int argc, char** argv) {
  // glibc skips the atomic instructions of its mutexes while a process has
  // only ever had one thread; a program that needs locks has more, so the
  // baselines are measured as such a program sees them.
  std::thread([] {}).join();
  return qnbench::runWithRatios(argc, argv,
                                {{"CriticalSectionLockUnlock", "PthreadMutexLockUnlock"},
                                 {"CriticalSectionContended/real_time/threads:2", "PthreadMutexContended/real_time/threads:2"},
                                 {"MutexSemaphoreWaitRelease", "PthreadRecursiveMutexLockUnlock"},
                                 {"ResourceLockScope", "PthreadRecursiveMutexLockUnlock"},
                                 {"MutexSemaphoreContended/real_time/threads:2", "PthreadMutexContended/real_time/threads:2"},
                                 {"EventPingPong/real_time", "BinarySemaphorePingPong/real_time"}});
}
