#include "thumbnail/views.h"

#include <algorithm>
#include <cstddef>
#include <limits>

namespace veyrin {
namespace {

// The lens is evaluated for every fourth position only: over so few pixels its curve departs from a straight
// line by less than a hundredth of a pixel.
constexpr std::size_t lens_interval = 4;

ImagePosition mixed(ImagePosition a, ImagePosition b, float share) {
  return {a.x + share * (b.x - a.x), a.y + share * (b.y - a.y)};
}

}  // namespace

void UprightView::locate(const Row& row, std::span<ImagePosition> positions) const {
  const double last_x = picture_.width - 1.0, last_y = picture_.height - 1.0;
  double index = 0.0;
  for (ImagePosition& position : positions) {
    const double u = row.u_start + index * row.u_step, v = row.v;
    index += 1.0;
    double x = u, y = v;
    switch (quarter_turns_) {
      case 1:
        x = v, y = last_y - u;
        break;
      case 2:
        x = last_x - u, y = last_y - v;
        break;
      case 3:
        x = last_x - v, y = u;
        break;
      default:
        break;
    }
    position = {static_cast<float>(x), static_cast<float>(y)};
  }
}

EyeView::EyeView(const CameraIntrinsics& camera, const Matrix3& source_from_rectified,
                 const RectifiedGeometry& geometry, Size picture)
    : camera_(camera),
      source_from_rectified_(source_from_rectified),
      view_side_(std::min(picture.width, picture.height)),
      unit_(std::min(geometry.grid.width, geometry.grid.height) / view_side_),
      first_column_((geometry.grid.width - 1 - (view_side_ - 1) * unit_) * 0.5),
      first_row_((geometry.grid.height - 1 - (view_side_ - 1) * unit_) * 0.5),
      x_scale_(static_cast<float>(picture.width) / static_cast<float>(camera.width)),
      y_scale_(static_cast<float>(picture.height) / static_cast<float>(camera.height)) {}

ImagePosition EyeView::camera_position(double u, double v) const {
  return source_position(camera_, source_from_rectified_, u * unit_ + first_column_, v * unit_ + first_row_);
}

ImagePosition EyeView::picture_position(ImagePosition position) const {
  constexpr float nan = std::numeric_limits<float>::quiet_NaN();
  if (!is_inside_source(camera_, position)) return {nan, nan};
  return {(position.x + 0.5F) * x_scale_ - 0.5F, (position.y + 0.5F) * y_scale_ - 0.5F};
}

void EyeView::locate(const Row& row, std::span<ImagePosition> positions) const {
  const auto exact = [this, &row](std::size_t index) {
    return camera_position(row.u_start + static_cast<double>(index) * row.u_step, row.v);
  };
  ImagePosition right = exact(0);
  for (std::size_t first = 0; first < positions.size(); first += lens_interval) {
    const std::size_t count = std::min(lens_interval, positions.size() - first);
    const ImagePosition left = right;
    right = exact(first + lens_interval);
    for (std::size_t i = 0; i < count; ++i) {
      const float share = static_cast<float>(i) / static_cast<float>(lens_interval);
      positions[first + i] = picture_position(mixed(left, right, share));
    }
  }
}

}  // namespace veyrin
