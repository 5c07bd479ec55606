// The whole picture, turned upright.
#pragma once

#include "thumbnail/view.h"

namespace veyrin {

/// Shows every pixel of a picture after clockwise quarter turns.
class UprightView final : public View {
 public:
  /// Sides in pixels before turning, at least 1.
  UprightView(int picture_width, int picture_height, int quarter_turns)
      : picture_width_(picture_width), picture_height_(picture_height), quarter_turns_(quarter_turns) {}

  [[nodiscard]] double width() const override { return lying() ? picture_height_ : picture_width_; }
  [[nodiscard]] double height() const override { return lying() ? picture_width_ : picture_height_; }
  void locate(const Row& row, std::span<ImagePosition> positions) const override;

 private:
  [[nodiscard]] bool lying() const { return quarter_turns_ % 2 != 0; }

  int picture_width_;
  int picture_height_;
  int quarter_turns_;
};

}  // namespace veyrin
