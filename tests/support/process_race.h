// Two processes trying one thing at the same instant, round after round:
// both children wait at a barrier in shared memory, make their attempt, and
// hold what it gave them until the parent has counted the round.
#pragma once

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <new>

struct RaceTally {
  int winners[3] = {};  // rounds won by nobody, by one child, by both
  int errors = 0;       // rounds in which an attempt failed otherwise
};

// attempt(child, got) sets got to 'y' (won), 'n' (refused) or 'e' (failed
// otherwise) and returns whatever holds the win; its destructor gives it back.
template <typename Attempt>
RaceTally raceTwoProcesses(int rounds, Attempt attempt) {
  struct Shared {
    std::atomic<int> arrived, answered, tallied;
    std::atomic<char> got[2];
  };
  RaceTally tally;
  void* memory = ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) {
    ADD_FAILURE() << "no shared memory for the race";
    return tally;
  }
  auto* shared = new (memory) Shared{};
  pid_t pids[2];
  for (int child = 0; child < 2; ++child) {
    pids[child] = ::fork();
    if (pids[child] != 0) continue;
    for (int round = 1; round <= rounds; ++round) {
      // Each child has given back the last round's win before it arrives.
      shared->arrived.fetch_add(1);
      while (shared->arrived.load() < 2 * round) {
      }
      char got = 'e';
      const auto held = attempt(child, got);
      shared->got[child] = got;
      shared->answered.fetch_add(1);
      while (shared->tallied.load() < round) {
      }
    }
    ::_exit(0);
  }
  for (int round = 1; round <= rounds; ++round) {
    while (shared->answered.load() < 2 * round) {
    }
    ++tally.winners[(shared->got[0] == 'y') + (shared->got[1] == 'y')];
    tally.errors += shared->got[0] == 'e' || shared->got[1] == 'e';
    shared->tallied.store(round);
  }
  for (pid_t pid : pids) {
    int status = 0;
    ::waitpid(pid, &status, 0);
  }
  ::munmap(memory, sizeof(Shared));
  return tally;
}
