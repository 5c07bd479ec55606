// What the processors know of a pixel format.
#pragma once

#include <cstdint>
#include <optional>

#include "processing/sampling_kernels.h"

namespace veyrin {

/// Depth, chroma layout and alignment of a 4:2:0 format; formats that are equal here hold the same samples.
struct YuvFormat {
  std::int32_t bits = 8;
  bool interleaved_chroma = false;
  SampleStorage storage = SampleStorage::bits_8;

  bool operator==(const YuvFormat&) const = default;
  [[nodiscard]] std::int32_t bytes_per_sample() const { return storage == SampleStorage::bits_8 ? 1 : 2; }
  /// Bits that a code is shifted left when stored.
  [[nodiscard]] std::int32_t shift() const {
    return storage == SampleStorage::bits_16_high ? high_alignment_shift : 0;
  }
  [[nodiscard]] float max_code() const { return static_cast<float>((1 << bits) - 1); }
  [[nodiscard]] float neutral_chroma() const { return static_cast<float>(1 << (bits - 1)); }
};

/// Describes an AVPixelFormat number; nothing unless it is one of the five formats that the processors
/// handle.
std::optional<YuvFormat> describe_yuv_format(int pixel_format);

}  // namespace veyrin
