#include "sync/sync_objects.h"

#include <mutex>

namespace qn {

// ---- events

Event::Event(ObjectKind kind, bool manualReset, bool initialState)
    : WaitableObject(kind, initialState ? word::Signalled : 0), manualReset_(manualReset) {}

void Event::set() {
  update([](std::uint64_t current, std::uint64_t& next) {
    next = current | word::Signalled;
    return true;
  });
}

void Event::reset() {
  update(
      [](std::uint64_t current, std::uint64_t& next) {
        next = current & ~word::Signalled;
        return true;
      },
      false);
}

// ---- semaphores

Semaphore::Semaphore(LONG initialCount, LONG maximumCount)
    : WaitableObject(ObjectKind::Semaphore, word::withValue(0, static_cast<std::uint32_t>(initialCount))),
      maximum_(maximumCount) {}

bool Semaphore::release(LONG count, LONG* previous) {
  const auto maximum = static_cast<std::uint32_t>(maximum_);
  return update([&](std::uint64_t current, std::uint64_t& next) {
    const std::uint32_t before = word::value(current);
    if (static_cast<std::uint32_t>(count) > maximum - before) return false;
    if (previous != nullptr) *previous = static_cast<LONG>(before);
    next = word::withValue(current, before + static_cast<std::uint32_t>(count));
    return true;
  });
}

// ---- mutexes

namespace {

struct MutexRegistry {
  std::mutex lock;
  Mutex* head = nullptr;
};

MutexRegistry& registry() {
  static MutexRegistry* instance = new MutexRegistry;  // threads may end after static destruction
  return *instance;
}

}  // namespace

Mutex::Mutex(bool ownedByCaller) : WaitableObject(ObjectKind::Mutex, 0) {
  {
    auto& r = registry();
    std::lock_guard guard(r.lock);
    next_ = r.head;
    if (next_ != nullptr) next_->previous_ = this;
    r.head = this;
  }
  if (ownedByCaller) tryTakeAs<Mutex>();
}

Mutex::~Mutex() {
  auto& r = registry();
  std::lock_guard guard(r.lock);
  if (previous_ != nullptr) {
    previous_->next_ = next_;
  } else {
    r.head = next_;
  }
  if (next_ != nullptr) next_->previous_ = previous_;
}

bool Mutex::release() { return release(threadState(), currentThreadId()); }

void Mutex::freeForWaiters() {
  update([](std::uint64_t current, std::uint64_t& next) {
    next = word::withValue(current, 0);
    return true;
  });
}

void Mutex::abandon() {
  recursion_ = 0;
  update([](std::uint64_t current, std::uint64_t& next) {
    next = word::withValue(current, 0) | word::Abandoned;
    return true;
  });
}

void abandonMutexesOf(DWORD threadId) {
  // Rare (a thread ended holding a mutex), so a walk over every mutex of
  // the process costs nothing where it matters. A mutex being destroyed
  // waits for the registry's lock before it goes.
  auto& r = registry();
  std::lock_guard guard(r.lock);
  for (Mutex* m = r.head; m != nullptr; m = m->next_) {
    if (m->owner() == threadId) m->abandon();
  }
}

}  // namespace qn
