// Runs the registered benchmarks and prints each measured one as a ratio to a baseline timed in
// the same run, so that the figure does not depend on the machine's speed.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

namespace bench {

// Prints as usual and keeps each benchmark's time per iteration.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
      nanoseconds_[run.benchmark_name()] =
          run.GetAdjustedRealTime() / benchmark::GetTimeUnitMultiplier(run.time_unit) * 1e9;
    }
  }

  const std::map<std::string, double>& Nanoseconds() const { return nanoseconds_; }

 private:
  std::map<std::string, double> nanoseconds_;
};

// `label` names the baseline in the printed line; `bytes` is what each iteration goes over.
inline int RunWithRatios(int argc, char** argv, const std::string& baseline,
                         const std::string& label, std::initializer_list<const char*> measured,
                         size_t bytes) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();

  const auto& times = reporter.Nanoseconds();
  const auto base = times.find(baseline);
  if (base == times.end() || base->second <= 0) return 0;
  for (const char* name : measured) {
    const auto time = times.find(name);
    if (time == times.end()) continue;
    std::printf("ratio = t(%s)/t(%s) = %.1f (%.0f ns / %.0f ns over %zu bytes)\n", name + 3,
                label.c_str(), time->second / base->second, time->second, base->second, bytes);
  }
  return 0;
}

}  // namespace bench
