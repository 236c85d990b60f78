// Kernel objects that a thread can wait on, and the one wait that serves
// WaitForSingleObject, WaitForMultipleObjects and MsgWaitForMultipleObjects.
//
// An object's whole state is one 64-bit word: flag bits below, and the
// object's value (a semaphore's count, a mutex's owner) in the high half.
// Uncontended operations are one compare-and-swap on that word. The word
// also holds the object's lock; while it is locked nobody else changes the
// state, so a waiter can look at several objects and take them all at once.
//
// No wake-up is lost: a waiter links a wait block to the object and then
// looks at the state, both under the lock; a change that may satisfy a
// waiter sees the Waiters bit in the same word and wakes every linked
// waiter, which then tries again.
#pragma once

#include <atomic>
#include <type_traits>
#include <cstdint>

#include "handles.h"
#include "thread_state.h"

namespace qn {

class Wait;

namespace word {
constexpr std::uint64_t Locked = 1;      // the object's lock is held
constexpr std::uint64_t LockWanted = 2;  // someone sleeps until the lock is free
constexpr std::uint64_t Waiters = 4;     // wait blocks are linked to the object
constexpr std::uint64_t Signalled = 8;   // events; the queue's "new input"
constexpr std::uint64_t Abandoned = 16;  // a free mutex whose owner ended holding it
constexpr unsigned ValueShift = 32;

inline std::uint32_t value(std::uint64_t w) { return static_cast<std::uint32_t>(w >> ValueShift); }
inline std::uint64_t withValue(std::uint64_t w, std::uint32_t v) {
  return (w & 0xFFFFFFFFu) | (static_cast<std::uint64_t>(v) << ValueShift);
}
}  // namespace word

enum class Take { No, Yes, Abandoned };

struct WaitBlock {
  ThreadState* thread = nullptr;
  WaitBlock* next = nullptr;
  WaitBlock* prev = nullptr;
  std::atomic<bool> linked{false};
};

// Threads to wake once the object's lock is let go.
class PendingWakes {
 public:
  void add(const std::atomic<std::uint32_t>* word);
  void flush();
  ~PendingWakes() { flush(); }

 private:
  static constexpr int Capacity = 8;
  const std::atomic<std::uint32_t>* words_[Capacity];
  int count_ = 0;
};

class QN_INTERNAL WaitableObject : public KernelObject {
 public:
  WaitableObject(ObjectKind kind, std::uint64_t initial) : KernelObject(kind), word_(initial) {}

  // Takes the object for the calling thread if its state allows: an
  // auto-reset event resets, a semaphore counts down, a mutex becomes the
  // thread's. Never blocks for longer than another thread's hold of the lock.
  Take tryTake();
  // The same for a caller that knows the object's class: no virtual calls.
  template <typename T>
  Take tryTakeAs();

  std::uint64_t state() const { return word_.load(std::memory_order_acquire); }

  // Whether thread `tid` may take the object in state `w`; if so `after` is
  // the state once taken. Flag bits the object does not own stay as they are.
  virtual Take canTake(std::uint64_t w, DWORD tid, std::uint64_t& after) const = 0;
  // Runs on the taking thread right after a take, with the state before it.
  virtual void taken(std::uint64_t before, DWORD tid) {}
  // For an object that no thread of ours signals (a started program): a
  // descriptor that becomes readable when the object may be taken, so a
  // wait sleeps on it rather than on a wake-up; -1 for every other object.
  virtual int readyDescriptor() const { return -1; }

 protected:
  std::atomic<std::uint64_t>& word() { return word_; }

  // Changes the state: `change(current, next)` sets next from current or
  // returns false to leave the state alone (update then returns false).
  // With `wake`, waiters are woken to look at the new state.
  template <typename Change>
  bool update(Change change, bool wake = true);

  // The object's lock, for state kept beside the word (a queue's messages).
  void lock();
  void unlock();
  // Under the lock: as update, waking the waiters after the change.
  template <typename Change>
  bool updateLocked(Change change, PendingWakes& wakes);
  Take tryTakeLocked(DWORD tid);
  void link(WaitBlock& block);
  void unlink(WaitBlock& block);
  void setFlagLocked(std::uint64_t flag, bool on);

 private:
  friend class Wait;

