// Maps that visit every kind of position.
#pragma once

#include <cstdint>

#include "media/video_types.h"
#include "tests/rectification/stored_maps.h"

namespace veyrin::test {

/// Mostly smooth positions over a source of that size, reaching beyond each edge, mixed with random ones,
/// invalid entries, infinities, NaN and huge values.
StoredMaps random_maps(Size rectified, Size source, std::uint32_t seed);

}  // namespace veyrin::test
