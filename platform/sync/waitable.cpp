#include "sync/waitable.h"

#include <poll.h>
#include <sched.h>
#include <time.h>

#include <algorithm>
#include <climits>
#include <qnlith/win32/sync.h>

#include "sync/futex.h"

namespace qn {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the futex sleeps on the low half of the state word");

namespace {

// Bursts before a thread sleeps: a lock is held for a few instructions, so
// a short spin usually finds it free. A wait looks a few times between
// pauses, then yields: longer pausing only keeps the object's cache line
// away from the thread about to give the object back (measured: two threads
// taking one mutex in turn ran 3 to 4 times slower with 64 pauses, 1.5
// times with 12, than with 4).
constexpr int LockSpins = 100;
constexpr int WaitPauses = 4;
constexpr int WaitYields = 4;

constexpr DWORD Pending = 0xFFFFFFFEu;

// A wait on objects that signal through a descriptor beside objects that
// wake their waiters looks at the descriptors this often.
constexpr DWORD DescriptorLookMilliseconds = 5;

long long nanosecondsUntil(const timespec& at) {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return (at.tv_sec - now.tv_sec) * 1000000000LL + (at.tv_nsec - now.tv_nsec);
}

// Sleeps until one descriptor is readable or the deadline passes.
void pollUntil(const pollfd* descriptors, nfds_t count, const Deadline& deadline) {
  pollfd ready[MAXIMUM_WAIT_OBJECTS + 1];
  std::copy(descriptors, descriptors + count, ready);
  if (deadline.infinite()) {
    ppoll(ready, count, nullptr, nullptr);
    return;
  }
  const long long left = std::max(0LL, nanosecondsUntil(*deadline.at()));
  const timespec timeout{static_cast<time_t>(left / 1000000000), static_cast<long>(left % 1000000000)};
  ppoll(ready, count, &timeout, nullptr);
}

// The sooner of a deadline and a short slice from now.
Deadline sliceOf(const Deadline& deadline) {
  const Deadline slice = Deadline::after(DescriptorLookMilliseconds);
  if (!deadline.infinite() && nanosecondsUntil(*deadline.at()) < nanosecondsUntil(*slice.at())) return deadline;
  return slice;
}

}  // namespace

void PendingWakes::add(const std::atomic<std::uint32_t>* word) {
  if (count_ == Capacity) flush();
  words_[count_++] = word;
}

void PendingWakes::flush() {
  // A woken thread may have left its wait and ended already; a wake of a
  // futex nobody sleeps on does nothing, so the word need not be alive.
  for (int i = 0; i < count_; ++i) futexWake(words_[i], 1);
  count_ = 0;
}

void WaitableObject::waitUntilUnlocked(std::uint64_t seen) {
  for (int i = 0; i < LockSpins; ++i) {
    cpuRelax();
    seen = word_.load(std::memory_order_relaxed);
    if (!(seen & word::Locked)) return;
  }
  while (seen & word::Locked) {
    if (!(seen & word::LockWanted) &&
        !word_.compare_exchange_weak(seen, seen | word::LockWanted, std::memory_order_relaxed)) {
      continue;
    }
    futexWait(word_, static_cast<std::uint32_t>(seen | word::LockWanted), Deadline{});
    seen = word_.load(std::memory_order_relaxed);
  }
}

void WaitableObject::lock() {
  std::uint64_t current = word_.load(std::memory_order_relaxed);
  for (;;) {
    if (!(current & word::Locked)) {
      if (word_.compare_exchange_weak(current, current | word::Locked, std::memory_order_acquire,
                                      std::memory_order_relaxed)) {
        return;
      }
      continue;
    }
    waitUntilUnlocked(current);
    current = word_.load(std::memory_order_relaxed);
  }
}

void WaitableObject::unlock() {
  const std::uint64_t before = word_.fetch_and(~(word::Locked | word::LockWanted), std::memory_order_release);
  if (before & word::LockWanted) futexWake(&word_, INT_MAX);
}

void WaitableObject::setFlagLocked(std::uint64_t flag, bool on) {
  if (on) {
    word_.fetch_or(flag, std::memory_order_relaxed);
  } else {
    word_.fetch_and(~flag, std::memory_order_relaxed);
  }
}

Take WaitableObject::tryTake() { return takeAs<WaitableObject, false>(currentThreadId()); }

Take WaitableObject::tryTakeLocked(DWORD tid) { return takeAs<WaitableObject, true>(tid); }

void WaitableObject::link(WaitBlock& block) {
  block.next = nullptr;
  block.prev = tail_;
  if (tail_ != nullptr) {
    tail_->next = &block;
  } else {
    head_ = &block;
  }
  tail_ = &block;
  block.linked.store(true, std::memory_order_relaxed);
  setFlagLocked(word::Waiters, true);
}

void WaitableObject::unlink(WaitBlock& block) {
  if (block.prev != nullptr) {
    block.prev->next = block.next;
  } else {
    head_ = block.next;
  }
  if (block.next != nullptr) {
    block.next->prev = block.prev;
  } else {
    tail_ = block.prev;
  }
  block.linked.store(false, std::memory_order_release);
  if (head_ == nullptr) setFlagLocked(word::Waiters, false);
}

void WaitableObject::wakeWaitersLocked(PendingWakes& wakes) {
  // Every waiter looks again; those that find nothing to take link anew.
  WaitBlock* block = head_;
  head_ = tail_ = nullptr;
  if (block != nullptr) setFlagLocked(word::Waiters, false);
  while (block != nullptr) {
    WaitBlock* next = block->next;
    ThreadState* thread = block->thread;
    thread->wakeups.fetch_add(1, std::memory_order_release);
    wakes.add(&thread->wakeups);
    // The waiter may leave once it sees this, so the block is not touched after.
    block->linked.store(false, std::memory_order_release);
    block = next;
  }
}

// One wait of one thread on up to MAXIMUM_WAIT_OBJECTS + 1 objects (the
// message queue may come last).
class Wait {
 public:
  Wait(WaitableObject* const* objects, DWORD count, bool waitAll)
      : objects_(objects), count_(count), waitAll_(waitAll), tid_(currentThreadId()) {
    if (waitAll_) {
      for (DWORD i = 0; i < count_; ++i) order_[i] = i;
      // One global order of locking, so that two such waits never deadlock.
      std::sort(order_, order_ + count_, [&](DWORD a, DWORD b) { return objects_[a] < objects_[b]; });
    }
  }

