// The calibration of a recording: camera intrinsics, poses, timing and segment data.
#pragma once

#include <array>
#include <cmath>
#include <concepts>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace veyrin {

/// A rigid transform of a frame A in a frame B; maps coordinates of A into B. Positions are metres.
struct Pose {
  std::array<float, 3> plus_x{1.0F, 0.0F, 0.0F};    ///< x axis of A in B
  std::array<float, 3> y{0.0F, 1.0F, 0.0F};         ///< y axis of A in B, plus_z x plus_x
  std::array<float, 3> plus_z{0.0F, 0.0F, 1.0F};    ///< z axis of A in B
  std::array<float, 3> position{0.0F, 0.0F, 0.0F};  ///< origin of A in B
};

/// 4x4 matrix, column-major.
using Matrix4 = std::array<float, 16>;

/// The transform that applies `inner` first, then `outer`.
Pose compose(const Pose& outer, const Pose& inner);

/// The transform from B to A. The axes must be orthonormal: the rotation is transposed.
Pose inverse(const Pose& pose);

/// The pose as a matrix whose columns are the three axes and the position.
Matrix4 to_matrix(const Pose& pose);

/// Euclidean length.
template <std::floating_point Real>
Real length(const std::array<Real, 3>& v) {
  return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
}

/// a x b.
template <std::floating_point Real>
constexpr std::array<Real, 3> cross_product(const std::array<Real, 3>& a, const std::array<Real, 3>& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

enum class CameraModel : std::int32_t { pinhole = 0, kb4 = 2 };

/// Lens and image of one camera; lengths in pixels, pixel centres at integers.
struct CameraIntrinsics {
  CameraModel model = CameraModel::pinhole;
  std::int32_t width = -1;
  std::int32_t height = -1;
  double fx = 0.0, fy = 0.0, cx = 0.0, cy = 0.0;
  double k1 = 0.0, k2 = 0.0, k3 = 0.0, k4 = 0.0;  ///< Kannala-Brandt radial coefficients
};

/// A spline lens model of the document. It is stored only; projection does not use it.
struct SplineIntrinsics {
  std::string model_name;
  bool polar = false;
  std::int32_t width = -1, height = -1;
  float fx = 0.0F, fy = 0.0F, cx = 0.0F, cy = 0.0F;
  float k1 = 0.0F, k2 = 0.0F, k3 = 0.0F, k4 = 0.0F;
  std::int32_t grid_cols = 0, grid_rows = 0;
  float node_spacing_x = 0.0F, node_spacing_y = 0.0F;
  float scaled_u = 1.0F, scaled_v = 1.0F;
  std::vector<float> coefficients;  ///< nodes of the first array, then those of the second
};

/// The layout of the recorded pictures.
enum class RecordingMode : std::int32_t { undistorted = 0, sbs = 1, raw_dual_track = 2 };

/// One calibration document. A `has_` flag is false when the document lacks the block.
struct StereoCalibration {
  double sample_time = 0.0;  ///< container time of the sample, seconds
  double pts = 0.0;          ///< the document's own time, seconds
  float nominal_fps = 0.0F;
  std::int32_t left_camera = -1, right_camera = -1;  ///< positions in the document's camera list
  std::int32_t left_track = -1, right_track = -1;    ///< video-track numbers
  bool has_recording_mode = false;
  RecordingMode recording_mode = RecordingMode::undistorted;
  bool has_stereo_extrinsic = false;
  Pose stereo_extrinsic;  ///< right camera in the left camera's frame
  bool has_head_chain = false;
  Pose head_chain;  ///< left camera in the head frame
  bool has_world_pose = false;
  Matrix4 left_in_world{}, right_in_world{};
  std::array<float, 3> head_angular_velocity{}, head_linear_velocity{};
  bool has_mid_exposure = false;
  double left_mid_exposure = 0.0, right_mid_exposure = 0.0;
  bool intrinsics_valid = false;
  CameraIntrinsics left_intrinsics, right_intrinsics;
  SplineIntrinsics left_spline, right_spline;
  bool has_left_temperature = false;
  float left_temperature = 0.0F;
  bool has_right_temperature = false;
  float right_temperature = 0.0F;
  bool has_segment = false;
  std::int64_t segment_id = -1;
  bool segment_start = false, segment_discontinuity = false;
  std::string stabilization_reset = "none";
};

/// Intrinsics before anything was read: no size, no lens.
inline CameraIntrinsics unknown_intrinsics() {
  constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  CameraIntrinsics intrinsics;
  intrinsics.k1 = intrinsics.k2 = intrinsics.k3 = intrinsics.k4 = nan;
  return intrinsics;
}

/// The part of the calibration that rectification needs.
struct RawDualTrackCalibration {
  bool valid = false;  ///< intrinsics, stereo extrinsic and head chain are all there
  std::int32_t left_track = 0, right_track = 1;  ///< video-track numbers
  float native_aspect = 1.0F;                    ///< width / height of the left eye
  CameraIntrinsics left_intrinsics = unknown_intrinsics();
  CameraIntrinsics right_intrinsics = unknown_intrinsics();
  Pose stereo_extrinsic;  ///< right camera in the left camera's frame
  Pose head_chain;        ///< left camera in the head frame
};

/// Reduces a calibration document to what rectification needs; `valid` is false when intrinsics, stereo
/// extrinsic or head chain are missing. Prints one line: what was loaded from `input` (UTF-8), or the first
/// missing part.
[[nodiscard]] RawDualTrackCalibration condense_calibration(const StereoCalibration& calibration,
                                                           const std::string& input);

}  // namespace veyrin
