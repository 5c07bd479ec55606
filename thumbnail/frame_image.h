// Decoded frames as images.
#pragma once

#include <memory>

#include "media/ffmpeg.h"
#include "thumbnail/color_converter.h"
#include "thumbnail/image.h"

namespace veyrin {

/// The frame's RGB codes, opaque, in its own transfer and primaries and at its own size. Any system-memory
/// format that libswscale reads; depths above 8 bits are rounded to 8, since the converter's tables are of
/// 8-bit codes. Null for any other format or when memory is short.
std::shared_ptr<SinglePlaneImage> image_of_frame(const AVFrame& frame, const ColorConverter& converter);

}  // namespace veyrin
