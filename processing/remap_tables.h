// The remap tables of a conversion: both eyes, luma and chroma, made from the rectification maps by all
// workers.
#pragma once

#include <array>
#include <memory>

#include "media/video_types.h"
#include "processing/canvas_layout.h"
#include "processing/cpu_worker_pool.h"
#include "processing/plane_remap_table.h"
#include "rectification/rectification_maps.h"

namespace veyrin {

/// Immutable, shared by all processors of a conversion; everything by Eye. An eye without a map, or one that
/// nobody shows, has empty tables.
struct RemapTables {
  std::array<Size, 2> rectified;            ///< luma sizes of the maps
  std::array<PlaneRemapTable, 2> luma;      ///< an entry for each pixel of the map
  std::array<PlaneRemapTable, 2> chroma;    ///< for every second row and column, in the chroma plane
  std::array<double, 2> valid_fractions{};  ///< share of the map's pixels with a source position, 0..1
};

/// Makes the tables of the shown eyes; the maps of all are read for their valid shares. Luma planes of the
/// source have the size `source`, chroma planes half of it. The calling thread waits.
[[nodiscard]] std::shared_ptr<const RemapTables> build_remap_tables(const RectificationMaps& maps,
                                                                    Size source, const ShownEyes& shown,
                                                                    CpuWorkerPool& pool);

}  // namespace veyrin
