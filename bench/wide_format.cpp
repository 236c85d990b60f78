// The layer's wide printf beside glibc's swprintf on the same kind of text
// (glibc reads %ls where the Windows dialect reads %s).
#include <benchmark/benchmark.h>
#include <qnlith/win32.h>

#include <cwchar>

#include "baseline_report.h"

namespace {

void LayerSnwprintf(benchmark::State& state) {
  wchar_t buffer[256];
  for (auto _ : state) {
    int n = _snwprintf_s(buffer, 256, _TRUNCATE, L"%s :: %s (0x%08x) at %u", L"cFile", L"read", 0xBEEFu, 4096u);
    benchmark::DoNotOptimize(n);
    benchmark::DoNotOptimize(buffer);
  }
}
BENCHMARK(LayerSnwprintf);

void GlibcSwprintf(benchmark::State& state) {
  wchar_t buffer[256];
  for (auto _ : state) {
    int n = std::swprintf(buffer, 256, L"%ls :: %ls (0x%08x) at %u", L"cFile", L"read", 0xBEEFu, 4096u);
    benchmark::DoNotOptimize(n);
    benchmark::DoNotOptimize(buffer);
  }
}
BENCHMARK(GlibcSwprintf);

void LayerSnwprintfFloat(benchmark::State& state) {
  wchar_t buffer[256];
  for (auto _ : state) {
    int n = _snwprintf_s(buffer, 256, _TRUNCATE, L"%.3f %e", 3.14159, 12345.678);
    benchmark::DoNotOptimize(n);
    benchmark::DoNotOptimize(buffer);
  }
}
BENCHMARK(LayerSnwprintfFloat);

void GlibcSwprintfFloat(benchmark::State& state) {
  wchar_t buffer[256];
  for (auto _ : state) {
    int n = std::swprintf(buffer, 256, L"%.3f %e", 3.14159, 12345.678);
    benchmark::DoNotOptimize(n);
    benchmark::DoNotOptimize(buffer);
  }
}
BENCHMARK(GlibcSwprintfFloat);

}  // namespace

int main(int argc, char** argv) {
  return qnbench::runWithRatios(argc, argv,
                                {{"LayerSnwprintf", "GlibcSwprintf"},
                                 {"LayerSnwprintfFloat", "GlibcSwprintfFloat"}});
}
