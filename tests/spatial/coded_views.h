// Slices that stand in for coded pictures.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace veyrin::test {

/// The NAL unit of a view, start code included, whose payload is the sum of the picture's bytes in decimal.
inline std::string summed_view(int view, bool key, std::span<const std::uint8_t> picture) {
  std::uint64_t sum = 0;
  for (const std::uint8_t byte : picture) sum = sum * 31 + byte;
  constexpr int idr = 20;
  const int type = key ? idr : 1;
  std::string unit("\0\0\0\1", 4);
  unit += static_cast<char>(type << 1);
  unit += static_cast<char>(view << 3 | 1);
  return unit + std::to_string(sum);
}

}  // namespace veyrin::test
