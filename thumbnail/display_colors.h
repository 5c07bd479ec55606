// Brings the light of a recording to what an ordinary screen shows.
#pragma once

#include <array>
#include <cstdint>

#include "thumbnail/color_converter.h"
#include "thumbnail/image.h"

namespace veyrin {

/// Linear light per colour.
struct LinearColor {
  float red = 0.0F, green = 0.0F, blue = 0.0F;
};

/// From the recording's linear light to the preview's 8-bit codes (BT.709 primaries, read as sRGB).
///
/// Standard-range material keeps its look: the curve that linearised it also encodes it, so that a picture
/// that is neither scaled nor of wide gamut comes out code by code as it went in.
///
/// HLG material takes these steps:
/// 1. The system curve of ITU-R BT.2100 for a display of 1000 cd/m2 (gamma 1.2): each colour times Y^0.2 with
///    Y the luminance in the recording's primaries.
/// 2. A scale that brings reference white, which ITU-R BT.2408 puts at 75 % of the signal (203 of
///    1000 cd/m2), to 1. The signal's peak is then about 4.9.
/// 3. BT.2020 primaries to BT.709 by the matrix of ITU-R BT.2407, negative values cut to 0. (Done for
///    wide-gamut material of any transfer.)
/// 4. A tone curve on the largest of the three colours, all three scaled alike so that hue and saturation
///    stay: unchanged up to the knee 0.75, above it k + (1 - k) x (1 + x / p^2) / (1 + x) with
///    x = (v - k) / (1 - k) and p the same of the peak. It leaves the knee with slope 1 and reaches 1 at the
///    peak: white things stay white and lamps keep some shape.
/// 5. The sRGB curve.
class DisplayColors {
 public:
  explicit DisplayColors(const ColorConverter& converter);

  /// What the screen shows of recorded light; colours 0..1.
  [[nodiscard]] LinearColor displayed(LinearColor recorded) const;
  /// The nearest code for displayed light. Opaque.
  [[nodiscard]] Rgba encoded(LinearColor displayed) const;
  /// Displayed light of a preview's own colour.
  [[nodiscard]] LinearColor decoded(Rgba color) const;

 private:
  [[nodiscard]] std::uint8_t code(float light) const;

  bool hlg_;
  bool wide_gamut_;
  TransferCurve curve_;  // of the preview's codes
  // thresholds_[i] is the light half-way, on the curve, between codes i and i + 1.
  std::array<float, 255> thresholds_{};
};

}  // namespace veyrin
