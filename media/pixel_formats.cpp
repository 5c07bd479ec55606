#include "media/pixel_formats.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/pixdesc.h>
}

namespace veyrin {
namespace {

constexpr int ten_bits = 10;
constexpr std::int32_t p010_shift = 16 - ten_bits;

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

bool is_ten_bit(const AVCodecParameters& parameters) {
  const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(parameters.format));
  if (format != nullptr) return format->comp[0].depth == ten_bits;
  if (parameters.bits_per_raw_sample > 0) return parameters.bits_per_raw_sample == ten_bits;
  return profile_is_ten_bit(parameters.codec_id, parameters.profile);
}

}  // namespace

std::optional<YuvFormat> describe_yuv_format(int pixel_format) {
  switch (pixel_format) {
    case AV_PIX_FMT_YUV420P:
    case AV_PIX_FMT_YUVJ420P:
      return YuvFormat{BitDepth::eight, /*interleaved_chroma=*/false, /*shift=*/0};
    case AV_PIX_FMT_NV12:
      return YuvFormat{BitDepth::eight, /*interleaved_chroma=*/true, /*shift=*/0};
    case AV_PIX_FMT_YUV420P10LE:
      return YuvFormat{BitDepth::ten, /*interleaved_chroma=*/false, /*shift=*/0};
    case AV_PIX_FMT_P010LE:
      return YuvFormat{BitDepth::ten, /*interleaved_chroma=*/true, p010_shift};
    default:
      return std::nullopt;
  }
}

AVPixelFormat semi_planar_format(BitDepth depth) {
  return depth == BitDepth::ten ? AV_PIX_FMT_P010LE : AV_PIX_FMT_NV12;
}

BitDepth stream_bit_depth(const AVCodecParameters& parameters) {
  return is_ten_bit(parameters) ? BitDepth::ten : BitDepth::eight;
}

const char* pixel_format_name(int format) {
  const char* name = av_get_pix_fmt_name(static_cast<AVPixelFormat>(format));
  return name != nullptr ? name : "unknown";
}

}  // namespace veyrin
