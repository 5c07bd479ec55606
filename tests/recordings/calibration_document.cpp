#include "tests/recordings/calibration_document.h"

#include <algorithm>
#include <cmath>

#include "tests/recordings/scene.h"

namespace veyrin::recordings {
namespace {

using nlohmann::json;

json as_json(Vector3 v) {
  return json::array({v.x, v.y, v.z});
}

json as_json(const Placement& placement) {
  return {{"plus_x", as_json(placement.rotation.column(0))},
          {"plus_z", as_json(placement.rotation.column(2))},
          {"position", as_json(placement.position)}};
}

json fisheye_intrinsics(const FisheyeCamera& camera) {
  return {{"cameraModel", "kb"}, {"width", camera.width}, {"height", camera.height}, {"fx", camera.fx},
          {"fy", camera.fy},     {"cx", camera.cx},       {"cy", camera.cy},         {"k1", camera.k1},
          {"k2", camera.k2},     {"k3", camera.k3},       {"k4", camera.k4}};
}

json pinhole_intrinsics(const FisheyeCamera& camera) {
  return {{"cameraModel", "pinhole"}, {"width", camera.width}, {"height", camera.height}, {"fx", camera.fx},
          {"fy", camera.fy},          {"cx", camera.cx},       {"cy", camera.cy}};
}

json spline_intrinsics(const FisheyeCamera& camera) {
  json model = fisheye_intrinsics(camera);
  model["cameraModel"] = "kb_polar_spline";
  model["gridSize"] = {3, 4};
  model["nodeSpacingR"] = 0.25;
  model["sR"] = std::vector<double>(12, 0.001);
  model["sT"] = std::vector<double>(12, -0.001);
  return model;
}

json camera_entry(const RecordingPlan& plan, const FisheyeCamera& camera, const char* side, int track,
                  double seconds) {
  json models = json::array();
  if (plan.splines) models.push_back(spline_intrinsics(camera));
  if (!plan.pinhole_only) models.insert(models.begin(), fisheye_intrinsics(camera));
  models.push_back(pinhole_intrinsics(camera));
  return {{"sourceCamera", side},
          {plan.legacy_keys ? "videoTrackIndex" : "track", track},
          {"midExpTs", seconds + 0.004},
          {"temp", 38.5 + track},
          {"intrinsics", models}};
}

json extrinsics(const RecordingPlan& plan, const Rig& rig, double seconds) {
  const Placement& first = plan.swap_cameras ? rig.right_in_stage : rig.left_in_stage;
  const Placement& second = plan.swap_cameras ? rig.left_in_stage : rig.right_in_stage;
  // A front reference camera a little above the rig, turned on purpose so that a mixed-up chain shows.
  const Placement stage_in_front{rotation_degrees(3.0, -7.0, 1.0), {0.01, 0.03, -0.02}};
  const Placement stage_in_world{rotation_degrees(5.0 * seconds, 0.0, 0.0), {0.1 * seconds, 1.6, 0.0}};
  return {{"avcam1InAvcam0", as_json(first.inverse() * second)},
          {"headliveInFrontcam0", as_json(stage_in_front * rig.head_in_stage)},
          {"avcam0InFrontcam0", as_json(stage_in_front * first)},
          {"avcam0InWorld", as_json(stage_in_world * first)}};
}

json camera_truth(const FisheyeCamera& camera, const Placement& in_stage) {
  json rows = json::array();
  for (const Vector3& row : in_stage.rotation.rows) rows.push_back(as_json(row));
  return {{"width", camera.width},
          {"height", camera.height},
          {"fx", camera.fx},
          {"fy", camera.fy},
          {"cx", camera.cx},
          {"cy", camera.cy},
          {"k", {camera.k1, camera.k2, camera.k3, camera.k4}},
          {"rotation_in_stage", rows},
          {"position_in_stage", as_json(in_stage.position)}};
}

json image_of(Vector3 point, const FisheyeCamera& camera, const Placement& in_stage) {
  const std::optional<ImagePoint> at = camera.project(in_stage.inverse() * point);
  if (!at || at->x < 0 || at->y < 0 || at->x > camera.width - 1 || at->y > camera.height - 1) return nullptr;
  return json::array({at->x, at->y});
}

json board_truth() {
  json bits = json::array();
  for (int bit = 0; bit < NumberBoard::bits; ++bit) bits.push_back(as_json(NumberBoard::bit_centre(bit)));
  return {{"white", as_json(NumberBoard::white_centre())},
          {"black", as_json(NumberBoard::black_centre())},
          {"bits", bits},
          {"square_metres", NumberBoard::square_metres}};
}

}  // namespace

json calibration_document(const RecordingPlan& plan, const Rig& rig, double seconds) {
  json cameras = json::array();
  if (plan.single_camera) {
    cameras.push_back(camera_entry(plan, rig.left, "left", 0, seconds));
  } else {
    const int left_track = plan.swap_cameras || plan.swap_tracks ? 1 : 0;
    cameras.push_back(camera_entry(plan, rig.left, "left", left_track, seconds));
    cameras.push_back(camera_entry(plan, rig.right, "right", 1 - left_track, seconds));
    if (plan.swap_cameras) std::swap(cameras[0], cameras[1]);
  }
  return {{plan.legacy_keys ? "playbackTimestampSec" : "pts", seconds},
          {"nominalFps", plan.rate.per_second()},
          {"recordingMode", "raw-dual-track-v1"},
          {"cameras", cameras},
          {"extrinsics", extrinsics(plan, rig, seconds)},
          {"segment",
           {{"id", 1}, {"start", seconds == 0.0}, {"discontinuity", false}, {"stabilizationReset", "none"}}},
          {"headliveVelocityInWorld", {{"angular", {0.0, 0.0873, 0.0}}, {"linear", {0.1, 0.0, 0.0}}}}};
}

json truth_document(const RecordingPlan& plan, const Rig& rig) {
  json flashes = json::array(), frames = json::array();
  const int count = plan.frame_count();
  for (int frame = 0; frame < count; ++frame) {
    if (plan.is_flash(frame)) flashes.push_back({{"frame", frame}, {"seconds", plan.frame_time(frame)}});
  }
  constexpr int most_frames = 240;
  for (int frame = 0; frame < count; frame += 1 + (count - 1) / most_frames) {
    json points = json::array();
    for (const Target& target : targets()) {
      const Vector3 position = target.position(plan.frame_time(frame));
      points.push_back({{"name", target.name},
                        {"position", as_json(position)},
                        {"core_radius_m", target.core_radius},
                        {"left", image_of(position, rig.left, rig.left_in_stage)},
                        {"right", image_of(position, rig.right, rig.right_in_stage)}});
    }
    frames.push_back({{"frame", frame}, {"seconds", plan.frame_time(frame)}, {"points", points}});
  }
  return {{"eye_size", {plan.width, plan.height}},
          {"rate", {plan.rate.numerator, plan.rate.denominator}},
          {"frame_count", count},
          {"flashes", flashes},
          {"left", camera_truth(rig.left, rig.left_in_stage)},
          {"right", camera_truth(rig.right, rig.right_in_stage)},
          {"right_in_left", as_json(rig.right_in_left())},
          {"number_board", board_truth()},
          {"frames", frames}};
}

std::filesystem::path truth_path(const std::filesystem::path& movie) {
  std::filesystem::path path = movie;
  path += ".points.json";
  return path;
}

}  // namespace veyrin::recordings
