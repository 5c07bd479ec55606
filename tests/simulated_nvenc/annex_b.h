// Units of a byte stream with start codes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace veyrin::simulated_nvenc {

/// The bytes of a unit behind its start code of three or four bytes.
inline std::span<const std::uint8_t> without_start_code(std::span<const std::uint8_t> unit) {
  return unit.subspan(unit[2] == 1 ? 3 : 4);
}

/// The number in an HEVC unit's header that tells the views apart.
inline unsigned hevc_layer(std::span<const std::uint8_t> unit) {
  const auto header = without_start_code(unit);
  return (header[0] & 1U) << 5U | header[1] >> 3U;
}

}  // namespace veyrin::simulated_nvenc
