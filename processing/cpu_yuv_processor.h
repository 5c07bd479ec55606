// Rectifies a pair of decoded frames on the CPU and packs both eyes into the encoder's frame.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "rectification/rectification_maps.h"

struct AVFrame;

namespace veyrin {

/// How the eyes are placed on the canvas. The values are shared with the GPU processor.
enum class OutputLayout : std::int32_t { mono_left = 0, mono_right = 1, full_sbs = 2, half_sbs = 3 };

/// Sizes of one processor; all even. The canvas is the eye box, twice as wide for full side by side.
struct ProcessorGeometry {
  std::int32_t source_width = 0;
  std::int32_t source_height = 0;
  std::int32_t eye_box_width = 0;
  std::int32_t eye_box_height = 0;
  OutputLayout layout = OutputLayout::full_sbs;
};

/// Which kernels a processor uses.
enum class KernelChoice : std::int32_t { best_for_cpu, scalar_only };

/// How a processor works; never what it computes. The defaults are for conversions, the rest for tests and
/// benchmarks.
struct ProcessorTuning {
  KernelChoice kernels = KernelChoice::best_for_cpu;
  std::int32_t worker_count = 0;  ///< 0: one per hardware thread
};

class CpuYuvProcessor {
 public:
  /// Builds the tables and starts the workers; null with one message in `error` when the sizes do not fit.
  /// The maps are read only during the call.
  static std::unique_ptr<CpuYuvProcessor> create(const RectificationMaps& maps,
                                                 const ProcessorGeometry& geometry, std::string& error,
                                                 const ProcessorTuning& tuning = {});
  ~CpuYuvProcessor();
  CpuYuvProcessor(const CpuYuvProcessor&) = delete;
  CpuYuvProcessor& operator=(const CpuYuvProcessor&) = delete;

  /// Writes the packed canvas into `output` (canvas size, one of the five 4:2:0 formats). Both inputs have
  /// the source size and the same one of those formats; the depth of the output may differ. Returns when all
  /// rows are written. One call at a time.
  [[nodiscard]] bool process(const AVFrame* left, const AVFrame* right, AVFrame* output,
                             std::string& error) const;

 private:
  struct State;
  explicit CpuYuvProcessor(std::unique_ptr<State> state);
  std::unique_ptr<State> state_;
};

}  // namespace veyrin
