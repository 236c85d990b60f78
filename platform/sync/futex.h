// Blocking on a 32-bit word with the Linux futex, and the deadlines of the
// Win32 time-outs. Every blocking wait of the layer sleeps here; nothing
// spins for longer than a short, bounded burst.
#pragma once

#include <atomic>
#include <cstdint>
#include <ctime>
#include <type_traits>
#include <qnlith/win32/types.h>

namespace qn {

// An absolute point on the monotonic clock, or none (INFINITE).
class Deadline {
 public:
  static Deadline after(DWORD milliseconds);
  bool infinite() const { return infinite_; }
  bool passed() const;
  const timespec* at() const { return infinite_ ? nullptr : &at_; }

 private:
  bool infinite_ = true;
  timespec at_{};
};

// Sleeps while *word == expected, until woken, the deadline passes or a
// signal arrives; callers re-check their condition whatever the reason.
void futexWait(const void* word, std::uint32_t expected, const Deadline& deadline);
void futexWake(const void* word, int count);

template <typename T>
void futexWait(const std::atomic<T>& word, std::uint32_t expected, const Deadline& deadline) {
  static_assert(sizeof(T) == 4 || sizeof(T) == 8);
  futexWait(static_cast<const void*>(&word), expected, deadline);  // low half on little-endian
}

// One step of a short spin: a processor pause.
inline void cpuRelax() { __builtin_ia32_pause(); }

// A three-state futex lock on a 32-bit word: 0 free, 1 held, 2 held with
// sleepers. `word` is a std::atomic or std::atomic_ref over `address`.
template <typename Word>
void lockFutexWord(Word&& word, const void* address, unsigned spins) {
  using T = typename std::remove_cvref_t<Word>::value_type;
  T c = 0;
  if (word.compare_exchange_strong(c, 1, std::memory_order_acquire, std::memory_order_relaxed)) return;
  for (unsigned i = 0; i < spins; ++i) {
    cpuRelax();
    c = 0;
    if (word.load(std::memory_order_relaxed) == 0 &&
        word.compare_exchange_strong(c, 1, std::memory_order_acquire, std::memory_order_relaxed)) {
      return;
    }
  }
  c = word.exchange(2, std::memory_order_acquire);
  while (c != 0) {
    futexWait(address, 2, Deadline{});
    c = word.exchange(2, std::memory_order_acquire);
  }
}

template <typename Word>
void unlockFutexWord(Word&& word, const void* address) {
  if (word.exchange(0, std::memory_order_release) == 2) futexWake(address, 1);
}

// Milliseconds on the monotonic clock, for message times and Sleep.
DWORD monotonicMilliseconds();

}  // namespace qn
