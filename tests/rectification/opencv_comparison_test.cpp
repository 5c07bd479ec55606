// Lens model and maps against those of OpenCV.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <opencv2/calib3d.hpp>
#include <random>
#include <string>
#include <vector>

#include "rectification/rectified_geometry.h"
#include "tests/rectification/sample_calibration.h"
#include "tests/rectification/stored_maps.h"

namespace veyrin::test {
namespace {

cv::Matx33d camera_matrix(const CameraIntrinsics& camera) {
  return {camera.fx, 0, camera.cx, 0, camera.fy, camera.cy, 0, 0, 1};
}

TEST(OpenCv, HasTheSameFisheyeModel) {
  const CameraIntrinsics fisheye{CameraModel::kb4, 1920,   1440,    801.5, 802.25, 961.25, 717.5, 0.035,
                                 -0.012,           0.0041, -0.00087};
  const cv::Vec4d coefficients(fisheye.k1, fisheye.k2, fisheye.k3, fisheye.k4);
  std::mt19937 random(7);
  std::uniform_real_distribution<double> direction(-4.0, 4.0);
  std::vector<cv::Point2d> rays;
  for (int i = 0; i < 20000; ++i) rays.emplace_back(direction(random), direction(random));
  std::vector<cv::Point2d> expected;
  cv::fisheye::distortPoints(rays, expected, camera_matrix(fisheye), coefficients);
  double largest = 0.0;
  for (std::size_t i = 0; i < rays.size(); ++i) {
    const ImagePosition position =
        project_ray(fisheye, static_cast<float>(rays[i].x), static_cast<float>(rays[i].y));
    largest = std::max({largest, std::abs(position.x - expected[i].x), std::abs(position.y - expected[i].y)});
  }
  std::printf("largest difference to OpenCV: %g pixels\n", largest);
  EXPECT_LT(largest, 0.002);
}

/// The largest difference of one eye's map to OpenCV's for the same rectifying rotation and camera.
double difference_to_opencv(const StoredMap& map, const CameraIntrinsics& camera, const cv::Matx33d& rotation,
                            const cv::Matx33d& rectified) {
  cv::Mat expected_x, expected_y;
  cv::fisheye::initUndistortRectifyMap(
      camera_matrix(camera), cv::Vec4d(camera.k1, camera.k2, camera.k3, camera.k4), rotation, rectified,
      cv::Size(map.size.width, map.size.height), CV_32FC1, expected_x, expected_y);
  double largest = 0.0;
  for (int row = 0; row < map.size.height; ++row) {
    for (int column = 0; column < map.size.width; ++column) {
      const auto index = static_cast<std::size_t>(row) * map.size.width + column;
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

TEST(OpenCv, RectifiesTheSameWay) {
  const RawDualTrackCalibration calibration = sample_calibration();
  const CameraIntrinsics& left = calibration.left_intrinsics;
  const CameraIntrinsics& right = calibration.right_intrinsics;
  StoredMaps built;
  std::string error;
  ASSERT_TRUE(build_stored_maps(calibration, {640, 480}, built, error)) << error;

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
  const double left_difference = difference_to_opencv(built.left, left, rotation, rectified);
  const double right_difference =
      difference_to_opencv(built.right, right, rotation * left_from_right, rectified);
  std::printf("largest difference to OpenCV: left %g, right %g pixels\n", left_difference, right_difference);
  EXPECT_LT(left_difference, 0.01);
  EXPECT_LT(right_difference, 0.01);
  EXPECT_GT(built.left_valid_fraction, 0.5);
}

}  // namespace
}  // namespace veyrin::test
