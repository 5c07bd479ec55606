// What an encoder of a side-by-side or mono movie is wanted for, and the settings that follow.
#pragma once

#include <cstdint>
#include <string>

#include "common/conversion_options.h"
#include "media/ffmpeg.h"

namespace veyrin {

struct EncoderRequest {
  SbsCodec codec = SbsCodec::hevc;
  Size canvas{};  ///< of the movie's pictures
  BitDepth depth = BitDepth::eight;
  FrameRate frame_rate{30, 1};
  bool software = false;       ///< hardware encoders are not wanted
  std::string bitrate{};       ///< as given by the user
  ColorTags input_colors{};    ///< of the left eye's stream
  bool global_header = false;  ///< the container wants the parameter sets in its header
};

/// The codec as FFmpeg numbers it.
AVCodecID encoder_codec_id(SbsCodec codec);

/// The format that the encoder gets for this output codec: the first preferred one that it lists, else its
/// first listed one, else, when it lists none, the first preferred one.
AVPixelFormat choose_pixel_format(const AVCodec& encoder, SbsCodec codec, BitDepth depth);

/// The 4:2:0 format in which the canvas is made: the encoder's own, except for ProRes, whose encoder takes
/// 4:2:2 and gets it converted from planar 10-bit.
AVPixelFormat canvas_pixel_format(SbsCodec codec, AVPixelFormat encoder_format);

/// Applies the request to a context that is not open yet. `bit_rate` is in bits per second.
void configure_encoder(const EncoderRequest& request, AVPixelFormat format, std::int64_t bit_rate,
                       AVCodecContext& context);

}  // namespace veyrin
