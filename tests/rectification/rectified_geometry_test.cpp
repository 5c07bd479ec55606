#include "rectification/rectified_geometry.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>

#include "tests/rectification/sample_calibration.h"

namespace veyrin::test {
namespace {

TEST(Matrix3, MultipliesRowsByColumns) {
  const Matrix3 a{1, 2, 3, 4, 5, 6, 7, 8, 10};
  const Matrix3 b{2, 0, 1, 0, 3, 0, 1, 1, 1};
  EXPECT_EQ(a * b, (Matrix3{5, 9, 4, 14, 21, 10, 24, 34, 17}));
}

TEST(Matrix3, InverseGivesTheIdentity) {
  std::mt19937 random(11);
  std::uniform_real_distribution<double> element(-10.0, 10.0);
  for (int round = 0; round < 200; ++round) {
    Matrix3 matrix;
    for (double& value : matrix) value = element(random);
    const auto inverted = inverse(matrix);
    ASSERT_TRUE(inverted);
    const Matrix3 product = matrix * *inverted;
    for (std::size_t i = 0; i < 9; ++i) EXPECT_NEAR(product[i], i % 4 == 0 ? 1.0 : 0.0, 1e-9);
  }
}

TEST(Matrix3, HasNoInverseForAnExactZeroDeterminant) {
  EXPECT_FALSE(inverse(Matrix3{}));
  EXPECT_FALSE(inverse(Matrix3{1, 2, 3, 2, 4, 6, 0, 0, 1}));
  EXPECT_FALSE(inverse(Matrix3{800, 0, 400, 0, 0, 300, 0, 0, 1}));
}

TEST(Matrix3, InvertsNearlySingularMatrices) {
  EXPECT_TRUE(inverse(Matrix3{1e-100, 0, 0, 0, 1e-100, 0, 0, 0, 1}));
}

TEST(Matrix3, CarriesWhatIsNoNumberThrough) {
  Matrix3 matrix;
  matrix.fill(std::numeric_limits<double>::quiet_NaN());
  const auto inverted = inverse(matrix);
  ASSERT_TRUE(inverted);
  for (const double value : *inverted) EXPECT_TRUE(std::isnan(value));
}

TEST(RectifiedView, HasTheTruncatedMeanSizeAndTheMeanFocalLength) {
  RawDualTrackCalibration calibration;
  EXPECT_EQ(rectified_view(calibration).size, (Size{-1, -1}));
  calibration.left_intrinsics = {CameraModel::kb4, 640, 480, 301.5, 1.0, 0.0, 0.0};
  calibration.right_intrinsics = {CameraModel::kb4, 643, 483, 298.0, 2.0, 0.0, 0.0};
  const RectifiedView view = rectified_view(calibration);
  EXPECT_EQ(view.size, (Size{641, 481}));
  EXPECT_EQ(view.focal_length_x, 299.75);
}

TEST(RectifiedGeometry, SeesTheDirectionAtRightAnglesToTheBaselineInItsCentre) {
  RawDualTrackCalibration calibration = sample_calibration();
  calibration.left_intrinsics.cx = calibration.right_intrinsics.cx = 320.0;
  calibration.left_intrinsics.cy = calibration.right_intrinsics.cy = 240.0;
  calibration.stereo_extrinsic = turned_pose(0.25, 0.0, 0.0, {0.06F, 0.0F, 0.0F});
  RectifiedGeometry geometry;
  std::string error;
  ASSERT_TRUE(derive_rectified_geometry(calibration, geometry, error)) << error;
  EXPECT_EQ(geometry.grid, (Size{640, 480}));
  // The left camera looks there already; the right one is turned by a quarter of a radian to the right.
  const ImagePosition left =
      source_position(calibration.left_intrinsics, geometry.left_source_from_rectified, 320.0, 240.0);
  EXPECT_NEAR(left.x, 320.0, 1e-4);
  EXPECT_NEAR(left.y, 240.0, 1e-4);
  CameraIntrinsics right_lens = calibration.right_intrinsics;
  right_lens.k1 = right_lens.k2 = right_lens.k3 = right_lens.k4 = 0.0;
  const ImagePosition right = source_position(right_lens, geometry.right_source_from_rectified, 320.0, 240.0);
  EXPECT_NEAR(right.x, 320.0 - 0.25 * 298.0, 1e-3);
  EXPECT_NEAR(right.y, 240.0, 1e-3);
}

TEST(SourcePosition, GoesThroughTheHomographyAndTheLens) {
  const CameraIntrinsics lens{CameraModel::kb4, 640, 480, 200.0, 100.0, 320.0, 240.0};
  // The undistorted image shows (3, 1) at (520, 240), which is a ray of 45 degrees to the right.
  const Matrix3 homography{260, 0, 260, 0, 120, 360, 0, 0, 2};
  const ImagePosition position = source_position(lens, homography, 3.0, 1.0);
  EXPECT_NEAR(position.x, 320.0 + 200.0 * 0.78539816, 1e-3);
  EXPECT_EQ(position.y, 240.0F);
}

}  // namespace
}  // namespace veyrin::test
