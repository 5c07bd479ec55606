#include "tests/rectification/stored_maps.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace veyrin::test {

StoredMap::operator EyeMap() const {
  return {size, [map = *this](std::int32_t row, std::int32_t first, std::int32_t count, float* x, float* y) {
            const auto entry = static_cast<std::ptrdiff_t>(row) * map.size.width + first;
            std::copy_n(map.map_x.begin() + entry, count, x);
            std::copy_n(map.map_y.begin() + entry, count, y);
            return static_cast<std::int64_t>(
                std::count_if(x, x + count, [](float value) { return value >= 0.0F; }));
          }};
}

StoredMap stored(const EyeMap& map, double* valid_fraction) {
  StoredMap whole{map.size, {}, {}};
  std::int64_t valid_pixels = 0;
  if (map.size.width > 0 && map.size.height > 0) {
    const auto pixels = static_cast<std::size_t>(map.size.width) * static_cast<std::size_t>(map.size.height);
    whole.map_x.resize(pixels);
    whole.map_y.resize(pixels);
    constexpr std::int32_t piece = 13;
    for (std::int32_t row = 0; row < map.size.height; ++row) {
      for (std::int32_t first = 0; first < map.size.width; first += piece) {
        const auto entry = static_cast<std::size_t>(row) * map.size.width + first;
        valid_pixels += map.read(row, first, std::min(piece, map.size.width - first), &whole.map_x[entry],
                                 &whole.map_y[entry]);
      }
    }
  }
  if (valid_fraction != nullptr)
    *valid_fraction =
        static_cast<double>(valid_pixels) / (static_cast<double>(map.size.width) * map.size.height);
  return whole;
}

StoredMaps stored(const RectificationMaps& maps) {
  StoredMaps whole;
  whole.left = stored(maps.left, &whole.left_valid_fraction);
  whole.right = stored(maps.right, &whole.right_valid_fraction);
  return whole;
}

bool build_stored_maps(const RawDualTrackCalibration& calibration, Size eye, StoredMaps& maps,
                       std::string& error) {
  RectificationMaps built;
  if (!build_rectification_maps(calibration, eye, built, error)) return false;
  maps = stored(built);
  return true;
}

}  // namespace veyrin::test
