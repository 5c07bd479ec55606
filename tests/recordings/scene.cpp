#include "tests/recordings/scene.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <string_view>

namespace veyrin::recordings {
namespace {

constexpr Vector3 room_low{-3.0, -1.6, -2.0};
constexpr Vector3 room_high{3.0, 1.3, 4.5};

double smooth_step(double from, double to, double value) {
  const double t = std::clamp((value - from) / (to - from), 0.0, 1.0);
  return t * t * (3.0 - 2.0 * t);
}

bool checker(double u, double v, double side) {
  const auto cell = static_cast<long>(std::floor(u / side) + std::floor(v / side));
  return (cell & 1) != 0;
}

/// Letters on the walls show the orientation of the picture: 5x7 dots each.
struct Glyph {
  char letter;
  std::array<std::string_view, 7> rows;
};

constexpr std::array<Glyph, 4> glyphs{{
    {'U', {"#...#", "#...#", "#...#", "#...#", "#...#", "#...#", ".###."}},
    {'P', {"####.", "#...#", "#...#", "####.", "#....", "#....", "#...."}},
    {'L', {"#....", "#....", "#....", "#....", "#....", "#....", "#####"}},
    {'R', {"####.", "#...#", "#...#", "####.", "#.#..", "#..#.", "#...#"}},
}};

/// Whether text starting at (0, 0) covers (u, v); one dot is `dot` wide, v runs down.
bool text_covers(std::string_view text, double u, double v, double dot) {
  const auto column = static_cast<int>(std::floor(u / dot));
  const auto row = static_cast<int>(std::floor(v / dot));
  if (column < 0 || row < 0 || row >= 7 || column % 6 == 5) return false;
  const auto index = static_cast<std::size_t>(column / 6);
  if (index >= text.size()) return false;
  for (const Glyph& glyph : glyphs) {
    if (glyph.letter == text[index]) {
      return glyph.rows[static_cast<std::size_t>(row)][static_cast<std::size_t>(column % 6)] == '#';
    }
  }
  return false;
}

Colour wall_colour(Colour base, double u, double y, double letters_at, std::string_view letters) {
  const double shade = 1.0 - 0.25 * (y - room_low.y) / (room_high.y - room_low.y);
  const Colour plain{base.red * shade, base.green * shade, base.blue * shade};
  if (text_covers(letters, u - letters_at, y + 1.2, 0.12)) return {0.95, 0.95, 0.9};
  return checker(u, y, 0.4) ? mix(plain, {0.0, 0.0, 0.0}, 0.18) : plain;
}

std::vector<Target> make_targets() {
  const auto target = [](std::string name, Colour rim, Vector3 rest, Vector3 amplitude, double hertz,
                         double phase) {
    return Target{std::move(name), rim, rest, amplitude, hertz, phase, 0.04 * length(rest)};
  };
  return {
      target("far_left", {0.9, 0.2, 0.9}, {-1.7, 0.1, 2.4}, {0.0, 0.08, 0.1}, 0.4, 0.0),
      target("far_right", {0.2, 0.9, 0.9}, {1.7, 0.2, 2.2}, {0.0, 0.09, 0.1}, 0.5, 1.0),
      target("centre", {0.9, 0.9, 0.2}, {0.9, -0.1, 3.0}, {0.1, 0.05, 0.2}, 0.6, 2.0),
      target("high", {0.9, 0.5, 0.1}, {0.1, -0.95, 1.6}, {0.09, 0.0, 0.05}, 0.7, 3.0),
      target("low_left", {0.2, 0.4, 0.9}, {-0.8, 0.8, 1.3}, {0.05, 0.03, 0.03}, 0.8, 4.0),
      target("low_right", {0.9, 0.2, 0.2}, {0.75, 0.75, 1.2}, {0.03, 0.05, 0.03}, 0.9, 5.0),
      target("near_left", {0.1, 0.8, 0.3}, {-0.45, -0.28, 0.8}, {0.02, 0.03, 0.04}, 1.0, 0.5),
      target("near_right", {0.6, 0.3, 0.9}, {0.5, -0.22, 0.9}, {0.03, 0.02, 0.04}, 1.1, 1.5),
  };
}

}  // namespace

Colour mix(Colour below, Colour above, double share) {
  return {below.red + share * (above.red - below.red), below.green + share * (above.green - below.green),
          below.blue + share * (above.blue - below.blue)};
}

Vector3 Target::position(double seconds) const {
  const double swing = std::sin(2.0 * std::numbers::pi * hertz * seconds + phase);
  return rest + swing * amplitude;
}

std::optional<Target::Sample> Target::sample(double angle, double core_angle) const {
  const double ratio = angle / core_angle;
  if (ratio >= target_outer_ratio) return std::nullopt;
  // Soft edges allow the centre to be measured to a small fraction of a pixel.
  const double white = 1.0 - smooth_step(0.6, 1.3, ratio);
  const double coloured = smooth_step(1.9, 2.3, ratio);
  return Sample{mix(mix({0.02, 0.02, 0.02}, {0.97, 0.97, 0.97}, white), rim, coloured),
                1.0 - smooth_step(2.4, target_outer_ratio, ratio)};
}

const std::vector<Target>& targets() {
  static const std::vector<Target> all = make_targets();
  return all;
}

Colour room_colour(Vector3 origin, Vector3 direction) {
  const auto travel = [](double from, double along, double low, double high) {
    if (std::abs(along) < 1e-12) return 1e9;
    return ((along > 0.0 ? high : low) - from) / along;
  };
  const double tx = travel(origin.x, direction.x, room_low.x, room_high.x);
  const double ty = travel(origin.y, direction.y, room_low.y, room_high.y);
  const double tz = travel(origin.z, direction.z, room_low.z, room_high.z);
  const Vector3 hit = origin + std::min({tx, ty, tz}) * direction;
  if (ty <= tx && ty <= tz) {
    if (direction.y < 0.0) {  // ceiling: a pale sky
      const Colour sky{0.55, 0.72, 0.92};
      return checker(hit.x, hit.z, 0.8) ? mix(sky, {1.0, 1.0, 1.0}, 0.15) : sky;
    }
    return checker(hit.x, hit.z, 0.5) ? Colour{0.2, 0.36, 0.16} : Colour{0.32, 0.48, 0.24};
  }
  if (tx <= tz) {
    if (direction.x < 0.0) return wall_colour({0.62, 0.36, 0.3}, hit.z, hit.y, 1.8, "L");
    return wall_colour({0.3, 0.38, 0.62}, -hit.z, hit.y, -2.4, "R");
  }
  if (direction.z < 0.0) return wall_colour({0.4, 0.4, 0.4}, hit.x, hit.y, 0.0, "");
  return wall_colour({0.55, 0.54, 0.46}, hit.x, hit.y, -0.66, "UP");
}

Vector3 NumberBoard::square_centre(int row, int column) {
  return {(column - 3.0) * square_metres, 0.4 + row * square_metres, distance_metres};
}

Vector3 NumberBoard::bit_centre(int bit) {
  return square_centre(bit < 6 ? 1 : 0, 6 - bit % 6);
}

std::vector<Vector3> NumberBoard::outline() {
  const Vector3 first = square_centre(0, 0), last = square_centre(1, 6);
  constexpr double margin = 0.75 * square_metres;
  std::vector<Vector3> points;
  for (int step = 0; step <= 8; ++step) {
    const double x = first.x - margin + (last.x - first.x + 2.0 * margin) * step / 8.0;
    const double y = first.y - margin + (last.y - first.y + 2.0 * margin) * step / 8.0;
    points.push_back({x, first.y - margin, distance_metres});
    points.push_back({x, last.y + margin, distance_metres});
    points.push_back({first.x - margin, y, distance_metres});
    points.push_back({last.x + margin, y, distance_metres});
  }
  return points;
}

std::optional<Colour> NumberBoard::colour(Vector3 origin, Vector3 direction, std::uint32_t number) {
  if (direction.z <= 1e-9) return std::nullopt;
  const Vector3 hit = origin + ((distance_metres - origin.z) / direction.z) * direction;
  const Vector3 first = square_centre(0, 0);
  const double u = (hit.x - first.x) / square_metres, v = (hit.y - first.y) / square_metres;
  if (u < -0.75 || u > 6.75 || v < -0.75 || v > 1.75) return std::nullopt;
  constexpr Colour frame{0.25, 0.25, 0.25}, white{0.95, 0.95, 0.95}, black{0.03, 0.03, 0.03};
  if (u < -0.5 || u >= 6.5 || v < -0.5 || v >= 1.5) return frame;
  const auto column = static_cast<int>(std::floor(u + 0.5));
  const auto row = static_cast<int>(std::floor(v + 0.5));
  if (column == 0) return row == 0 ? white : black;
  const int bit = 6 - column + (row == 0 ? 6 : 0);
  return ((number >> bit) & 1U) != 0 ? white : black;
}

}  // namespace veyrin::recordings
