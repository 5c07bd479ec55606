#include "rectification/camera_model.h"

#include <cmath>
#include <cstdint>

namespace veyrin {
namespace {

// Nearer to the optical axis the ratio of angle to radius is 1 in single precision.
constexpr float axis_radius = 1e-8F;

/// Distance from the principal point over focal length, per unit of the ray's own x and y.
float fisheye_scale(const CameraIntrinsics& intrinsics, float x, float y) {
  const float r = std::sqrt(x * x + y * y);
  if (!(r > axis_radius)) return 1.0F;
  // The nearest float on every system: the single-precision functions of C libraries round differently, and
  // that of mingw-w64 takes ten times as long.
  const auto theta = static_cast<float>(std::atan(double{r}));
  const float theta2 = theta * theta;
  const float theta3 = theta2 * theta;
  const float theta5 = theta3 * theta2;
  const float theta7 = theta5 * theta2;
  const float theta9 = theta7 * theta2;
  const float theta_d =
      theta + static_cast<float>(intrinsics.k1) * theta3 + static_cast<float>(intrinsics.k2) * theta5 +
      static_cast<float>(intrinsics.k3) * theta7 + static_cast<float>(intrinsics.k4) * theta9;
  return theta_d / r;
}

}  // namespace

ImagePosition project_ray(const CameraIntrinsics& intrinsics, float x, float y) {
  float scale = 1.0F;
  switch (intrinsics.model) {
    case CameraModel::pinhole:
      break;
    case CameraModel::kb4:
      scale = fisheye_scale(intrinsics, x, y);
      break;
    default:
      return {};
  }
  return {x * scale * static_cast<float>(intrinsics.fx) + static_cast<float>(intrinsics.cx),
          y * scale * static_cast<float>(intrinsics.fy) + static_cast<float>(intrinsics.cy)};
}

bool is_inside_source(const CameraIntrinsics& intrinsics, ImagePosition position) {
  const auto last_x = static_cast<float>(std::int64_t{intrinsics.width} - 1);
  const auto last_y = static_cast<float>(std::int64_t{intrinsics.height} - 1);
  return std::isfinite(position.x) && std::isfinite(position.y) && position.x >= 0.0F && position.y >= 0.0F &&
         position.x <= last_x && position.y <= last_y;
}

}  // namespace veyrin
