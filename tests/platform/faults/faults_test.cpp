#include <fcntl.h>
#include <gtest/gtest.h>
#include <qnlith/win32.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <thread>

#include "support/fault_helpers.h"

namespace {

struct Translated {
  unsigned code = 0;
  EXCEPTION_RECORD record{};
  CONTEXT context{};
  bool nested = false;
};

void translateToTest(unsigned code, EXCEPTION_POINTERS* pointers) {
  Translated t;
  t.code = code;
  t.record = *pointers->ExceptionRecord;
  t.context = *pointers->ContextRecord;
  t.nested = pointers->ExceptionRecord->ExceptionRecord != nullptr;
  throw t;
}

template <typename Body>
Translated fault(Body body) {
  try {
    body();
  } catch (const Translated& t) {
    return t;
  }
  ADD_FAILURE() << "no structured exception arrived";
  return {};
}

// Installs the test translator on the calling thread for one scope.
struct Covered {
  Covered() { previous = _set_se_translator(translateToTest); }
  ~Covered() { _set_se_translator(previous); }
  _se_translator_function previous;
};

void resetFloatingPoint() {
  unsigned standard = 0x1F80;
  asm volatile("ldmxcsr %0\n\tfninit" : : "m"(standard));
}

std::uintptr_t address(const void* p) { return reinterpret_cast<std::uintptr_t>(p); }

// Runs body in a child process; returns its wait status.
template <typename Body>
int inChild(Body body) {
  const pid_t child = fork();
  if (child == 0) {
    body();
    _exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return status;
}

}  // namespace

TEST(Faults, ProcessorFaultsArriveWithTheirWin32Records) {
  Covered covered;
  // Twice: the translator stays in force after a throw.
  for (int round = 0; round < 2; ++round) {
    Translated t = fault([] { faults::divide(7, 0); });
    EXPECT_EQ(t.code, EXCEPTION_INT_DIVIDE_BY_ZERO);
    EXPECT_EQ(t.record.ExceptionCode, EXCEPTION_INT_DIVIDE_BY_ZERO);
    EXPECT_GT(address(t.record.ExceptionAddress), address(reinterpret_cast<void*>(faults::divideImpl)));
    EXPECT_LT(address(t.record.ExceptionAddress), address(reinterpret_cast<void*>(faults::divideImpl)) + 32);
    EXPECT_EQ(t.context.Rip, address(t.record.ExceptionAddress));
    EXPECT_FALSE(t.nested);

    const int zero = 0, minusOne = -1;
    EXPECT_EQ(fault([&] { faults::divideByMemory(5, &zero); }).code, EXCEPTION_INT_DIVIDE_BY_ZERO);
    EXPECT_EQ(fault([] { faults::divide(INT_MIN, -1); }).code, EXCEPTION_INT_OVERFLOW);
    EXPECT_EQ(fault([&] { faults::divideByMemory(INT_MIN, &minusOne); }).code, EXCEPTION_INT_OVERFLOW);

    t = fault([] { faults::read(0x10); });
    EXPECT_EQ(t.code, EXCEPTION_ACCESS_VIOLATION);
    ASSERT_EQ(t.record.NumberParameters, 2u);
    EXPECT_EQ(t.record.ExceptionInformation[0], 0u) << "read";
    EXPECT_EQ(t.record.ExceptionInformation[1], 0x10u);
    EXPECT_GE(address(t.record.ExceptionAddress), address(reinterpret_cast<void*>(faults::readImpl)));

    t = fault([] { faults::write(0x28); });
    EXPECT_EQ(t.code, EXCEPTION_ACCESS_VIOLATION);
    EXPECT_EQ(t.record.ExceptionInformation[0], 1u) << "write";
    EXPECT_EQ(t.record.ExceptionInformation[1], 0x28u);

    // An address outside the canonical range is reported as all ones.
    t = fault([] { faults::read(0x8000000000000000u); });
    EXPECT_EQ(t.code, EXCEPTION_ACCESS_VIOLATION);
    EXPECT_EQ(t.record.ExceptionInformation[1], ~ULONG_PTR{0});

    t = fault([] { faults::illegal(); });
    EXPECT_EQ(t.code, EXCEPTION_ILLEGAL_INSTRUCTION);
    EXPECT_EQ(*static_cast<const unsigned char*>(t.record.ExceptionAddress), 0x0F) << "the ud2 itself";

    EXPECT_EQ(fault([] { faults::privileged(); }).code, EXCEPTION_PRIV_INSTRUCTION);

    t = fault([] { faults::breakpoint(); });
    EXPECT_EQ(t.code, EXCEPTION_BREAKPOINT);
    EXPECT_EQ(*static_cast<const unsigned char*>(t.record.ExceptionAddress), 0xCC) << "the int3 itself";

    EXPECT_EQ(fault([] { faults::singleStep(); }).code, EXCEPTION_SINGLE_STEP);
  }
}

TEST(Faults, FloatingPointGroup) {
  Covered covered;
  struct Case {
    double a, b;
    unsigned unmask;
    int operation;
    DWORD code;
  };
  const double tiny = 2.2250738585072014e-308, denormal = 1e-310, huge = 1.7976931348623157e308;
  const Case cases[] = {
      {1.0, 0.0, faults::ZeroDivide, 0, EXCEPTION_FLT_DIVIDE_BY_ZERO},
      {0.0, 0.0, faults::Invalid, 0, EXCEPTION_FLT_INVALID_OPERATION},
      {huge, 4.0, faults::Overflow, 1, EXCEPTION_FLT_OVERFLOW},
      {tiny, 1e-10, faults::Underflow, 1, EXCEPTION_FLT_UNDERFLOW},
      {denormal, 1.0, faults::Denormal, 2, EXCEPTION_FLT_DENORMAL_OPERAND},
      {1.0, 3.0, faults::Inexact, 0, EXCEPTION_FLT_INEXACT_RESULT},
  };
  for (const Case& c : cases) {
    Translated t = fault([&] { faults::sse(c.a, c.b, c.unmask, c.operation); });
    resetFloatingPoint();
    EXPECT_EQ(t.code, c.code) << std::hex << "unmasked 0x" << c.unmask;
  }
  Translated t = fault([] { faults::x87Stack(); });
  resetFloatingPoint();
  EXPECT_EQ(t.code, EXCEPTION_FLT_STACK_CHECK);
}

TEST(Faults, StackOverflowOnTheGuardPage) {
  Covered covered;
  // On a thread of its own with a small stack, and twice: the guard page
  // stays and the next overflow is translated as well.
  HANDLE thread = CreateThread(nullptr, 256 * 1024, [](LPVOID) -> DWORD {
    Covered inner;
    DWORD seen = 0;
    for (int round = 0; round < 2; ++round) {
      Translated t = fault([] { faults::overflowStack(0); });
      if (t.code == EXCEPTION_STACK_OVERFLOW) ++seen;
    }
    return seen;
  }, nullptr, 0, nullptr);
  ASSERT_NE(thread, nullptr);
  ASSERT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
  DWORD seen = 0;
  EXPECT_TRUE(GetExitCodeThread(thread, &seen));
  EXPECT_EQ(seen, 2u);
  CloseHandle(thread);
}

TEST(Faults, BusErrors) {
  Covered covered;
  // A mapped file cut short: the page can't be brought in.
  char path[] = "/tmp/qnlith-faults-XXXXXX";
  const int file = mkstemp(path);
  ASSERT_GE(file, 0);
  ASSERT_EQ(ftruncate(file, 4096), 0);
  void* view = mmap(nullptr, 4096, PROT_READ, MAP_SHARED, file, 0);
  ASSERT_NE(view, MAP_FAILED);
  ASSERT_EQ(ftruncate(file, 0), 0);
  Translated t = fault([&] { faults::read(address(view)); });
  EXPECT_EQ(t.code, EXCEPTION_IN_PAGE_ERROR);
  EXPECT_EQ(t.record.ExceptionInformation[0], 0u);
  EXPECT_EQ(t.record.ExceptionInformation[1], address(view));
  munmap(view, 4096);
  close(file);
  unlink(path);
}

TEST(Faults, RaiseExceptionKeepsItsArguments) {
  Covered covered;
  ULONG_PTR arguments[20];
  for (ULONG_PTR i = 0; i < 20; ++i) arguments[i] = 100 + i;
  Translated t = fault([&] { RaiseException(0xE0001234, EXCEPTION_NONCONTINUABLE | 0x40, 20, arguments); });
  EXPECT_EQ(t.code, 0xE0001234u);
  EXPECT_EQ(t.record.ExceptionFlags, static_cast<DWORD>(EXCEPTION_NONCONTINUABLE));
  ASSERT_EQ(t.record.NumberParameters, static_cast<DWORD>(EXCEPTION_MAXIMUM_PARAMETERS));
  EXPECT_EQ(t.record.ExceptionInformation[0], 100u);
  EXPECT_EQ(t.record.ExceptionInformation[14], 114u);
  EXPECT_NE(t.record.ExceptionAddress, nullptr);

  t = fault([] { RaiseException(7, 0, 3, nullptr); });
  EXPECT_EQ(t.code, 7u);
  EXPECT_EQ(t.record.ExceptionFlags, 0u);
  EXPECT_EQ(t.record.NumberParameters, 0u);
}

TEST(Faults, TranslatorsAreThePerThreadOnesAndReturnThePrevious) {
  EXPECT_EQ(_set_se_translator(translateToTest), nullptr);
  EXPECT_EQ(_set_se_translator(translateToTest), translateToTest);
  std::thread([] { EXPECT_EQ(_set_se_translator(nullptr), nullptr); }).join();
  EXPECT_EQ(_set_se_translator(nullptr), translateToTest);

  terminate_function handler = [] {};
  EXPECT_EQ(set_terminate(handler), nullptr);
  std::thread([] { EXPECT_EQ(set_terminate(nullptr), nullptr); }).join();
  EXPECT_EQ(set_terminate(nullptr), handler);
  EXPECT_EQ(set_unexpected(handler), nullptr);
  EXPECT_EQ(set_unexpected(nullptr), handler);
}

TEST(Faults, AThreadWithoutATranslatorCrashesAsBefore) {
  // Another thread has a translator; this child's faulting thread has none.
  Covered covered;
  const int status = inChild([] { std::thread([] { faults::read(0x10); }).join(); });
#ifdef QN_UNDER_ASAN
  // The sanitizer's own report of the fault is the behaviour from before.
  EXPECT_FALSE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
#else
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGSEGV);
#endif
  const int trapped = inChild([] {
    _set_se_translator(translateToTest);
    _set_se_translator(nullptr);
    faults::breakpoint();
  });
  ASSERT_TRUE(WIFSIGNALED(trapped));
  EXPECT_EQ(WTERMSIG(trapped), SIGTRAP);

