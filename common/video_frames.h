// Frames for the processors and encoders.
#pragma once

#include "common/ffmpeg_owners.h"

namespace veyrin {

/// A frame with buffers of the given format and size in pixels, rows aligned to 32 bytes for the kernels;
/// null when memory is short or the size is out of range.
FramePtr allocate_video_frame(AVPixelFormat format, int width, int height);

}  // namespace veyrin
