// The table of the two-view encoders that the program knows.
#pragma once

#include <span>

#include "spatial/two_view_encoder.h"

namespace veyrin {

/// Every kind, the preferred one first. Another encoder is one more row.
std::span<const TwoViewEncoderKind> two_view_encoders();

/// The first kind that serves the user's wish; there always is one.
const TwoViewEncoderKind& two_view_encoder_for(bool software);

}  // namespace veyrin
