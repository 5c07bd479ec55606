// The poses of the two cameras in the calibration document.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>

#include "metadata/calibration.h"

namespace veyrin {

/// Fills the stereo extrinsic and the head chain, in terms of left and right, from the document's
/// "extrinsics", as far as they are there; gives the pose of camera 1 in camera 0 as written. Throws for
/// malformed poses.
std::optional<Pose> read_eye_poses(const nlohmann::json& extrinsics, StereoCalibration& calibration);

/// Fills both eyes' places in the world, when "extrinsics" holds the place of camera 0; without the pose of
/// camera 1 both cameras are taken to be there.
void read_world_poses(const nlohmann::json& extrinsics, const std::optional<Pose>& camera1_in_camera0,
                      StereoCalibration& calibration);

}  // namespace veyrin
