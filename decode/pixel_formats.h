// Decisions about pixel formats: what the YUV processors accept, what an encoder gets, how deep a stream is.
#pragma once

#include "common/conversion_options.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/pixfmt.h>
}

namespace veyrin {

/// True for the five 4:2:0 system-memory formats that the YUV processors read.
bool is_yuv_pipeline_format(AVPixelFormat format);

/// True when the stream's samples have 10 bits: by its pixel format, else by its sample size, else by its
/// profile.
bool stream_is_ten_bit(const AVCodecParameters& parameters);

/// The format that the encoder gets for this output codec: the first preferred one that it lists, else its
/// first listed one, else, when it lists none, the first preferred one.
AVPixelFormat choose_pixel_format(const AVCodec& encoder, SbsCodec codec, bool ten_bit);

/// The format's name as FFmpeg prints it; "unknown" for a number that names no format.
const char* pixel_format_name(int format);

}  // namespace veyrin
