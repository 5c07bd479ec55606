// What a conversion does before its first frame: maps and tables of both eyes. One run per process, because
// the peak memory of a process never falls again. Prints one line of JSON.
//   start_up_bench SIZE THREADS
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <utility>

#include "bench/harness.h"
#include "common/console.h"
#include "processing/cpu_yuv_processor.h"

namespace veyrin::bench {
namespace {

/// The steps of a conversion between its plan and its movie, with so many threads.
std::unique_ptr<YuvProcessor> start_up(const RawDualTrackCalibration& calibration, Size eye,
                                       std::int32_t threads, std::string& error) {
  RectificationMaps maps;
  if (!build_rectification_maps(calibration, eye, maps, error)) return nullptr;
  auto pool = std::make_shared<CpuWorkerPool>(threads);
  auto tables = build_remap_tables(maps, eye, {true, true}, *pool);
  return CpuYuvProcessor::create(std::move(tables), {eye, eye, OutputLayout::full_sbs}, std::move(pool),
                                 error);
}

/// A figure of this process in bytes, by its name in the kernel's status file; 0 if it is not there.
std::int64_t memory_bytes(const std::string& name) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.starts_with(name + ":")) return std::strtoll(line.c_str() + name.size() + 1, nullptr, 10) * 1024;
  return 0;
}

int run(std::int32_t size, std::int32_t threads) {
  const RawDualTrackCalibration calibration = fisheye_calibration(size);
  const std::int64_t before = memory_bytes("VmRSS");
  const ConsoleSilence silence;
  std::string error;
  const auto begin = std::chrono::steady_clock::now();
  const auto processor = start_up(calibration, {size, size}, threads, error);
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
  if (processor == nullptr) {
    std::fprintf(stderr, "no start-up: %s\n", error.c_str());
    return 1;
  }
  std::printf(R"({"size": %d, "threads": %d, "seconds": %.6f, "before": %lld, "peak": %lld, "after": %lld})"
              "\n",
              size, threads, took.count(), static_cast<long long>(before),
              static_cast<long long>(memory_bytes("VmHWM")), static_cast<long long>(memory_bytes("VmRSS")));
  return 0;
}

}  // namespace
}  // namespace veyrin::bench

int main(int argc, char** argv) {
  const int size = argc == 3 ? std::atoi(argv[1]) : 0;
  const int threads = argc == 3 ? std::atoi(argv[2]) : 0;
  if (size < 2 || size % 2 != 0 || threads < 1) {
    std::fprintf(stderr, "usage: start_up_bench SIZE THREADS (an even size, at least one thread)\n");
    return 1;
  }
  return veyrin::bench::run(size, threads);
}
