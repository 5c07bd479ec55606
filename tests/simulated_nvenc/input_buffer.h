// Pictures in system memory.
#pragma once

#include <vector>

#include "tests/simulated_nvenc/picture_source.h"

namespace veyrin::simulated_nvenc {

/// Where the caller writes a picture while it has the lock.
class InputBuffer : public PictureSource {
 public:
  explicit InputBuffer(const PictureLayout& layout);

  [[nodiscard]] Planes planes() const override { return separate_planes(layout(), memory, pitch); }

  std::size_t pitch;
  std::vector<std::uint8_t> memory;
  bool locked = false;
};

}  // namespace veyrin::simulated_nvenc
