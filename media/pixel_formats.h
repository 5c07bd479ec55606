// Pixel formats: the 4:2:0 layouts that the processors read and write, and how deep a stream is.
#pragma once

#include <cstdint>
#include <optional>

#include "media/video_types.h"

struct AVCodecParameters;

namespace veyrin {

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
