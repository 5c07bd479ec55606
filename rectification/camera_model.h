// Projection of rays into the recorded images.
#pragma once

#include "metadata/calibration.h"

namespace veyrin {

/// A position in an image, in pixels with pixel centres at integers and (0, 0) the top-left pixel.
struct ImagePosition {
  float x = 0.0F;
  float y = 0.0F;
};

/// Where the camera sees the ray whose direction is (x, y, 1): x right, y down, z along the optical axis.
/// Pinhole, or the Kannala-Brandt fisheye model with four radial coefficients; (0, 0) for any other model.
/// All in single precision.
ImagePosition project_ray(const CameraIntrinsics& intrinsics, float x, float y);

/// True when the position is finite and between the centres of the camera's outermost pixels, these included.
bool is_inside_source(const CameraIntrinsics& intrinsics, ImagePosition position);

}  // namespace veyrin
