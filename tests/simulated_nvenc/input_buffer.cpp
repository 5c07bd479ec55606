#include "tests/simulated_nvenc/input_buffer.h"

namespace veyrin::simulated_nvenc {

// Rows are longer than those of the picture, so that callers that ignore the pitch are noticed.
InputBuffer::InputBuffer(const PictureLayout& layout)
    : PictureSource(layout),
      pitch((static_cast<std::size_t>(layout.width) * (bit_depth(layout.format) == 10 ? 2 : 1) + 255) / 128 *
            128),
      memory(pitch * (static_cast<std::size_t>(layout.height) + 2 * ((layout.height + 1U) / 2))) {}

}  // namespace veyrin::simulated_nvenc
