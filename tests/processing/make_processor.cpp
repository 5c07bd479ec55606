#include "tests/processing/make_processor.h"

#include <array>
#include <utility>

namespace veyrin::test {
std::shared_ptr<const RemapTables> make_tables(const RectificationMaps& maps, Size source) {
  CpuWorkerPool pool(3);
  return build_remap_tables(maps, source, {true, true}, pool);
}

std::shared_ptr<const PlaneRemapTable> luma_table(const EyeMap& map, Size source) {
  const auto tables = make_tables({map, {}}, source);
  return {tables, &tables->luma[0]};
}

std::shared_ptr<const PlaneRemapTable> chroma_table(const EyeMap& map, Size source) {
  const auto tables = make_tables({map, {}}, source);
  return {tables, &tables->chroma[0]};
}

std::unique_ptr<CpuYuvProcessor> make_processor(const RectificationMaps& maps,
                                                const ProcessorGeometry& geometry, std::string& error,
                                                const ProcessorTuning& tuning) {
  auto pool = std::make_shared<CpuWorkerPool>(
      tuning.worker_count > 0 ? tuning.worker_count : CpuWorkerPool::default_worker_count());
  auto tables = build_remap_tables(maps, geometry.source, shown_eyes(std::array{geometry.layout}), *pool);
  return CpuYuvProcessor::create(std::move(tables), geometry, std::move(pool), error, tuning.kernels);
}

}  // namespace veyrin::test
