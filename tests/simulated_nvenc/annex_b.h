// NAL units of a byte stream with start codes (Annex B).
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace veyrin::simulated_nvenc {

/// The bytes of a NAL unit after its start code of three or four bytes.
inline std::span<const std::uint8_t> without_start_code(std::span<const std::uint8_t> unit) {
  return unit.subspan(unit[2] == 1 ? 3 : 4);
}

/// The layer in the header of an HEVC NAL unit, which distinguishes the views.
inline unsigned hevc_layer(std::span<const std::uint8_t> unit) {
  const auto header = without_start_code(unit);
  return (header[0] & 1U) << 5U | header[1] >> 3U;
}

}  // namespace veyrin::simulated_nvenc
