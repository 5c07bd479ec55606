// Camera models and the common geometry of both rectified eyes: projection of rays into the recorded images,
// 3x3 matrices, and the virtual cameras that both eyes are brought to.
#pragma once

#include <array>
#include <optional>
#include <string>

#include "media/video_types.h"
#include "metadata/calibration.h"

namespace veyrin {

/// A position in an image, in pixels with pixel centres at integers and (0, 0) the top-left pixel.
struct ImagePosition {
  float x = 0.0F;
  float y = 0.0F;
};

/// Where the camera sees the ray whose direction is (x, y, 1): x right, y down, z along the optical axis.
/// Pinhole, or the Kannala-Brandt fisheye model with four radial coefficients; (0, 0) for any other model.
/// All in single precision.
ImagePosition project_ray(const CameraIntrinsics& intrinsics, float x, float y);

/// True when the position is finite and between the centres of the camera's outermost pixels, these included.
bool is_inside_source(const CameraIntrinsics& intrinsics, ImagePosition position);

/// 3x3 matrix in double precision, row-major.
using Matrix3 = std::array<double, 9>;

Matrix3 operator*(const Matrix3& a, const Matrix3& b);

/// The inverse by cofactors; nothing when the determinant is exactly 0. A NaN determinant gives a matrix of
/// NaN, so that the rays of a degenerate geometry see nothing.
[[nodiscard]] std::optional<Matrix3> inverse(const Matrix3& matrix);

/// Two virtual pinhole cameras side by side, both with the mean intrinsics of the real ones, in native
/// pixels.
struct RectifiedGeometry {
  /// From a rectified position to the source camera's undistorted image, homogeneous.
  Matrix3 left_source_from_rectified{};
  Matrix3 right_source_from_rectified{};
  Size grid;  ///< native size of a rectified eye
};

/// What both rectified eyes show, in native pixels.
struct RectifiedView {
  Size size;
  double focal_length_x = 0.0;
};

/// The view of a calibration, which may be invalid.
[[nodiscard]] RectifiedView rectified_view(const RawDualTrackCalibration& calibration);

/// Derives the geometry from a valid calibration; false with one message in `error` when a matrix is
/// singular.
[[nodiscard]] bool derive_rectified_geometry(const RawDualTrackCalibration& calibration,
                                             RectifiedGeometry& geometry, std::string& error);

/// Where the source camera sees the rectified position (u, v) of the grid. It may lie outside the image or be
/// NaN. Inline because the maps call it for every pixel.
[[nodiscard]] inline ImagePosition source_position(const CameraIntrinsics& intrinsics,
                                                   const Matrix3& source_from_rectified, double u, double v) {
  const Matrix3& m = source_from_rectified;
  const double w = m[6] * u + m[7] * v + m[8];
  const double x = ((m[0] * u + m[1] * v + m[2]) / w - intrinsics.cx) / intrinsics.fx;
  const double y = ((m[3] * u + m[4] * v + m[5]) / w - intrinsics.cy) / intrinsics.fy;
  // Single precision from here on, as in the frame processors.
  return project_ray(intrinsics, static_cast<float>(x), static_cast<float>(y));
}

}  // namespace veyrin
