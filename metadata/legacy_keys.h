// Older recordings use other names for two keys of the calibration document.
#pragma once

#include <nlohmann/json_fwd.hpp>

namespace veyrin {

/// Brings "playbackTimestampSec" under "pts" and each camera's "videoTrackIndex" under "track", where the
/// newer key is missing.
void adopt_legacy_keys(nlohmann::json& document);

}  // namespace veyrin
