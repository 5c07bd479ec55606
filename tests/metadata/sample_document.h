// A complete calibration document that the tests change to their needs.
#pragma once

#include <nlohmann/json.hpp>

namespace veyrin::test {

/// Two KB4 cameras, the left one first, with every block that the reader knows except the spline models.
nlohmann::json complete_document();

/// A spline entry of a camera's "intrinsics" with a grid of 3 columns and 4 rows; the model decides on the
/// keys.
nlohmann::json spline_entry(const char* model, double first_coefficient);

}  // namespace veyrin::test
