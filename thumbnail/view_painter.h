// Paints a view of a decoded picture into a preview.
#pragma once

#include "thumbnail/color_converter.h"
#include "thumbnail/image.h"
#include "thumbnail/view.h"

namespace veyrin {

/// Fills the canvas with the view. Every pixel of the canvas is the mean, in linear light, of evenly spread
/// samples of its part of the view: n x m of them, with n and m such that the samples lie no further apart
/// than the picture's pixels (area filter when shrinking, one sample when enlarging), each interpolated
/// between four source pixels. Where the picture has nothing to show, the canvas stays, and shines through in
/// proportion at the border. `picture` holds the codes that `converter` reads. False when no sample was on
/// the picture.
[[nodiscard]] bool paint_view(const View& view, const SinglePlaneImage& picture,
                              const ColorConverter& converter, SinglePlaneImage& canvas);

}  // namespace veyrin
