#include "thumbnail/color_converter.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <string>
#include <vector>

namespace veyrin::test {
namespace {

ColorDescription description(ColorMatrix matrix, ColorRange range,
                             ColorTransfer transfer = ColorTransfer::srgb,
                             ColorPrimaries primaries = ColorPrimaries::bt709) {
  ColorDescription result;
  result.matrix.kind = matrix;
  result.range.kind = range;
  result.transfer.kind = transfer;
  result.primaries.kind = primaries;
  return result;
}

struct MatrixCase {
  const char* name;
  ColorMatrix matrix;
  double kr, kb;  ///< luma weights of red and blue
};

constexpr std::array<MatrixCase, 3> matrices{{{"BT.601", ColorMatrix::bt601, 0.299, 0.114},
                                              {"BT.709", ColorMatrix::bt709, 0.2126, 0.0722},
                                              {"BT.2020", ColorMatrix::bt2020, 0.2627, 0.0593}}};

/// R'G'B' codes to Y'CbCr codes by the definition, rounded.
std::array<int, 3> encoded(std::array<double, 3> rgb, const MatrixCase& matrix, bool limited) {
  const double luma = matrix.kr * rgb[0] + (1 - matrix.kr - matrix.kb) * rgb[1] + matrix.kb * rgb[2];
  const double cb = (rgb[2] - luma) / (2 * (1 - matrix.kb)), cr = (rgb[0] - luma) / (2 * (1 - matrix.kr));
  const auto code = [](double value) { return static_cast<int>(std::lround(value)); };
  if (limited) return {code(16 + luma * 219 / 255), code(128 + cb * 224 / 255), code(128 + cr * 224 / 255)};
  return {code(luma), std::min(code(128 + cb), 255), std::min(code(128 + cr), 255)};
}

TEST(ColorConverter, UndoesEachMatrixInEachRange) {
  for (const MatrixCase& matrix : matrices) {
    for (const bool limited : {false, true}) {
      SCOPED_TRACE(std::string(matrix.name) + (limited ? " limited" : " full"));
      const ColorConverter converter = prepare_color_converter(
          description(matrix.matrix, limited ? ColorRange::limited : ColorRange::full));
      // Rounding of the codes comes out at most twice as large in a colour; limited steps are larger.
      const int tolerance = limited ? 3 : 2;
      for (int red = 0; red <= 255; red += 51) {
        for (int green = 0; green <= 255; green += 51) {
          for (int blue = 0; blue <= 255; blue += 51) {
            const auto [y, cb, cr] = encoded({double(red), double(green), double(blue)}, matrix, limited);
            const Rgba rgb = converter.rgb(y, cb, cr);
            EXPECT_NEAR(rgb.red, red, tolerance) << y << " " << cb << " " << cr;
            EXPECT_NEAR(rgb.green, green, tolerance) << y << " " << cb << " " << cr;
            EXPECT_NEAR(rgb.blue, blue, tolerance) << y << " " << cb << " " << cr;
            EXPECT_EQ(rgb.alpha, 255);
          }
        }
      }
    }
  }
}

TEST(ColorConverter, CutsCodesBeyondBlackAndWhite) {
  const ColorConverter limited =
      prepare_color_converter(description(ColorMatrix::bt709, ColorRange::limited));
  EXPECT_EQ(limited.rgb(0, 128, 128), (Rgba{0, 0, 0}));
  EXPECT_EQ(limited.rgb(16, 128, 128), (Rgba{0, 0, 0}));
  EXPECT_EQ(limited.rgb(235, 128, 128), (Rgba{255, 255, 255}));
  EXPECT_EQ(limited.rgb(255, 128, 128), (Rgba{255, 255, 255}));
  const ColorConverter full = prepare_color_converter(description(ColorMatrix::bt601, ColorRange::full));
  EXPECT_EQ(full.rgb(255, 0, 0).blue, 28);  // 255 - 128 * 454 / 256
  for (int grey = 0; grey < 256; ++grey) {
    const auto code = static_cast<std::uint8_t>(grey);
    EXPECT_EQ(full.rgb(grey, 128, 128), (Rgba{code, code, code}));
  }
}

TEST(ColorConverter, KnowsTheTableOfCoefficients) {
  struct Row {
    ColorMatrix matrix;
    ColorRange range;
    std::array<int, 6> values;
  };
  const std::vector<Row> rows{
      {ColorMatrix::bt2020, ColorRange::limited, {16, 298, 430, -48, -167, 548}},
      {ColorMatrix::bt2020, ColorRange::full, {0, 256, 377, -42, -146, 482}},
      {ColorMatrix::bt709, ColorRange::limited, {16, 298, 459, -55, -136, 541}},
      {ColorMatrix::bt709, ColorRange::full, {0, 256, 403, -48, -120, 475}},
      {ColorMatrix::bt601, ColorRange::limited, {16, 298, 409, -100, -208, 516}},
      {ColorMatrix::bt601, ColorRange::full, {0, 256, 359, -88, -183, 454}},
  };
  for (const Row& row : rows) {
    const ColorConverter c = prepare_color_converter(description(row.matrix, row.range));
    EXPECT_EQ((std::array{c.luma_offset, c.luma_scale, c.red_from_cr, c.green_from_cb, c.green_from_cr,
                          c.blue_from_cb}),
              row.values);
  }
}

TEST(ColorConverter, ReadsLightByTheTransfer) {
  const auto of = [](ColorTransfer transfer) {
    return prepare_color_converter(description(ColorMatrix::bt709, ColorRange::full, transfer));
  };
  for (const ColorTransfer transfer : {ColorTransfer::srgb, ColorTransfer::bt709, ColorTransfer::hlg}) {
    const ColorConverter converter = of(transfer);
    EXPECT_EQ(converter.linear[0], 0.0F);
    EXPECT_NEAR(converter.linear[255], 1.0F, 1e-6F);
    for (std::size_t code = 1; code < 256; ++code) {
      EXPECT_GT(converter.linear[code], converter.linear[code - 1]);
      EXPECT_LE(converter.linear[code], 1.0F);
    }
    EXPECT_EQ(converter.hlg, transfer == ColorTransfer::hlg);
  }
  // IEC 61966-2-1 on both sides of its joint; a power; BT.2100's curve, of which 0.5 is a twelfth.
  EXPECT_NEAR(of(ColorTransfer::srgb).linear[10], 0.00303527, 1e-7);
  EXPECT_NEAR(of(ColorTransfer::srgb).linear[188], 0.502886, 1e-6);
  EXPECT_NEAR(of(ColorTransfer::bt709).linear[127], 0.215764, 1e-6);
  EXPECT_NEAR(of(ColorTransfer::hlg).linear[127], 0.0826810, 1e-6);
  EXPECT_NEAR(of(ColorTransfer::hlg).linear[191], 0.263644, 1e-5);
}

TEST(ColorConverter, TellsWideGamutByThePrimaries) {
  EXPECT_TRUE(prepare_color_converter(description(ColorMatrix::bt709, ColorRange::full, ColorTransfer::srgb,
                                                  ColorPrimaries::bt2020))
                  .wide_gamut);
  EXPECT_FALSE(prepare_color_converter(description(ColorMatrix::bt2020, ColorRange::full, ColorTransfer::hlg))
                   .wide_gamut);
}

}  // namespace
}  // namespace veyrin::test
