#include "tests/recordings/eye_renderer.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace veyrin::recordings {
namespace {

constexpr double flash_share = 0.7;

/// A colour and its opacity.
struct Layer {
  Colour colour;
  double share = 0.0;
};

// Four rays per pixel are enough antialiasing for a fisheye picture.
constexpr std::array<ImagePoint, 4> sub_pixels{{{-0.25, -0.25}, {0.25, -0.25}, {-0.25, 0.25}, {0.25, 0.25}}};

int even_below(double value) {
  return static_cast<int>(std::floor(value * 0.5)) * 2;
}

}  // namespace

EyeRenderer::EyeRenderer(const FisheyeCamera& camera, const Placement& in_stage, const ColourCoding& coding)
    : camera_(camera),
      in_stage_(in_stage),
      coding_(coding),
      unprojector_(camera),
      room_(camera.width, camera.height) {
  draw_room();
}

template <typename Cover>
void EyeRenderer::draw_over(Picture& picture, const Area& area, Cover cover) const {
  const int bits = coding_.bits;
  for (int row = area.top; row < area.bottom; row += 2) {
    for (int column = area.left; column < area.right; column += 2) {
      double u_sum = 0.0, v_sum = 0.0, block_share = 0.0;
      for (int pixel = 0; pixel < 4; ++pixel) {
        const int x = column + pixel % 2, y = row + pixel / 2;
        double luma = 0.0, share = 0.0;
        for (const ImagePoint& offset : sub_pixels) {
          const Layer layer = cover(x + offset.x, y + offset.y);
          if (layer.share <= 0.0) continue;
          const Yuv code = encode_colour(layer.colour, coding_);
          luma += 0.25 * layer.share * code.y;
          u_sum += 0.0625 * layer.share * code.u;
          v_sum += 0.0625 * layer.share * code.v;
          share += 0.25 * layer.share;
        }
        if (share <= 0.0) continue;
        block_share += 0.25 * share;
        picture.set_luma(x, y, luma + (1.0 - share) * picture.y[picture.luma_index(x, y)], bits);
      }
      if (block_share <= 0.0) continue;
      const std::size_t index = picture.chroma_index(column / 2, row / 2);
      picture.set_chroma(column / 2, row / 2, u_sum + (1.0 - block_share) * picture.u[index],
                         v_sum + (1.0 - block_share) * picture.v[index], bits);
    }
  }
}

EyeRenderer::Area EyeRenderer::area_around(double low_x, double low_y, double high_x, double high_y) const {
  return {std::clamp(even_below(low_x), 0, camera_.width), std::clamp(even_below(low_y), 0, camera_.height),
          std::clamp(even_below(high_x) + 2, 0, camera_.width),
          std::clamp(even_below(high_y) + 2, 0, camera_.height)};
}

void EyeRenderer::draw_room() {
  draw_over(room_, {0, 0, camera_.width, camera_.height}, [this](double x, double y) {
    const std::optional<Vector3> direction = unprojector_.direction(x, y);
    if (!direction) return Layer{{0.0, 0.0, 0.0}, 1.0};
    return Layer{room_colour(in_stage_.position, in_stage_.rotation * *direction), 1.0};
  });
}

void EyeRenderer::draw_board(Picture& picture, std::uint32_t number) const {
  const Placement stage_in_camera = in_stage_.inverse();
  double low_x = 1e9, low_y = 1e9, high_x = -1e9, high_y = -1e9;
  for (const Vector3& corner : NumberBoard::outline()) {
    const std::optional<ImagePoint> at = camera_.project(stage_in_camera * corner);
    if (!at) continue;
    low_x = std::min(low_x, at->x - 2.0);
    low_y = std::min(low_y, at->y - 2.0);
    high_x = std::max(high_x, at->x + 2.0);
    high_y = std::max(high_y, at->y + 2.0);
  }
  draw_over(picture, area_around(low_x, low_y, high_x, high_y), [&](double x, double y) {
    const std::optional<Vector3> direction = unprojector_.direction(x, y);
    if (!direction) return Layer{};
    const auto colour = NumberBoard::colour(in_stage_.position, in_stage_.rotation * *direction, number);
    return colour ? Layer{*colour, 1.0} : Layer{};
  });
}

void EyeRenderer::draw_target(Picture& picture, const Target& target, double seconds) const {
  const Vector3 centre = in_stage_.inverse() * target.position(seconds);
  const std::optional<ImagePoint> at = camera_.project(centre);
  if (!at) return;
  const double distance = length(centre);
  const double core_angle = std::asin(std::min(1.0, target.core_radius / distance));
  const Vector3 axis = (1.0 / distance) * centre;
  // Off the axis the lens stretches sideways by less than theta / sin(theta), at most pi / 2.
  const double reach = 1.6 * target_outer_ratio * core_angle * std::max(camera_.fx, camera_.fy) + 2.0;
  draw_over(picture, area_around(at->x - reach, at->y - reach, at->x + reach, at->y + reach),
            [&](double x, double y) {
              const std::optional<Vector3> direction = unprojector_.direction(x, y);
              if (!direction) return Layer{};
              const double angle = 2.0 * std::asin(std::min(1.0, 0.5 * length(*direction - axis)));
              const auto sample = target.sample(angle, core_angle);
              return sample ? Layer{sample->colour, sample->share} : Layer{};
            });
}

Picture EyeRenderer::frame(std::uint32_t number, double seconds, bool flash) const {
  Picture picture = room_;
  draw_board(picture, number);
  for (const Target& target : targets()) draw_target(picture, target, seconds);
  // The flash is the brightest possible signal, in HLG brighter than white paper.
  if (flash) picture.wash(encode_signal({1.0, 1.0, 1.0}, coding_), flash_share, coding_.bits);
  return picture;
}

}  // namespace veyrin::recordings
