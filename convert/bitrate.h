// The text form of bit rates.
#pragma once

#include <cstdint>
#include <string>

namespace veyrin {

/// Reads a whole number of bits per second with an optional suffix k (1000) or m (1 000 000) of either case.
/// At least 1; false with one message in `error` for anything else.
[[nodiscard]] bool parse_bitrate(const std::string& text, std::int64_t& bits_per_second, std::string& error);

}  // namespace veyrin
