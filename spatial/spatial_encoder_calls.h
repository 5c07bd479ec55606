// The library calls whose outcome depends on the machine's encoding hardware, as a table that tests can
// replace.
#pragma once

#include <functional>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace veyrin {

/// Results are FFmpeg's: negative is an error code.
struct SpatialEncoderCalls {
  std::function<const AVCodec*(const char* name)> find;
  /// Sets one of the encoder's private options on a context that is not open yet.
  std::function<int(AVCodecContext* context, const char* option, const char* value)> set_option;
  std::function<int(AVCodecContext* context)> open;
  /// A null frame says that no further one follows.
  std::function<int(AVCodecContext* context, const AVFrame* frame)> send;
  std::function<int(AVCodecContext* context, AVPacket* packet)> receive;
};

/// The calls as FFmpeg answers them.
const SpatialEncoderCalls& ffmpeg_spatial_encoder_calls();

}  // namespace veyrin
