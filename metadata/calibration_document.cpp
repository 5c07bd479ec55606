#include "metadata/calibration_document.h"

#include <algorithm>
#include <array>
#include <concepts>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "metadata/calibration.h"

namespace veyrin {
namespace {

using nlohmann::json;

constexpr std::array<std::pair<std::string_view, RecordingMode>, 6> mode_names{{
    {"raw", RecordingMode::raw_dual_track},
    {"raw-dual", RecordingMode::raw_dual_track},
    {"raw-dual-track", RecordingMode::raw_dual_track},
    {"dual-track", RecordingMode::raw_dual_track},
    {"undistorted", RecordingMode::undistorted},
    {"sbs", RecordingMode::sbs},
}};

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view white_space = " \t\n\v\f\r";
  const std::size_t first = text.find_first_not_of(white_space);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(white_space) - first + 1);
}

char to_lower(char character) {
  return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

/// Elements 0 to 2 of an array.
std::array<float, 3> vector_from(const json& array) {
  return {array.at(0).get<float>(), array.at(1).get<float>(), array.at(2).get<float>()};
}

/// An integer member of an object, or `fallback` when the object lacks it.
template <std::signed_integral Integer>
Integer integer_member(const json& object, const char* key, Integer fallback) {
  const auto member = object.find(key);
  return member == object.end() ? fallback : integer_from<Integer>(*member);
}

/// Finds the list positions of the cameras that are tagged left and right; a single camera serves both eyes.
void assign_cameras(const json& cameras, StereoCalibration& calibration) {
  std::int32_t left = -1;
  std::int32_t right = -1;
  std::int32_t position = 0;
  for (const json& camera : cameras) {
    const std::string tag = camera.value("sourceCamera", std::string());
    if (tag == "left" && left < 0) {
      left = position;
    } else if (tag == "right" && right < 0) {
      right = position;
    } else {
      throw std::runtime_error("invalid cameras[].sourceCamera assignment");
    }
    ++position;
  }
  if (position == 1) {
    left = right = 0;
  } else if (position != 2 || left < 0 || right < 0) {
    throw std::runtime_error("cameras[] must tag exactly one left and one right camera");
  }
  calibration.left_camera = left;
  calibration.right_camera = right;
}

void read_temperature(const json& camera, bool& present, float& temperature) {
  const auto value = camera.find("temp");
  if (value == camera.end()) return;
  present = true;
  temperature = value->get<float>();
}

void read_cameras(const json& document, StereoCalibration& calibration) {
  const auto cameras = document.find("cameras");
  if (cameras == document.end() || !cameras->is_array() || cameras->empty()) return;
  assign_cameras(*cameras, calibration);
  const json& left = cameras->at(static_cast<std::size_t>(calibration.left_camera));
  const json& right = cameras->at(static_cast<std::size_t>(calibration.right_camera));

  calibration.left_track = integer_member(left, "track", calibration.left_camera);
  calibration.right_track = integer_member(right, "track", calibration.right_camera);
  if (left.contains("midExpTs") && right.contains("midExpTs")) {
    calibration.has_mid_exposure = true;
    calibration.left_mid_exposure = left.at("midExpTs").get<double>();
    calibration.right_mid_exposure = right.at("midExpTs").get<double>();
  }
  read_temperature(left, calibration.has_left_temperature, calibration.left_temperature);
  read_temperature(right, calibration.has_right_temperature, calibration.right_temperature);
  if (left.contains("intrinsics") && right.contains("intrinsics")) {
    read_lens_models(left.at("intrinsics"), right.at("intrinsics"), calibration);
  }
}

void read_segment(const json& document, StereoCalibration& calibration) {
  const auto segment = document.find("segment");
  if (segment == document.end() || !segment->is_object()) return;
  calibration.has_segment = true;
  calibration.segment_id = integer_member(*segment, "id", std::int64_t{-1});
  calibration.segment_start = segment->value("start", false);
  calibration.segment_discontinuity = segment->value("discontinuity", false);
  calibration.stabilization_reset = segment->value("stabilizationReset", std::string("none"));
}

void read_head_velocity(const json& document, StereoCalibration& calibration) {
  const auto velocity = document.find("headliveVelocityInWorld");
  if (velocity == document.end() || !velocity->is_object()) return;
  calibration.head_angular_velocity = vector_from(velocity->at("angular"));
  calibration.head_linear_velocity = vector_from(velocity->at("linear"));
}

std::optional<Pose> read_pose(const json& extrinsics, const char* key) {
  const auto entry = extrinsics.find(key);
  if (entry == extrinsics.end()) return std::nullopt;
  Pose pose;
  pose.plus_x = vector_from(entry->at("plus_x"));
  pose.plus_z = vector_from(entry->at("plus_z"));
  pose.position = vector_from(entry->at("position"));
  pose.y = cross_product(pose.plus_z, pose.plus_x);
  return pose;
}

/// Fills the stereo extrinsic and the head chain in terms of left and right. Gives the pose of camera 1 in
/// camera 0 as written, if there is one.
std::optional<Pose> read_eye_poses(const json& extrinsics, StereoCalibration& calibration) {
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

/// Fills the poses of both eyes in the world when the pose of camera 0 is given. Without the pose of camera 1
/// in camera 0, both eyes get that of camera 0.
void read_world_poses(const json& extrinsics, const std::optional<Pose>& camera1_in_camera0,
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

}  // namespace

std::optional<RecordingMode> parse_recording_mode(const json& document) {
  const auto entry = document.find("recordingMode");
  if (entry == document.end()) return std::nullopt;
  std::string text = entry->get<std::string>();
  constexpr std::string_view suffix = "-v1";
  if (text.size() > suffix.size() && text.ends_with(suffix)) text.resize(text.size() - suffix.size());
  std::string name(trimmed(text));
  std::ranges::transform(name, name.begin(), to_lower);

  const auto found = std::ranges::find(mode_names, name, &decltype(mode_names)::value_type::first);
  if (found == mode_names.end()) throw std::runtime_error("unrecognized timed metadata recording mode");
  return found->second;
}

StereoCalibration read_stereo_calibration(const json& document, double sample_time) {
  StereoCalibration calibration;
  calibration.sample_time = sample_time;
  calibration.pts = document.at("pts").get<double>();
  calibration.nominal_fps = document.value("nominalFps", 0.0F);
  if (const auto mode = parse_recording_mode(document)) {
    calibration.has_recording_mode = true;
    calibration.recording_mode = *mode;
  }
  read_cameras(document, calibration);

  const auto extrinsics = document.find("extrinsics");
  std::optional<Pose> camera1_in_camera0;
  if (extrinsics != document.end()) camera1_in_camera0 = read_eye_poses(*extrinsics, calibration);
  read_segment(document, calibration);
  if (extrinsics != document.end()) read_world_poses(*extrinsics, camera1_in_camera0, calibration);
  read_head_velocity(document, calibration);
  return calibration;
}

}  // namespace veyrin
