// The whole processor: both eyes of a frame, luma and chroma, rectified and packed side by side. Prints
// frames per second of wall time on 1, 2, 4 and all threads; --benchmark_out=FILE has every run.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bench/harness.h"
#include "media/ffmpeg.h"
#include "processing/cpu_worker_pool.h"
#include "processing/cpu_yuv_processor.h"

namespace veyrin::bench {
namespace {

struct Depth {
  const char* name;
  AVPixelFormat format;
  std::uint32_t codes;
};

constexpr Depth depths[] = {{"8-bit", AV_PIX_FMT_YUV420P, 256}, {"10-bit", AV_PIX_FMT_YUV420P10LE, 1024}};
constexpr std::int32_t eye_sizes[] = {1920, 3840};

[[noreturn]] void give_up(const std::string& reason) {
  std::fprintf(stderr, "no frame rate: %s\n", reason.c_str());
  std::exit(1);
}

FramePtr make_frame(const Depth& depth, std::int32_t width, std::int32_t height) {
  FramePtr frame(av_frame_alloc());
  frame->format = depth.format;
  frame->width = width;
  frame->height = height;
  if (av_frame_get_buffer(frame.get(), 0) < 0) give_up("no memory for a frame");
  return frame;
}

FramePtr make_source(const Depth& depth, std::int32_t size) {
  FramePtr frame = make_frame(depth, size, size);
  for (int plane = 0; plane < 3; ++plane) {
    const std::int32_t plane_size = plane == 0 ? size : size / 2;
    for (std::int32_t y = 0; y < plane_size; ++y) {
      std::uint8_t* row = frame->data[plane] + static_cast<std::ptrdiff_t>(y) * frame->linesize[plane];
      for (std::int32_t x = 0; x < plane_size; ++x) {
        const std::uint16_t code = texture(x, y, depth.codes);
        if (depth.codes == 256)
          row[x] = static_cast<std::uint8_t>(code);
        else
          reinterpret_cast<std::uint16_t*>(row)[x] = code;
      }
    }
  }
  return frame;
}

/// Built once per size: that takes longer than many frames.
std::shared_ptr<const RemapTables> tables_of(std::int32_t size) {
  static std::map<std::int32_t, std::shared_ptr<const RemapTables>> built;
  std::shared_ptr<const RemapTables>& tables = built[size];
  if (tables == nullptr) {
    CpuWorkerPool pool;
    tables = build_remap_tables(fisheye_maps(size), {size, size}, {true, true}, pool);
  }
  return tables;
}

void run(benchmark::State& state, const Depth& depth, std::int32_t size, std::int32_t workers) {
  std::string error;
  const auto processor =
      CpuYuvProcessor::create(tables_of(size), {{size, size}, {size, size}, OutputLayout::full_sbs},
                              std::make_shared<CpuWorkerPool>(workers), error);
  if (processor == nullptr) give_up(error);
  const FramePtr left = make_source(depth, size);
  const FramePtr right = make_source(depth, size);
  const FramePtr output = make_frame(depth, 2 * size, size);
  for (auto _ : state)
    if (!processor->process(left.get(), right.get(), output.get(), error)) give_up(error);
  state.counters["fps"] =
      benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

/// 1, 2, 4 and so on, and one worker per hardware thread as the last.
std::vector<std::int32_t> worker_counts() {
  const std::int32_t most = CpuWorkerPool::default_worker_count();
  std::vector<std::int32_t> counts;
  for (std::int32_t count = 1; count < most; count *= 2) counts.push_back(count);
  counts.push_back(most);
  return counts;
}

std::string benchmark_name(const Depth& depth, std::int32_t size, std::int32_t workers) {
  return std::to_string(size) + " " + depth.name + " " + std::to_string(workers);
}

template <typename Visit>
void for_each_case(const Visit& visit) {
  for (const std::int32_t size : eye_sizes)
    for (const Depth& depth : depths)
      for (const std::int32_t workers : worker_counts()) visit(depth, size, workers);
}

}  // namespace
}  // namespace veyrin::bench

int main(int argc, char** argv) {
  using namespace veyrin::bench;
  for_each_case([](const Depth& depth, std::int32_t size, std::int32_t workers) {
    const auto body = [&depth, size, workers](benchmark::State& state) { run(state, depth, size, workers); };
    benchmark::RegisterBenchmark(benchmark_name(depth, size, workers).c_str(), body)->UseRealTime();
  });
  Medians medians;
  if (!run_benchmarks(argc, argv, /*repetitions=*/5, medians)) return 1;
  for_each_case([&medians](const Depth& depth, std::int32_t size, std::int32_t workers) {
    std::printf("frame rate %s, %d x %d per eye, %d thread%s: %.2f frames/s\n", depth.name, size, size,
                workers, workers == 1 ? "" : "s", medians.get(benchmark_name(depth, size, workers), "fps"));
  });
  return 0;
}
