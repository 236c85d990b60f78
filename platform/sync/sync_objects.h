// The layer's events, semaphores and mutexes. A thread object can derive
// from Event (manual reset, set once the thread has ended) to be waitable.
#pragma once

#include "waitable.h"

namespace qn {

class QN_INTERNAL Event : public WaitableObject {
 public:
  Event(bool manualReset, bool initialState) : Event(ObjectKind::Event, manualReset, initialState) {}
  void set();
  void reset();

  Take canTake(std::uint64_t w, DWORD, std::uint64_t& after) const override {
    if (!(w & word::Signalled)) return Take::No;
    after = manualReset_ ? w : (w & ~word::Signalled);
    return Take::Yes;
  }

 protected:
  Event(ObjectKind kind, bool manualReset, bool initialState);

 private:
  const bool manualReset_;
};

class QN_INTERNAL Semaphore final : public WaitableObject {
 public:
  Semaphore(LONG initialCount, LONG maximumCount);
  // False when the count would pass the maximum; the count then stays.
  bool release(LONG count, LONG* previous);

  Take canTake(std::uint64_t w, DWORD, std::uint64_t& after) const override {
    const std::uint32_t count = word::value(w);
    if (count == 0) return Take::No;
    after = word::withValue(w, count - 1);
    return Take::Yes;
  }

 private:
  const LONG maximum_;
};

class QN_INTERNAL Mutex final : public WaitableObject {
 public:
  explicit Mutex(bool ownedByCaller);
  ~Mutex() override;
  // False when the calling thread is not the owner.
  bool release();
  // The same for the thread `self` with id `tid`, the caller's own. A
  // release that nobody waits for is one compare-and-swap.
  bool release(ThreadState& self, DWORD tid) {
    std::uint64_t w = word().load(std::memory_order_relaxed);
    if (word::value(w) != tid) return false;
    if (--recursion_ != 0) return true;
    --self.ownedMutexes;
    if ((w & (word::Locked | word::Waiters)) != 0 ||
        !word().compare_exchange_strong(w, word::withValue(w, 0), std::memory_order_release,
                                        std::memory_order_relaxed)) {
      freeForWaiters();
    }
    return true;
  }

  // A take by the calling thread (`self`, id `tid`) without the general
  // path: once more by the owner is a plain count, a free mutex one
  // compare-and-swap. False when that is not enough (another owner, the
  // lock held, an abandonment to report); the general path then decides.
  bool tryTakeQuickly(ThreadState& self, DWORD tid) {
    std::uint64_t w = word().load(std::memory_order_relaxed);
    // Only this thread writes its own id into the word or takes it out.
    if (word::value(w) == tid) {
      ++recursion_;
      return true;
    }
    if (word::value(w) != 0 || (w & (word::Locked | word::Abandoned))) return false;
    if (!word().compare_exchange_strong(w, word::withValue(w, tid), std::memory_order_acquire,
                                        std::memory_order_relaxed)) {
      return false;
    }
    recursion_ = 1;
    ++self.ownedMutexes;
    return true;
  }
  // The owner has ended: the mutex is free, and the next taker hears of it.
  void abandon();
  DWORD owner() const { return word::value(state()); }

  Take canTake(std::uint64_t w, DWORD tid, std::uint64_t& after) const override {
    const DWORD owner = word::value(w);
    if (owner == tid) return Take::Yes;  // once more by its owner
    if (owner != 0) return Take::No;
    after = word::withValue(w & ~word::Abandoned, tid);
    return (w & word::Abandoned) ? Take::Abandoned : Take::Yes;
  }

  void taken(std::uint64_t before, DWORD tid) override {
    if (word::value(before) == tid) {
      ++recursion_;
      return;
    }
    recursion_ = 1;
    ++threadState().ownedMutexes;
  }

 private:
  friend void abandonMutexesOf(DWORD threadId);
  // The last release when waiters may have to be woken.
  void freeForWaiters();
  std::uint32_t recursion_ = 0;  // the owner's alone
  Mutex* previous_ = nullptr;    // every mutex of the process, for the abandonment
  Mutex* next_ = nullptr;
};

}  // namespace qn
