// The pictures of previews, out of decoded frames.
#pragma once

#include <memory>

#include "media/ffmpeg.h"
#include "metadata/recording_metadata.h"
#include "thumbnail/color_converter.h"
#include "thumbnail/image.h"

namespace veyrin {

/// A decoded picture and how its colours are read. Borrows the frame.
struct ColoredFrame {
  const AVFrame* frame = nullptr;
  ColorConverter converter;
};

/// Both eyes side by side, each rectified into a square of half the width: `width` x max(1, width / 2)
/// pixels, (16, 18, 21) where there is nothing to show. Null when an eye cannot be rendered: a baseline below
/// 1e-6 m, a singular calibration, no view of the picture, an unreadable frame, or a size beyond memory.
std::shared_ptr<SinglePlaneImage> paint_eyes(const RawDualTrackCalibration& calibration,
                                             const ColoredFrame& left, const ColoredFrame& right, int width);

/// The whole picture after clockwise quarter turns, `width` pixels wide and as high as its shape asks for,
/// at least 1. `pixel_aspect` is the width of its pixels over their height before turning. Null for an
/// unreadable frame or a size beyond memory.
std::shared_ptr<SinglePlaneImage> paint_upright(const ColoredFrame& picture, int quarter_turns,
                                                double pixel_aspect, int width);

}  // namespace veyrin
