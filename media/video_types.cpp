#include "media/video_types.h"

#include <algorithm>

extern "C" {
#include <libavcodec/codec_par.h>
#include <libavutil/common.h>
#include <libavutil/frame.h>
}

namespace veyrin {

int group_of_pictures(FrameRate rate) {
  return std::max(1, av_clipl_int32(2 * std::int64_t{rate.num / rate.den}));
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

}  // namespace veyrin
