// Per-eye remap tables from the common rectified geometry to the recorded images.
#pragma once

#include <string>
#include <vector>

#include "media/video_types.h"
#include "metadata/calibration.h"
#include "rectification/rectified_geometry.h"

namespace veyrin {

/// Source position per rectified pixel, row-major (row * width + column), in the source eye's luma grid with
/// pixel centres at integers; -1 in both arrays where the ray leaves the source image.
struct EyeMap {
  Size size;
  std::vector<float> map_x;
  std::vector<float> map_y;
};

/// The tables of both eyes, which have the same size.
struct RectificationMaps {
  EyeMap left;
  EyeMap right;
  double left_valid_fraction = 0.0;  ///< share of pixels with a source position, 0..1
  double right_valid_fraction = 0.0;
};

/// Builds the table of one eye. Its samples span the grid of rectified pixels from the first to the last
/// pixel centre; `source_from_rectified` takes a position of the grid to the source camera's undistorted
/// image. `valid_fraction` is the share of pixels with a source position, 0..1.
[[nodiscard]] EyeMap build_eye_map(const CameraIntrinsics& intrinsics, const Matrix3& source_from_rectified,
                                   Size eye, Size grid, double& valid_fraction);

/// Builds both tables for a rectified eye size and prints the valid shares; false with one message in `error`
/// when the calibration or the size cannot be used.
[[nodiscard]] bool build_rectification_maps(const RawDualTrackCalibration& calibration, Size eye,
                                            RectificationMaps& maps, std::string& error);

/// Finds out what building would find out and prints the same lines, but holds no tables. Of eyes of more
/// than 2^24 pixels only a sample of that size at most is looked at, so that it takes seconds at most, and
/// the shares are those of the sample. False with one message in `error`.
[[nodiscard]] bool check_rectification(const RawDualTrackCalibration& calibration, Size eye,
                                       std::string& error);

/// Maps that leave the eyes as recorded: every pixel's source is its own position.
[[nodiscard]] RectificationMaps identity_maps(Size eye);

}  // namespace veyrin
