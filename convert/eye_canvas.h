// Sizes of one eye: what was asked for and the canvas it is padded to.
#pragma once

#include <cstdint>

#include "common/conversion_options.h"
#include "media/video_types.h"

namespace veyrin {

/// The eye size that the options ask for; what they leave open is the native size.
Size requested_eye_size(const ConversionOptions& options, Size native);

/// The smallest canvas of the asked aspect ratio that holds the eye and whose unit is even, so that both its
/// sides are; without padding the eye itself.
Size padded_eye_size(Size requested, AspectPadding padding);

}  // namespace veyrin
