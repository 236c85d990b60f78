// cThreadSafeOperations::increment (through the layer's InterlockedIncrement)
// beside std::atomic's fetch_add on the same kind of variable.
#include <benchmark/benchmark.h>
#include <qnlith/qnlith.h>

#include <atomic>

#include "baseline_report.h"

static void ThreadSafeIncrement(benchmark::State& state) {
  static DWORD value = 0;
  for (auto _ : state) benchmark::DoNotOptimize(cThreadSafeOperations::increment(value));
}
BENCHMARK(ThreadSafeIncrement)->Threads(1)->Threads(2);

static void AtomicFetchAdd(benchmark::State& state) {
  static std::atomic<std::uint32_t> value{0};
  for (auto _ : state) benchmark::DoNotOptimize(value.fetch_add(1) + 1);
}
BENCHMARK(AtomicFetchAdd)->Threads(1)->Threads(2);

int main(int argc, char** argv) {
  return qnbench::runWithRatios(argc, argv,
                                {{"ThreadSafeIncrement/threads:1", "AtomicFetchAdd/threads:1"},
                                 {"ThreadSafeIncrement/threads:2", "AtomicFetchAdd/threads:2"}});
}
