// Bit rates as the user writes them. Side-by-side and mono movies know whole numbers, spatial movies decimal
// ones.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace veyrin {

/// Reads a whole number of bits per second with an optional suffix k (1000) or m (1 000 000) of either case.
/// At least 1; false with one message in `error` for anything else.
[[nodiscard]] bool parse_bitrate(const std::string& text, std::int64_t& bits_per_second, std::string& error);

/// Reads a decimal number with an optional multiplier letter K, M or G (either case) as whole bits per
/// second, halves rounded away from zero; false with one message in `error` for any other text and for rates
/// that are not above zero or do not fit.
[[nodiscard]] bool parse_spatial_bitrate(std::string_view text, std::int64_t& bits_per_second,
                                         std::string& error);

}  // namespace veyrin
