#include "common/encoder_defaults.h"

#include <algorithm>
#include <cstdint>

extern "C" {
#include <libavutil/common.h>
}

namespace veyrin {

ColorTags encoder_colors(const ColorTags& input, bool ten_bit) {
  ColorTags colors = input;
  if (colors.primaries == AVCOL_PRI_UNSPECIFIED)
    colors.primaries = ten_bit ? AVCOL_PRI_BT2020 : AVCOL_PRI_BT709;
  if (colors.transfer == AVCOL_TRC_UNSPECIFIED) {
    colors.transfer = ten_bit ? AVCOL_TRC_ARIB_STD_B67 : AVCOL_TRC_BT709;
  }
  if (colors.matrix == AVCOL_SPC_UNSPECIFIED)
    colors.matrix = ten_bit ? AVCOL_SPC_BT2020_NCL : AVCOL_SPC_BT709;
  // The cameras record full range and do not always say so.
  if (colors.range == AVCOL_RANGE_UNSPECIFIED) colors.range = AVCOL_RANGE_JPEG;
  return colors;
}

int group_of_pictures(AVRational frame_rate) {
  return std::max(1, av_clipl_int32(2 * std::int64_t{frame_rate.num / frame_rate.den}));
}

}  // namespace veyrin
