// The vocabulary of pictures and time: sizes, sample depth, pixel formats, frame rates, colour tags, time
// ranges. Plain values; FFmpeg's own fractions and enumerations wherever it has them.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>

extern "C" {
#include <libavutil/pixfmt.h>
#include <libavutil/rational.h>
}

struct AVCodecContext;
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

/// Tells an encoder of NVENC, not open yet, of its groups of pictures at this rate. Where they are so short
/// that the B-frames that it chooses by itself might not fit into them, which it refuses, there are none.
void set_nvenc_groups(FrameRate rate, AVCodecContext& encoder);

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

/// How the samples of a 4:2:0 system-memory format lie. Formats that are equal here hold the same samples.
struct YuvFormat {
  BitDepth depth = BitDepth::eight;
  bool interleaved_chroma = false;
  std::int32_t shift = 0;  ///< bits that a code is shifted left when stored

  bool operator==(const YuvFormat&) const = default;
  [[nodiscard]] std::int32_t bytes_per_sample() const { return depth == BitDepth::eight ? 1 : 2; }
  [[nodiscard]] float max_code() const { return static_cast<float>((1 << static_cast<int>(depth)) - 1); }
  [[nodiscard]] float neutral_chroma() const {
    return static_cast<float>(1 << (static_cast<int>(depth) - 1));
  }
};

/// Describes an AVPixelFormat number; nothing unless it is one of the five formats that the processors
/// handle: yuv420p, yuvj420p, nv12, yuv420p10le, p010le.
std::optional<YuvFormat> describe_yuv_format(int pixel_format);

/// The semi-planar 4:2:0 format of a depth, NV12 or P010: that of hardware decoders and encoders.
AVPixelFormat semi_planar_format(BitDepth depth);

/// The depth of the stream's samples: by its pixel format, else by its sample size, else by its profile.
/// Whatever is not 10 bits counts as 8.
BitDepth stream_bit_depth(const AVCodecParameters& parameters);

/// The format's name as FFmpeg prints it; "unknown" for a number that names no format.
const char* pixel_format_name(int format);

}  // namespace veyrin
