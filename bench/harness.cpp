#include "bench/harness.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "common/console.h"

namespace veyrin::bench {
namespace {

/// About 180 degrees across the image.
CameraIntrinsics fisheye_camera(std::int32_t size, double centre_x, double centre_y) {
  CameraIntrinsics camera;
  camera.model = CameraModel::kb4;
  camera.width = camera.height = size;
  camera.fx = camera.fy = 0.318 * size;
  camera.cx = centre_x * size;
  camera.cy = centre_y * size;
  camera.k1 = 0.02;
  camera.k2 = -0.006;
  camera.k3 = 0.001;
  camera.k4 = -0.0002;
  return camera;
}

/// The right camera 64 mm to the right of the left one and turned by about a degree about two axes.
Pose right_camera_in_left() {
  const float yaw = 0.012F;
  const float roll = 0.017F;
  Pose pose;
  pose.plus_x = {std::cos(yaw) * std::cos(roll), std::sin(roll), std::sin(yaw)};
  pose.y = {-std::sin(roll), std::cos(roll), 0.0F};
  pose.plus_z = {-std::sin(yaw), 0.0F, std::cos(yaw)};
  pose.position = {0.064F, 0.0006F, -0.0004F};
  return pose;
}

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

RawDualTrackCalibration fisheye_calibration(std::int32_t size) {
  RawDualTrackCalibration calibration;
  calibration.valid = true;
  calibration.left_intrinsics = fisheye_camera(size, 0.502, 0.496);
  calibration.right_intrinsics = fisheye_camera(size, 0.495, 0.503);
  calibration.stereo_extrinsic = right_camera_in_left();
  return calibration;
}

RectificationMaps fisheye_maps(std::int32_t size) {
  RectificationMaps maps;
  std::string error;
  const ConsoleSilence silence;
  if (!build_rectification_maps(fisheye_calibration(size), {size, size}, maps, error)) {
    std::fprintf(stderr, "no maps for the benchmark: %s\n", error.c_str());
    std::exit(1);
  }
  return maps;
}

std::uint16_t texture(std::int32_t x, std::int32_t y, std::uint32_t codes) {
  const auto triangle = [](std::int32_t position, std::int32_t period) {
    return static_cast<std::uint32_t>(std::abs(position % period - period / 2)) * 2 /
           static_cast<std::uint32_t>(period / 64);
  };
  const std::uint32_t waves = triangle(x + y / 3, 128) + triangle(y - x / 5 + 4 * 3840, 192);
  const std::uint32_t noise =
      (static_cast<std::uint32_t>(x) * 2654435761U) ^ (static_cast<std::uint32_t>(y) * 2246822519U);
  return static_cast<std::uint16_t>((waves * codes / 256 + (noise >> 28)) % codes);
}

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
