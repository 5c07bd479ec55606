// Sizes of one eye: what was asked for and the canvas it is padded to.
#pragma once

#include <cstdint>

#include "common/conversion_options.h"

namespace veyrin {

/// Width and height in pixels.
struct EyeSize {
  std::int32_t width = 0;
  std::int32_t height = 0;
  bool operator==(const EyeSize&) const = default;
};

/// The eye size that the options ask for; what they leave open is the native size.
EyeSize requested_eye_size(const ConversionOptions& options, EyeSize native);

/// The smallest canvas of the asked aspect ratio that holds the eye and whose unit is even, so that both its
/// sides are; without padding the eye itself.
EyeSize padded_eye_size(EyeSize requested, AspectPadding padding);

}  // namespace veyrin
