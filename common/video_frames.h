// Frames for the processors and encoders.
#pragma once

#include "common/ffmpeg_owners.h"

namespace veyrin {

/// Gives an empty frame buffers of the given format and size in pixels, rows aligned to 32 bytes for the
/// kernels; a negative result is FFmpeg's error code.
int allocate_frame_buffers(AVFrame& frame, AVPixelFormat format, int width, int height);

/// A new frame with such buffers; null when memory is short or the size is out of range.
FramePtr allocate_video_frame(AVPixelFormat format, int width, int height);

}  // namespace veyrin
