#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "thumbnail/color_converter.h"

namespace veyrin::test {
namespace {

ColorConverter converter(ColorTransfer transfer, ColorPrimaries primaries) {
  ColorDescription description;
  description.transfer.kind = transfer;
  description.primaries.kind = primaries;
  return prepare_color_converter(description);
}

const ColorConverter hlg2020 = converter(ColorTransfer::hlg, ColorPrimaries::bt2020);
const ColorConverter hlg709 = converter(ColorTransfer::hlg, ColorPrimaries::bt709);

using Triple = std::array<double, 3>;

LinearColor light(const Triple& c) {
  return {static_cast<float>(c[0]), static_cast<float>(c[1]), static_cast<float>(c[2])};
}

/// Light of the scene, white being 1, as an HLG camera of BT.2020 stores it linearly (BT.2087 primaries,
/// BT.2408 reference white).
Triple hlg_scene(const Triple& bt709) {
  constexpr double white = 0.264962;
  const auto [r, g, b] = bt709;
  return {white * (0.6274 * r + 0.3293 * g + 0.0433 * b), white * (0.0691 * r + 0.9195 * g + 0.0114 * b),
          white * (0.0164 * r + 0.0880 * g + 0.8956 * b)};
}

double srgb_code(double value) {
  return 255.0 * (value <= 0.0031308 ? 12.92 * value : 1.055 * std::pow(value, 1.0 / 2.4) - 0.055);
}

TEST(DisplayColors, KeepEveryCodeOfStandardRangePictures) {
  for (const ColorTransfer transfer : {ColorTransfer::srgb, ColorTransfer::bt709}) {
    const ColorConverter stream = converter(transfer, ColorPrimaries::bt709);
    const DisplayColors colors(stream);
    for (int code = 0; code < 256; ++code) {
      const auto value = static_cast<std::uint8_t>(code);
      const Rgba pixel{value, static_cast<std::uint8_t>(255 - code), 128};
      const LinearColor read{stream.linear[pixel.red], stream.linear[pixel.green], stream.linear[pixel.blue]};
      EXPECT_EQ(colors.encoded(colors.displayed(read)), pixel) << code;
    }
  }
}

TEST(DisplayColors, DecodeWhatTheyEncode) {
  for (const ColorConverter& stream : {converter(ColorTransfer::srgb, ColorPrimaries::bt709),
                                       converter(ColorTransfer::bt709, ColorPrimaries::bt709), hlg2020}) {
    const DisplayColors colors(stream);
    for (int code = 0; code < 256; ++code) {
      const Rgba pixel{static_cast<std::uint8_t>(code), 18, 21};
      EXPECT_EQ(colors.encoded(colors.decoded(pixel)), pixel);
    }
  }
}

TEST(DisplayColors, EncodeTheNearestCodeOfTheSrgbCurve) {
  const DisplayColors colors(converter(ColorTransfer::srgb, ColorPrimaries::bt709));
  for (int step = 0; step <= 5000; ++step) {
    const double value = step / 5000.0;
    const auto single = static_cast<float>(value);
    EXPECT_NEAR(colors.encoded({single, single, single}).green, srgb_code(value), 0.502);
  }
}

TEST(DisplayColors, GiveHlgMaterialTheSystemCurveBelowTheKnee) {
  const DisplayColors colors(hlg2020);
  const double white = std::pow(0.264962, 1.2);
  for (const Triple& scene : {Triple{0.5, 0.5, 0.5}, Triple{0.05, 0.05, 0.05}, Triple{0.4, 0.2, 0.1},
                              Triple{0.05, 0.3, 0.1}, Triple{0.02, 0.1, 0.45}}) {
    const Triple stored = hlg_scene(scene);
    const double luminance = 0.2627 * stored[0] + 0.6780 * stored[1] + 0.0593 * stored[2];
    const double gain = 0.264962 * std::pow(luminance, 0.2) / white;
    const LinearColor shown = colors.displayed(light(stored));
    EXPECT_NEAR(shown.red, gain * scene[0], 2e-3);
    EXPECT_NEAR(shown.green, gain * scene[1], 2e-3);
    EXPECT_NEAR(shown.blue, gain * scene[2], 2e-3);
  }
}

TEST(DisplayColors, KeepHlgWhitePaperWhiteAndLeaveRoomForLamps) {
  const DisplayColors colors(hlg2020);
  const Rgba paper = colors.encoded(colors.displayed(light(hlg_scene({1, 1, 1}))));
  EXPECT_GE(paper.red, 235);
  EXPECT_LE(paper.red, 247);
  EXPECT_NEAR(paper.red, paper.green, 1);
  EXPECT_NEAR(paper.red, paper.blue, 1);
  EXPECT_EQ(colors.encoded(colors.displayed({1, 1, 1})), (Rgba{255, 255, 255}));
  EXPECT_EQ(colors.encoded(colors.displayed({0, 0, 0})), (Rgba{0, 0, 0}));
}

TEST(DisplayColors, RiseSmoothlyWithHlgLight) {
  const DisplayColors colors(hlg709);
  float before = 0.0F, step_before = 0.0F;
  for (int step = 1; step <= 4000; ++step) {
    const float value = static_cast<float>(step) / 4000.0F;
    const float shown = colors.displayed({value, value, value}).green;
    EXPECT_GT(shown, before) << value;
    EXPECT_LE(shown, 1.0F);
    // No kink: neither at the knee nor at the peak does the slope jump.
    if (step > 2) {
      EXPECT_LT(std::abs(shown - before - step_before), 2e-4F) << value;
    }
    step_before = shown - before;
    before = shown;
  }
}

TEST(DisplayColors, KeepTheHueOfBrightHlgColours) {
  const DisplayColors colors(hlg2020);
  const Triple scene{1.6, 0.8, 0.4};
  const LinearColor shown = colors.displayed(light(hlg_scene(scene)));
  EXPECT_GT(shown.red, 0.85F);
  EXPECT_NEAR(shown.green / shown.red, 0.5, 0.01);
  EXPECT_NEAR(shown.blue / shown.red, 0.25, 0.01);
}

TEST(DisplayColors, CutWhatTheScreensGamutLacks) {
  const DisplayColors colors(hlg2020);
  const LinearColor green = colors.displayed({0.0F, 0.2F, 0.0F});
  EXPECT_EQ(green.red, 0.0F);
  EXPECT_EQ(green.blue, 0.0F);
  EXPECT_GT(green.green, 0.5F);
  const Rgba red = colors.encoded(colors.displayed({1.0F, 0.0F, 0.0F}));
  EXPECT_EQ(red, (Rgba{255, 0, 0}));
}

TEST(DisplayColors, ConvertWideGamutOfStandardRangeToo) {
  const DisplayColors colors(converter(ColorTransfer::bt709, ColorPrimaries::bt2020));
  // A grey is the same in both; BT.709's pure red, as BT.2020 has it, comes out pure.
  const LinearColor grey = colors.displayed({0.3F, 0.3F, 0.3F});
  EXPECT_NEAR(grey.red, 0.3, 1e-3);
  EXPECT_NEAR(grey.green, 0.3, 1e-3);
  EXPECT_NEAR(grey.blue, 0.3, 1e-3);
  const LinearColor red = colors.displayed({0.6274F, 0.0691F, 0.0164F});
  EXPECT_NEAR(red.red, 1.0, 1e-3);
  EXPECT_NEAR(red.green, 0.0, 1e-3);
  EXPECT_NEAR(red.blue, 0.0, 1e-3);
}

}  // namespace
}  // namespace veyrin::test
