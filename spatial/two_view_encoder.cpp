#include "spatial/two_view_encoder.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "metadata/calibration.h"
#include "spatial/nvenc_two_view_encoder.h"

namespace veyrin {
namespace {

constexpr double degrees_per_radian = 57.29577951308232;
constexpr double millimetres_per_metre = 1000.0;

}  // namespace

std::span<const TwoViewEncoderKind> two_view_encoders() {
  static const std::array kinds{nvenc_two_view_encoder_kind()};
  return kinds;
}

const TwoViewEncoderKind& two_view_encoder_for(bool software) {
  return *std::ranges::find_if(two_view_encoders(),
                               [software](const TwoViewEncoderKind& kind) { return kind.serves(software); });
}

double camera_distance_mm(const RectifiedStereoGeometry& geometry) {
  return static_cast<double>(length(geometry.translation)) * millimetres_per_metre;
}

double horizontal_field_of_view_degrees(const RectifiedStereoGeometry& geometry) {
  const double width = (geometry.left_width + geometry.right_width) * 0.5;
  const double focal_length = (geometry.left_focal_length + geometry.right_focal_length) * 0.5;
  return 2.0 * std::atan(width / (2.0 * focal_length)) * degrees_per_radian;
}

}  // namespace veyrin
