#include "convert/eye_canvas.h"

#include <algorithm>

extern "C" {
#include <libavutil/common.h>
}

namespace veyrin {
namespace {

Size pad_to_ratio(Size eye, std::int64_t ratio_width, std::int64_t ratio_height) {
  const auto divide_up = [](std::int64_t value, std::int64_t by) { return (value + by - 1) / by; };
  std::int64_t unit = std::max(divide_up(eye.width, ratio_width), divide_up(eye.height, ratio_height));
  unit += unit % 2;
  // A canvas past the integer range is refused by every encoder; until then it must not wrap round.
  return {av_clipl_int32(ratio_width * unit), av_clipl_int32(ratio_height * unit)};
}

}  // namespace

Size requested_eye_size(const ConversionOptions& options, Size native) {
  return {options.eye_width.value_or(native.width), options.eye_height.value_or(native.height)};
}

Size padded_eye_size(Size requested, AspectPadding padding) {
  switch (padding) {
    case AspectPadding::none:
      break;
    case AspectPadding::ratio_4x3:
      return pad_to_ratio(requested, 4, 3);
    case AspectPadding::ratio_16x9:
      return pad_to_ratio(requested, 16, 9);
  }
  return requested;
}

}  // namespace veyrin
