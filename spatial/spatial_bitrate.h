// The bit rate texts of spatial output.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace veyrin {

/// A decimal number with an optional multiplier letter K, M or G (either case) as whole bits per second,
/// halves rounded away from zero; false with one message in `error` for any other text and for rates that are
/// not above zero or do not fit.
[[nodiscard]] bool parse_spatial_bitrate(std::string_view text, std::int64_t& bits_per_second,
                                         std::string& error);

}  // namespace veyrin
