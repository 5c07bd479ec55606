// What every encoder is told before it is opened.
#pragma once

#include <cstdint>

#include "convert/encoder_selection.h"

namespace veyrin {

/// The codec as FFmpeg numbers it.
AVCodecID encoder_codec_id(SbsCodec codec);

/// The packed canvas: two eyes side by side for full SBS, else one eye wide.
Size encoded_size(const EncoderRequest& request);

/// The 4:2:0 format in which the canvas is made: the encoder's own, except for ProRes, whose encoder takes
/// 4:2:2 and gets it converted from planar 10-bit.
AVPixelFormat canvas_pixel_format(SbsCodec codec, AVPixelFormat encoder_format);

/// Applies the request to a context that is not open yet. `bit_rate` is in bits per second.
void configure_encoder(const EncoderRequest& request, AVPixelFormat format, std::int64_t bit_rate,
                       AVCodecContext& context);

}  // namespace veyrin
