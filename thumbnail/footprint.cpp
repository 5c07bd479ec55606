#include "thumbnail/footprint.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace veyrin {
namespace {

// A lens does not spread the parts of a view so far; what a damaged calibration does must end soon.
constexpr float widest_footprint = 64.0F;

// Less of a footprint on the picture than this, in pixels, is what rounding leaves.
constexpr float smallest_area = 1e-4F;

float norm(float x, float y) {
  return std::sqrt(x * x + y * y);
}

/// A number of the same sign whose size is that of a footprint.
float widened(float width) {
  return std::copysign(std::clamp(std::abs(width), 1.0F, widest_footprint), width);
}

/// The next whole number below or at a number that is not far below 0.
int floor_of(float value) {
  constexpr int shift = 2 * static_cast<int>(widest_footprint);
  return static_cast<int>(value + static_cast<float>(shift)) - shift;
}

float determinant(const Footprint& footprint) {
  return footprint.along_u.x * footprint.along_v.y - footprint.along_v.x * footprint.along_u.y;
}

}  // namespace

Footprint footprint_between(const std::array<ImagePosition, 4>& corners) {
  const auto& [a, b, c, d] = corners;
  return {{(a.x + b.x + c.x + d.x) * 0.25F, (a.y + b.y + c.y + d.y) * 0.25F},
          {(b.x + d.x - a.x - c.x) * 0.5F, (b.y + d.y - a.y - c.y) * 0.5F},
          {(c.x + d.x - a.x - b.x) * 0.5F, (c.y + d.y - a.y - b.y) * 0.5F}};
}

// The matrix of both edges is the sum of a turned and a mirrored square. Its widths (singular values) are the
// sum and the difference of their sizes, and new widths change nothing but these sizes.
std::optional<Footprint> widened(const Footprint& footprint) {
  const Footprint::Edge& u = footprint.along_u;
  const Footprint::Edge& v = footprint.along_v;
  const Footprint::Edge turned{(u.x + v.y) * 0.5F, (u.y - v.x) * 0.5F};
  const Footprint::Edge mirrored{(u.x - v.y) * 0.5F, (u.y + v.x) * 0.5F};
  const float turned_size = norm(turned.x, turned.y), mirrored_size = norm(mirrored.x, mirrored.y);
  const float large = turned_size + mirrored_size, small = turned_size - mirrored_size;
  if (!(large > 1.0F) || !std::isfinite(large)) return std::nullopt;
  const float new_large = widened(large), new_small = widened(small);
  // One of them may have no size and then no direction; the other's widths are equal and stay so.
  const float t = turned_size > 0.0F ? (new_large + new_small) * 0.5F / turned_size : 0.0F;
  const float m = mirrored_size > 0.0F ? (new_large - new_small) * 0.5F / mirrored_size : 0.0F;
  return Footprint{footprint.centre,
                   {t * turned.x + m * mirrored.x, t * turned.y + m * mirrored.y},
                   {m * mirrored.y - t * turned.y, t * turned.x - m * mirrored.x}};
}

FootprintLight FootprintReader::read(const Footprint& footprint) {
  const std::optional<Footprint> wide = widened(footprint);
  return wide ? covered(*wide) : interpolated(footprint.centre);
}

FootprintLight FootprintReader::interpolated(ImagePosition position) const {
  const auto last_x = static_cast<float>(picture_.width() - 1);
  const auto last_y = static_cast<float>(picture_.height() - 1);
  const bool inside = position.x >= -0.5F && position.y >= -0.5F && position.x <= last_x + 0.5F &&
                      position.y <= last_y + 0.5F;
  if (!inside) return {};
  const float x = std::clamp(position.x, 0.0F, last_x), y = std::clamp(position.y, 0.0F, last_y);
  const int left = static_cast<int>(x), top = static_cast<int>(y);
  const int right = std::min(left + 1, picture_.width() - 1);
  const float fx = x - static_cast<float>(left), fy = y - static_cast<float>(top);
  const Rgba* above = picture_.row(top);
  const Rgba* below = picture_.row(std::min(top + 1, picture_.height() - 1));
  FootprintLight light{{}, 1.0F};
  add(above[left], (1.0F - fx) * (1.0F - fy), light.mean);
  add(above[right], fx * (1.0F - fy), light.mean);
  add(below[left], (1.0F - fx) * fy, light.mean);
  add(below[right], fx * fy, light.mean);
  return light;
}

