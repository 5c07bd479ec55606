#include "processing/processor_sizes.h"

#include <cstddef>
#include <initializer_list>

#include "processing/canvas_layout.h"

namespace veyrin {
namespace {

bool map_is_filled(const EyeMap& map) {
  if (map.width <= 0 || map.height <= 0) return false;
  const std::size_t entries = static_cast<std::size_t>(map.width) * static_cast<std::size_t>(map.height);
  return map.map_x.size() == entries && map.map_y.size() == entries;
}

}  // namespace

SizeProblem find_size_problem(const RectificationMaps& maps, const ProcessorGeometry& geometry) {
  const EyeMap& left = maps.left;
  const EyeMap& right = maps.right;
  if (!map_is_filled(left) || !map_is_filled(right) || left.width != right.width ||
      left.height != right.height)
    return SizeProblem::invalid_maps;
  for (const std::int32_t size : {left.width, left.height, canvas_width(geometry), geometry.source_width,
                                  geometry.source_height, geometry.eye_box_width, geometry.eye_box_height})
    if (size % 2 != 0) return SizeProblem::odd_size;
  if (geometry.eye_box_width < left.width || geometry.eye_box_height < left.height)
    return SizeProblem::canvas_too_small;
  return SizeProblem::none;
}

}  // namespace veyrin
