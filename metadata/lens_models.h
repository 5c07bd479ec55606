// The lens models of the two cameras in the calibration document.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include "metadata/calibration.h"

namespace veyrin {

/// Fills both eyes' intrinsics and spline models from the cameras' "intrinsics" lists, as far as both have
/// them. Throws for malformed entries.
void read_lens_models(const nlohmann::json& left_list, const nlohmann::json& right_list,
                      StereoCalibration& calibration);

}  // namespace veyrin
