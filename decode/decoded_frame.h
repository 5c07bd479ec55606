// What a decoder hands on: one picture and when it is shown.
#pragma once

#include "media/ffmpeg.h"

namespace veyrin {

struct DecodedFrame {
  /// Holds its own references to the picture buffers. Either a system-memory frame that
  /// `is_yuv_pipeline_format` accepts, or, while frames stay on the GPU, an AV_PIX_FMT_D3D11 frame (data[0]
  /// texture array, data[1] slice).
  FramePtr frame;
  double time_seconds = 0.0;  ///< presentation time on the stream's clock; 0 when the frame carries none
};

}  // namespace veyrin
