// What the colour tags of a video stream mean for its conversion to RGB.
#pragma once

#include <string>

#include "media/video_types.h"

namespace veyrin {

// The numeric values are fixed; 0 is what an absent or unsupported tag falls back to.
enum class ColorMatrix { bt601 = 0, bt2020 = 1, bt709 = 2 };
enum class ColorPrimaries { bt709 = 0, bt2020 = 1 };
enum class ColorTransfer { srgb = 0, hlg = 1, bt709 = 2 };
enum class ColorRange { full = 0, limited = 1 };
enum class ColorTagStatus { recognised = 0, absent = 1, unsupported = 2 };

/// One tag's meaning.
template <typename Kind>
struct ColorTag {
  Kind kind{};
  ColorTagStatus status = ColorTagStatus::absent;
};

struct ColorDescription {
  ColorTags tags;
  ColorTag<ColorMatrix> matrix;
  ColorTag<ColorPrimaries> primaries;
  ColorTag<ColorTransfer> transfer;
  ColorTag<ColorRange> range;
};

/// Finds the kinds behind the tags, which may hold any number. Reports every tag that is not recognised, then
/// the outcome, on the console under the stream's label. Never fails.
ColorDescription describe_color(const ColorTags& tags, const std::string& label);

}  // namespace veyrin
