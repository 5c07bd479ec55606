// Pictures for tests of what paints previews.
#pragma once

#include <functional>

#include "thumbnail/color_converter.h"
#include "thumbnail/image.h"

namespace veyrin::test {

constexpr Rgba black{0, 0, 0}, white{255, 255, 255};

inline ColorConverter standard(ColorTransfer transfer = ColorTransfer::srgb) {
  ColorDescription description;
  description.transfer.kind = transfer;
  return prepare_color_converter(description);
}

inline ImagePtr picture(int width, int height, const std::function<Rgba(int x, int y)>& color) {
  ImagePtr image = SinglePlaneImage::create({width, height}, {});
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) image->row(y)[x] = color(x, y);
  }
  return image;
}

}  // namespace veyrin::test
