// Fault translation of plain C++ code, compiled at the optimisation level
// of the test source that includes this (the build gives each its own -O).
// The faults here are ordinary statements, not inline assembly, so that what
// the compiler makes of them is what is tested.
#pragma once

#include <gtest/gtest.h>
#include <qnlith/win32.h>

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>

#ifndef QN_FAULT_SUITE
#error "define QN_FAULT_SUITE before including"
#endif

namespace {

struct Translated {
  DWORD code;
  ULONG_PTR kind;
  ULONG_PTR address;
};

void translate(unsigned code, EXCEPTION_POINTERS* pointers) {
  const EXCEPTION_RECORD& record = *pointers->ExceptionRecord;
  throw Translated{code, record.ExceptionInformation[0], record.ExceptionInformation[1]};
}

struct Covered {
  Covered() { previous = _set_se_translator(translate); }
  ~Covered() { _set_se_translator(previous); }
  _se_translator_function previous;
};

struct Counted {
  static inline int alive = 0;
  Counted() { ++alive; }
  ~Counted() { --alive; }
};

volatile int stopAt = -1;  // never reached; keeps the recursion from looking endless

[[gnu::noinline]] int overflow(int depth) {
  volatile char frame[512];
  frame[0] = static_cast<char>(depth);
  if (depth == stopAt) return 0;
  return overflow(depth + 1) + frame[0];
}

// Every frame has a destructor to run, so each has exception tables.
[[gnu::noinline]] int overflowWithCleanup(int depth) {
  Counted counted;
  volatile char frame[512];
  frame[0] = static_cast<char>(depth);
  if (depth == stopAt) return 0;
  return overflowWithCleanup(depth + 1) + frame[0];
}

int* volatile nowhere = nullptr;

// The sanitizer's null check would report before the processor faults.
[[gnu::noinline]] __attribute__((no_sanitize("undefined"))) int readNull() { return *nowhere; }

[[gnu::noinline]] __attribute__((no_sanitize("undefined"))) int readNullWithCleanup() {
  Counted counted;
  return *nowhere;
}

// Runs body on a thread of its own with a small stack and a translator;
// returns what body returned.
template <typename Body>
DWORD onSmallStack(Body body) {
  static Body* current;
  current = &body;
  HANDLE thread = CreateThread(nullptr, 256 * 1024, [](LPVOID) -> DWORD {
    Covered covered;
    return (*current)();
  }, nullptr, 0, nullptr);
  EXPECT_NE(thread, nullptr);
  if (thread == nullptr) return 0;
  EXPECT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
  DWORD result = 0;
  EXPECT_TRUE(GetExitCodeThread(thread, &result));
  CloseHandle(thread);
  return result;
}

}  // namespace

TEST(QN_FAULT_SUITE, AnOverflowInADirectCallIsCaughtThroughTheRunner) {
  // Twice each: the guard page and the runner stay usable after a fault.
  const DWORD seen = onSmallStack([]() -> DWORD {
    DWORD count = 0;
    for (int round = 0; round < 2; ++round) {
      try {
        qnCallTranslated([] { overflow(0); });
      } catch (const Translated& t) {
        if (t.code == EXCEPTION_STACK_OVERFLOW) ++count;
      }
      try {
        qnCallTranslated([] { overflowWithCleanup(0); });
      } catch (const Translated& t) {
        if (t.code == EXCEPTION_STACK_OVERFLOW) ++count;
      }
    }
    return count;
  });
  EXPECT_EQ(seen, 4u);
}

TEST(QN_FAULT_SUITE, ANullReadIsCaughtThroughTheRunnerWithItsRecord) {
  Covered covered;
  for (auto* read : {readNull, readNullWithCleanup}) {
    try {
      qnCallTranslated([&] { read(); });
      ADD_FAILURE() << "no fault";
    } catch (const Translated& t) {
      EXPECT_EQ(t.code, EXCEPTION_ACCESS_VIOLATION);
      EXPECT_EQ(t.kind, 0u) << "a read";
      EXPECT_EQ(t.address, 0u);
    }
  }
  Counted::alive = 0;
}

TEST(QN_FAULT_SUITE, TheRunnerPassesOtherExceptionsAndNests) {
  Covered covered;
  int ran = 0;
  qnCallTranslated([&] { ++ran; });
  EXPECT_EQ(ran, 1);
  EXPECT_THROW(qnCallTranslated([] { throw std::runtime_error("plain"); }), std::runtime_error);
  qnCallTranslated(nullptr, nullptr);  // nothing to run

  // A fault in an inner runner leaves the inner one; the outer goes on.
  bool innerCaught = false;
  qnCallTranslated([&] {
    try {
      qnCallTranslated([] { readNull(); });
    } catch (const Translated& t) {
      innerCaught = t.code == EXCEPTION_ACCESS_VIOLATION;
    }
    ++ran;
  });
  EXPECT_TRUE(innerCaught);
  EXPECT_EQ(ran, 2);
  // The outer shelter is gone: a fault now is caught by the next runner.
  EXPECT_THROW(qnCallTranslated([] { readNull(); }), Translated);
}

#if !defined(__clang__)
// What g++ guarantees with -fnon-call-exceptions at any level: a load
// through a pointer may trap, so its fault unwinds the frame as a throw would,
// destructors included, without any runner.
TEST(QN_FAULT_SUITE, GccUnwindsAFaultingLoadThroughItsFrames) {
  Covered covered;
  Counted::alive = 0;
  try {
    readNullWithCleanup();
    ADD_FAILURE() << "no fault";
  } catch (const Translated& t) {
    EXPECT_EQ(t.code, EXCEPTION_ACCESS_VIOLATION);
  }
  EXPECT_EQ(Counted::alive, 0) << "the faulting frame's destructor ran";

  // Through the runner the same frame is unwound, not skipped.
  EXPECT_THROW(qnCallTranslated([] { readNullWithCleanup(); }), Translated);
  EXPECT_EQ(Counted::alive, 0);
}
#endif

TEST(QN_FAULT_SUITE, ATranslatorThatReturnsInsideTheRunnerLeavesTheFaultUnhandled) {
  // The fault is not taken: the process ends with it, as without the runner.
  const pid_t child = fork();
  if (child == 0) {
    _set_se_translator([](unsigned, EXCEPTION_POINTERS*) {});
    qnCallTranslated([] { overflowWithCleanup(0); });
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QN_LEVEL_UNDER_ASAN 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(QN_LEVEL_UNDER_ASAN)
  EXPECT_FALSE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the sanitizer's report ends it";
#else
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGSEGV);
#endif
}
