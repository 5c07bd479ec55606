// 4:2:0 canvases for encoders that take 4:2:2.
#pragma once

#include <memory>
#include <string>

#include "media/ffmpeg.h"

namespace veyrin {

/// Holds an intermediate 10-bit 4:2:0 canvas and brings it into the encoder's 4:2:2 format with a bicubic
/// filter.
class ChromaUpsampler {
 public:
  /// `encoder_frame` gives the size and the target format. Null with one message in `error` on failure.
  static std::unique_ptr<ChromaUpsampler> create(const AVFrame& encoder_frame, std::string& error);

  /// The intermediate canvas, `yuv420p10le`.
  AVFrame* canvas() { return intermediate_.get(); }

  /// Writes the canvas into the encoder's frame.
  [[nodiscard]] bool upsample(AVFrame& encoder_frame, std::string& error);

 private:
  ChromaUpsampler(FramePtr intermediate, ScalerPtr scaler)
      : intermediate_(std::move(intermediate)), scaler_(std::move(scaler)) {}

  FramePtr intermediate_;
  ScalerPtr scaler_;
};

}  // namespace veyrin
