// Reads the JSON calibration document of one metadata sample.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>

#include "metadata/calibration.h"

namespace veyrin {

/// The mode under "recordingMode"; nothing when the document lacks the key. Throws std::runtime_error for an
/// unknown mode and the JSON library's type error for a value that is not a string.
[[nodiscard]] std::optional<RecordingMode> parse_recording_mode(const nlohmann::json& document);

/// Reads the whole document; `sample_time` is the sample's container time in seconds. Throws
/// std::runtime_error, or the JSON library's exception, when anything is malformed. Optional blocks that are
/// missing leave their flags false.
[[nodiscard]] StereoCalibration read_stereo_calibration(const nlohmann::json& document, double sample_time);

}  // namespace veyrin
