// Where the views look.
#include "thumbnail/views.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <numbers>
#include <string>
#include <vector>

#include "tests/rectification/stored_maps.h"

namespace veyrin::test {
namespace {

ImagePosition located(const View& view, double u, double v) {
  std::array<ImagePosition, 1> position;
  view.locate({u, 1.0, v}, position);
  return position[0];
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

bool is_on_picture(ImagePosition position, Size picture) {
  return position.x >= 0.0F && position.y >= 0.0F && position.x <= static_cast<float>(picture.width - 1) &&
         position.y <= static_cast<float>(picture.height - 1);
}

/// Compares a view of the eye with the movie's own table for the same positions, in source pixels.
void expect_as_in_the_movie(const View& view, const StoredMap& map, int side) {
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
      ASSERT_FALSE(std::isnan(position.x)) << x << " " << y;
      if (!near_border) {
        ASSERT_EQ(inside, is_on_picture(position, map.size)) << x << " " << y;
      }
      if (!inside) continue;
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
    StoredMaps maps;
    std::string error;
    ASSERT_TRUE(derive_rectified_geometry(recording, geometry, error)) << error;
    ASSERT_TRUE(build_stored_maps(recording, {width, height}, maps, error)) << error;
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
    EXPECT_FALSE(is_on_picture(located(view, u, v), {480, 480}));
  }
}

/// Cameras whose baseline leaves the left one looking far to the side, at half a right angle and more.
RawDualTrackCalibration squinting_calibration(double degrees) {
  RawDualTrackCalibration recording = calibration(480, 480);
  const auto angle = static_cast<float>(degrees * std::numbers::pi / 180.0);
  recording.stereo_extrinsic.position = {0.064F * std::cos(angle), 0.0F, 0.064F * std::sin(angle)};
  return recording;
}

TEST(EyeView, HasNoPositionBehindTheCameraAndNoStreakNextToIt) {
  const RawDualTrackCalibration recording = squinting_calibration(55.0);
  RectifiedGeometry geometry;
  std::string error;
  ASSERT_TRUE(derive_rectified_geometry(recording, geometry, error)) << error;
  const Matrix3& m = geometry.left_source_from_rectified;
  const EyeView view(recording.left_intrinsics, m, geometry, {480, 480});
  int behind = 0, in_front = 0;
  std::vector<ImagePosition> row(480);
  for (int y = 0; y < 480; ++y) {
    view.locate({0.0, 1.0, static_cast<double>(y)}, row);
    for (int x = 0; x < 480; ++x) {
      const ImagePosition position = row[static_cast<std::size_t>(x)];
      const double depth = m[6] * x + m[7] * y + m[8];
      ASSERT_EQ(depth <= 0.0, std::isnan(position.x)) << x << " " << y;
      ASSERT_EQ(depth <= 0.0, std::isnan(position.y)) << x << " " << y;
      if (depth <= 0.0) {
        ++behind;
        continue;
      }
      ++in_front;
      const ImagePosition exact = source_position(recording.left_intrinsics, m, x, y);
      ASSERT_NEAR(position.x, exact.x, 0.05F) << x << " " << y;
      ASSERT_NEAR(position.y, exact.y, 0.05F) << x << " " << y;
    }
  }
  EXPECT_GT(behind, 10'000);
  EXPECT_GT(in_front, 100'000);
}

}  // namespace
}  // namespace veyrin::test
