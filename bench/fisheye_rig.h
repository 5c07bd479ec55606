// The maps and pictures that the benchmarks work on.
#pragma once

#include <cstdint>

#include "rectification/rectification_maps.h"

namespace veyrin::bench {

/// Maps of a stereo rig of two slightly different, slightly turned fisheye cameras with `size` x `size`
/// pixels per eye, rectified to the same size. Ends the program when they cannot be built.
RectificationMaps fisheye_maps(std::int32_t size);

/// A deterministic sample value below `codes` with texture at all scales.
std::uint16_t texture(std::int32_t x, std::int32_t y, std::uint32_t codes);

}  // namespace veyrin::bench
