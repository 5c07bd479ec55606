// Pictures as the driver takes them from system memory.
#pragma once

#include <ffnvcodec/nvEncodeAPI.h>

#include <cstdint>
#include <vector>

#include "tests/simulated_nvenc/stream_coder.h"

namespace veyrin::simulated_nvenc {

/// Where the caller writes a picture.
struct InputBuffer {
  InputBuffer(int wide, int high, NV_ENC_BUFFER_FORMAT samples);

  int width;
  int height;
  NV_ENC_BUFFER_FORMAT format;
  std::size_t pitch;
  std::vector<std::uint8_t> memory;
  bool locked = false;

  /// The picture in separate planes.
  [[nodiscard]] Planes planes() const;
};

/// 8 or 10 for the formats that are taken, 0 for others.
int bit_depth(NV_ENC_BUFFER_FORMAT format);

}  // namespace veyrin::simulated_nvenc
