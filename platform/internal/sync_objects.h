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

 protected:
  Event(ObjectKind kind, bool manualReset, bool initialState);
  Take canTake(std::uint64_t w, DWORD tid, std::uint64_t& after) const override;

 private:
  const bool manualReset_;
};

class QN_INTERNAL Semaphore final : public WaitableObject {
 public:
  Semaphore(LONG initialCount, LONG maximumCount);
  // False when the count would pass the maximum; the count then stays.
  bool release(LONG count, LONG* previous);

 protected:
  Take canTake(std::uint64_t w, DWORD tid, std::uint64_t& after) const override;

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

 protected:
  Take canTake(std::uint64_t w, DWORD tid, std::uint64_t& after) const override;
  void taken(std::uint64_t before, DWORD tid) override;

 private:
  friend void abandonMutexesOf(DWORD threadId);
  std::uint32_t recursion_ = 0;  // the owner's alone
  Mutex* previous_ = nullptr;    // every mutex of the process, for the abandonment
  Mutex* next_ = nullptr;
};

}  // namespace qn