  DWORD run(DWORD milliseconds) {
    DWORD result = look(false);
    if (result != Pending) return result;
    if (milliseconds == 0) return WAIT_TIMEOUT;
    const Deadline deadline = Deadline::after(milliseconds);
    for (int i = 0; i < WaitPauses + WaitYields; ++i) {
      if (i < WaitPauses) {
        cpuRelax();
      } else {
        sched_yield();
      }
      result = look(false);
      if (result != Pending) return result;
    }

    ThreadState& self = threadState();
    for (DWORD i = 0; i < count_; ++i) blocks_[i].thread = &self;
    pollfd descriptors[MAXIMUM_WAIT_OBJECTS + 1];
    nfds_t polled = 0;
    for (DWORD i = 0; i < count_; ++i) {
      const int fd = objects_[i]->readyDescriptor();
      if (fd >= 0) descriptors[polled++] = pollfd{fd, POLLIN, 0};
    }
    for (;;) {
      // Read before linking: a wake that comes after the look changes it,
      // and the futex then does not sleep.
      const std::uint32_t seen = self.wakeups.load(std::memory_order_acquire);
      result = look(true);
      if (result != Pending) break;
      if (deadline.passed()) {
        result = WAIT_TIMEOUT;
        break;
      }
      if (polled == 0) {
        futexWait(self.wakeups, seen, deadline);
      } else if (polled == count_) {
        pollUntil(descriptors, polled, deadline);
      } else {
        futexWait(self.wakeups, seen, sliceOf(deadline));
      }
    }
    unlinkAll();
    return result;
  }

 private:
  DWORD look(bool linking) { return waitAll_ ? lookAll(linking) : lookAny(linking); }

  DWORD lookAny(bool linking) {
    for (DWORD i = 0; i < count_; ++i) {
      WaitableObject* object = objects_[i];
      Take take;
      if (linking) {
        object->lock();
        if (!blocks_[i].linked.load(std::memory_order_relaxed)) object->link(blocks_[i]);
        take = object->tryTakeLocked(tid_);
        object->unlock();
      } else {
        take = object->tryTake();
      }
      if (take != Take::No) return waitResult(take, i);
    }
    return Pending;
  }

  DWORD lookAll(bool linking) {
    for (DWORD k = 0; k < count_; ++k) objects_[order_[k]]->lock();
    bool all = true;
    for (DWORD i = 0; i < count_; ++i) {
      WaitableObject* object = objects_[i];
      if (linking && !blocks_[i].linked.load(std::memory_order_relaxed)) object->link(blocks_[i]);
      std::uint64_t after;
      if (all && object->canTake(object->state(), tid_, after) == Take::No) all = false;
    }
    DWORD result = Pending;
    if (all) {
      result = WAIT_OBJECT_0;
      for (DWORD i = 0; i < count_; ++i) {
        // Nothing changes a locked object, so each of these takes succeeds.
        if (objects_[i]->tryTakeLocked(tid_) == Take::Abandoned && result == WAIT_OBJECT_0) {
          result = WAIT_ABANDONED_0 + i;
        }
      }
    }
    for (DWORD k = count_; k-- > 0;) objects_[order_[k]]->unlock();
    return result;
  }

  void unlinkAll() {
    for (DWORD i = 0; i < count_; ++i) {
      if (!blocks_[i].linked.load(std::memory_order_acquire)) continue;  // a waker took it off
      objects_[i]->lock();
      if (blocks_[i].linked.load(std::memory_order_relaxed)) objects_[i]->unlink(blocks_[i]);
      objects_[i]->unlock();
    }
  }

  WaitableObject* const* objects_;
  DWORD count_;
  bool waitAll_;
  DWORD tid_;
  DWORD order_[MAXIMUM_WAIT_OBJECTS + 1];
  WaitBlock blocks_[MAXIMUM_WAIT_OBJECTS + 1];
};

DWORD waitForObjects(WaitableObject* const* objects, DWORD count, bool waitAll, DWORD milliseconds) {
  Wait wait(objects, count, waitAll);
  return wait.run(milliseconds);
}

}  // namespace qn
