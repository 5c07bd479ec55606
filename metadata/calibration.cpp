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

}  // namespace veyrin
