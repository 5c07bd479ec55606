// What every encoder is told before it is opened.
#pragma once

#include <cstdint>

#include "convert/encoder_selection.h"

namespace veyrin {

/// The codec as FFmpeg numbers it.
AVCodecID encoder_codec_id(SbsCodec codec);

/// The packed canvas: two eyes side by side for full SBS, else one eye wide.
EyeSize encoded_size(const EncoderRequest& request);

/// Two seconds of whole frames, at least 1.
int group_of_pictures(AVRational frame_rate);

/// The input's tags, with the defaults of the stream's depth for those that are unspecified.
ColorTags encoder_colors(const ColorTags& input, bool ten_bit);

/// The 4:2:0 format in which the canvas is made: the encoder's own, except for ProRes, whose encoder takes
/// 4:2:2 and gets it converted from planar 10-bit.
AVPixelFormat canvas_pixel_format(SbsCodec codec, AVPixelFormat encoder_format);

/// Applies the request to a context that is not open yet. `bit_rate` is in bits per second.
void configure_encoder(const EncoderRequest& request, AVPixelFormat format, std::int64_t bit_rate,
                       AVCodecContext& context);

}  // namespace veyrin
