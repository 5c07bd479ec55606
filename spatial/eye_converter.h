// Brings rectified eyes into the encoder's pixel format.
#pragma once

#include <memory>
#include <string>
#include <utility>

#include "media/ffmpeg.h"
#include "media/video_types.h"

namespace veyrin {

/// The coefficient table of libswscale (SWS_CS_...) for a matrix; that of BT.601 for all without a table.
int swscale_coefficients(AVColorSpace matrix);

/// One eye's converter. It is set up for full-range packed BGR, with the target's matrix and range; an eye
/// that is in the target's format already is copied as it is.
class EyeConverter {
 public:
  /// For eyes of the size, format and colour tags of `target`, a frame of the encoder; null with one message
  /// in `error` on failure.
  static std::unique_ptr<EyeConverter> create(const AVFrame& target, std::string& error);

  /// Fills `target`, whose buffers may still be in use elsewhere and are replaced then. Both frames have the
  /// same size.
  [[nodiscard]] bool convert(const AVFrame& eye, AVFrame& target, std::string& error);

 private:
  EyeConverter(ScalerPtr scaler, AVPixelFormat source) : scaler_(std::move(scaler)), source_(source) {}
  [[nodiscard]] bool fit_to(const AVFrame& eye, const AVFrame& target);

  ScalerPtr scaler_;
  AVPixelFormat source_;  // what the scaler takes
};

}  // namespace veyrin
