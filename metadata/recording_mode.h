// What a calibration document says of the recording's kind.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>

#include "metadata/calibration.h"

namespace veyrin {

/// The mode under "recordingMode"; nothing when the document does not tell. Throws std::runtime_error for an
/// unknown mode and the JSON library's type error for a value that is no string.
std::optional<RecordingMode> parse_recording_mode(const nlohmann::json& document);

}  // namespace veyrin
