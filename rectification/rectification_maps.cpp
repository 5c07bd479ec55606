#include "rectification/rectification_maps.h"

#include "common/console.h"
#include "common/error_text.h"
#include "rectification/rectified_geometry.h"

namespace veyrin {
namespace {

// 16384 x 8192, far more than any encoder takes; the tables of larger eyes would only exhaust memory.
constexpr std::int64_t max_eye_pixels = std::int64_t{1} << 27;

bool is_possible_eye_size(std::int32_t width, std::int32_t height) {
  return width >= 1 && height >= 1 && std::int64_t{width} * height <= max_eye_pixels;
}

}  // namespace

bool build_rectification_maps(const RawDualTrackCalibration& calibration, std::int32_t eye_width,
                              std::int32_t eye_height, RectificationMaps& maps, std::string& error) {
  if (!calibration.valid) return fail(error, "cannot rectify without valid calibration");
  if (!is_possible_eye_size(eye_width, eye_height)) return fail(error, "invalid rectified eye size");
  const CameraIntrinsics& left = calibration.left_intrinsics;
  const CameraIntrinsics& right = calibration.right_intrinsics;
  if (left.model != CameraModel::kb4 || right.model != CameraModel::kb4) {
    return fail(error, "raw dual-track rectification currently requires KB4 fisheye intrinsics");
  }
  RectifiedGeometry geometry;
  if (!derive_rectified_geometry(calibration, geometry, error)) return false;

  maps.left = build_eye_map(left, geometry.left_source_from_rectified, eye_width, eye_height,
                            geometry.grid_width, geometry.grid_height, maps.left_valid_fraction);
  maps.right = build_eye_map(right, geometry.right_source_from_rectified, eye_width, eye_height,
                             geometry.grid_width, geometry.grid_height, maps.right_valid_fraction);
  maps.width = static_cast<std::uint32_t>(eye_width);
  maps.height = static_cast<std::uint32_t>(eye_height);
  console_line("  rectification_valid_pixels: left %.1f%%, right %.1f%%", maps.left_valid_fraction * 100.0,
               maps.right_valid_fraction * 100.0);
  console_log("\n");
  return true;
}

}  // namespace veyrin
