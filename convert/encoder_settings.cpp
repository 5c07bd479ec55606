#include "convert/encoder_settings.h"

#include <algorithm>
#include <span>
#include <string_view>

extern "C" {
#include <libavutil/opt.h>
}

namespace veyrin {
namespace {

struct Profile {
  int number;
  const char* name;  ///< in the encoders' own option
};

Profile encoder_profile(SbsCodec codec, BitDepth depth) {
  switch (codec) {
    case SbsCodec::h264:
      return {AV_PROFILE_H264_HIGH, "high"};
    case SbsCodec::hevc:
      if (depth == BitDepth::ten) return {AV_PROFILE_HEVC_MAIN_10, "main10"};
      return {AV_PROFILE_HEVC_MAIN, "main"};
    case SbsCodec::prores:
      break;
  }
  return {AV_PROFILE_PRORES_STANDARD, "standard"};
}

std::span<const AVPixelFormat> preferred_formats(SbsCodec codec, BitDepth depth) {
  static constexpr AVPixelFormat prores[] = {AV_PIX_FMT_P210LE, AV_PIX_FMT_YUV422P10LE};
  static constexpr AVPixelFormat ten_bit_hevc[] = {AV_PIX_FMT_P010LE, AV_PIX_FMT_YUV420P10LE};
  static constexpr AVPixelFormat eight_bit[] = {AV_PIX_FMT_YUV420P};
  if (codec == SbsCodec::prores) return prores;
  if (codec == SbsCodec::hevc && depth == BitDepth::ten) return ten_bit_hevc;
  return eight_bit;
}

std::span<const AVPixelFormat> listed_formats(const AVCodec& encoder) {
  const void* formats = nullptr;
  int count = 0;
  const int status =
      avcodec_get_supported_config(nullptr, &encoder, AV_CODEC_CONFIG_PIX_FORMAT, 0, &formats, &count);
  if (status < 0 || formats == nullptr || count <= 0) return {};
  return {static_cast<const AVPixelFormat*>(formats), static_cast<std::size_t>(count)};
}

// Encoders differ in the options and values they know; one that is refused stays at the encoder's default.
void set_private_option(AVCodecContext& context, const char* option, const char* value) {
  if (context.codec == nullptr || context.codec->priv_class == nullptr) return;
  av_opt_set(context.priv_data, option, value, 0);
}

bool is_nvenc(const AVCodec* encoder) {
  return encoder != nullptr && encoder->name != nullptr &&
         std::string_view(encoder->name).ends_with("_nvenc");
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

AVPixelFormat choose_pixel_format(const AVCodec& encoder, SbsCodec codec, BitDepth depth) {
  const auto preferred = preferred_formats(codec, depth);
  const auto listed = listed_formats(encoder);
  if (listed.empty()) return preferred.front();
  const auto match = std::ranges::find_first_of(preferred, listed);
  return match != preferred.end() ? *match : listed.front();
}

AVPixelFormat canvas_pixel_format(SbsCodec codec, AVPixelFormat encoder_format) {
  return codec == SbsCodec::prores ? AV_PIX_FMT_YUV420P10LE : encoder_format;
}

void configure_encoder(const EncoderRequest& request, AVPixelFormat format, std::int64_t bit_rate,
                       AVCodecContext& context) {
  context.codec_type = AVMEDIA_TYPE_VIDEO;
  context.codec_id = encoder_codec_id(request.codec);
  context.width = request.canvas.width;
  context.height = request.canvas.height;
  context.pix_fmt = format;
  context.time_base = av_inv_q(request.frame_rate);
  context.framerate = request.frame_rate;
  context.gop_size = group_of_pictures(request.frame_rate);
  if (is_nvenc(context.codec)) set_nvenc_groups(request.frame_rate, context);
  context.bit_rate = bit_rate;
  const ColorTags colors = encoder_colors(request.input_colors, request.depth);
  context.color_primaries = colors.primaries;
  context.color_trc = colors.transfer;
  context.colorspace = colors.matrix;
  context.color_range = colors.range;
  if (request.global_header) context.flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  // Packets carry their duration, without which the last frame of a movie has none.
  context.flags |= AV_CODEC_FLAG_FRAME_DURATION;
  context.thread_count = 0;  // as many as the machine runs at once
  // Most encoders read the profile from an option of their own and ignore the context's.
  const Profile profile = encoder_profile(request.codec, request.depth);
  context.profile = profile.number;
  set_private_option(context, "profile", profile.name);
  if (request.codec != SbsCodec::hevc) return;
  set_private_option(context, "tier", "main");
  set_private_option(context, "profile_tier", "main");
}

}  // namespace veyrin
