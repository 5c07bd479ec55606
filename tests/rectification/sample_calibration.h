// Calibrations of stereo fisheye cameras for the tests.
#pragma once

#include <array>

#include "metadata/calibration.h"

namespace veyrin::test {

/// An orthonormal frame: a turn by `roll` about z, then `pitch` about x, then `yaw` about y, in radians.
Pose turned_pose(double yaw, double pitch, double roll, std::array<float, 3> position);

/// Two fisheye cameras of 640x480 pixels and about 90 degrees, side by side at 64 mm: different intrinsics,
/// the right one slightly turned and not quite level.
RawDualTrackCalibration sample_calibration();

/// Identical cameras without distortion that look the same way from both ends of the baseline.
RawDualTrackCalibration parallel_calibration();

}  // namespace veyrin::test
