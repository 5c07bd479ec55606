// Reduces a calibration document to what rectification needs.
#pragma once

#include <string>

#include "metadata/recording_metadata.h"

namespace veyrin {

/// The condensed calibration; `valid` is false when intrinsics, stereo extrinsic or head chain are missing.
/// One line on the console tells what was loaded from `input` (UTF-8) or what the first missing part is.
RawDualTrackCalibration condense_calibration(const StereoCalibration& calibration, const std::string& input);

}  // namespace veyrin
