// Thread-local slots, critical sections and fault translation as a
// threaded application uses them: every slot at once on many threads, locks
// fought over by several threads at every spin count, faults on several
// threads at the same time.
#include <gtest/gtest.h>
#include <qnlith/qnlith.h>
#include <qnlith/win32.h>

#include <atomic>
#include <barrier>
#include <thread>
#include <vector>

#include "support/wait_helpers.h"

namespace {

constexpr DWORD AllSlots = 1088;

std::uintptr_t tag(unsigned thread, DWORD slot) { return (std::uintptr_t{thread} << 32) | (slot + 1); }

}  // namespace

TEST(FaultsScenario, EverySlotOnManyThreadsAndFreeingEmptiesThemAll) {
  std::vector<DWORD> slots;
  for (DWORD i = 0; i < AllSlots; ++i) {
    const DWORD slot = TlsAlloc();
    if (slot == TLS_OUT_OF_INDEXES) break;
    slots.push_back(slot);
  }
  // Slots the test program took before keep theirs; all the rest are here.
  ASSERT_GT(slots.size(), AllSlots - 64);
  SetLastError(0);
  EXPECT_EQ(TlsAlloc(), TLS_OUT_OF_INDEXES);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NO_MORE_ITEMS));

  constexpr unsigned Threads = 6;
  std::barrier step(Threads + 1);
  std::atomic<unsigned> wrong{0};
  std::vector<std::thread> threads;
  for (unsigned t = 0; t < Threads; ++t) {
    threads.emplace_back([&, t] {
      for (DWORD slot : slots) TlsSetValue(slot, reinterpret_cast<LPVOID>(tag(t, slot)));
      step.arrive_and_wait();  // all set
      step.arrive_and_wait();  // the even ones freed
      for (std::size_t i = 0; i < slots.size(); ++i) {
        SetLastError(7);
        const auto value = reinterpret_cast<std::uintptr_t>(TlsGetValue(slots[i]));
        const std::uintptr_t expected = i % 2 == 0 ? 0 : tag(t, slots[i]);
        if (value != expected || GetLastError() != 0) ++wrong;
      }
      step.arrive_and_wait();  // read
    });
  }
  step.arrive_and_wait();
  for (std::size_t i = 0; i < slots.size(); i += 2) EXPECT_TRUE(TlsFree(slots[i]));
  step.arrive_and_wait();
  step.arrive_and_wait();
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0u);

  // Taken again, a freed slot reads empty everywhere, also for a value set
  // before the free by a thread that is still running.
  for (std::size_t i = 0; i < slots.size(); i += 2) EXPECT_EQ(TlsAlloc(), slots[i]);
  for (std::size_t i = 0; i < slots.size(); i += 2) EXPECT_EQ(TlsGetValue(slots[i]), nullptr);
  for (DWORD slot : slots) EXPECT_TRUE(TlsFree(slot));
}

TEST(FaultsScenario, CriticalSectionsFoughtOverAtEverySpinCount) {
  constexpr unsigned Threads = 4, Rounds = 20000;
  for (DWORD spins : {0u, 1u, 4000u}) {
    SCOPED_TRACE(spins);
    CRITICAL_SECTION sections[3];
    for (auto& s : sections) ASSERT_TRUE(InitializeCriticalSectionAndSpinCount(&s, spins));
    long counters[3] = {};  // each guarded by its section alone
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < Threads; ++t) {
      threads.emplace_back([&, t] {
        for (unsigned i = 0; i < Rounds; ++i) {
          const unsigned which = (i + t) % 3;
          EnterCriticalSection(&sections[which]);
          if (TryEnterCriticalSection(&sections[which])) ++counters[which];  // the owner enters again
          ++counters[which];
          LeaveCriticalSection(&sections[which]);
          LeaveCriticalSection(&sections[which]);
        }
      });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(counters[0] + counters[1] + counters[2], 2L * Threads * Rounds);
    for (auto& s : sections) DeleteCriticalSection(&s);
  }

  // A thread asleep in the section wakes only when the owner has left every
  // level it entered.
  cCriticalSection section;
  section.Lock();
  section.Lock();
  section.Lock();
  std::atomic<bool> entered{false};
  std::thread waiter([&] {
    section.Lock();
    entered = true;
    section.Unlock();
  });
  section.Unlock();
  section.Unlock();
  EXPECT_TRUE(qntest::staysFalse([&] { return entered.load(); }));
  section.Unlock();
  waiter.join();
  EXPECT_TRUE(entered);
}

namespace {

struct Translated {
  DWORD code;
};

volatile int stopAt = -1;

[[gnu::noinline]] int overflow(int depth) {
  volatile char frame[512];
  frame[0] = static_cast<char>(depth);
  if (depth == stopAt) return 0;
  return overflow(depth + 1) + frame[0];
}

}  // namespace

TEST(FaultsScenario, ManyThreadsOverflowAtOnce) {
  constexpr unsigned Threads = 8, Rounds = 3;
  std::vector<HANDLE> threads;
  for (unsigned t = 0; t < Threads; ++t) {
    threads.push_back(CreateThread(nullptr, 192 * 1024, [](LPVOID) -> DWORD {
      _set_se_translator([](unsigned code, EXCEPTION_POINTERS*) { throw Translated{code}; });
      DWORD caught = 0;
      for (unsigned round = 0; round < Rounds; ++round) {
        try {
          qnCallTranslated([] { overflow(0); });
        } catch (const Translated& t) {
          if (t.code == EXCEPTION_STACK_OVERFLOW) ++caught;
        }
      }
      return caught;
    }, nullptr, 0, nullptr));
    ASSERT_NE(threads.back(), nullptr);
  }
  for (HANDLE thread : threads) {
    ASSERT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
    DWORD caught = 0;
    EXPECT_TRUE(GetExitCodeThread(thread, &caught));
    EXPECT_EQ(caught, Rounds);
    CloseHandle(thread);
  }
}
