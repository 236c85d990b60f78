// A console report that ends with each figure as a multiple of the
// baseline measured beside it in the same run.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace qnbench {

class BaselineReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.error_occurred || run.run_type != Run::RT_Iteration) continue;
      times_[run.benchmark_name()].push_back(run.GetAdjustedRealTime());
    }
  }

  // Prints subject / baseline for every pair that ran; with repetitions,
  // of the median times, which a loaded machine disturbs least.
  void printRatios(const std::vector<std::pair<std::string, std::string>>& pairs) const {
    std::printf("\n%-44s %10s\n", "figure / baseline", "ratio");
    for (const auto& [subject, baseline] : pairs) {
      auto s = times_.find(subject);
      auto b = times_.find(baseline);
      if (s == times_.end() || b == times_.end()) continue;
      const double ratio = median(s->second) / median(b->second);
      std::printf("%-44s %10.2f\n", subject.c_str(), ratio);
    }
  }

 private:
  static double median(std::vector<double> times) {
    std::sort(times.begin(), times.end());
    const std::size_t n = times.size();
    return n % 2 == 1 ? times[n / 2] : (times[n / 2 - 1] + times[n / 2]) / 2;
  }

  std::map<std::string, std::vector<double>> times_;  // real time per iteration, one per repetition
};

inline int runWithRatios(int argc, char** argv, const std::vector<std::pair<std::string, std::string>>& pairs) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  BaselineReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.printRatios(pairs);
  benchmark::Shutdown();
  return 0;
}

}  // namespace qnbench
