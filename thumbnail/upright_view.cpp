#include "thumbnail/upright_view.h"

namespace veyrin {

void UprightView::locate(const Row& row, std::span<ImagePosition> positions) const {
  const double last_x = picture_width_ - 1.0, last_y = picture_height_ - 1.0;
  double index = 0.0;
  for (ImagePosition& position : positions) {
    const double u = row.u_start + index * row.u_step, v = row.v;
    index += 1.0;
    double x = u, y = v;
    switch (quarter_turns_) {
      case 1:
        x = v, y = last_y - u;
        break;
      case 2:
        x = last_x - u, y = last_y - v;
        break;
      case 3:
        x = last_x - v, y = u;
        break;
      default:
        break;
    }
    position = {static_cast<float>(x), static_cast<float>(y)};
  }
}

}  // namespace veyrin
