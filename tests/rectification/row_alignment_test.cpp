// Both rectified eyes show a point in space in the same row.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <ostream>
#include <random>
#include <string>

#include "tests/rectification/sample_calibration.h"
#include "tests/rectification/stored_maps.h"

namespace veyrin::test {
namespace {

using Point = std::array<double, 3>;

struct Position {
  double x = 0.0, y = 0.0;
};

/// The Kannala-Brandt projection by angles, in double precision.
Position photograph(const CameraIntrinsics& camera, const Point& p) {
  const double theta = std::atan2(std::hypot(p[0], p[1]), p[2]);
  const double azimuth = std::atan2(p[1], p[0]);
  const double square = theta * theta;
  const double radius =
      theta * (1.0 + square * (camera.k1 + square * (camera.k2 + square * (camera.k3 + square * camera.k4))));
  return {camera.cx + camera.fx * radius * std::cos(azimuth),
          camera.cy + camera.fy * radius * std::sin(azimuth)};
}

/// A point of the left camera's frame in that of the right camera.
Point seen_from_right(const Pose& right_in_left, const Point& p) {
  const Point offset{p[0] - right_in_left.position[0], p[1] - right_in_left.position[1],
                     p[2] - right_in_left.position[2]};
  const auto along = [&](const std::array<float, 3>& axis) {
    return axis[0] * offset[0] + axis[1] * offset[1] + axis[2] * offset[2];
  };
  return {along(right_in_left.plus_x), along(right_in_left.y), along(right_in_left.plus_z)};
}

/// Where the rectified eye shows a source position: the map's inverse, refined between its pixels.
std::optional<Position> rectified_position(const StoredMap& map, const Position& source) {
  const auto at = [&](int column, int row) {
    const auto index = static_cast<std::size_t>(row) * map.size.width + column;
    return Position{map.map_x[index], map.map_y[index]};
  };
  int best_column = 0, best_row = 0;
  double best = 1e30;  // squared distance
  for (int row = 1; row + 1 < map.size.height; ++row) {
    for (int column = 1; column + 1 < map.size.width; ++column) {
      const Position p = at(column, row);
      const double dx = p.x - source.x, dy = p.y - source.y;
      const double distance = p.x < 0.0 ? 1e30 : dx * dx + dy * dy;
      if (distance < best) {
        best = distance;
        best_column = column;
        best_row = row;
      }
    }
  }
  const Position here = at(best_column, best_row);
  const Position west = at(best_column - 1, best_row), east = at(best_column + 1, best_row);
  const Position north = at(best_column, best_row - 1), south = at(best_column, best_row + 1);
  if (best > 25.0 || west.x < 0.0 || east.x < 0.0 || north.x < 0.0 || south.x < 0.0) return std::nullopt;
  const double xu = (east.x - west.x) / 2.0, yu = (east.y - west.y) / 2.0;
  const double xv = (south.x - north.x) / 2.0, yv = (south.y - north.y) / 2.0;
  const double dx = source.x - here.x, dy = source.y - here.y;
  const double determinant = xu * yv - xv * yu;
  return Position{best_column + (dx * yv - dy * xv) / determinant,
                  best_row + (dy * xu - dx * yu) / determinant};
}

struct Rig {
  const char* name;
  Pose right_in_left;
  Size eye;
};

void PrintTo(const Rig& rig, std::ostream* out) {
  *out << rig.name;
}

class RowAlignment : public testing::TestWithParam<Rig> {};

TEST_P(RowAlignment, PutsKnownPointsIntoOneRowOfBothEyes) {
  const Rig& rig = GetParam();
  RawDualTrackCalibration calibration = sample_calibration();
  calibration.stereo_extrinsic = rig.right_in_left;
  StoredMaps maps;
  std::string error;
  ASSERT_TRUE(build_stored_maps(calibration, rig.eye, maps, error)) << error;

  std::mt19937 random(5);
  std::uniform_real_distribution<double> slope(-0.75, 0.75);
  std::uniform_real_distribution<double> depth(0.5, 10.0);
  int seen = 0;
  double largest = 0.0;
  for (int i = 0; i < 60; ++i) {
    const double z = depth(random);
    const Point point{slope(random) * z, slope(random) * z, z};
    const auto left = rectified_position(maps.left, photograph(calibration.left_intrinsics, point));
    const auto right = rectified_position(
        maps.right, photograph(calibration.right_intrinsics, seen_from_right(rig.right_in_left, point)));
    if (!left || !right) continue;
    ++seen;
    largest = std::max(largest, std::abs(left->y - right->y));
    EXPECT_NEAR(left->y, right->y, 0.02) << "point " << point[0] << ", " << point[1] << ", " << point[2];
    // Near points are further left in the right eye, by focal length x baseline / depth of the rectified
    // frame.
    const double focal = (calibration.left_intrinsics.fx + calibration.right_intrinsics.fx) / 2.0;
    const double scale = (rig.eye.width - 1.0) / (calibration.left_intrinsics.width - 1.0);
    const double disparity = left->x - right->x;
    EXPECT_GT(disparity, 0.0);
    const double rectified_depth = focal * scale *
                                   std::hypot(rig.right_in_left.position[0], rig.right_in_left.position[1],
                                              rig.right_in_left.position[2]) /
                                   disparity;
    EXPECT_NEAR(rectified_depth / z, 1.0, 0.25);
  }
  std::printf("%s: %d points, largest row difference %.4f pixels\n", rig.name, seen, largest);
  EXPECT_GT(seen, 40);
}

INSTANTIATE_TEST_SUITE_P(
    Rigs, RowAlignment,
    testing::Values(
        Rig{"parallel", turned_pose(0, 0, 0, {0.064F, 0, 0}), {160, 120}},
        Rig{"turned", turned_pose(0.021, -0.013, 0.017, {0.0638F, 0.0012F, -0.0021F}), {160, 120}},
        Rig{"rolled", turned_pose(0, 0, -0.04, {0.064F, 0.003F, 0.001F}), {160, 120}},
        Rig{"toed_in", turned_pose(-0.05, 0.01, 0.0, {0.12F, -0.002F, 0.004F}), {160, 120}},
        Rig{"other_size", turned_pose(0.021, -0.013, 0.017, {0.0638F, 0.0012F, -0.0021F}), {133, 101}}),
    [](const auto& rig) { return std::string(rig.param.name); });

}  // namespace
}  // namespace veyrin::test
