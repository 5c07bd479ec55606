#include "rectification/eye_map.h"

#include <algorithm>

#include "rectification/camera_model.h"

namespace veyrin {
namespace {

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

/// Where the source camera sees the rectified position (u, v).
ImagePosition source_position(const CameraIntrinsics& intrinsics, const Matrix3& m, double u, double v) {
  const double w = m[6] * u + m[7] * v + m[8];
  const double x = ((m[0] * u + m[1] * v + m[2]) / w - intrinsics.cx) / intrinsics.fx;
  const double y = ((m[3] * u + m[4] * v + m[5]) / w - intrinsics.cy) / intrinsics.fy;
  // Single precision from here on, as the frame processors work with.
  return project_ray(intrinsics, static_cast<float>(x), static_cast<float>(y));
}

}  // namespace

EyeMap build_eye_map(const CameraIntrinsics& intrinsics, const Matrix3& source_from_rectified,
                     std::int32_t eye_width, std::int32_t eye_height, std::int32_t grid_width,
                     std::int32_t grid_height, double& valid_fraction) {
  EyeMap map;
  map.width = eye_width;
  map.height = eye_height;
  const std::size_t pixels =
      static_cast<std::size_t>(std::max(eye_width, 0)) * static_cast<std::size_t>(std::max(eye_height, 0));
  map.map_x.assign(pixels, -1.0F);
  map.map_y.assign(pixels, -1.0F);

  const GridAxis columns(eye_width, grid_width);
  const GridAxis rows(eye_height, grid_height);
  std::size_t index = 0;
  std::int64_t valid_pixels = 0;
  for (std::int32_t row = 0; row < eye_height; ++row) {
    const double v = rows.position(row);
    for (std::int32_t column = 0; column < eye_width; ++column, ++index) {
      const ImagePosition source =
          source_position(intrinsics, source_from_rectified, columns.position(column), v);
      if (!is_inside_source(intrinsics, source)) continue;
      map.map_x[index] = source.x;
      map.map_y[index] = source.y;
      ++valid_pixels;
    }
  }
  valid_fraction = static_cast<double>(valid_pixels) / (static_cast<double>(eye_width) * eye_height);
  return map;
}

}  // namespace veyrin
