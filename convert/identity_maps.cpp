#include "convert/identity_maps.h"

namespace veyrin {

RectificationMaps identity_maps(Size eye) {
  EyeMap map;
  map.width = eye.width;
  map.height = eye.height;
  const std::size_t count = static_cast<std::size_t>(eye.width) * static_cast<std::size_t>(eye.height);
  map.map_x.reserve(count);
  map.map_y.reserve(count);
  for (std::int32_t row = 0; row < eye.height; ++row) {
    for (std::int32_t column = 0; column < eye.width; ++column) {
      map.map_x.push_back(static_cast<float>(column));
      map.map_y.push_back(static_cast<float>(row));
    }
  }
  RectificationMaps maps;
  maps.left = map;
  maps.right = std::move(map);
  maps.width = static_cast<std::uint32_t>(eye.width);
  maps.height = static_cast<std::uint32_t>(eye.height);
  maps.left_valid_fraction = maps.right_valid_fraction = 1.0;
  return maps;
}

}  // namespace veyrin
