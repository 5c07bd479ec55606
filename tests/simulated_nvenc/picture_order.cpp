#include "tests/simulated_nvenc/picture_order.h"

#include <utility>

namespace veyrin::simulated_nvenc {

std::vector<std::vector<InputPicture>> PictureOrder::add(InputPicture picture, bool force_idr) {
  std::vector<std::vector<InputPicture>> complete;
  const bool period_over = idr_period_ != 0 && since_idr_ >= idr_period_;
  if (picture.number == 0 || force_idr || period_over) {
    if (auto before = finish()) complete.push_back(std::move(*before));
    picture.kind = PictureKind::idr;
    complete.emplace_back().push_back(std::move(picture));
    since_idr_ = 1;
    return complete;
  }
  ++since_idr_;
  picture.kind = PictureKind::bidirectional;
  waiting_.push_back(std::move(picture));
  if (waiting_.size() > static_cast<std::size_t>(b_frames_)) complete.push_back(*finish());
  return complete;
}

std::optional<std::vector<InputPicture>> PictureOrder::finish() {
  if (waiting_.empty()) return std::nullopt;
  waiting_.back().kind = PictureKind::forward;
  return std::exchange(waiting_, {});
}

}  // namespace veyrin::simulated_nvenc