// Adds what lies right of a piece of an edge that stays within one row of pixels: the piece is `height` high
// (negative when it goes down) and goes from one x to the other. The running sum along the row is the area of
// each pixel that lies right of the edge.
void FootprintReader::draw_part(float* row, float height, float x_from, float x_to) const {
  const auto [left, right] = std::minmax(x_from, x_to);
  const int column = static_cast<int>(left);  // not negative
  const float first = static_cast<float>(column), middle = 0.5F * (left + right);
  float* growth = row + column;
  if (right <= first + 1.0F) {  // within one pixel
    const float beyond = height * (middle - first);
    growth[0] += height - beyond;
    growth[1] += beyond;
    return;
  }
  const float half_slope = 0.5F * height / (right - left);
  float reached = 0.0F, pixel_before = 0.0F;
  for (float end = first + 1.0F; end < right + 1.0F; end += 1.0F) {
    // The area right of the edge and left of `end`.
    const float way = end - left;
    const float area = end < right ? half_slope * way * way : height * (end - middle);
    *growth++ += area - reached - pixel_before;
    pixel_before = area - reached;
    reached = area;
  }
  *growth += height - pixel_before;
}

void FootprintReader::draw_edge(ImagePosition from, ImagePosition to) {
  if (from.y == to.y) return;
  const bool down = from.y < to.y;
  const ImagePosition& top = down ? from : to;
  const ImagePosition& bottom = down ? to : from;
  const float x_step = (bottom.x - top.x) / (bottom.y - top.y);
  const auto [leftmost, rightmost] = std::minmax(top.x, bottom.x);
  float x = top.x, y = top.y;
  for (int row = static_cast<int>(top.y); y < bottom.y; ++row) {
    const float next_y = std::min(static_cast<float>(row + 1), bottom.y);
    const float height = next_y - y;
    // Rounding must not lead beyond the ends of the edge, where there may be no pixels.
    const float next_x = std::clamp(top.x + x_step * (next_y - top.y), leftmost, rightmost);
    draw_part(growth_.data() + static_cast<std::ptrdiff_t>(row) * growth_columns_, down ? -height : height, x,
              next_x);
    x = next_x;
    y = next_y;
  }
}

FootprintLight FootprintReader::covered(const Footprint& footprint) {
  // From here on pixels are squares between whole numbers.
  const ImagePosition centre{footprint.centre.x + 0.5F, footprint.centre.y + 0.5F};
  Footprint::Edge u = footprint.along_u, v = footprint.along_v;
  const float whole = std::abs(determinant(footprint));
  if (determinant(footprint) < 0.0F) std::swap(u, v);
  const float half_width = (std::abs(u.x) + std::abs(v.x)) * 0.5F;
  const float half_height = (std::abs(u.y) + std::abs(v.y)) * 0.5F;
  const auto width = static_cast<float>(picture_.width()), height = static_cast<float>(picture_.height());
  const bool near = centre.x + half_width > 0.0F && centre.x - half_width < width &&
                    centre.y + half_height > 0.0F && centre.y - half_height < height;
  if (!near) return {};

  const int left = floor_of(centre.x - half_width), top = floor_of(centre.y - half_height);
  const ImagePosition local{centre.x - static_cast<float>(left), centre.y - static_cast<float>(top)};
  const int columns = static_cast<int>(local.x + half_width) + 1;
  const int rows = static_cast<int>(local.y + half_height) + 1;
  // One more row and column for rounding, and a column for what grows behind the last.
  growth_columns_ = columns + 2;
  growth_.assign(static_cast<std::size_t>(growth_columns_) * static_cast<std::size_t>(rows + 1), 0.0F);
  const auto corner = [&](float along_u, float along_v) {
    const float x = local.x + along_u * u.x + along_v * v.x, y = local.y + along_u * u.y + along_v * v.y;
    return ImagePosition{std::max(x, 0.0F), std::max(y, 0.0F)};
  };
  const std::array<ImagePosition, 4> corners{corner(-0.5F, -0.5F), corner(0.5F, -0.5F), corner(0.5F, 0.5F),
                                             corner(-0.5F, 0.5F)};
  for (std::size_t i = 0; i < corners.size(); ++i) draw_edge(corners[i], corners[(i + 1) % corners.size()]);

  FootprintLight light;
  const int first_row = std::max(0, -top), end_row = std::min(rows, picture_.height() - top);
  const int first_column = std::max(0, -left), end_column = std::min(columns, picture_.width() - left);
  float area = 0.0F;
  for (int row = first_row; row < end_row; ++row) {
    const float* growth = growth_.data() + static_cast<std::ptrdiff_t>(row) * growth_columns_;
    const Rgba* pixels = picture_.row(top + row);
    float inside = 0.0F;
    for (int column = 0; column < first_column; ++column) inside += growth[column];
    for (int column = first_column; column < end_column; ++column) {
      inside += growth[column];
      add(pixels[left + column], inside, light.mean);
      area += inside;
    }
  }
  if (!(area > smallest_area)) return {};
  light.mean.red /= area;
  light.mean.green /= area;
  light.mean.blue /= area;
  light.share = std::min(area / whole, 1.0F);
  return light;
}

}  // namespace veyrin
