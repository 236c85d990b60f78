// Fault translation and thread-local slots beside their raw POSIX and
// standard-library counterparts.
#include <benchmark/benchmark.h>
#include <pthread.h>
#include <qnlith/win32.h>
#include <setjmp.h>
#include <signal.h>

#include <cstdint>

#include "baseline_report.h"

namespace {

struct Translated {
  DWORD code;
};

void translate(unsigned code, EXCEPTION_POINTERS*) { throw Translated{code}; }

[[gnu::noinline]] int readAt(std::uintptr_t address) {
  int value;
  asm volatile("movl (%1), %0" : "=r"(value) : "r"(address) : "memory");
  return value;
}
int (*volatile readThrough)(std::uintptr_t) = readAt;

// A bad read translated into a thrown exception and caught.
void TranslatedAccessViolation(benchmark::State& state) {
  const _se_translator_function previous = _set_se_translator(translate);
  for (auto _ : state) {
    try {
      readThrough(0x10);
    } catch (const Translated& t) {
      benchmark::DoNotOptimize(t.code);
    }
  }
  _set_se_translator(previous);
}
BENCHMARK(TranslatedAccessViolation);

// The same inside qnCallTranslated, which first checks that every frame can
// be unwound from the faulting instruction.
void TranslatedAccessViolationInRunner(benchmark::State& state) {
  const _se_translator_function previous = _set_se_translator(translate);
  for (auto _ : state) {
    try {
      qnCallTranslated([] { readThrough(0x10); });
    } catch (const Translated& t) {
      benchmark::DoNotOptimize(t.code);
    }
  }
  _set_se_translator(previous);
}
BENCHMARK(TranslatedAccessViolationInRunner);

// Baseline: the same fault left by siglongjmp from a raw SIGSEGV handler.
sigjmp_buf escape;
void jumpOut(int) { siglongjmp(escape, 1); }

void RawSignalWithLongjmp(benchmark::State& state) {
  struct sigaction action {}, previous{};
  action.sa_handler = jumpOut;
  action.sa_flags = SA_NODEFER;
  sigaction(SIGSEGV, &action, &previous);
  for (auto _ : state) {
    if (sigsetjmp(escape, 1) == 0) readThrough(0x10);
  }
  sigaction(SIGSEGV, &previous, nullptr);
}
BENCHMARK(RawSignalWithLongjmp);

// RaiseException to a throwing translator, beside a plain C++ throw.
void RaiseExceptionTranslated(benchmark::State& state) {
  const _se_translator_function previous = _set_se_translator(translate);
  for (auto _ : state) {
    try {
      RaiseException(0xE0000001, 0, 0, nullptr);
    } catch (const Translated& t) {
      benchmark::DoNotOptimize(t.code);
    }
  }
  _set_se_translator(previous);
}
BENCHMARK(RaiseExceptionTranslated);

[[gnu::noinline]] void throwPlain() { throw Translated{1}; }
void (*volatile throwThrough)() = throwPlain;

void PlainCxxThrow(benchmark::State& state) {
  for (auto _ : state) {
    try {
      throwThrough();
    } catch (const Translated& t) {
      benchmark::DoNotOptimize(t.code);
    }
  }
}
BENCHMARK(PlainCxxThrow);

void TlsGetValueRead(benchmark::State& state) {
  const DWORD slot = TlsAlloc();
  int value = 0;
  TlsSetValue(slot, &value);
  for (auto _ : state) benchmark::DoNotOptimize(TlsGetValue(slot));
  TlsFree(slot);
}
BENCHMARK(TlsGetValueRead);

void PthreadGetspecificRead(benchmark::State& state) {
  pthread_key_t key;
  pthread_key_create(&key, nullptr);
  int value = 0;
  pthread_setspecific(key, &value);
  for (auto _ : state) benchmark::DoNotOptimize(pthread_getspecific(key));
  pthread_key_delete(key);
}
BENCHMARK(PthreadGetspecificRead);

}  // namespace

int main(int argc, char** argv) {
  return qnbench::runWithRatios(argc, argv,
                                {{"TranslatedAccessViolation", "RawSignalWithLongjmp"},
                                 {"TranslatedAccessViolationInRunner", "RawSignalWithLongjmp"},
                                 {"RaiseExceptionTranslated", "PlainCxxThrow"},
                                 {"TlsGetValueRead", "PthreadGetspecificRead"}});
}
