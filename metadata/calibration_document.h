// Reads the JSON calibration document of one metadata sample, and the parts that its readers share.
#pragma once

#include <concepts>
#include <limits>
#include <nlohmann/json.hpp>
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
