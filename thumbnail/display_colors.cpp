#include "thumbnail/display_colors.h"

#include <algorithm>
#include <cmath>

namespace veyrin {
namespace {

constexpr double system_gamma = 1.2;
constexpr double reference_white_signal = 0.75;
constexpr float knee = 0.75F;

/// Displayed light of the reference white, of the display's peak.
double reference_white() {
  return std::pow(linear_light(TransferCurve::hlg, reference_white_signal), system_gamma);
}

float luminance(LinearColor c, bool wide_gamut) {
  if (wide_gamut) return 0.2627F * c.red + 0.6780F * c.green + 0.0593F * c.blue;
  return 0.2126F * c.red + 0.7152F * c.green + 0.0722F * c.blue;
}

LinearColor scaled(LinearColor c, float factor) {
  return {c.red * factor, c.green * factor, c.blue * factor};
}

/// Steps 1 and 2: the light of an HLG display, of its reference white.
LinearColor hlg_display_light(LinearColor scene, bool wide_gamut) {
  static const auto white_scale = static_cast<float>(1.0 / reference_white());
  const float y = std::max(luminance(scene, wide_gamut), 0.0F);
  return scaled(scene, white_scale * std::pow(y, static_cast<float>(system_gamma - 1.0)));
}

LinearColor bt709_from_bt2020(LinearColor c) {
  return {std::max(1.6605F * c.red - 0.5876F * c.green - 0.0728F * c.blue, 0.0F),
          std::max(-0.1246F * c.red + 1.1329F * c.green - 0.0083F * c.blue, 0.0F),
          std::max(-0.0182F * c.red - 0.1006F * c.green + 1.1187F * c.blue, 0.0F)};
}

/// Step 4 for one value above the knee.
float rolled_off(float value) {
  static const auto peak = static_cast<float>((1.0 / reference_white() - knee) / (1.0 - knee));
  const float x = (value - knee) / (1.0F - knee);
  const float rolled = x * (1.0F + x / (peak * peak)) / (1.0F + x);
  return std::min(knee + (1.0F - knee) * rolled, 1.0F);
}

LinearColor tone_mapped(LinearColor c) {
  const float largest = std::max({c.red, c.green, c.blue});
  return largest <= knee ? c : scaled(c, rolled_off(largest) / largest);
}

LinearColor clamped(LinearColor c) {
  return {std::clamp(c.red, 0.0F, 1.0F), std::clamp(c.green, 0.0F, 1.0F), std::clamp(c.blue, 0.0F, 1.0F)};
}

}  // namespace

DisplayColors::DisplayColors(const ColorConverter& converter)
    : hlg_(converter.hlg),
      wide_gamut_(converter.wide_gamut),
      curve_(converter.hlg ? TransferCurve::srgb : converter.curve) {
  for (std::size_t code = 0; code < thresholds_.size(); ++code) {
    thresholds_[code] = static_cast<float>(linear_light(curve_, (static_cast<double>(code) + 0.5) / 255.0));
  }
}

LinearColor DisplayColors::displayed(LinearColor recorded) const {
  LinearColor c = recorded;
  if (hlg_) c = hlg_display_light(c, wide_gamut_);
  if (wide_gamut_) c = bt709_from_bt2020(c);
  if (hlg_) c = tone_mapped(c);
  return clamped(c);
}

std::uint8_t DisplayColors::code(float light) const {
  // A search of eight steps without branches: millions of colours pass here.
  std::size_t below = 0;
  for (std::size_t step = 128; step > 0; step /= 2) {
    below += thresholds_[below + step - 1] <= light ? step : 0;
  }
  return static_cast<std::uint8_t>(below);
}

Rgba DisplayColors::encoded(LinearColor displayed) const {
  return {code(displayed.red), code(displayed.green), code(displayed.blue)};
}

LinearColor DisplayColors::decoded(Rgba color) const {
  const auto light = [this](std::uint8_t value) {
    return static_cast<float>(linear_light(curve_, value / 255.0));
  };
  return {light(color.red), light(color.green), light(color.blue)};
}

}  // namespace veyrin
