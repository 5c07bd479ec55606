// SPDX-License-Identifier: GPL-2.0-or-later (see LICENSE in this folder)
// A pair of pictures, as it arrives and as x265 takes it.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "spatial/two_view_protocol.h"

namespace veyrin::two_view {

/// The planes of a 4:2:0 picture: bytes for 8 bits, words in the low 10 bits for 10.
struct PicturePlanes {
  std::array<std::uint8_t*, 3> samples{};
  std::array<int, 3> stride{};  ///< bytes
};

/// Room for one pair, filled again and again.
class PicturePair {
 public:
  explicit PicturePair(const Request& request);

  /// Where the samples of both pictures are to be read to, left first.
  [[nodiscard]] std::span<std::uint8_t> input();

  /// To be called when the input has been filled: sets the planes.
  void unpack();

  /// Left, right. The samples stay this object's.
  [[nodiscard]] std::array<PicturePlanes, 2> planes();

 private:
  void unpack_picture(const std::uint16_t* from, std::uint16_t* to) const;

  std::size_t width_;
  std::size_t height_;
  bool ten_bits_;
  std::size_t picture_bytes_;
  std::vector<std::uint16_t> input_;   ///< words also for 8 bits, so that it is aligned for both
  std::vector<std::uint16_t> planar_;  ///< for 10 bits
};

}  // namespace veyrin::two_view
