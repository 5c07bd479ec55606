#include "tests/rectification/sample_calibration.h"

#include <cmath>

namespace veyrin::test {

Pose turned_pose(double yaw, double pitch, double roll, std::array<float, 3> position) {
  const auto turned = [&](double x, double y, double z) {
    const double x1 = std::cos(roll) * x - std::sin(roll) * y;
    const double y1 = std::sin(roll) * x + std::cos(roll) * y;
    const double y2 = std::cos(pitch) * y1 - std::sin(pitch) * z;
    const double z2 = std::sin(pitch) * y1 + std::cos(pitch) * z;
    return std::array{static_cast<float>(std::cos(yaw) * x1 + std::sin(yaw) * z2), static_cast<float>(y2),
                      static_cast<float>(-std::sin(yaw) * x1 + std::cos(yaw) * z2)};
  };
  Pose pose;
  pose.plus_x = turned(1, 0, 0);
  pose.y = turned(0, 1, 0);
  pose.plus_z = turned(0, 0, 1);
  pose.position = position;
  return pose;
}

RawDualTrackCalibration sample_calibration() {
  RawDualTrackCalibration calibration;
  calibration.valid = true;
  calibration.left_intrinsics = {CameraModel::kb4, 640,  480,    301.5, 302.25, 321.5,
                                 238.75,           0.03, -0.012, 0.004, -0.0009};
  calibration.right_intrinsics = {CameraModel::kb4, 640,    480, 298.0, 299.5, 317.25, 243.5, 0.027, -0.01,
                                  0.0035,           -0.0007};
  calibration.stereo_extrinsic = turned_pose(0.021, -0.013, 0.017, {0.0638F, 0.0012F, -0.0021F});
  return calibration;
}

RawDualTrackCalibration parallel_calibration() {
  RawDualTrackCalibration calibration;
  calibration.valid = true;
  calibration.left_intrinsics = {CameraModel::kb4, 101, 101, 100.0, 100.0, 50.0, 50.0};
  calibration.right_intrinsics = calibration.left_intrinsics;
  calibration.stereo_extrinsic.position = {0.064F, 0.0F, 0.0F};
  return calibration;
}

}  // namespace veyrin::test
