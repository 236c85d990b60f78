#include "sync/futex.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

namespace qn {

namespace {

timespec now() {
  timespec t{};
  clock_gettime(CLOCK_MONOTONIC, &t);
  return t;
}

}  // namespace

Deadline Deadline::after(DWORD milliseconds) {
  Deadline d;
  if (milliseconds == INFINITE) return d;
  d.infinite_ = false;
  d.at_ = now();
  d.at_.tv_sec += milliseconds / 1000;
  d.at_.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000L;
  if (d.at_.tv_nsec >= 1000000000L) {
    d.at_.tv_nsec -= 1000000000L;
    d.at_.tv_sec += 1;
  }
  return d;
}

bool Deadline::passed() const {
  if (infinite_) return false;
  const timespec t = now();
  return t.tv_sec > at_.tv_sec || (t.tv_sec == at_.tv_sec && t.tv_nsec >= at_.tv_nsec);
}

void futexWait(const void* word, std::uint32_t expected, const Deadline& deadline) {
  // FUTEX_WAIT_BITSET takes an absolute time on the monotonic clock, so a
  // wait that is woken early and sleeps again keeps its original deadline.
  syscall(SYS_futex, word, FUTEX_WAIT_BITSET_PRIVATE, expected, deadline.at(), nullptr,
          FUTEX_BITSET_MATCH_ANY);
}

void futexWake(const void* word, int count) { syscall(SYS_futex, word, FUTEX_WAKE_PRIVATE, count); }

DWORD monotonicMilliseconds() {
  const timespec t = now();
  return static_cast<DWORD>(static_cast<std::uint64_t>(t.tv_sec) * 1000u + static_cast<std::uint64_t>(t.tv_nsec) / 1000000u);
}

}  // namespace qn
