#include "convert/encoder_settings.h"

extern "C" {
#include <libavutil/common.h>
#include <libavutil/opt.h>
}

namespace veyrin {
namespace {

struct Profile {
  int number;
  const char* name;  ///< in the encoders' own option
};

Profile encoder_profile(SbsCodec codec, bool ten_bit) {
  switch (codec) {
    case SbsCodec::h264:
      return {AV_PROFILE_H264_HIGH, "high"};
    case SbsCodec::hevc:
      return ten_bit ? Profile{AV_PROFILE_HEVC_MAIN_10, "main10"} : Profile{AV_PROFILE_HEVC_MAIN, "main"};
    case SbsCodec::prores:
      break;
  }
  return {AV_PROFILE_PRORES_STANDARD, "standard"};
}

// Encoders differ in the options and values they know; one that is refused stays at the encoder's default.
void set_private_option(AVCodecContext& context, const char* option, const char* value) {
  if (context.codec == nullptr || context.codec->priv_class == nullptr) return;
  av_opt_set(context.priv_data, option, value, 0);
}

}  // namespace

AVCodecID encoder_codec_id(SbsCodec codec) {
  switch (codec) {
    case SbsCodec::h264:
      return AV_CODEC_ID_H264;
    case SbsCodec::hevc:
      return AV_CODEC_ID_HEVC;
    case SbsCodec::prores:
      break;
  }
  return AV_CODEC_ID_PRORES;
}

Size encoded_size(const EncoderRequest& request) {
  const bool two_eyes_wide = !request.mono && request.mode == SbsMode::full;
  const std::int64_t width = (two_eyes_wide ? 2 : 1) * std::int64_t{request.canvas.width};
  return {av_clipl_int32(width), request.canvas.height};
}

AVPixelFormat canvas_pixel_format(SbsCodec codec, AVPixelFormat encoder_format) {
  return codec == SbsCodec::prores ? AV_PIX_FMT_YUV420P10LE : encoder_format;
}

void configure_encoder(const EncoderRequest& request, AVPixelFormat format, std::int64_t bit_rate,
                       AVCodecContext& context) {
  const Size size = encoded_size(request);
  context.codec_type = AVMEDIA_TYPE_VIDEO;
  context.codec_id = encoder_codec_id(request.codec);
  context.width = size.width;
  context.height = size.height;
  context.pix_fmt = format;
  context.time_base = av_inv_q(request.frame_rate);
  context.framerate = request.frame_rate;
  context.gop_size = group_of_pictures(request.frame_rate);
  context.bit_rate = bit_rate;
  const ColorTags colors = encoder_colors(request.input_colors, request.ten_bit);
  context.color_primaries = colors.primaries;
  context.color_trc = colors.transfer;
  context.colorspace = colors.matrix;
  context.color_range = colors.range;
  if (request.global_header) context.flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  // Packets carry their duration, without which the last frame of a movie has none.
  context.flags |= AV_CODEC_FLAG_FRAME_DURATION;
  context.thread_count = 0;  // as many as the machine runs at once
  // Most encoders read the profile from an option of their own and ignore the context's.
  const Profile profile = encoder_profile(request.codec, request.ten_bit);
  context.profile = profile.number;
  set_private_option(context, "profile", profile.name);
  if (request.codec != SbsCodec::hevc) return;
  set_private_option(context, "tier", "main");
  set_private_option(context, "profile_tier", "main");
}

}  // namespace veyrin
