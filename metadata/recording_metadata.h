// What is read once from a recording before any work starts.
#pragma once

#include <cstdint>
#include <filesystem>
#include <limits>
#include <string>

#include "metadata/calibration.h"
#include "metadata/recording_streams.h"

namespace veyrin {

/// The initial intrinsics of a condensed calibration: no size, no lens.
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

struct RecordingMetadata {
  std::int32_t metadata_stream = -1;  ///< container stream index
  std::int32_t left_track = -1, right_track = -1;
  double duration_seconds = 0.0;  ///< 0 when the container does not know it
  bool is_hdr = false;            ///< by the colour tags of either eye
  StereoCalibration calibration;
  RawDualTrackCalibration raw_calibration;
};

/// Reads the recording's first calibration document. Opens and closes the input itself; false with one
/// message in `error` when anything is missing or malformed.
[[nodiscard]] bool read_recording_metadata(const std::filesystem::path& input, RecordingMetadata& metadata,
                                           std::string& error);

}  // namespace veyrin
