// Rectifies a pair of decoded frames on the CPU and packs both eyes into the encoder's frame.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "processing/kernels.h"
#include "processing/yuv_processor.h"
#include "rectification/rectification_maps.h"

namespace veyrin {

/// How a processor works; never what it computes. The defaults are for conversions, the rest for tests and
/// benchmarks.
struct ProcessorTuning {
  KernelChoice kernels = KernelChoice::best_for_cpu;
  std::int32_t worker_count = 0;  ///< 0: one per hardware thread
};

class CpuYuvProcessor final : public YuvProcessor {
 public:
  /// Builds the tables and starts the workers; null with one message in `error` when the sizes do not fit.
  /// The maps are read only during the call.
  [[nodiscard]] static std::unique_ptr<CpuYuvProcessor> create(const RectificationMaps& maps,
                                                               const ProcessorGeometry& geometry,
                                                               std::string& error,
                                                               const ProcessorTuning& tuning = {});
  ~CpuYuvProcessor() override;

  /// Writes the canvas into `output` (canvas size, one of the five 4:2:0 formats). Both inputs have
  /// the source size and the same one of those formats; the depth of the output may differ. Returns when all
  /// rows are written. One call at a time.
  [[nodiscard]] bool process(const AVFrame* left, const AVFrame* right, AVFrame* output,
                             std::string& error) const override;

  /// Leaves the rows to the workers. Further pairs may be started before `wait`, into other outputs.
  [[nodiscard]] bool start(const AVFrame* left, const AVFrame* right, AVFrame* output,
                           std::string& error) const override;
  void wait() const override;

 private:
  struct State;
  explicit CpuYuvProcessor(std::unique_ptr<State> state);
  std::unique_ptr<State> state_;
};

}  // namespace veyrin
