// Per-eye remap tables from the common rectified geometry to the recorded images. Whole tables would be the
// largest thing that a conversion holds, so they are read piece by piece, by whoever turns them into
// something smaller.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "media/video_types.h"
#include "metadata/calibration.h"
#include "rectification/rectified_geometry.h"

namespace veyrin {

/// Source position per rectified pixel, in the source eye's luma grid with pixel centres at integers; -1 in
/// both coordinates where the ray leaves the source image. Immutable, readable by any number of threads.
struct EyeMap {
  /// Writes the positions of `count` pixels of a row, from column `first` on, into map_x[0, count) and
  /// map_y[0, count). Returns how many of them have a source position.
  using Read = std::int64_t(std::int32_t row, std::int32_t first, std::int32_t count, float* map_x,
                            float* map_y);

  Size size;
  std::function<Read> read;  ///< none in a map that was never built
};

/// The tables of both eyes, which have the same size.
struct RectificationMaps {
  EyeMap left;
  EyeMap right;
};

/// The table of one eye. Its samples span the grid of rectified pixels from the first to the last pixel
/// centre; `source_from_rectified` takes a position of the grid to the source camera's undistorted image.
[[nodiscard]] EyeMap build_eye_map(const CameraIntrinsics& intrinsics, const Matrix3& source_from_rectified,
                                   Size eye, Size grid);

/// Makes both tables for a rectified eye size; false with one message in `error` when the calibration or the
/// size cannot be used.
[[nodiscard]] bool build_rectification_maps(const RawDualTrackCalibration& calibration, Size eye,
                                            RectificationMaps& maps, std::string& error);

/// Prints the shares of pixels with a source position, 0..1, and names eyes without any.
void report_valid_shares(double left, double right);

/// Finds out what building and reading the maps would find out, and reports the shares. Of eyes of more than
/// 2^24 pixels only a sample of that size at most is looked at, so that it takes seconds at most, and the
/// shares are those of the sample. False with one message in `error`.
[[nodiscard]] bool check_rectification(const RawDualTrackCalibration& calibration, Size eye,
                                       std::string& error);

/// Maps that leave the eyes as recorded: every pixel's source is its own position.
[[nodiscard]] RectificationMaps identity_maps(Size eye);

}  // namespace veyrin
