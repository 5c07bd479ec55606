// Rectifies a pair of decoded frames on the CPU and packs both eyes into the encoder's frame.
#pragma once

#include <memory>
#include <string>

#include "processing/cpu_worker_pool.h"
#include "processing/kernels.h"
#include "processing/remap_tables.h"
#include "processing/yuv_processor.h"

namespace veyrin {

class CpuYuvProcessor final : public YuvProcessor {
 public:
  /// Null with one message in `error` when the sizes do not fit. The tables are those of the layout's eyes at
  /// least. Several processors may share the tables and the workers.
  [[nodiscard]] static std::unique_ptr<CpuYuvProcessor> create(
      std::shared_ptr<const RemapTables> tables, const ProcessorGeometry& geometry,
      std::shared_ptr<CpuWorkerPool> pool, std::string& error,
      KernelChoice kernels = KernelChoice::best_for_cpu);
  ~CpuYuvProcessor() override;

  /// Writes the canvas into `output` (canvas size, one of the five 4:2:0 formats). Both inputs have
  /// the source size and the same one of those formats; the depth of the output may differ. Returns when all
  /// rows are written. One call at a time.
  [[nodiscard]] bool process(const AVFrame* left, const AVFrame* right, AVFrame* output,
                             std::string& error) const override;

  /// Leaves the rows to the workers. Further pairs may be started before `wait`, into other outputs, also by
  /// other processors of the same workers; `wait` waits for all of them.
  [[nodiscard]] bool start(const AVFrame* left, const AVFrame* right, AVFrame* output,
                           std::string& error) const override;
  void wait() const override;

 private:
  struct State;
  explicit CpuYuvProcessor(std::unique_ptr<State> state);
  std::unique_ptr<State> state_;
};

}  // namespace veyrin
