#include "metadata/camera_frames.h"

#include <nlohmann/json.hpp>

#include "metadata/json_values.h"
#include "metadata/pose.h"

namespace veyrin {
namespace {

std::optional<Pose> read_pose(const nlohmann::json& extrinsics, const char* key) {
  const auto entry = extrinsics.find(key);
  if (entry == extrinsics.end()) return std::nullopt;
  Pose pose;
  pose.plus_x = vector_from(entry->at("plus_x"));
  pose.plus_z = vector_from(entry->at("plus_z"));
  pose.position = vector_from(entry->at("position"));
  pose.y = cross_product(pose.plus_z, pose.plus_x);
  return pose;
}

}  // namespace

std::optional<Pose> read_eye_poses(const nlohmann::json& extrinsics, StereoCalibration& calibration) {
  const bool left_is_camera1 = calibration.left_camera == 1;
  const std::optional<Pose> camera1_in_camera0 = read_pose(extrinsics, "avcam1InAvcam0");
  if (camera1_in_camera0) {
    calibration.has_stereo_extrinsic = true;
    calibration.stereo_extrinsic = left_is_camera1 ? inverse(*camera1_in_camera0) : *camera1_in_camera0;
  }

  const bool has_head_poses =
      extrinsics.contains("headliveInFrontcam0") && extrinsics.contains("avcam0InFrontcam0");
  if (!has_head_poses || (left_is_camera1 && !camera1_in_camera0)) return camera1_in_camera0;
  const std::optional<Pose> head_in_front = read_pose(extrinsics, "headliveInFrontcam0");
  const std::optional<Pose> camera0_in_front = read_pose(extrinsics, "avcam0InFrontcam0");
  calibration.head_chain = compose(inverse(*head_in_front), *camera0_in_front);
  if (left_is_camera1) calibration.head_chain = compose(calibration.head_chain, *camera1_in_camera0);
  calibration.has_head_chain = true;
  return camera1_in_camera0;
}

void read_world_poses(const nlohmann::json& extrinsics, const std::optional<Pose>& camera1_in_camera0,
                      StereoCalibration& calibration) {
  const std::optional<Pose> camera0_in_world = read_pose(extrinsics, "avcam0InWorld");
  if (!camera0_in_world) return;
  const Matrix4 camera0 = to_matrix(*camera0_in_world);
  const Matrix4 camera1 =
      camera1_in_camera0 ? to_matrix(compose(*camera0_in_world, *camera1_in_camera0)) : camera0;
  const bool left_is_camera0 = calibration.left_camera == 0;
  calibration.left_in_world = left_is_camera0 ? camera0 : camera1;
  calibration.right_in_world = left_is_camera0 ? camera1 : camera0;
  calibration.has_world_pose = true;
}

}  // namespace veyrin
