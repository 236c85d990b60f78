// Critical sections: a futex lock in the caller's structure, owned by a
// thread and taken again by it without blocking. The structure holds no
// resource, so it may be copied (the copy is a separate, unrelated lock
// state) and deleting it releases nothing.
#include <qnlith/win32/sync.h>

#include <algorithm>
#include <atomic>

#include "sync/futex.h"
#include "sync/thread_state.h"

namespace {

// Windows reads the low 24 bits as the spin count; longer spins than this
// cost more than a sleep on a loaded machine.
constexpr ULONG_PTR SpinMask = 0x00FFFFFF;
constexpr ULONG_PTR MaximumSpins = 4000;

HANDLE ownerValue(DWORD threadId) { return reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(threadId)); }

std::atomic_ref<HANDLE> owner(LPCRITICAL_SECTION section) { return std::atomic_ref<HANDLE>(section->OwningThread); }
std::atomic_ref<LONG> lockWord(LPCRITICAL_SECTION section) { return std::atomic_ref<LONG>(section->LockCount); }
std::atomic_ref<ULONG_PTR> spinCount(LPCRITICAL_SECTION section) {
  return std::atomic_ref<ULONG_PTR>(section->SpinCount);
}

// A section made without a spin count sleeps at once, as its spin count of 0
// says: a spinning waiter takes a short section at every release, so that
// it crosses between processors on each turn, where a sleeping one leaves
// the holder to run on alone.
unsigned spinsOf(LPCRITICAL_SECTION section) {
  return static_cast<unsigned>(spinCount(section).load(std::memory_order_relaxed));
}

// Held by another thread: spin while the holder is likely to leave soon,
// reading the word rather than writing it so that the holder's cache line
// stays put, then sleep on the futex.
[[gnu::noinline]] void enterContended(LPCRITICAL_SECTION section, HANDLE self) {
  auto word = lockWord(section);
  const unsigned spins = spinsOf(section);
  for (unsigned i = 0; i < spins; ++i) {
    qn::cpuRelax();
    LONG expected = word.load(std::memory_order_relaxed);
    if (expected == 0 &&
        word.compare_exchange_weak(expected, 1, std::memory_order_acquire, std::memory_order_relaxed)) {
      owner(section).store(self, std::memory_order_relaxed);
      section->RecursionCount = 1;
      return;
    }
  }
  LONG state = word.exchange(2, std::memory_order_acquire);
  while (state != 0) {
    qn::futexWait(&section->LockCount, 2, qn::Deadline{});
    state = word.exchange(2, std::memory_order_acquire);
  }
  owner(section).store(self, std::memory_order_relaxed);
  section->RecursionCount = 1;
}

[[gnu::noinline]] void wakeOne(LPCRITICAL_SECTION section) { qn::futexWake(&section->LockCount, 1); }

// The thread's first use of the layer: it gets its id, then enters as usual.
[[gnu::noinline]] void enterFirstTime(LPCRITICAL_SECTION section) {
  qn::currentThreadId();
  EnterCriticalSection(section);
}

}  // namespace

BOOL WINAPI InitializeCriticalSectionAndSpinCount(LPCRITICAL_SECTION section, DWORD spins) {
  if (section == nullptr) return FALSE;
  section->DebugInfo = nullptr;
  section->LockCount = 0;
  section->RecursionCount = 0;
  section->OwningThread = nullptr;
  section->LockSemaphore = nullptr;
  section->SpinCount = std::min<ULONG_PTR>(spins & SpinMask, MaximumSpins);
  return TRUE;
}

void WINAPI InitializeCriticalSection(LPCRITICAL_SECTION section) { InitializeCriticalSectionAndSpinCount(section, 0); }

DWORD WINAPI SetCriticalSectionSpinCount(LPCRITICAL_SECTION section, DWORD spins) {
  if (section == nullptr) return 0;
  return static_cast<DWORD>(
      spinCount(section).exchange(std::min<ULONG_PTR>(spins & SpinMask, MaximumSpins), std::memory_order_relaxed));
}

void WINAPI EnterCriticalSection(LPCRITICAL_SECTION section) {
  if (section == nullptr) return;
  const DWORD id = qn::tls::threadId;
  if (id == 0) [[unlikely]] return enterFirstTime(section);
  const HANDLE self = ownerValue(id);
  // The common case first: a free section, one compare-and-swap.
  LONG expected = 0;
  if (lockWord(section).compare_exchange_strong(expected, 1, std::memory_order_acquire, std::memory_order_relaxed))
      [[likely]] {
    owner(section).store(self, std::memory_order_relaxed);
    section->RecursionCount = 1;
    return;
  }
  // Only this thread ever stores its own id, so seeing it means owning it.
  if (owner(section).load(std::memory_order_relaxed) == self) {
    ++section->RecursionCount;
    return;
  }
  enterContended(section, self);
}

BOOL WINAPI TryEnterCriticalSection(LPCRITICAL_SECTION section) {
  if (section == nullptr) return FALSE;
  const HANDLE self = ownerValue(qn::currentThreadId());
  if (owner(section).load(std::memory_order_relaxed) == self) {
    ++section->RecursionCount;
    return TRUE;
  }
  LONG expected = 0;
  if (!lockWord(section).compare_exchange_strong(expected, 1, std::memory_order_acquire, std::memory_order_relaxed)) {
    return FALSE;
  }
  owner(section).store(self, std::memory_order_relaxed);
  section->RecursionCount = 1;
  return TRUE;
}

void WINAPI LeaveCriticalSection(LPCRITICAL_SECTION section) {
  if (section == nullptr) return;
  // A thread that does not own the section has nothing to give back; one
  // without an id yet has never entered any.
  const DWORD id = qn::tls::threadId;
  if (id == 0 || owner(section).load(std::memory_order_relaxed) != ownerValue(id)) return;
  if (--section->RecursionCount > 0) return;
  owner(section).store(nullptr, std::memory_order_relaxed);
  if (lockWord(section).exchange(0, std::memory_order_release) == 2) [[unlikely]] wakeOne(section);
}

void WINAPI DeleteCriticalSection(LPCRITICAL_SECTION) {}
