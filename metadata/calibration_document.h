// Reads the JSON calibration document of one metadata sample.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include "metadata/calibration.h"

namespace veyrin {

/// The document as records; `sample_time` is the sample's container time in seconds. Throws
/// std::runtime_error, or the JSON library's exception, when anything is malformed. Optional blocks that are
/// missing leave their flags false.
StereoCalibration read_stereo_calibration(const nlohmann::json& document, double sample_time);

}  // namespace veyrin
