// The calibration document of a recording as records: camera intrinsics, poses, timing and segment data.
#pragma once

#include <array>
#include <cstdint>
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

enum class CameraModel : std::int32_t { pinhole = 0, kb4 = 2 };

/// Lens and image of one camera; lengths in pixels, pixel centres at integers.
struct CameraIntrinsics {
  CameraModel model = CameraModel::pinhole;
  std::int32_t width = -1;
  std::int32_t height = -1;
  double fx = 0.0, fy = 0.0, cx = 0.0, cy = 0.0;
  double k1 = 0.0, k2 = 0.0, k3 = 0.0, k4 = 0.0;  ///< Kannala-Brandt radial coefficients
};

/// The spline lens models of the document; stored, not used for projection.
struct SplineIntrinsics {
  std::string model_name;
  bool polar = false;
  std::int32_t width = -1, height = -1;
  float fx = 0.0F, fy = 0.0F, cx = 0.0F, cy = 0.0F;
  float k1 = 0.0F, k2 = 0.0F, k3 = 0.0F, k4 = 0.0F;
  std::int32_t grid_cols = 0, grid_rows = 0;
  float node_spacing_x = 0.0F, node_spacing_y = 0.0F;
  float scaled_u = 1.0F, scaled_v = 1.0F;
  std::vector<float> coefficients;  ///< first array's nodes, then the second's
};

/// What the recording says of its own kind.
enum class RecordingMode : std::int32_t { undistorted = 0, sbs = 1, raw_dual_track = 2 };

/// 4x4 matrix, column-major.
using Matrix4 = std::array<float, 16>;

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

}  // namespace veyrin
