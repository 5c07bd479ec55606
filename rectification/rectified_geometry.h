// The common geometry of both rectified eyes.
#pragma once

#include <cstdint>
#include <string>

#include "metadata/recording_metadata.h"
#include "rectification/matrix3.h"

namespace veyrin {

/// Two virtual pinhole cameras side by side, both with the mean intrinsics of the real ones, in native
/// pixels.
struct RectifiedGeometry {
  /// From a rectified position to the source camera's undistorted image, homogeneous.
  Matrix3 left_source_from_rectified{};
  Matrix3 right_source_from_rectified{};
  std::int32_t grid_width = 0;  ///< native size of a rectified eye
  std::int32_t grid_height = 0;
};

/// What both rectified eyes show, in native pixels.
struct RectifiedView {
  std::int32_t width = 0;
  std::int32_t height = 0;
  double focal_length_x = 0.0;
};

/// The view of a calibration, which need not be a valid one.
RectifiedView rectified_view(const RawDualTrackCalibration& calibration);

/// Derives the geometry from a valid calibration; false with one message in `error` for a singular one.
[[nodiscard]] bool derive_rectified_geometry(const RawDualTrackCalibration& calibration,
                                             RectifiedGeometry& geometry, std::string& error);

}  // namespace veyrin
