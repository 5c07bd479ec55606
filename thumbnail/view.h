// What a preview shows of a recorded picture, and where that is in the picture.
#pragma once

#include <span>

#include "rectification/camera_model.h"

namespace veyrin {

/// A view of a source picture. Its plane is `width` x `height` units with unit centres at integers; a unit is
/// about as large as a pixel of the picture.
class View {
 public:
  virtual ~View() = default;
  [[nodiscard]] virtual double width() const = 0;
  [[nodiscard]] virtual double height() const = 0;

  /// A run of positions along one row of the view.
  struct Row {
    double u_start = 0.0;  ///< of the first position
    double u_step = 0.0;
    double v = 0.0;
  };
  /// The source position, in the picture's pixels, of each position of the run; NaN where the picture has
  /// nothing to show.
  virtual void locate(const Row& row, std::span<ImagePosition> positions) const = 0;
};

}  // namespace veyrin
