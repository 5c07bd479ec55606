// Decides the type of each picture and which pictures are coded together.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "tests/simulated_nvenc/stream_coder.h"

namespace veyrin::simulated_nvenc {

/// Groups that depend on no later picture: a single IDR picture, or B-frames and the P-frame after them.
class PictureOrder {
 public:
  PictureOrder(std::uint32_t idr_period, int b_frames) : idr_period_(idr_period), b_frames_(b_frames) {}

  /// Adds the next picture in display order; returns the groups that are now complete, also in display order.
  std::vector<std::vector<InputPicture>> add(InputPicture picture, bool force_idr);
  /// The pictures of the incomplete group.
  std::optional<std::vector<InputPicture>> finish();

 private:
  std::uint32_t idr_period_;
  int b_frames_;
  std::uint32_t since_idr_ = 0;
  std::vector<InputPicture> waiting_;
};

}  // namespace veyrin::simulated_nvenc
