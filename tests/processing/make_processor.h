// Processors and tables as conversions make them, in one call.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "processing/cpu_yuv_processor.h"
#include "processing/remap_tables.h"
#include "rectification/rectification_maps.h"

namespace veyrin::test {

/// How a processor works; never what it computes.
struct ProcessorTuning {
  KernelChoice kernels = KernelChoice::best_for_cpu;
  std::int32_t worker_count = 0;  ///< 0: one per hardware thread
};

/// The tables of both eyes.
std::shared_ptr<const RemapTables> make_tables(const RectificationMaps& maps, Size source);

/// The tables of one map. `source` is the luma plane's size.
std::shared_ptr<const PlaneRemapTable> luma_table(const EyeMap& map, Size source);
std::shared_ptr<const PlaneRemapTable> chroma_table(const EyeMap& map, Size source);

/// A processor with tables for the eyes of the layout and workers of its own; null with one message in
/// `error` when the sizes do not fit.
std::unique_ptr<CpuYuvProcessor> make_processor(const RectificationMaps& maps,
                                                const ProcessorGeometry& geometry, std::string& error,
                                                const ProcessorTuning& tuning = {});

}  // namespace veyrin::test
