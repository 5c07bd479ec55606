// Pictures as programs exchange them through pipes: planes one after the other, rows without gaps.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "media/video_types.h"

struct AVFrame;

namespace veyrin {

/// Bytes that follow each other in what is sent, wherever they lie.
using BytePieces = std::vector<std::span<const std::byte>>;

/// The format in which pictures of a depth are sent: planar 4:2:0 in bytes, or P010.
AVPixelFormat raw_picture_format(BitDepth depth);

/// Planes of a format that can be sent: 2 for P010, 3 for planar 8-bit 4:2:0; 0 for all others.
int raw_plane_count(int pixel_format);

/// Appends the samples of a frame of such a format, whose planes are all there and at least of that size;
/// the frame stays the caller's. Odd heights lose half a row of chroma.
void append_raw_picture(const AVFrame& frame, Size size, BytePieces& pieces);

}  // namespace veyrin
