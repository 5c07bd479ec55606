#include "rectification/rectified_geometry.h"

#include <cmath>
#include <cstdint>

#include "common/error_text.h"
#include "metadata/calibration.h"

namespace veyrin {
namespace {

using Vector = std::array<double, 3>;

Vector normalized(const Vector& v) {
  const double norm = length(v);
  return {v[0] / norm, v[1] / norm, v[2] / norm};
}

Matrix3 from_rows(const Vector& row0, const Vector& row1, const Vector& row2) {
  return {row0[0], row0[1], row0[2], row1[0], row1[1], row1[2], row2[0], row2[1], row2[2]};
}

Vector widened(const std::array<float, 3>& v) {
  return {v[0], v[1], v[2]};
}

/// The rotation from the left camera's frame into the rectified one: x along the baseline, y at right angles
/// to it and to the left camera's optical axis.
Matrix3 rectifying_rotation(const Pose& stereo_extrinsic) {
  const Vector e1 = normalized(widened(stereo_extrinsic.position));
  const Vector e2 = normalized({-e1[1], e1[0], 0.0});
  const Vector e3 = normalized(cross_product(e1, e2));
  return from_rows(e1, e2, e3);
}

Matrix3 camera_matrix(double fx, double fy, double cx, double cy) {
  return {fx, 0.0, cx, 0.0, fy, cy, 0.0, 0.0, 1.0};
}

Matrix3 camera_matrix(const CameraIntrinsics& camera) {
  return camera_matrix(camera.fx, camera.fy, camera.cx, camera.cy);
}

double mean(double a, double b) {
  return (a + b) * 0.5;
}

/// The intrinsic matrix that both rectified eyes share, in native pixels.
Matrix3 rectified_camera_matrix(const CameraIntrinsics& left, const CameraIntrinsics& right) {
  return camera_matrix(mean(left.fx, right.fx), mean(left.fy, right.fy), mean(left.cx, right.cx),
                       mean(left.cy, right.cy));
}

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

Matrix3 operator*(const Matrix3& a, const Matrix3& b) {
  Matrix3 product{};
  for (std::size_t row = 0; row < 3; ++row) {
    for (std::size_t column = 0; column < 3; ++column) {
      double sum = 0.0;
      for (std::size_t i = 0; i < 3; ++i) sum += a[3 * row + i] * b[3 * i + column];
      product[3 * row + column] = sum;
    }
  }
  return product;
}

std::optional<Matrix3> inverse(const Matrix3& m) {
  const double c0 = m[4] * m[8] - m[5] * m[7];
  const double c1 = m[5] * m[6] - m[3] * m[8];
  const double c2 = m[3] * m[7] - m[4] * m[6];
  const double determinant = m[0] * c0 + m[1] * c1 + m[2] * c2;
  if (determinant == 0.0) return std::nullopt;
  Matrix3 result{c0, m[2] * m[7] - m[1] * m[8], m[1] * m[5] - m[2] * m[4],
                 c1, m[0] * m[8] - m[2] * m[6], m[2] * m[3] - m[0] * m[5],
                 c2, m[1] * m[6] - m[0] * m[7], m[0] * m[4] - m[1] * m[3]};
  for (double& element : result) element /= determinant;
  return result;
}

RectifiedView rectified_view(const RawDualTrackCalibration& calibration) {
  const CameraIntrinsics& left = calibration.left_intrinsics;
  const CameraIntrinsics& right = calibration.right_intrinsics;
  const Size size{static_cast<std::int32_t>(mean(left.width, right.width)),
                  static_cast<std::int32_t>(mean(left.height, right.height))};
  return {size, mean(left.fx, right.fx)};
}

bool derive_rectified_geometry(const RawDualTrackCalibration& calibration, RectifiedGeometry& geometry,
                               std::string& error) {
  const CameraIntrinsics& left = calibration.left_intrinsics;
  const CameraIntrinsics& right = calibration.right_intrinsics;
  const Pose& extrinsic = calibration.stereo_extrinsic;
  const Matrix3 right_from_left =
      from_rows(widened(extrinsic.plus_x), widened(extrinsic.y), widened(extrinsic.plus_z));
  const auto left_rays = inverse(camera_matrix(left));
  const auto right_rays = inverse(camera_matrix(right) * right_from_left);
  if (!left_rays || !right_rays) return fail(error, "could not invert calibration matrix");

  const Matrix3 rectified_from_rays = rectified_camera_matrix(left, right) * rectifying_rotation(extrinsic);
  const auto left_source = inverse(rectified_from_rays * *left_rays);
  const auto right_source = inverse(rectified_from_rays * *right_rays);
  if (!left_source || !right_source) return fail(error, "could not invert rectification homography");

  geometry.left_source_from_rectified = *left_source;
  geometry.right_source_from_rectified = *right_source;
  geometry.grid = rectified_view(calibration).size;
  return true;
}

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
