#include "tests/recordings/rig.h"

#include <algorithm>
#include <cmath>

namespace veyrin::recordings {

double FisheyeCamera::distorted(double theta) const {
  const double t2 = theta * theta;
  return theta * (1.0 + t2 * (k1 + t2 * (k2 + t2 * (k3 + t2 * k4))));
}

std::optional<ImagePoint> FisheyeCamera::project(Vector3 point) const {
  const double across = std::hypot(point.x, point.y);
  const double theta = std::atan2(across, point.z);
  if (theta >= image_circle_radians) return std::nullopt;
  const double scale = across > 1e-12 ? distorted(theta) / across : 0.0;
  return ImagePoint{fx * scale * point.x + cx, fy * scale * point.y + cy};
}

Unprojector::Unprojector(const FisheyeCamera& camera) : camera_(camera) {
  constexpr int entries = 8192;
  step_ = camera.distorted(image_circle_radians) / (entries - 1);
  theta_.reserve(entries);
  for (int index = 0; index < entries; ++index) {
    const double target = index * step_;
    double theta = target;
    for (int round = 0; round < 20; ++round) {
      constexpr double h = 1e-6;
      const double slope = (camera.distorted(theta + h) - camera.distorted(theta - h)) / (2.0 * h);
      theta -= (camera.distorted(theta) - target) / slope;
    }
    theta_.push_back(theta);
  }
}

std::optional<Vector3> Unprojector::direction(double x, double y) const {
  const double u = (x - camera_.cx) / camera_.fx;
  const double v = (y - camera_.cy) / camera_.fy;
  const double radius = std::hypot(u, v);
  const double position = radius / step_;
  const auto index = static_cast<std::size_t>(position);
  if (index + 1 >= theta_.size()) return std::nullopt;
  const double fraction = position - static_cast<double>(index);
  const double theta = theta_[index] + fraction * (theta_[index + 1] - theta_[index]);
  const double scale = radius > 1e-12 ? std::sin(theta) / radius : 1.0;
  return Vector3{u * scale, v * scale, std::cos(theta)};
}

Rig make_rig(int width, int height, const RigShape& shape) {
  const double focal = shape.focal * width;
  Rig rig;
  // The values are not those of a real camera, and all of them differ between the eyes.
  rig.left = {width,
              height,
              focal * 0.995,
              focal * 0.997,
              (width - 1) * 0.5 + 0.006 * width,
              (height - 1) * 0.5 - 0.004 * height,
              0.021,
              -0.0064,
              0.0011,
              -0.00018};
  rig.right = {width,
               height,
               focal * 1.006,
               focal * 1.003,
               (width - 1) * 0.5 - 0.005 * width,
               (height - 1) * 0.5 + 0.003 * height,
               0.017,
               -0.0048,
               0.0007,
               -0.00011};
  const double half = 0.5 * shape.baseline_metres;
  const double twist = shape.twist;
  rig.left_in_stage = {rotation_degrees(0.9 * twist, -0.5 * twist, 0.6 * twist), {-half, 0.0, 0.0}};
  rig.right_in_stage = {rotation_degrees(-1.1 * twist, 0.4 * twist, -0.7 * twist),
                        {half, 0.0009 * twist, -0.0006 * twist}};
  rig.head_in_stage = {rotation_degrees(0.0, 4.0, 0.0), {0.0, 0.02, -0.09}};
  return rig;
}

}  // namespace veyrin::recordings
