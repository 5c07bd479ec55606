#include "media/bitrate.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <optional>

#include "common/error_text.h"

namespace veyrin {
namespace {

std::int64_t take_multiplier(std::string_view& text) {
  switch (text.back()) {
    case 'k':
    case 'K':
      text.remove_suffix(1);
      return 1000;
    case 'm':
    case 'M':
      text.remove_suffix(1);
      return 1000000;
    default:
      return 1;
  }
}

constexpr double largest_rate = 9223372036854775808.0;  // 2^63

/// Takes the number at the front off `text`; nothing when there is none or it does not fit a double.
std::optional<double> take_number(std::string_view& text) {
  // std::from_chars also knows "inf" and "nan", which are no decimal numbers.
  const std::size_t first = text.starts_with('-') ? 1 : 0;
  if (text.find_first_of("0123456789.", first) != first) return std::nullopt;
  double number = 0.0;
  const auto [stop, status] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (status != std::errc()) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(stop - text.data()));
  return number;
}

std::optional<double> multiplier(char letter) {
  switch (letter) {
    case 'k':
    case 'K':
      return 1e3;
    case 'm':
    case 'M':
      return 1e6;
    case 'g':
    case 'G':
      return 1e9;
    default:
      return std::nullopt;
  }
}

}  // namespace

bool parse_bitrate(const std::string& text, std::int64_t& bits_per_second, std::string& error) {
  if (text.empty()) return fail(error, "bitrate cannot be empty");
  std::string_view digits = text;
  const std::int64_t multiplier = take_multiplier(digits);
  std::int64_t number = 0;
  const auto [end, code] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  const bool whole_number = code == std::errc() && end == digits.data() + digits.size();
  if (!whole_number || number < 1 || number > std::numeric_limits<std::int64_t>::max() / multiplier) {
    return fail(error, "invalid bitrate: " + text);
  }
  bits_per_second = number * multiplier;
  return true;
}

bool parse_spatial_bitrate(std::string_view text, std::int64_t& bits_per_second, std::string& error) {
  const std::string given(text);
  if (text.empty()) return fail(error, "spatial bitrate cannot be empty");
  const std::optional<double> number = take_number(text);
  if (!number || text.size() > 1) return fail(error, "invalid spatial bitrate: " + given);
  const std::optional<double> factor = text.empty() ? 1.0 : multiplier(text.front());
  if (!factor) return fail(error, "invalid spatial bitrate suffix: " + given);
  const double rate = *number * *factor;
  if (!std::isfinite(rate) || rate <= 0.0 || rate > largest_rate) {
    return fail(error, "spatial bitrate is out of range: " + given);
  }
  // The largest accepted rate is one more than the type holds.
  bits_per_second = rate < largest_rate ? std::llround(rate) : std::numeric_limits<std::int64_t>::max();
  return true;
}

}  // namespace veyrin
