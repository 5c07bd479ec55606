// Runs the registered benchmarks several times, mixed, and gives the medians.
#pragma once

#include <map>
#include <string>

namespace veyrin::bench {

/// Medians of the counters, by benchmark name and counter name.
class Medians {
 public:
  void set(const std::string& benchmark, const std::string& counter, double value);
  /// 0 where the benchmark did not run.
  [[nodiscard]] double get(const std::string& benchmark, const std::string& counter) const;

 private:
  std::map<std::string, std::map<std::string, double>> values_;
};

/// Runs what has been registered with Google Benchmark. Its own options may be given on the command line; by
/// default there are `repetitions` of each benchmark, and all are mixed, so that a busy machine slows them
/// alike. False when an option is unknown.
[[nodiscard]] bool run_benchmarks(int argc, char** argv, int repetitions, Medians& medians);

}  // namespace veyrin::bench
