#include "rectification/rectification_maps.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "common/console.h"
#include "common/error_text.h"
#include "rectification/rectified_geometry.h"

namespace veyrin {
namespace {

// 16384 x 8192, far more than any encoder takes. The tables of larger eyes would exhaust memory.
constexpr std::int64_t max_eye_pixels = std::int64_t{1} << 27;

bool is_possible_eye_size(Size eye) {
  return eye.width >= 1 && eye.height >= 1 && std::int64_t{eye.width} * eye.height <= max_eye_pixels;
}

/// Output samples along one side, spread over the grid and centred on it.
struct GridAxis {
  GridAxis(std::int32_t samples, std::int32_t grid)
      : step(samples > 1 ? (grid - 1.0) / (samples - 1.0) : 0.0),
        output_centre((samples - 1.0) * 0.5),
        grid_centre((grid - 1.0) * 0.5) {}

  [[nodiscard]] double position(std::int32_t sample) const {
    return (sample - output_centre) * step + grid_centre;
  }

  double step;
  double output_centre;
  double grid_centre;
};

}  // namespace

EyeMap build_eye_map(const CameraIntrinsics& intrinsics, const Matrix3& source_from_rectified, Size eye,
                     Size grid, double& valid_fraction) {
  EyeMap map;
  map.size = eye;
  const std::size_t pixels =
      static_cast<std::size_t>(std::max(eye.width, 0)) * static_cast<std::size_t>(std::max(eye.height, 0));
  map.map_x.assign(pixels, -1.0F);
  map.map_y.assign(pixels, -1.0F);

  const GridAxis columns(eye.width, grid.width);
  const GridAxis rows(eye.height, grid.height);
  std::size_t index = 0;
  std::int64_t valid_pixels = 0;
  for (std::int32_t row = 0; row < eye.height; ++row) {
    const double v = rows.position(row);
    for (std::int32_t column = 0; column < eye.width; ++column, ++index) {
      const ImagePosition source =
          source_position(intrinsics, source_from_rectified, columns.position(column), v);
      if (!is_inside_source(intrinsics, source)) continue;
      map.map_x[index] = source.x;
      map.map_y[index] = source.y;
      ++valid_pixels;
    }
  }
  valid_fraction = static_cast<double>(valid_pixels) / (static_cast<double>(eye.width) * eye.height);
  return map;
}

bool build_rectification_maps(const RawDualTrackCalibration& calibration, Size eye, RectificationMaps& maps,
                              std::string& error) {
  if (!calibration.valid) return fail(error, "cannot rectify without valid calibration");
  if (!is_possible_eye_size(eye)) return fail(error, "invalid rectified eye size");
  const CameraIntrinsics& left = calibration.left_intrinsics;
  const CameraIntrinsics& right = calibration.right_intrinsics;
  if (left.model != CameraModel::kb4 || right.model != CameraModel::kb4) {
    return fail(error, "raw dual-track rectification currently requires KB4 fisheye intrinsics");
  }
  RectifiedGeometry geometry;
  if (!derive_rectified_geometry(calibration, geometry, error)) return false;

  maps.left =
      build_eye_map(left, geometry.left_source_from_rectified, eye, geometry.grid, maps.left_valid_fraction);
  maps.right = build_eye_map(right, geometry.right_source_from_rectified, eye, geometry.grid,
                             maps.right_valid_fraction);
  console_line("  rectification_valid_pixels: left %.1f%%, right %.1f%%", maps.left_valid_fraction * 100.0,
               maps.right_valid_fraction * 100.0);
  console_log("\n");
  return true;
}

RectificationMaps identity_maps(Size eye) {
  EyeMap map;
  map.size = eye;
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
  maps.left_valid_fraction = maps.right_valid_fraction = 1.0;
  return maps;
}

}  // namespace veyrin
