// NAL units of a byte stream with start codes (Annex B).
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>
#include <vector>

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

/// Changes the layer in the header of a NAL unit.
inline void set_hevc_layer(std::span<std::uint8_t> unit, unsigned layer) {
  const std::size_t header = unit[2] == 1 ? 3 : 4;
  unit[header] = static_cast<std::uint8_t>((unit[header] & 0xFEU) | (layer >> 5U & 1U));
  unit[header + 1] = static_cast<std::uint8_t>((unit[header + 1] & 7U) | (layer & 31U) << 3U);
}

/// The units of a layer, from a stream of several.
inline std::vector<std::uint8_t> units_of_layer(std::span<const std::uint8_t> stream, unsigned layer) {
  constexpr std::array<std::uint8_t, 3> start_code{0, 0, 1};
  // The zero byte before a start code of three bytes makes it one of four.
  const auto find_start = [&](auto from) {
    const auto found = std::search(from, stream.end(), start_code.begin(), start_code.end());
    return found != stream.begin() && found != stream.end() && *std::prev(found) == 0 ? std::prev(found)
                                                                                      : found;
  };
  std::vector<std::uint8_t> units;
  for (auto begin = find_start(stream.begin()); begin != stream.end();) {
    const auto end = find_start(std::next(begin, 3));
    if (hevc_layer(std::span(begin, end)) == layer) units.insert(units.end(), begin, end);
    begin = end;
  }
  return units;
}

}  // namespace veyrin::simulated_nvenc
