// Settings that every encoder of this process gets alike.
#pragma once

extern "C" {
#include <libavutil/pixfmt.h>
#include <libavutil/rational.h>
}

namespace veyrin {

/// The colour description of a video stream.
struct ColorTags {
  AVColorPrimaries primaries = AVCOL_PRI_UNSPECIFIED;
  AVColorTransferCharacteristic transfer = AVCOL_TRC_UNSPECIFIED;
  AVColorSpace matrix = AVCOL_SPC_UNSPECIFIED;
  AVColorRange range = AVCOL_RANGE_UNSPECIFIED;
  bool operator==(const ColorTags&) const = default;
};

/// The input's tags, with the defaults of the stream's depth for those that are unspecified.
ColorTags encoder_colors(const ColorTags& input, bool ten_bit);

/// Two seconds of whole frames, at least 1.
int group_of_pictures(AVRational frame_rate);

}  // namespace veyrin
