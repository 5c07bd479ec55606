// The remap table of one eye.
#pragma once

#include <cstdint>
#include <vector>

#include "metadata/calibration.h"
#include "rectification/matrix3.h"

namespace veyrin {

/// Source position per rectified pixel, row-major (row * width + column), in the source eye's luma grid with
/// pixel centres at integers; -1 in both arrays where the ray leaves the source image.
struct EyeMap {
  std::int32_t width = 0;
  std::int32_t height = 0;
  std::vector<float> map_x;
  std::vector<float> map_y;
};

/// Builds the table for an eye of the given size in pixels. Its samples span a grid of `grid_width` x
/// `grid_height` rectified pixels from the first to the last pixel centre; `source_from_rectified` takes a
/// position of that grid to the source camera's undistorted image. `valid_fraction` is the share of pixels
/// with a source position, 0..1.
EyeMap build_eye_map(const CameraIntrinsics& intrinsics, const Matrix3& source_from_rectified,
                     std::int32_t eye_width, std::int32_t eye_height, std::int32_t grid_width,
                     std::int32_t grid_height, double& valid_fraction);

}  // namespace veyrin
