// The surfaces that the encoder takes its canvases from.
#pragma once

#include <string>

#include "media/ffmpeg.h"
#include "media/video_types.h"

namespace veyrin {

/// Makes a frames context of the encoder's surfaces on the D3D11VA device and takes one surface on trial;
/// false with one message in `error`. Further surfaces are made when they are wanted.
[[nodiscard]] bool create_encoder_frames(AVBufferRef& device, Size canvas, BitDepth depth,
                                         BufferRefPtr& frames, std::string& error);

}  // namespace veyrin
