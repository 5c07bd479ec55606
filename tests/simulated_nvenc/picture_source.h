// Input pictures of callers, wherever their samples are stored.
#pragma once

#include <ffnvcodec/nvEncodeAPI.h>

#include <cstdint>
#include <span>

#include "tests/simulated_nvenc/stream_coder.h"

namespace veyrin::simulated_nvenc {

struct PictureLayout {
  int width = 0;
  int height = 0;
  NV_ENC_BUFFER_FORMAT format = NV_ENC_BUFFER_FORMAT_UNDEFINED;
};

/// 8 or 10 for supported formats, otherwise 0.
int bit_depth(NV_ENC_BUFFER_FORMAT format);

/// The planes of a picture with luma rows `pitch` bytes apart; chroma follows the last of them.
Planes separate_planes(const PictureLayout& layout, std::span<const std::uint8_t> rows, std::size_t pitch);

class PictureSource {
 public:
  explicit PictureSource(const PictureLayout& layout) : layout_(layout) {}
  virtual ~PictureSource() = default;

  [[nodiscard]] const PictureLayout& layout() const { return layout_; }
  /// A copy of the picture. Throws std::runtime_error when the device fails.
  [[nodiscard]] virtual Planes planes() const = 0;

 private:
  PictureLayout layout_;
};

}  // namespace veyrin::simulated_nvenc
