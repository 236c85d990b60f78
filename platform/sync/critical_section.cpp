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
constexpr ULONG_PTR DefaultSpins = 32;

HANDLE ownerValue(DWORD threadId) { return reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(threadId)); }

std::atomic_ref<HANDLE> owner(LPCRITICAL_SECTION section) { return std::atomic_ref<HANDLE>(section->OwningThread); }
std::atomic_ref<LONG> lockWord(LPCRITICAL_SECTION section) { return std::atomic_ref<LONG>(section->LockCount); }
std::atomic_ref<ULONG_PTR> spinCount(LPCRITICAL_SECTION section) {
  return std::atomic_ref<ULONG_PTR>(section->SpinCount);
}

unsigned spinsOf(LPCRITICAL_SECTION section) {
  const ULONG_PTR spins = spinCount(section).load(std::memory_order_relaxed);
  return static_cast<unsigned>(spins == 0 ? DefaultSpins : spins);
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
  const HANDLE self = ownerValue(qn::currentThreadId());
  // Only this thread ever stores its own id, so seeing it means owning it.
  if (owner(section).load(std::memory_order_relaxed) == self) {
    ++section->RecursionCount;
    return;
  }
  qn::lockFutexWord(lockWord(section), &section->LockCount, spinsOf(section));
  owner(section).store(self, std::memory_order_relaxed);
  section->RecursionCount = 1;
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
  // A thread that does not own the section has nothing to give back.
  if (owner(section).load(std::memory_order_relaxed) != ownerValue(qn::currentThreadId())) return;
  if (--section->RecursionCount > 0) return;
  owner(section).store(nullptr, std::memory_order_relaxed);
  qn::unlockFutexWord(lockWord(section), &section->LockCount);
}

void WINAPI DeleteCriticalSection(LPCRITICAL_SECTION) {}
