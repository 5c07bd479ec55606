// Typed reads of the calibration document. Failures are the JSON library's own exceptions, whose texts reach
// the user.
#pragma once

#include <array>
#include <concepts>
#include <limits>
#include <nlohmann/json.hpp>

namespace veyrin {

/// The library's integer conversion, defined for every number: one too large for any integer becomes the
/// smallest, which no later check accepts.
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

/// As above for a member of an object that may be absent.
template <std::signed_integral Integer>
Integer integer_member(const nlohmann::json& object, const char* key, Integer fallback) {
  const auto member = object.find(key);
  return member == object.end() ? fallback : integer_from<Integer>(*member);
}

/// Elements 0 to 2 of an array.
inline std::array<float, 3> vector_from(const nlohmann::json& array) {
  return {array.at(0).get<float>(), array.at(1).get<float>(), array.at(2).get<float>()};
}

}  // namespace veyrin
