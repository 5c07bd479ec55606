// The stereo rig that a recording is rendered for: two different fisheye cameras, not quite parallel.
#pragma once

#include <optional>
#include <vector>

#include "tests/recordings/geometry.h"

namespace veyrin::recordings {

/// Position in an image, pixel centres at integers, x right, y down.
struct ImagePoint {
  double x = 0.0, y = 0.0;
};

/// A Kannala-Brandt fisheye camera; lengths in pixels.
struct FisheyeCamera {
  int width = 0, height = 0;
  double fx = 0.0, fy = 0.0, cx = 0.0, cy = 0.0;
  double k1 = 0.0, k2 = 0.0, k3 = 0.0, k4 = 0.0;

  /// Distorted angle of a ray `theta` radians off the axis.
  [[nodiscard]] double distorted(double theta) const;
  /// Image position of a point of the camera frame; nothing at or beyond the edge of the image circle.
  [[nodiscard]] std::optional<ImagePoint> project(Vector3 point) const;
};

/// Largest angle off the axis that the lenses show, radians.
inline constexpr double image_circle_radians = 1.5533;  // 89 degrees

/// Image positions to ray directions, by a table of the inverse lens function.
class Unprojector {
 public:
  explicit Unprojector(const FisheyeCamera& camera);
  /// Unit direction in the camera frame; nothing outside the image circle.
  [[nodiscard]] std::optional<Vector3> direction(double x, double y) const;

 private:
  FisheyeCamera camera_;
  double step_ = 0.0;
  std::vector<double> theta_;  ///< theta at distorted angle index * step_
};

struct Rig {
  FisheyeCamera left, right;
  Placement left_in_stage, right_in_stage;  ///< stage: x right, y down, z forward, origin between the cameras
  Placement head_in_stage;

  [[nodiscard]] Placement right_in_left() const { return left_in_stage.inverse() * right_in_stage; }
};

struct RigShape {
  double focal = 0.35;  ///< mean focal length over image width
  double baseline_metres = 0.064;
  double twist = 1.0;  ///< scales the cameras' rotations; 0 makes them parallel
};

Rig make_rig(int width, int height, const RigShape& shape);

}  // namespace veyrin::recordings
