#include "convert/bitrate.h"

#include <charconv>
#include <limits>
#include <string_view>

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

}  // namespace veyrin