  void waitUntilUnlocked(std::uint64_t seen);
  void wakeWaitersLocked(PendingWakes& wakes);
  // The one take loop behind tryTake, tryTakeAs and tryTakeLocked: T is the
  // class whose canTake and taken decide (WaitableObject: the virtual ones);
  // a caller that holds the lock doesn't wait for it to be let go.
  template <typename T, bool HoldsLock>
  Take takeAs(DWORD tid);

  std::atomic<std::uint64_t> word_;
  WaitBlock* head_ = nullptr;  // under the lock
  WaitBlock* tail_ = nullptr;
};

// The wait: the index of the object taken as WAIT_OBJECT_0 + i (or
// WAIT_ABANDONED_0 + i), or WAIT_TIMEOUT. With waitAll the objects are taken
// together, and only when all of them can be. Callers have checked the
// arguments; count is at most MAXIMUM_WAIT_OBJECTS.
QN_INTERNAL DWORD waitForObjects(WaitableObject* const* objects, DWORD count, bool waitAll, DWORD milliseconds);

// The waitable object behind a kernel object, or null for kinds that
// cannot be waited on.
QN_INTERNAL WaitableObject* asWaitable(KernelObject* object);

// Looks the handles up for a wait: each reference goes to keep[i], each
// waitable object to objects[i]. False with the last error set (a closed
// handle, an object that cannot be waited on).
QN_INTERNAL bool waitablesFor(const HANDLE* handles, DWORD count, std::shared_ptr<KernelObject>* keep,
                              WaitableObject** objects);

// Whether one object comes twice, which a wait for all of them refuses.
QN_INTERNAL bool hasDuplicates(WaitableObject* const* objects, DWORD count);

// The result of a wait in the Win32 form, from a look that took the
// object at `index`.
inline DWORD waitResult(Take take, DWORD index) {
  return (take == Take::Abandoned ? 0x80u : 0u) + index;
}

template <typename T, bool HoldsLock>
Take WaitableObject::takeAs(DWORD tid) {
  constexpr bool Virtual = std::is_same_v<T, WaitableObject>;
  T& self = static_cast<T&>(*this);
  std::uint64_t current = word_.load(std::memory_order_acquire);
  for (;;) {
    if (!HoldsLock && (current & word::Locked)) {
      waitUntilUnlocked(current);
      current = word_.load(std::memory_order_acquire);
      continue;
    }
    std::uint64_t after = current;
    // A known class is called directly; the base class dispatches.
    Take take;
    if constexpr (Virtual)
      take = canTake(current, tid, after);
    else
      take = self.T::canTake(current, tid, after);
    if (take == Take::No) return take;
    if (after == current ||
        word_.compare_exchange_weak(current, after, std::memory_order_acq_rel, std::memory_order_acquire)) {
      if constexpr (Virtual)
        taken(current, tid);
      else
        self.T::taken(current, tid);
      return take;
    }
  }
}

template <typename T>
Take WaitableObject::tryTakeAs() {
  return takeAs<T, false>(currentThreadId());
}

template <typename Change>
bool WaitableObject::update(Change change, bool wake) {
  std::uint64_t current = word_.load(std::memory_order_relaxed);
  for (;;) {
    if (current & word::Locked) {
      waitUntilUnlocked(current);
      current = word_.load(std::memory_order_relaxed);
      continue;
    }
    if (wake && (current & word::Waiters)) {
      PendingWakes wakes;
      lock();
      const bool changed = updateLocked(change, wakes);
      unlock();
      return changed;  // the wakes go out after the lock
    }
    std::uint64_t next = current;
    if (!change(current, next)) return false;
    if (word_.compare_exchange_weak(current, next, std::memory_order_acq_rel, std::memory_order_relaxed)) return true;
  }
}

template <typename Change>
bool WaitableObject::updateLocked(Change change, PendingWakes& wakes) {
  // Only LockWanted can change under us: everyone else waits for the lock.
  std::uint64_t current = word_.load(std::memory_order_relaxed);
  std::uint64_t next;
  do {
    next = current;
    if (!change(current, next)) return false;
  } while (!word_.compare_exchange_weak(current, next, std::memory_order_acq_rel, std::memory_order_relaxed));
  wakeWaitersLocked(wakes);
  return true;
}

}  // namespace qn
