// Maps that visit every kind of position.
#pragma once

#include <cstdint>

#include "rectification/rectification_maps.h"

namespace veyrin::test {

/// Every output pixel at its own place, `width` x `height` in both eyes.
RectificationMaps identity_maps(int width, int height);

/// Mostly smooth positions over a `source_width` x `source_height` source, reaching beyond each edge, mixed
/// with random ones, invalid entries, infinities, NaN and huge values.
RectificationMaps random_maps(int width, int height, int source_width, int source_height, std::uint32_t seed);

}  // namespace veyrin::test
