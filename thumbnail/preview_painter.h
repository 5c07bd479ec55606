// Paints previews out of decoded frames.
#pragma once

#include "media/ffmpeg.h"
#include "metadata/calibration.h"
#include "processing/cpu_worker_pool.h"
#include "thumbnail/color_converter.h"
#include "thumbnail/image.h"
#include "thumbnail/views.h"

namespace veyrin {

/// Fills the canvas with the view. Every pixel of the canvas is the mean, in linear light, of what its
/// footprint covers of the picture (see `FootprintReader`); footprints follow the lens in parts of at most 8
/// units of the view a side. Where the picture has nothing to show, the canvas stays, and shines through in
/// proportion at the border. `picture` holds the codes that `converter` reads. False when nothing of the view
/// is on the picture.
[[nodiscard]] bool paint_view(const View& view, const SinglePlaneImage& picture,
                              const ColorConverter& converter, Image& canvas, CpuWorkerPool& pool);

/// A decoded picture and how its colours are read. Borrows the frame.
struct ColoredFrame {
  const AVFrame* frame = nullptr;
  ColorConverter converter;
};

/// Both eyes side by side, each rectified into a square of half the width: `width` x max(1, width / 2)
/// pixels, (16, 18, 21) where there is nothing to show. Null when an eye cannot be rendered: a baseline below
/// 1e-6 m, a singular calibration, no view of the picture, an unreadable frame, or a size beyond memory.
[[nodiscard]] ImagePtr paint_eyes(const RawDualTrackCalibration& calibration, const ColoredFrame& left,
                                  const ColoredFrame& right, int width, CpuWorkerPool& pool);

/// The whole picture (`scaled_picture`) after clockwise quarter turns, `width` pixels wide and as high as its
/// shape asks for, at least 1. `pixel_aspect` is the width of its pixels over their height before turning.
/// Null for an unreadable frame or a size beyond memory.
[[nodiscard]] ImagePtr paint_upright(const ColoredFrame& picture, int quarter_turns, double pixel_aspect,
                                     int width, CpuWorkerPool& pool);

}  // namespace veyrin
