#include "bench/median_run.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace veyrin::bench {
namespace {

class MedianReporter : public benchmark::BenchmarkReporter {
 public:
  explicit MedianReporter(Medians& medians) : medians_(medians) {}

  bool ReportContext(const Context& /*context*/) override { return true; }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      // A single repetition has no aggregates; it is its own median.
      const bool is_median =
          run.run_type == Run::RT_Aggregate ? run.aggregate_name == "median" : run.repetitions == 1;
      if (!is_median) continue;
      for (const auto& [counter, value] : run.counters)
        medians_.set(run.run_name.function_name, counter, value.value);
    }
  }

 private:
  Medians& medians_;
};

}  // namespace

void Medians::set(const std::string& benchmark, const std::string& counter, double value) {
  values_[benchmark][counter] = value;
}

double Medians::get(const std::string& benchmark, const std::string& counter) const {
  const auto counters = values_.find(benchmark);
  if (counters == values_.end()) return 0.0;
  const auto value = counters->second.find(counter);
  return value == counters->second.end() ? 0.0 : value->second;
}

bool run_benchmarks(int argc, char** argv, int repetitions, Medians& medians) {
  std::vector<std::string> arguments = {argv[0], "--benchmark_enable_random_interleaving=true",
                                        "--benchmark_repetitions=" + std::to_string(repetitions),
                                        "--benchmark_min_time=0.1"};
  arguments.insert(arguments.end(), argv + 1, argv + argc);
  std::vector<char*> pointers;
  pointers.reserve(arguments.size());
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  int count = static_cast<int>(pointers.size());
  benchmark::Initialize(&count, pointers.data());
  if (benchmark::ReportUnrecognizedArguments(count, pointers.data())) return false;
  MedianReporter reporter(medians);
  benchmark::RunSpecifiedBenchmarks(&reporter);
  return true;
}

}  // namespace veyrin::bench
