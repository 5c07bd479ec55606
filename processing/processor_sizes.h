// Whether maps and sizes fit together, asked by every processor before it builds its tables.
#pragma once

#include <cstdint>

#include "processing/yuv_processor.h"
#include "rectification/rectification_maps.h"

namespace veyrin {

enum class SizeProblem : std::int32_t {
  none,
  invalid_maps,  ///< an eye's map is empty, incomplete or unlike the other eye's
  odd_size,
  canvas_too_small,  ///< the eye box does not hold the rectified image
};

/// The first problem in the order of the enumeration.
SizeProblem find_size_problem(const RectificationMaps& maps, const ProcessorGeometry& geometry);

}  // namespace veyrin
