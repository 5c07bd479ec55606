#include "rectification/rectification_maps.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <opencv2/calib3d.hpp>
#include <string>

#include "tests/rectification/sample_calibration.h"
#include "tests/support/captured_output.h"

namespace veyrin::test {
namespace {

using test::sample_calibration;

struct Outcome {
  bool built = false;
  RectificationMaps maps;
  std::string error;
  std::string printed;
};

Outcome build(const RawDualTrackCalibration& calibration, std::int32_t width = 64, std::int32_t height = 48) {
  Outcome outcome;
  capture_output();
  outcome.built = build_rectification_maps(calibration, width, height, outcome.maps, outcome.error);
  outcome.printed = captured_output();
  return outcome;
}

/// Identical cameras without distortion that look the same way from both ends of the baseline.
RawDualTrackCalibration parallel_calibration() {
  RawDualTrackCalibration calibration;
  calibration.valid = true;
  calibration.left_intrinsics = {CameraModel::kb4, 101, 101, 100.0, 100.0, 50.0, 50.0};
  calibration.right_intrinsics = calibration.left_intrinsics;
  calibration.stereo_extrinsic.position = {0.064F, 0.0F, 0.0F};
  return calibration;
}

TEST(RectificationMaps, NeedAValidCalibrationBeforeAnythingElse) {
  RawDualTrackCalibration calibration = sample_calibration();
  calibration.valid = false;
  calibration.left_intrinsics.model = CameraModel::pinhole;
  EXPECT_EQ(build(calibration, 0, 0).error, "cannot rectify without valid calibration");
}

TEST(RectificationMaps, NeedAPossibleEyeSize) {
  RawDualTrackCalibration calibration = sample_calibration();
  calibration.right_intrinsics.model = CameraModel::pinhole;
  const std::int32_t sizes[][2] = {{0, 48},  {64, 0},        {-1, 48},
                                   {64, -5}, {16385, 16384}, {2147483647, 2147483647}};
  for (const auto& size : sizes) {
    const Outcome outcome = build(calibration, size[0], size[1]);
    EXPECT_FALSE(outcome.built);
    EXPECT_EQ(outcome.error, "invalid rectified eye size") << size[0] << "x" << size[1];
    EXPECT_EQ(outcome.printed, "");
  }
}

TEST(RectificationMaps, NeedFisheyeCamerasOnBothSides) {
  for (const bool left : {true, false}) {
    RawDualTrackCalibration calibration = sample_calibration();
    CameraIntrinsics& intrinsics = left ? calibration.left_intrinsics : calibration.right_intrinsics;
    intrinsics.model = CameraModel::pinhole;
    intrinsics.fx = 0.0;
    EXPECT_EQ(build(calibration).error,
              "raw dual-track rectification currently requires KB4 fisheye intrinsics");
  }
}

TEST(RectificationMaps, NeedInvertibleCameras) {
  RawDualTrackCalibration left = sample_calibration();
  left.left_intrinsics.fx = 0.0;
  EXPECT_EQ(build(left).error, "could not invert calibration matrix");
  RawDualTrackCalibration right = sample_calibration();
  right.right_intrinsics.fy = 0.0;
  EXPECT_EQ(build(right).error, "could not invert calibration matrix");
  RawDualTrackCalibration rotation = sample_calibration();
  rotation.stereo_extrinsic.plus_x = {0.0F, 0.0F, 0.0F};
  EXPECT_EQ(build(rotation).error, "could not invert calibration matrix");
}

TEST(RectificationMaps, NeedAnInvertibleRectifiedCamera) {
  RawDualTrackCalibration calibration = parallel_calibration();
  calibration.right_intrinsics.fx = -calibration.left_intrinsics.fx;
  EXPECT_EQ(build(calibration).error, "could not invert rectification homography");
}

TEST(RectificationMaps, SucceedWithoutAnyValidPixelForADegenerateBaseline) {
  for (const float along_axis : {0.0F, 0.064F}) {
    RawDualTrackCalibration calibration = sample_calibration();
    calibration.stereo_extrinsic.position = {0.0F, 0.0F, along_axis};
    const Outcome outcome = build(calibration);
    ASSERT_TRUE(outcome.built) << outcome.error;
    EXPECT_EQ(outcome.printed, "  rectification_valid_pixels: left 0.0%, right 0.0%\n\n");
    EXPECT_EQ(outcome.maps.left_valid_fraction, 0.0);
    EXPECT_EQ(outcome.maps.left.map_x, std::vector<float>(64 * 48, -1.0F));
    EXPECT_EQ(outcome.maps.right.map_y, std::vector<float>(64 * 48, -1.0F));
  }
}

TEST(RectificationMaps, ReportTheirSizeAndValidShares) {
  const Outcome whole = build(parallel_calibration(), 51, 41);
  ASSERT_TRUE(whole.built) << whole.error;
  EXPECT_EQ(whole.printed, "  rectification_valid_pixels: left 100.0%, right 100.0%\n\n");
  EXPECT_EQ(whole.maps.width, 51U);
  EXPECT_EQ(whole.maps.height, 41U);
  EXPECT_EQ(whole.maps.left.width, 51);
  EXPECT_EQ(whole.maps.right.height, 41);
  EXPECT_EQ(whole.maps.right.map_y.size(), 51U * 41U);

  // The right image ends 8 columns early: with the grid's mean width of 97, its columns 0 to 92 at most are
  // there.
  RawDualTrackCalibration narrow = parallel_calibration();
  narrow.right_intrinsics.width = 93;
  const Outcome part = build(narrow, 97, 101);
  ASSERT_TRUE(part.built) << part.error;
  const auto& columns = part.maps.right.map_x;
  const auto valid = std::count_if(columns.begin(), columns.end(), [](float x) { return x >= 0.0F; });
  EXPECT_DOUBLE_EQ(part.maps.right_valid_fraction, static_cast<double>(valid) / (97 * 101));
  char line[100];
  std::snprintf(line, sizeof line, "  rectification_valid_pixels: left 100.0%%, right %.1f%%\n\n",
                part.maps.right_valid_fraction * 100.0);
  EXPECT_EQ(part.printed, line);
  EXPECT_LT(part.maps.right_valid_fraction, 1.0);
  EXPECT_GT(part.maps.right_valid_fraction, 0.9);
}

TEST(RectificationMaps, AreSymmetricForParallelCameras) {
  const Outcome outcome = build(parallel_calibration(), 101, 101);
  ASSERT_TRUE(outcome.built) << outcome.error;
  const RectificationMaps& maps = outcome.maps;
  EXPECT_EQ(maps.left.map_x, maps.right.map_x);
  EXPECT_EQ(maps.left.map_y, maps.right.map_y);
  // The ray of the grid position (75, 50) leaves at atan(0.25).
  EXPECT_NEAR(maps.left.map_x[50 * 101 + 75], 50.0 + 100.0 * std::atan(0.25), 1e-4);
  EXPECT_NEAR(maps.left.map_y[50 * 101 + 75], 50.0, 1e-4);
}

TEST(RectificationMaps, TruncateTheMeanGridSize) {
  RawDualTrackCalibration calibration = parallel_calibration();
  calibration.right_intrinsics.width = 104;
  calibration.right_intrinsics.height = 102;
  const Outcome outcome = build(calibration, 102, 101);
  ASSERT_TRUE(outcome.built) << outcome.error;
  // A grid of 102.5 x 101.5 truncated: column and row numbers are grid positions.
  EXPECT_NEAR(outcome.maps.left.map_x[50 * 102 + 100], 50.0 + 100.0 * std::atan(0.5), 1e-4);
  EXPECT_NEAR(outcome.maps.left.map_y[100 * 102 + 50], 50.0 + 100.0 * std::atan(0.5), 1e-4);
}

cv::Matx33d camera_matrix(const CameraIntrinsics& camera) {
  return {camera.fx, 0, camera.cx, 0, camera.fy, camera.cy, 0, 0, 1};
}

/// The largest difference of one eye's map to OpenCV's for the same rectifying rotation and camera.
double difference_to_opencv(const EyeMap& map, const CameraIntrinsics& camera, const cv::Matx33d& rotation,
                            const cv::Matx33d& rectified) {
  cv::Mat expected_x, expected_y;
  cv::fisheye::initUndistortRectifyMap(
      camera_matrix(camera), cv::Vec4d(camera.k1, camera.k2, camera.k3, camera.k4), rotation, rectified,
      cv::Size(map.width, map.height), CV_32FC1, expected_x, expected_y);
  double largest = 0.0;
  for (int row = 0; row < map.height; ++row) {
    for (int column = 0; column < map.width; ++column) {
      const auto index = static_cast<std::size_t>(row) * map.width + column;
      const double x = expected_x.at<float>(row, column), y = expected_y.at<float>(row, column);
      constexpr double margin = 0.01;
      const bool clearly_inside =
          x > margin && y > margin && x < camera.width - 1 - margin && y < camera.height - 1 - margin;
      const bool clearly_outside =
          x < -margin || y < -margin || x > camera.width - 1 + margin || y > camera.height - 1 + margin;
      if (clearly_inside) {
        largest = std::max({largest, std::abs(map.map_x[index] - x), std::abs(map.map_y[index] - y)});
      } else if (clearly_outside) {
        EXPECT_EQ(map.map_x[index], -1.0F) << "row " << row << ", column " << column;
        EXPECT_EQ(map.map_y[index], -1.0F) << "row " << row << ", column " << column;
      }
    }
  }
  return largest;
}

TEST(RectificationMaps, AgreeWithOpenCvsRectification) {
  const RawDualTrackCalibration calibration = sample_calibration();
  const CameraIntrinsics& left = calibration.left_intrinsics;
  const CameraIntrinsics& right = calibration.right_intrinsics;
  const Outcome outcome = build(calibration, 640, 480);
  ASSERT_TRUE(outcome.built) << outcome.error;

  const Pose& pose = calibration.stereo_extrinsic;
  const cv::Vec3d baseline(pose.position[0], pose.position[1], pose.position[2]);
  const cv::Vec3d x_axis = cv::normalize(baseline);
  const cv::Vec3d y_axis = cv::normalize(cv::Vec3d(0, 0, 1).cross(baseline));
  const cv::Vec3d z_axis = x_axis.cross(y_axis);
  const cv::Matx33d rotation(x_axis[0], x_axis[1], x_axis[2], y_axis[0], y_axis[1], y_axis[2], z_axis[0],
                             z_axis[1], z_axis[2]);
  // Columns: the right camera's axes in the left camera's frame.
  const cv::Matx33d left_from_right(pose.plus_x[0], pose.y[0], pose.plus_z[0], pose.plus_x[1], pose.y[1],
                                    pose.plus_z[1], pose.plus_x[2], pose.y[2], pose.plus_z[2]);
  const cv::Matx33d rectified = (camera_matrix(left) + camera_matrix(right)) * 0.5;
  const double left_difference = difference_to_opencv(outcome.maps.left, left, rotation, rectified);
  const double right_difference =
      difference_to_opencv(outcome.maps.right, right, rotation * left_from_right, rectified);
  std::printf("largest difference to OpenCV: left %g, right %g pixels\n", left_difference, right_difference);
  EXPECT_LT(left_difference, 0.01);
  EXPECT_LT(right_difference, 0.01);
  EXPECT_GT(outcome.maps.left_valid_fraction, 0.5);
}

}  // namespace
}  // namespace veyrin::test
