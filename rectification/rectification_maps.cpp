#include "rectification/rectification_maps.h"

#include <algorithm>
#include <cstdint>
#include <string>

#include "common/console.h"
#include "common/error_text.h"
#include "rectification/rectified_geometry.h"

namespace veyrin {
namespace {

// 16384 x 8192, far more than any encoder takes. The tables of larger eyes would exhaust memory.
constexpr std::int64_t max_eye_pixels = std::int64_t{1} << 27;

// Enough for shares of a tenth of a percent. Each pixel of a check takes as long as one of a table.
constexpr std::int64_t max_checked_pixels = std::int64_t{1} << 24;

std::int64_t pixels_of(Size eye) {
  return std::int64_t{eye.width} * eye.height;
}

/// Everything that is wrong with a calibration and an eye size; else their geometry.
[[nodiscard]] bool prepare(const RawDualTrackCalibration& calibration, Size eye, RectifiedGeometry& geometry,
                           std::string& error) {
  if (!calibration.valid) return fail(error, "cannot rectify without valid calibration");
  if (eye.width < 1 || eye.height < 1) return fail(error, "invalid rectified eye size");
  if (pixels_of(eye) > max_eye_pixels) {
    return fail(error, "rectified eye size is too large: " + std::to_string(eye.width) + "x" +
                           std::to_string(eye.height) + " (at most " + std::to_string(max_eye_pixels) +
                           " pixels)");
  }
  if (calibration.left_intrinsics.model != CameraModel::kb4 ||
      calibration.right_intrinsics.model != CameraModel::kb4) {
    return fail(error, "raw dual-track rectification currently requires KB4 fisheye intrinsics");
  }
  return derive_rectified_geometry(calibration, geometry, error);
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

/// The share of pixels with a source position. Of large eyes, only every n-th row and column is looked at.
double valid_share(const CameraIntrinsics& intrinsics, const Matrix3& source_from_rectified, Size eye,
                   Size grid) {
  std::int32_t step = 1;
  while (pixels_of(eye) / step / step > max_checked_pixels) ++step;
  const GridAxis columns(eye.width, grid.width);
  const GridAxis rows(eye.height, grid.height);
  std::int64_t pixels = 0;
  std::int64_t valid_pixels = 0;
  const auto first_of = [step](std::int32_t count) { return std::min(step / 2, count - 1); };
  for (std::int32_t row = first_of(eye.height); row < eye.height; row += step) {
    const double v = rows.position(row);
    for (std::int32_t column = first_of(eye.width); column < eye.width; column += step) {
      const ImagePosition source =
          source_position(intrinsics, source_from_rectified, columns.position(column), v);
      ++pixels;
      if (is_inside_source(intrinsics, source)) ++valid_pixels;
    }
  }
  return static_cast<double>(valid_pixels) / static_cast<double>(pixels);
}

}  // namespace

EyeMap build_eye_map(const CameraIntrinsics& intrinsics, const Matrix3& source_from_rectified, Size eye,
                     Size grid) {
  const GridAxis columns(eye.width, grid.width);
  const GridAxis rows(eye.height, grid.height);
  return {eye, [=](std::int32_t row, std::int32_t first, std::int32_t count, float* map_x, float* map_y) {
            const double v = rows.position(row);
            std::int64_t valid_pixels = 0;
            for (std::int32_t i = 0; i < count; ++i) {
              const ImagePosition source =
                  source_position(intrinsics, source_from_rectified, columns.position(first + i), v);
              const bool valid = is_inside_source(intrinsics, source);
              map_x[i] = valid ? source.x : -1.0F;
              map_y[i] = valid ? source.y : -1.0F;
              if (valid) ++valid_pixels;
            }
            return valid_pixels;
          }};
}

bool build_rectification_maps(const RawDualTrackCalibration& calibration, Size eye, RectificationMaps& maps,
                              std::string& error) {
  RectifiedGeometry geometry;
  if (!prepare(calibration, eye, geometry, error)) return false;
  maps.left =
      build_eye_map(calibration.left_intrinsics, geometry.left_source_from_rectified, eye, geometry.grid);
  maps.right =
      build_eye_map(calibration.right_intrinsics, geometry.right_source_from_rectified, eye, geometry.grid);
  return true;
}

void report_valid_shares(double left, double right) {
  console_line("  rectification_valid_pixels: left %.1f%%, right %.1f%%", left * 100.0, right * 100.0);
  console_log("\n");
  if (left > 0.0 && right > 0.0) return;
  const char* black = left > 0.0 ? "the right eye has" : right > 0.0 ? "the left eye has" : "both eyes have";
  console_line("  rectification: %s no valid pixel and will be black", black);
}

bool check_rectification(const RawDualTrackCalibration& calibration, Size eye, std::string& error) {
  RectifiedGeometry geometry;
  if (!prepare(calibration, eye, geometry, error)) return false;
  report_valid_shares(
      valid_share(calibration.left_intrinsics, geometry.left_source_from_rectified, eye, geometry.grid),
      valid_share(calibration.right_intrinsics, geometry.right_source_from_rectified, eye, geometry.grid));
  return true;
}

RectificationMaps identity_maps(Size eye) {
  const auto read = [](std::int32_t row, std::int32_t first, std::int32_t count, float* map_x, float* map_y) {
    for (std::int32_t i = 0; i < count; ++i) {
      map_x[i] = static_cast<float>(first + i);
      map_y[i] = static_cast<float>(row);
    }
    return std::int64_t{count};
  };
  return {.left = {eye, read}, .right = {eye, read}};
}

}  // namespace veyrin
