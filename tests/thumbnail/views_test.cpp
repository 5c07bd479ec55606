// Where the views look.
#include "thumbnail/views.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "rectification/rectification_maps.h"

namespace veyrin::test {
namespace {

ImagePosition located(const View& view, double u, double v) {
  std::array<ImagePosition, 1> position;
  view.locate({u, 1.0, v}, position);
  return position[0];
}

TEST(UprightView, FindsTheCornersAfterEachTurn) {
  struct Turn {
    int quarter_turns;
    double width, height;
    ImagePosition top_left, top_right, bottom_left;
  };
  // A picture of 6 x 4: what a clockwise turn brings to the upper left was at the lower left.
  const std::vector<Turn> turns{{0, 6, 4, {0, 0}, {5, 0}, {0, 3}},
                                {1, 4, 6, {0, 3}, {0, 0}, {5, 3}},
                                {2, 6, 4, {5, 3}, {0, 3}, {5, 0}},
                                {3, 4, 6, {5, 0}, {5, 3}, {0, 0}}};
  for (const Turn& turn : turns) {
    SCOPED_TRACE(turn.quarter_turns);
    const UprightView view({6, 4}, turn.quarter_turns);
    EXPECT_EQ(view.width(), turn.width);
    EXPECT_EQ(view.height(), turn.height);
    const auto expect_at = [&view](double u, double v, ImagePosition expected) {
      EXPECT_EQ(located(view, u, v).x, expected.x);
      EXPECT_EQ(located(view, u, v).y, expected.y);
    };
    expect_at(0, 0, turn.top_left);
    expect_at(turn.width - 1, 0, turn.top_right);
    expect_at(0, turn.height - 1, turn.bottom_left);
  }
}

RawDualTrackCalibration calibration(int width, int height) {
  RawDualTrackCalibration result;
  result.valid = true;
  const double f = 0.36 * std::min(width, height);
  result.left_intrinsics = {CameraIntrinsics{CameraModel::kb4, width, height, f, 1.01 * f, 0.51 * width,
                                             0.49 * height, 0.02, -0.006, 0.001, -0.0002}};
  result.right_intrinsics = {CameraIntrinsics{CameraModel::kb4, width, height, 1.02 * f, f, 0.495 * width,
                                              0.505 * height, 0.015, -0.004, 0.0008, -0.0001}};
  const float c = std::cos(0.02F), s = std::sin(0.02F);
  result.stereo_extrinsic.plus_x = {c, s, 0.0F};
  result.stereo_extrinsic.y = {-s, c, 0.0F};
  result.stereo_extrinsic.position = {0.064F, 0.001F, -0.0007F};
  return result;
}

/// Compares a view of the eye with the movie's own table for the same positions, in source pixels.
void expect_as_in_the_movie(const View& view, const EyeMap& map, int side) {
  const int first_column = (map.size.width - side) / 2, first_row = (map.size.height - side) / 2;
  std::vector<ImagePosition> row(static_cast<std::size_t>(side));
  int shown = 0;
  for (int y = 0; y < side; ++y) {
    view.locate({0.0, 1.0, static_cast<double>(y)}, row);
    for (int x = 0; x < side; ++x) {
      const std::size_t index =
          static_cast<std::size_t>(first_row + y) * static_cast<std::size_t>(map.size.width) +
          static_cast<std::size_t>(first_column + x);
      const ImagePosition position = row[static_cast<std::size_t>(x)];
      const bool inside = map.map_x[index] >= 0.0F;
      // The interpolated border of the picture may lie a hair off.
      const bool near_border = map.map_x[index] < 0.05F || map.map_y[index] < 0.05F ||
                               map.map_x[index] > static_cast<float>(map.size.width) - 1.05F ||
                               map.map_y[index] > static_cast<float>(map.size.height) - 1.05F;
      if (!near_border) {
        ASSERT_EQ(inside, !std::isnan(position.x)) << x << " " << y;
      }
      if (!inside || std::isnan(position.x)) continue;
      ++shown;
      ASSERT_NEAR(position.x, map.map_x[index], 0.01F) << x << " " << y;
      ASSERT_NEAR(position.y, map.map_y[index], 0.01F) << x << " " << y;
    }
  }
  EXPECT_GT(shown, side * side * 9 / 10);
}

TEST(EyeView, ShowsTheCentralSquareOfTheConvertedMovie) {
  for (const auto& [width, height] : {std::pair{480, 480}, {640, 480}, {480, 640}}) {
    SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height));
    const RawDualTrackCalibration recording = calibration(width, height);
    RectifiedGeometry geometry;
    RectificationMaps maps;
    std::string error;
    ASSERT_TRUE(derive_rectified_geometry(recording, geometry, error)) << error;
    ASSERT_TRUE(build_rectification_maps(recording, {width, height}, maps, error)) << error;
    const EyeView left(recording.left_intrinsics, geometry.left_source_from_rectified, geometry,
                       {width, height});
    const EyeView right(recording.right_intrinsics, geometry.right_source_from_rectified, geometry,
                        {width, height});
    EXPECT_EQ(left.width(), 480.0);
    EXPECT_EQ(left.height(), 480.0);
    expect_as_in_the_movie(left, maps.left, 480);
    expect_as_in_the_movie(right, maps.right, 480);
  }
}

TEST(EyeView, ScalesToPicturesOfAnotherSizeThanTheCamera) {
  const RawDualTrackCalibration recording = calibration(480, 480);
  RectifiedGeometry geometry;
  std::string error;
  ASSERT_TRUE(derive_rectified_geometry(recording, geometry, error)) << error;
  const EyeView native(recording.left_intrinsics, geometry.left_source_from_rectified, geometry, {480, 480});
  const EyeView twice(recording.left_intrinsics, geometry.left_source_from_rectified, geometry, {960, 960});
  EXPECT_EQ(twice.width(), 960.0);
  for (const auto& [u, v] : {std::pair{100.0, 50.0}, {239.5, 239.5}, {400.0, 333.0}}) {
    const ImagePosition small = located(native, u, v);
    const ImagePosition large = located(twice, 2.0 * u + 0.5, 2.0 * v + 0.5);
    EXPECT_NEAR(large.x, 2.0F * small.x + 0.5F, 0.01F);
    EXPECT_NEAR(large.y, 2.0F * small.y + 0.5F, 0.01F);
  }
}

TEST(EyeView, ShowsNothingOutsideTheSource) {
  RawDualTrackCalibration recording = calibration(480, 480);
  recording.left_intrinsics.cx = -5000.0;
  RectifiedGeometry geometry;
  std::string error;
  ASSERT_TRUE(derive_rectified_geometry(recording, geometry, error)) << error;
  const EyeView view(recording.left_intrinsics, geometry.left_source_from_rectified, geometry, {480, 480});
  for (const auto& [u, v] : {std::pair{0.0, 0.0}, {479.0, 479.0}}) {
    EXPECT_TRUE(std::isnan(located(view, u, v).x));
    EXPECT_TRUE(std::isnan(located(view, u, v).y));
  }
}

}  // namespace
}  // namespace veyrin::test
