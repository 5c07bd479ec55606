// What the colour tags of a video stream mean for its conversion to RGB.
#pragma once

#include <cstdint>
#include <string>

namespace veyrin {

// The numeric values are fixed; 0 is what an absent or unsupported tag falls back to.
enum class ColorMatrix { bt601 = 0, bt2020 = 1, bt709 = 2 };
enum class ColorPrimaries { bt709 = 0, bt2020 = 1 };
enum class ColorTransfer { srgb = 0, hlg = 1, bt709 = 2 };
enum class ColorRange { full = 0, limited = 1 };
enum class ColorTagStatus { recognised = 0, absent = 1, unsupported = 2 };

/// The four tags as FFmpeg numbers them (ITU-T H.273, but range 0 unspecified, 1 limited, 2 full).
struct RawColorTags {
  std::int32_t matrix = 2;
  std::int32_t primaries = 2;
  std::int32_t transfer = 2;
  std::int32_t range = 0;
};

/// One tag's meaning.
template <typename Kind>
struct ColorTag {
  Kind kind{};
  ColorTagStatus status = ColorTagStatus::absent;
};

struct ColorDescription {
  RawColorTags raw;
  ColorTag<ColorMatrix> matrix;
  ColorTag<ColorPrimaries> primaries;
  ColorTag<ColorTransfer> transfer;
  ColorTag<ColorRange> range;
};

/// The kinds behind the tags. Every tag that is not recognised, and then the outcome, is reported on the
/// console under the stream's label. Never fails.
ColorDescription describe_color(const RawColorTags& tags, const std::string& stream_label);

}  // namespace veyrin
