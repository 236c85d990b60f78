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
      if (run.error_occurred) continue;
      const std::string name = run.run_name.str();
      // Figures of one thread alone count its processor time, which other
      // programs on the machine disturb least; the others count real time.
      const bool real = name.find("/real_time") != std::string::npos;
      const double time = real ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime();
      if (run.run_type == Run::RT_Iteration) {
        times_[name].push_back(time);
      } else if (run.aggregate_name == "median") {
        medians_[name] = time;
      }
    }
  }

  // Prints subject / baseline for every pair that ran; with repetitions,
  // of the median times, which a loaded machine disturbs least.
  void printRatios(const std::vector<std::pair<std::string, std::string>>& pairs) const {
    std::printf("\n%-44s %10s\n", "figure / baseline", "ratio");
    for (const auto& [subject, baseline] : pairs) {
      const double s = medianOf(subject);
      const double b = medianOf(baseline);
      if (s <= 0 || b <= 0) continue;
      const double ratio = s / b;
      std::printf("%-44s %10.2f\n", subject.c_str(), ratio);
    }
  }

 private:
  double medianOf(const std::string& name) const {
    if (auto m = medians_.find(name); m != medians_.end()) return m->second;
    auto t = times_.find(name);
    return t == times_.end() ? 0 : median(t->second);
  }

  static double median(std::vector<double> times) {
    std::sort(times.begin(), times.end());
    const std::size_t n = times.size();
    return n % 2 == 1 ? times[n / 2] : (times[n / 2 - 1] + times[n / 2]) / 2;
  }

  std::map<std::string, std::vector<double>> times_;  // time per iteration, one per repetition
  std::map<std::string, double> medians_;             // when only aggregates are reported
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