  // An exception that nothing takes ends the process.
  const int raised = inChild([] {
    _set_se_translator(nullptr);
    RaiseException(0xE0000001, 0, 0, nullptr);
  });
  ASSERT_TRUE(WIFSIGNALED(raised));
  EXPECT_EQ(WTERMSIG(raised), SIGABRT);
}

TEST(Faults, TerminateAndUnexpectedHandlersArePerThread) {
  int channel[2];
  ASSERT_EQ(pipe(channel), 0);
  static int writeEnd;
  writeEnd = channel[1];
  const int status = inChild([] {
    set_terminate([] { (void)!::write(writeEnd, "T", 1); });
    set_unexpected([] { (void)!::write(writeEnd, "U", 1); });
    unexpected();  // the thread's unexpected handler, then its terminate handler, then the end
  });
  close(channel[1]);
  char seen[4] = {};
  EXPECT_EQ(::read(channel[0], seen, sizeof seen), 2);
  EXPECT_STREQ(seen, "UT");
  close(channel[0]);
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGABRT);
}

TEST(Faults, ThreadNameExceptionNamesTheThreadAndContinues) {
  Covered covered;  // the raise never reaches the translator
  HANDLE thread = CreateThread(nullptr, 0, [](LPVOID) -> DWORD {
    Sleep(INFINITE);
    return 0;
  }, nullptr, CREATE_SUSPENDED, nullptr);
  ASSERT_NE(thread, nullptr);
  const DWORD id = GetThreadId(thread);
  const ULONG_PTR record[4] = {0x1000, reinterpret_cast<ULONG_PTR>("worker-of-the-qnlith-tests"), id, 0};
  RaiseException(0x406D1388, 0, 4, record);
  char path[64], name[32] = {};
  std::snprintf(path, sizeof path, "/proc/self/task/%u/comm", id);
  const int comm = open(path, O_RDONLY);
  ASSERT_GE(comm, 0);
  EXPECT_GT(::read(comm, name, sizeof name - 1), 0);
  close(comm);
  EXPECT_STREQ(name, "worker-of-the-q\n") << "15 bytes, as ps shows it";

  const ULONG_PTR self[4] = {0x1000, reinterpret_cast<ULONG_PTR>("main\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9"), 0xFFFFFFFF, 0};
  char before[16] = {};
  pthread_getname_np(pthread_self(), before, sizeof before);
  RaiseException(0x406D1388, 0, 4, self);
  char after[16] = {};
  pthread_getname_np(pthread_self(), after, sizeof after);
  EXPECT_STREQ(after, "main\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9") << "cut at a character boundary";
  pthread_setname_np(pthread_self(), before);
  CloseHandle(thread);  // the thread stays, asleep, until the process ends
}
