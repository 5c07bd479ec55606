#include "spatial/two_view_encoder_choice.h"

#include <algorithm>
#include <array>

#include "spatial/nvenc_two_view_encoder.h"
#include "spatial/packaged_two_view_encoder.h"

namespace veyrin {

std::span<const TwoViewEncoderKind> two_view_encoders() {
  static const std::array kinds{packaged_two_view_encoder_kind(), nvenc_two_view_encoder_kind()};
  return kinds;
}

const TwoViewEncoderKind& two_view_encoder_for(bool software) {
  return *std::ranges::find_if(two_view_encoders(),
                               [software](const TwoViewEncoderKind& kind) { return kind.serves(software); });
}

}  // namespace veyrin
