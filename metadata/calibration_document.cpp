#include "metadata/calibration_document.h"

#include <cstdint>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

#include "metadata/camera_frames.h"
#include "metadata/json_values.h"
#include "metadata/lens_models.h"
#include "metadata/recording_mode.h"

namespace veyrin {
namespace {

using nlohmann::json;

/// Finds the positions of the cameras that are tagged left and right; a single camera serves both eyes.
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

}  // namespace

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
