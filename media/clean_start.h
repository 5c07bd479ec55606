// Whether decoding may begin with a coded picture. A container marks more pictures as such than a fresh
// decoder shows the same frames for, so the bitstream is asked.
#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <optional>

#include "media/ffmpeg.h"

namespace veyrin {

/// Knows the format of one video track's samples.
class CleanStarts {
 public:
  /// Nothing for formats other than H.264 and HEVC as files of the MP4 family hold them, and for HEVC that
  /// may leave out pictures of its own.
  static std::optional<CleanStarts> create(const AVCodecParameters& parameters);

  /// True when the sample of `size` bytes at `position` is a picture that nothing shown later refers back
  /// behind, and with all parameters that it needs: for H.264 an IDR picture, for HEVC an IDR or a CRA
  /// picture, that lets the frames before it be shown. Parameters may be changed within the track where its
  /// format allows it; then they must be repeated in the sample.
  [[nodiscard]] bool at(std::istream& file, std::int64_t position, int size) const;

 private:
  CleanStarts(AVCodecID codec, std::size_t length_bytes, bool needs_parameters)
      : codec_(codec), length_bytes_(length_bytes), needs_parameters_(needs_parameters) {}

  AVCodecID codec_;
  std::size_t length_bytes_;  // in front of each unit
  bool needs_parameters_;
};

}  // namespace veyrin
