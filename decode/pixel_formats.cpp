#include "decode/pixel_formats.h"

#include <algorithm>
#include <span>

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace veyrin {
namespace {

std::span<const AVPixelFormat> preferred_formats(SbsCodec codec, bool ten_bit) {
  static constexpr AVPixelFormat prores[] = {AV_PIX_FMT_P210LE, AV_PIX_FMT_YUV422P10LE};
  static constexpr AVPixelFormat ten_bit_hevc[] = {AV_PIX_FMT_P010LE, AV_PIX_FMT_YUV420P10LE};
  static constexpr AVPixelFormat eight_bit[] = {AV_PIX_FMT_YUV420P};
  if (codec == SbsCodec::prores) return prores;
  if (codec == SbsCodec::hevc && ten_bit) return ten_bit_hevc;
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

bool profile_is_ten_bit(AVCodecID codec, int profile) {
  switch (codec) {
    case AV_CODEC_ID_HEVC:
      return profile == AV_PROFILE_HEVC_MAIN_10;
    case AV_CODEC_ID_H264:
      return profile == AV_PROFILE_H264_HIGH_10 || profile == AV_PROFILE_H264_HIGH_10_INTRA;
    default:
      return false;
  }
}

}  // namespace

bool is_yuv_pipeline_format(AVPixelFormat format) {
  switch (format) {
    case AV_PIX_FMT_YUV420P:
    case AV_PIX_FMT_YUVJ420P:
    case AV_PIX_FMT_NV12:
    case AV_PIX_FMT_YUV420P10LE:
    case AV_PIX_FMT_P010LE:
      return true;
    default:
      return false;
  }
}

bool stream_is_ten_bit(const AVCodecParameters& parameters) {
  constexpr int ten_bits = 10;
  const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(parameters.format));
  if (format != nullptr) return format->comp[0].depth == ten_bits;
  if (parameters.bits_per_raw_sample > 0) return parameters.bits_per_raw_sample == ten_bits;
  return profile_is_ten_bit(parameters.codec_id, parameters.profile);
}

AVPixelFormat choose_pixel_format(const AVCodec& encoder, SbsCodec codec, bool ten_bit) {
  const auto preferred = preferred_formats(codec, ten_bit);
  const auto listed = listed_formats(encoder);
  if (listed.empty()) return preferred.front();
  const auto match = std::ranges::find_first_of(preferred, listed);
  return match != preferred.end() ? *match : listed.front();
}

const char* pixel_format_name(int format) {
  const char* name = av_get_pix_fmt_name(static_cast<AVPixelFormat>(format));
  return name != nullptr ? name : "unknown";
}

}  // namespace veyrin
