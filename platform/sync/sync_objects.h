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
  std::uint32_t recursion_ = 0;  // the owner's alone
  Mutex* previous_ = nullptr;    // every mutex of the process, for the abandonment
  Mutex* next_ = nullptr;
};

}  // namespace qn
