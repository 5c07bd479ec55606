// How a stream wants to be turned for display.
#pragma once

#include <optional>

struct AVStream;

namespace veyrin {

/// Clockwise quarter turns (0..3) that the stream's display matrix asks for; nothing without a usable matrix.
std::optional<int> display_rotation_quarter_turns(const AVStream& stream);

}  // namespace veyrin
