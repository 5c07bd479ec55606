// One luma plane through a fisheye rectification map, single thread: each set of our kernels that this
// machine runs and OpenCV's remap on the same map, interleaved in one run. Prints nanoseconds per output
// sample and their ratios.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "bench/harness.h"
#include "processing/kernels.h"
#include "processing/plane_pass.h"
#include "processing/remap_tables.h"

namespace veyrin::bench {
namespace {

constexpr std::int32_t eye_size = 1920;

struct Depth {
  const char* name;
  SampleStorage storage;
  int opencv_type;
  std::uint32_t codes;
  std::int32_t shift;
};

constexpr Depth depths[] = {
    {"8-bit", SampleStorage::bits_8, CV_8UC1, 256, 0},
    {"10-bit", SampleStorage::bits_16, CV_16UC1, 1024, 0},
    {"10-bit high-aligned", SampleStorage::bits_16_high, CV_16UC1, 1024, high_alignment_shift}};

constexpr KernelChoice kernel_sets[] = {KernelChoice::avx512, KernelChoice::avx2, KernelChoice::scalar_only};

struct Peer {
  const char* name;
  int interpolation;
};

constexpr Peer peers[] = {
    {"lanczos4", cv::INTER_LANCZOS4}, {"cubic", cv::INTER_CUBIC}, {"linear", cv::INTER_LINEAR}};

const RectificationMaps& maps() {
  static const RectificationMaps built = fisheye_maps(eye_size);
  return built;
}

cv::Mat source_picture(const Depth& depth) {
  cv::Mat picture(eye_size, eye_size, depth.opencv_type);
  for (std::int32_t y = 0; y < eye_size; ++y)
    for (std::int32_t x = 0; x < eye_size; ++x) {
      const auto code = static_cast<std::uint16_t>(texture(x, y, depth.codes) << depth.shift);
      if (depth.codes == 256)
        picture.at<std::uint8_t>(y, x) = static_cast<std::uint8_t>(code);
      else
        picture.at<std::uint16_t>(y, x) = code;
    }
  return picture;
}

void count_samples(benchmark::State& state) {
  state.counters["ns"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * eye_size * eye_size * 1e-9,
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void run_ours(benchmark::State& state, const Depth& depth, KernelChoice choice) {
  const Size size{eye_size, eye_size};
  const ProcessorGeometry geometry{size, size, OutputLayout::mono_left};
  const PlaneLayout layout = luma_layout(geometry, size);
  const LanczosWeights weights = make_lanczos_weights();
  CpuWorkerPool pool;
  const auto tables = build_remap_tables(maps(), size, {true, false}, pool);
  const cv::Mat source = source_picture(depth);
  cv::Mat output(eye_size, eye_size, depth.opencv_type);

  PlanePass pass{.tools = {choose_kernels(choice), weights}, .layout = layout};
  pass.eyes[0] = {&tables->luma[0],
                  {PlaneView{source.data, static_cast<std::ptrdiff_t>(source.step), size, depth.storage}}};
  pass.canvas = {{output.data}, {static_cast<std::ptrdiff_t>(output.step)}};
  pass.bytes_per_code = static_cast<std::int32_t>(output.elemSize());
  const auto max_code = static_cast<float>(depth.codes - 1);
  pass.store = {max_code, max_code, depth.shift};
  for (auto _ : state) {
    for (std::int32_t row = 0; row < eye_size; ++row) pass.write_row(row);
    benchmark::ClobberMemory();
  }
  count_samples(state);
}

void run_opencv(benchmark::State& state, const Depth& depth, int interpolation) {
  cv::setNumThreads(1);
  cv::Mat map_x(eye_size, eye_size, CV_32FC1);
  cv::Mat map_y(eye_size, eye_size, CV_32FC1);
  for (std::int32_t row = 0; row < eye_size; ++row)
    maps().left.read(row, 0, eye_size, map_x.ptr<float>(row), map_y.ptr<float>(row));
  // Its fixed-point form, which remap would otherwise make anew in every call.
  cv::Mat positions;
  cv::Mat phases;
  cv::convertMaps(map_x, map_y, positions, phases, CV_16SC2);
  const cv::Mat source = source_picture(depth);
  cv::Mat output(eye_size, eye_size, depth.opencv_type);
  for (auto _ : state) {
    cv::remap(source, output, positions, phases, interpolation, cv::BORDER_CONSTANT, cv::Scalar(0));
    benchmark::ClobberMemory();
  }
  count_samples(state);
}

std::string benchmark_name(const Depth& depth, const char* kind) {
  return std::string(depth.name) + " " + kind;
}

/// The sets that run here; another one stands in for those that do not.
std::vector<KernelChoice> runnable_sets() {
  std::vector<KernelChoice> sets;
  for (const KernelChoice set : kernel_sets) {
    const bool stands_in = !sets.empty() && choose_kernels(set).name == choose_kernels(sets.back()).name;
    if (!stands_in) sets.push_back(set);
  }
  return sets;
}

void register_all() {
  const auto add = [](const std::string& name, const auto& body) {
    benchmark::RegisterBenchmark(name.c_str(), body)->Unit(benchmark::kMillisecond)->ReportAggregatesOnly();
  };
  for (const Depth& depth : depths) {
    for (const KernelChoice set : runnable_sets())
      add(benchmark_name(depth, choose_kernels(set).name),
          [&depth, set](benchmark::State& state) { run_ours(state, depth, set); });
    for (const Peer& peer : peers)
      add(benchmark_name(depth, peer.name),
          [&depth, &peer](benchmark::State& state) { run_opencv(state, depth, peer.interpolation); });
  }
}

void print_ratios(const Medians& medians) {
  std::printf("our kernels: lanczos4; medians of interleaved runs, one thread, %d x %d fisheye map\n",
              eye_size, eye_size);
  const char* best = choose_kernels(KernelChoice::best_for_cpu).name;
  for (const Depth& depth : depths) {
    const double lanczos = medians.get(benchmark_name(depth, peers[0].name), "ns");
    for (const KernelChoice set : runnable_sets()) {
      const char* name = choose_kernels(set).name;
      const double ours = medians.get(benchmark_name(depth, name), "ns");
      std::printf("%s %s: %.2f ns/sample, %.2f times as fast as OpenCV's %s\n", depth.name, name, ours,
                  lanczos / ours, peers[0].name);
    }
    const double ours = medians.get(benchmark_name(depth, best), "ns");
    for (const Peer& peer : peers) {
      const double theirs = medians.get(benchmark_name(depth, peer.name), "ns");
      std::printf("%s OpenCV %s: %.2f ns/sample, ratio to %s %.2f\n", depth.name, peer.name, theirs, best,
                  theirs / ours);
    }
  }
}

}  // namespace
}  // namespace veyrin::bench

int main(int argc, char** argv) {
  veyrin::bench::register_all();
  veyrin::bench::Medians medians;
  if (!veyrin::bench::run_benchmarks(argc, argv, /*repetitions=*/9, medians)) return 1;
  veyrin::bench::print_ratios(medians);
  return 0;
}
