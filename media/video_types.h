// The vocabulary of pictures and time: sizes, sample depth, frame rates, colour tags, time ranges. Plain
// values; FFmpeg's own fractions and enumerations wherever it has them.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>

extern "C" {
#include <libavutil/pixfmt.h>
#include <libavutil/rational.h>
}

struct AVCodecParameters;
struct AVFrame;

namespace veyrin {

/// Width and height in pixels, or in samples of a plane.
struct Size {
  std::int32_t width = 0;
  std::int32_t height = 0;
  bool operator==(const Size&) const = default;
};

/// Bits per sample. The program knows these two only.
enum class BitDepth : std::int32_t { eight = 8, ten = 10 };

/// Where a codec computes.
enum class Acceleration : std::int32_t { software, hardware };

/// Frames per second as a fraction.
using FrameRate = AVRational;

/// True when both terms are at least 1.
[[nodiscard]] constexpr bool is_valid(FrameRate rate) {
  return rate.num >= 1 && rate.den >= 1;
}

/// Seconds per frame of a valid rate.
[[nodiscard]] constexpr double frame_seconds(FrameRate rate) {
  return static_cast<double>(rate.den) / rate.num;
}

/// Two seconds of whole frames, at least 1.
int group_of_pictures(FrameRate rate);

/// A stretch of a recording, in seconds of its own time.
struct TimeRange {
  double start = 0.0;
  std::optional<double> duration;  ///< open when absent

  /// Where it ends; infinity when it is open.
  [[nodiscard]] double end() const {
    return duration ? start + *duration : std::numeric_limits<double>::infinity();
  }
};

/// The colour description of a stream or frame, as ITU-T H.273 numbers it.
struct ColorTags {
  AVColorPrimaries primaries = AVCOL_PRI_UNSPECIFIED;
  AVColorTransferCharacteristic transfer = AVCOL_TRC_UNSPECIFIED;
  AVColorSpace matrix = AVCOL_SPC_UNSPECIFIED;
  AVColorRange range = AVCOL_RANGE_UNSPECIFIED;
  bool operator==(const ColorTags&) const = default;
};

/// The tags that a stream carries.
ColorTags color_tags(const AVCodecParameters& stream);

/// The tags that a frame carries.
ColorTags color_tags(const AVFrame& frame);

/// The input's tags, with the defaults of the stream's depth for those that are unspecified: BT.709 for 8
/// bits, BT.2020 with HLG for 10 bits, full range.
ColorTags encoder_colors(const ColorTags& input, BitDepth depth);

}  // namespace veyrin
