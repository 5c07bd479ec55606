// What the readers of the calibration document share. Failures are the JSON library's own exceptions, whose
// texts reach the user.
#pragma once

#include <concepts>
#include <limits>
#include <nlohmann/json.hpp>

#include "metadata/calibration.h"

namespace veyrin {

/// The JSON library's integer conversion, but defined for every number: a floating-point value outside the
/// integer's range becomes the smallest integer, which no later check accepts.
template <std::signed_integral Integer>
Integer integer_from(const nlohmann::json& value) {
  if (value.is_number_float()) {
    constexpr Integer smallest = std::numeric_limits<Integer>::min();
    constexpr double limit = -static_cast<double>(smallest);
    const double number = value.get<double>();
    if (!(number >= -limit && number < limit)) return smallest;
  }
  return value.get<Integer>();
}

/// Fills both eyes' intrinsics and spline models from the cameras' "intrinsics" lists. Each kind of model is
/// taken only when both lists have it. Throws for malformed entries.
void read_lens_models(const nlohmann::json& left_list, const nlohmann::json& right_list,
                      StereoCalibration& calibration);

}  // namespace veyrin
