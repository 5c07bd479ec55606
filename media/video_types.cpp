#include "media/video_types.h"

#include <algorithm>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavcodec/codec_par.h>
#include <libavutil/common.h>
#include <libavutil/frame.h>
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

int group_of_pictures(FrameRate rate) {
  return std::max(1, av_clipl_int32(2 * std::int64_t{rate.num / rate.den}));
}

void set_nvenc_groups(FrameRate rate, AVCodecContext& encoder) {
  constexpr int most_b_frames = 5;  // of any NVENC
  const int pictures = group_of_pictures(rate);
  // For groups of one picture FFmpeg passes the number of B-frames on only when asked for key pictures alone,
  // which is what 0 means.
  encoder.gop_size = pictures == 1 ? 0 : pictures;
  if (pictures <= most_b_frames) encoder.max_b_frames = 0;
}

ColorTags color_tags(const AVCodecParameters& stream) {
  return {stream.color_primaries, stream.color_trc, stream.color_space, stream.color_range};
}

ColorTags color_tags(const AVFrame& frame) {
  return {frame.color_primaries, frame.color_trc, frame.colorspace, frame.color_range};
}

ColorTags encoder_colors(const ColorTags& input, BitDepth depth) {
  const bool hdr = depth == BitDepth::ten;
  ColorTags colors = input;
  if (colors.primaries == AVCOL_PRI_UNSPECIFIED) colors.primaries = hdr ? AVCOL_PRI_BT2020 : AVCOL_PRI_BT709;
  if (colors.transfer == AVCOL_TRC_UNSPECIFIED)
    colors.transfer = hdr ? AVCOL_TRC_ARIB_STD_B67 : AVCOL_TRC_BT709;
  if (colors.matrix == AVCOL_SPC_UNSPECIFIED) colors.matrix = hdr ? AVCOL_SPC_BT2020_NCL : AVCOL_SPC_BT709;
  // The cameras record full range and do not always say so.
  if (colors.range == AVCOL_RANGE_UNSPECIFIED) colors.range = AVCOL_RANGE_JPEG;
  return colors;
}

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
