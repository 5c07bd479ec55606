// What the benchmarks share: the maps and pictures that they work on, and runs whose medians they print.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "rectification/rectification_maps.h"

namespace veyrin::bench {

/// A stereo rig of two slightly different, slightly turned fisheye cameras with `size` x `size` pixels each.
RawDualTrackCalibration fisheye_calibration(std::int32_t size);

/// The maps of that rig, rectified to the same size. Ends the program when they cannot be built.
RectificationMaps fisheye_maps(std::int32_t size);

/// A deterministic sample value below `codes` with texture at all scales.
std::uint16_t texture(std::int32_t x, std::int32_t y, std::uint32_t codes);

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
