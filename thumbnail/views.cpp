#include "thumbnail/views.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

namespace veyrin {
namespace {

// The lens is not evaluated for every position: over so many units its curve departs from a straight line by
// less than a hundredth of a pixel.
constexpr double straight_units = 4.0;

/// How many positions of a run may share an interval between evaluated ones.
std::size_t lens_interval(double u_step) {
  return static_cast<std::size_t>(std::clamp(straight_units / u_step, 1.0, straight_units));
}

constexpr ImagePosition nowhere{std::numeric_limits<float>::quiet_NaN(),
                                std::numeric_limits<float>::quiet_NaN()};

bool is_somewhere(ImagePosition position) {
  return !std::isnan(position.x);
}

ImagePosition mixed(ImagePosition a, ImagePosition b, float share) {
  return {a.x + share * (b.x - a.x), a.y + share * (b.y - a.y)};
}

}  // namespace

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

ImagePosition EyeView::exact_position(double u, double v) const {
  const double column = u * unit_ + first_column_, row = v * unit_ + first_row_;
  const Matrix3& m = source_from_rectified_;
  // Behind the camera the projection would show what is opposite, in front of it.
  const bool in_front = m[6] * column + m[7] * row + m[8] > 0.0;
  const ImagePosition position = source_position(camera_, m, column, row);
  if (!in_front || !std::isfinite(position.x) || !std::isfinite(position.y)) return nowhere;
  return {(position.x + 0.5F) * x_scale_ - 0.5F, (position.y + 0.5F) * y_scale_ - 0.5F};
}

void EyeView::locate(const Row& row, std::span<ImagePosition> positions) const {
  const auto exact = [this, &row](std::size_t index) {
    return exact_position(row.u_start + static_cast<double>(index) * row.u_step, row.v);
  };
  const std::size_t interval = lens_interval(row.u_step);
  ImagePosition right = exact(0);
  for (std::size_t first = 0; first < positions.size(); first += interval) {
    const std::size_t count = std::min(interval, positions.size() - first);
    const ImagePosition left = right;
    right = exact(first + interval);
    const bool between = is_somewhere(left) && is_somewhere(right);
    positions[first] = left;
    for (std::size_t i = 1; i < count; ++i) {
      const float share = static_cast<float>(i) / static_cast<float>(interval);
      positions[first + i] = between ? mixed(left, right, share) : exact(first + i);
    }
  }
}

}  // namespace veyrin
