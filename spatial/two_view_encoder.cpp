#include "spatial/two_view_encoder.h"

#include <cmath>
#include <cstdint>

#include "metadata/calibration.h"

namespace veyrin {
namespace {

constexpr double degrees_per_radian = 57.29577951308232;
constexpr double millimetres_per_metre = 1000.0;

}  // namespace

double camera_distance_mm(const RectifiedStereoGeometry& geometry) {
  return static_cast<double>(length(geometry.translation)) * millimetres_per_metre;
}

double horizontal_field_of_view_degrees(const RectifiedStereoGeometry& geometry) {
  const std::int64_t widths = std::int64_t{geometry.left_width} + geometry.right_width;
  const double width = static_cast<double>(widths) * 0.5;
  const double focal_length = (geometry.left_focal_length + geometry.right_focal_length) * 0.5;
  return 2.0 * std::atan(width / (2.0 * focal_length)) * degrees_per_radian;
}

bool allocate_eye_frame(AVFrame& frame, AVPixelFormat format, Size eye, RowLayout rows,
                        const ColorTags& colors, std::string& error) {
  frame.color_range = colors.range;
  frame.color_primaries = colors.primaries;
  frame.color_trc = colors.transfer;
  frame.colorspace = colors.matrix;
  frame.chroma_location = AVCHROMA_LOC_LEFT;
  const int result = allocate_frame_buffers(frame, format, eye, rows);
  return result >= 0 || fail_with_library_error(error, "could not allocate MV-HEVC eye frame", result);
}

}  // namespace veyrin
