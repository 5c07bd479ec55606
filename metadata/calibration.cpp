#include "metadata/calibration.h"

#include "common/console.h"

namespace veyrin {
namespace {

/// The first part that rectification lacks; null when nothing is missing.
const char* missing_part(const StereoCalibration& calibration) {
  if (!calibration.intrinsics_valid) return "valid intrinsics";
  if (!calibration.has_stereo_extrinsic) return "the stereo extrinsic";
  if (!calibration.has_head_chain) return "the head chain";
  return nullptr;
}

using Vector = std::array<float, 3>;

Vector rotate(const Pose& pose, const Vector& v) {
  Vector result{};
  for (std::size_t row = 0; row < 3; ++row) {
    result[row] = pose.plus_x[row] * v[0] + pose.y[row] * v[1] + pose.plus_z[row] * v[2];
  }
  return result;
}

}  // namespace

RawDualTrackCalibration condense_calibration(const StereoCalibration& calibration, const std::string& input) {
  RawDualTrackCalibration condensed;
  if (const char* missing = missing_part(calibration)) {
    console_line("[RecordingMetadata] Raw dual-track calibration: %s sample lacks %s", input.c_str(),
                 missing);
    return condensed;
  }
  condensed.left_track = calibration.left_track;
  condensed.right_track = calibration.right_track;
  condensed.left_intrinsics = calibration.left_intrinsics;
  condensed.right_intrinsics = calibration.right_intrinsics;
  condensed.stereo_extrinsic = calibration.stereo_extrinsic;
  condensed.head_chain = calibration.head_chain;
  const CameraIntrinsics& native = condensed.left_intrinsics;
  if (native.height >= 1) {
    condensed.native_aspect = static_cast<float>(native.width) / static_cast<float>(native.height);
  }
  condensed.valid = true;
  console_line("[RecordingMetadata] Raw dual-track calibration loaded from %s (native=%dx%d)", input.c_str(),
               native.width, native.height);
  console_log("\n");
  return condensed;
}

Pose compose(const Pose& outer, const Pose& inner) {
  Pose result;
  result.plus_x = rotate(outer, inner.plus_x);
  result.y = rotate(outer, inner.y);
  result.plus_z = rotate(outer, inner.plus_z);
  result.position = rotate(outer, inner.position);
  for (std::size_t axis = 0; axis < 3; ++axis) result.position[axis] += outer.position[axis];
  return result;
}

Pose inverse(const Pose& pose) {
  Pose result;
  result.plus_x = {pose.plus_x[0], pose.y[0], pose.plus_z[0]};
  result.y = {pose.plus_x[1], pose.y[1], pose.plus_z[1]};
  result.plus_z = {pose.plus_x[2], pose.y[2], pose.plus_z[2]};
  result.position = rotate(result, pose.position);
  for (float& coordinate : result.position) coordinate = -coordinate;
  return result;
}

Matrix4 to_matrix(const Pose& pose) {
  const auto& [x, y, z, p] = pose;
  return {x[0], x[1], x[2], 0.0F, y[0], y[1], y[2], 0.0F, z[0], z[1], z[2], 0.0F, p[0], p[1], p[2], 1.0F};
}

}  // namespace veyrin
