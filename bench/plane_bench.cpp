// One plane kind through a map, single thread: our kernels and OpenCV's Lanczos-4 remap on the same map,
// interleaved in one run. Luma and chroma, each sample storage, neighbourhoods inside the source (a fisheye
// map) and on its border. Prints nanoseconds per output sample; --benchmark_out=FILE has every run.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "bench/harness.h"
#include "bench/plane_cases.h"
#include "processing/kernels.h"
#include "processing/plane_pass.h"
#include "processing/remap_tables.h"

namespace veyrin::bench {
namespace {

void count_samples(benchmark::State& state, const PlaneKind& kind, const Planes& planes) {
  const auto channels = static_cast<double>(plane_count(kind)) * channels_per_plane(kind);
  const double samples = channels * planes.output_size.width * planes.output_size.height;
  state.counters["ns"] = benchmark::Counter(static_cast<double>(state.iterations()) * samples * 1e-9,
                                            benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

/// Calls `run_plane` with a function that rectifies `planes` with our kernels.
template <typename RunPlane>
void with_our_kernels(const PlaneKind& kind, const EyeMap& map, Planes& planes, const RunPlane& run_plane) {
  PlaneLayout layout;
  layout.rows = planes.output_size.height;
  layout.eyes = {{Eye::left, 0, planes.output_size.width, 0, planes.output_size.width, 0}};
  const LanczosWeights weights = make_lanczos_weights();
  CpuWorkerPool pool;
  const Size luma_source{planes.source_size.width * planes.step, planes.source_size.height * planes.step};
  const auto tables = build_remap_tables({map, {}}, luma_source, {true, false}, pool);
  PlanePass pass{.tools = {choose_kernels(KernelChoice::best_for_cpu), weights}, .layout = layout};
  pass.eyes[0].table = is_luma(kind) ? &tables->luma[0] : &tables->chroma[0];
  for (std::size_t plane = 0; plane < plane_count(kind); ++plane) {
    const cv::Mat& source = planes.sources[plane];
    cv::Mat& output = planes.outputs[plane];
    pass.eyes[0].planes[plane] = {source.data, static_cast<std::ptrdiff_t>(source.step), planes.source_size,
                                  kind.storage};
    pass.canvas.data[plane] = output.data;
    pass.canvas.strides[plane] = static_cast<std::ptrdiff_t>(output.step);
  }
  pass.source_channels = pass.canvas_channels = kind.channels;
  pass.bytes_per_code = static_cast<std::int32_t>(planes.outputs[0].elemSize1());
  const auto max_code = static_cast<float>(code_count(kind) - 1);
  pass.store = {max_code, max_code, shift(kind)};
  run_plane([&pass, &layout] {
    for (std::int32_t row = 0; row < layout.rows; ++row) pass.write_row(row);
  });
}

/// The same with OpenCV's remap.
template <typename RunPlane>
void with_opencv(const EyeMap& map, Planes& planes, const RunPlane& run_plane) {
  cv::setNumThreads(1);
  cv::Mat map_x(planes.output_size.height, planes.output_size.width, CV_32FC1);
  cv::Mat map_y = map_x.clone();
  std::vector<float> row_x(static_cast<std::size_t>(map.size.width));
  std::vector<float> row_y(row_x.size());
  for (std::int32_t y = 0; y < map_x.rows; ++y) {
    map.read(y * planes.step, 0, map.size.width, row_x.data(), row_y.data());
    for (std::int32_t x = 0; x < map_x.cols; ++x) {
      const auto entry = static_cast<std::size_t>(x * planes.step);
      map_x.at<float>(y, x) = row_x[entry] / static_cast<float>(planes.step);
      map_y.at<float>(y, x) = row_y[entry] / static_cast<float>(planes.step);
    }
  }
  // Its fixed-point form, which remap would otherwise make anew in every call.
  cv::Mat positions;
  cv::Mat phases;
  cv::convertMaps(map_x, map_y, positions, phases, CV_16SC2);
  run_plane([&planes, &positions, &phases] {
    for (std::size_t plane = 0; plane < planes.sources.size(); ++plane)
      cv::remap(planes.sources[plane], planes.outputs[plane], positions, phases, cv::INTER_LANCZOS4,
                cv::BORDER_CONSTANT, cv::Scalar::all(0));
  });
}

/// Both must do the same work: ends the program when the pictures differ by more than rounding on average.
void compare(const PlaneKind& kind, const Place& place) {
  const EyeMap& map = place.map(kind);
  Planes ours(kind, map);
  Planes theirs(kind, map);
  const auto once = [](const auto& rectify) { rectify(); };
  with_our_kernels(kind, map, ours, once);
  with_opencv(map, theirs, once);
  for (std::size_t plane = 0; plane < ours.outputs.size(); ++plane) {
    const cv::Mat& picture = ours.outputs[plane];
    const double samples = static_cast<double>(picture.total()) * picture.channels() * (1 << shift(kind));
    const double apart = cv::norm(picture, theirs.outputs[plane], cv::NORM_L1) / samples;
    if (apart <= 0.5) continue;
    std::fprintf(stderr, "%s %s: our picture is %.2f codes away from OpenCV's\n", kind.name, place.name,
                 apart);
    std::exit(1);
  }
}

std::string benchmark_name(const PlaneKind& kind, const Place& place, const char* whose) {
  return std::string(kind.name) + " " + place.name + " " + whose;
}

template <typename Visit>
void for_each_case(const Visit& visit) {
  for (const PlaneKind& kind : plane_kinds)
    for (const Place& place : places) visit(kind, place);
}

void register_case(const PlaneKind& kind, const Place& place) {
  const auto timed = [&kind](benchmark::State& state, const Planes& planes) {
    return [&](const auto& rectify) {
      for (auto _ : state) {
        rectify();
        benchmark::ClobberMemory();
      }
      count_samples(state, kind, planes);
    };
  };
  const auto ours = [&kind, &place, timed](benchmark::State& state) {
    const EyeMap& map = place.map(kind);
    Planes planes(kind, map);
    with_our_kernels(kind, map, planes, timed(state, planes));
  };
  const auto theirs = [&kind, &place, timed](benchmark::State& state) {
    const EyeMap& map = place.map(kind);
    Planes planes(kind, map);
    with_opencv(map, planes, timed(state, planes));
  };
  benchmark::RegisterBenchmark(benchmark_name(kind, place, "ours").c_str(), ours);
  benchmark::RegisterBenchmark(benchmark_name(kind, place, "opencv").c_str(), theirs);
}

}  // namespace
}  // namespace veyrin::bench

int main(int argc, char** argv) {
  using namespace veyrin::bench;
  for_each_case(compare);
  for_each_case(register_case);
  Medians medians;
  if (!run_benchmarks(argc, argv, /*repetitions=*/9, medians)) return 1;
  std::printf("our kernels: %s; OpenCV's remap: Lanczos-4; medians, one thread\n",
              veyrin::choose_kernels(veyrin::KernelChoice::best_for_cpu).name);
  for_each_case([&medians](const PlaneKind& kind, const Place& place) {
    const double ours = medians.get(benchmark_name(kind, place, "ours"), "ns");
    const double theirs = medians.get(benchmark_name(kind, place, "opencv"), "ns");
    if (ours == 0.0 || theirs == 0.0) return;
    std::printf("%s %s: ours %.2f ns/sample, OpenCV %.2f ns/sample, ratio %.2f\n", kind.name, place.name,
                ours, theirs, theirs / ours);
  });
  return 0;
}
