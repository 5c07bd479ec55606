// Which kind each picture becomes, and which pictures are coded together.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "tests/simulated_nvenc/stream_coder.h"

namespace veyrin::simulated_nvenc {

/// Groups that need no later picture: an IDR picture alone, or B-frames with the P-frame behind them.
class PictureOrder {
 public:
  PictureOrder(std::uint32_t idr_period, int b_frames) : idr_period_(idr_period), b_frames_(b_frames) {}

  /// Takes the next picture in display order; gives the groups that are complete now, also in display order.
  std::vector<std::vector<InputPicture>> add(InputPicture picture, bool force_idr);
  /// The pictures that were waiting for more.
  std::optional<std::vector<InputPicture>> finish();

 private:
  std::uint32_t idr_period_;
  int b_frames_;
  std::uint32_t since_idr_ = 0;
  std::vector<InputPicture> waiting_;
};

}  // namespace veyrin::simulated_nvenc
