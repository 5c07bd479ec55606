#include "thumbnail/preview_painter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <memory>

#include "thumbnail/views.h"

namespace veyrin::test {
namespace {

constexpr Rgba backdrop{16, 18, 21};
constexpr Rgba black{0, 0, 0}, white{255, 255, 255};

ColorConverter standard(ColorTransfer transfer = ColorTransfer::srgb) {
  ColorDescription description;
  description.transfer.kind = transfer;
  return prepare_color_converter(description);
}

ImagePtr picture(int width, int height, const std::function<Rgba(int x, int y)>& color) {
  ImagePtr image = SinglePlaneImage::create({width, height}, {});
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) image->row(y)[x] = color(x, y);
  }
  return image;
}

/// The whole picture on a canvas of the given size.
ImagePtr painted(const SinglePlaneImage& source, int quarter_turns, int width, int height,
                 const ColorConverter& colors = standard()) {
  ImagePtr canvas = SinglePlaneImage::create({width, height}, backdrop);
  EXPECT_TRUE(paint_view(UprightView(source.size(), quarter_turns), source, colors, *canvas));
  return canvas;
}

std::uint8_t grey_at(int x, int y) {
  return static_cast<std::uint8_t>((x * 37 + y * 91 + x * y) & 255);
}

TEST(ViewPainter, CopiesCodeByCodeWhereNothingIsScaled) {
  const ImagePtr source = picture(13, 7, [](int x, int y) {
    return Rgba{grey_at(x, y), grey_at(y, x), static_cast<std::uint8_t>(255 - grey_at(x, y))};
  });
  const ImagePtr canvas = painted(*source, 0, 13, 7);
  for (int y = 0; y < 7; ++y) {
    for (int x = 0; x < 13; ++x) EXPECT_EQ(canvas->row(y)[x], source->row(y)[x]) << x << " " << y;
  }
}

TEST(ViewPainter, TurnsClockwise) {
  const ImagePtr source = picture(5, 3, [](int x, int y) { return Rgba{grey_at(x, y), 0, 0}; });
  const ImagePtr once = painted(*source, 1, 3, 5), twice = painted(*source, 2, 5, 3),
                 thrice = painted(*source, 3, 3, 5);
  for (int y = 0; y < 3; ++y) {
    for (int x = 0; x < 5; ++x) {
      const Rgba pixel = source->row(y)[x];
      EXPECT_EQ(once->row(x)[2 - y], pixel);
      EXPECT_EQ(twice->row(2 - y)[4 - x], pixel);
      EXPECT_EQ(thrice->row(4 - x)[y], pixel);
    }
  }
}

TEST(ViewPainter, AveragesLightAndNotCodes) {
  const ImagePtr checker = picture(64, 64, [](int x, int y) { return (x + y) % 2 == 0 ? black : white; });
  // Half the light of white is code 188 of the sRGB curve and 186 of a power of 2.2.
  for (const int side : {32, 16, 8, 1}) {
    const ImagePtr srgb = painted(*checker, 0, side, side);
    const ImagePtr power = painted(*checker, 0, side, side, standard(ColorTransfer::bt709));
    EXPECT_EQ(srgb->row(side / 2)[side / 2], (Rgba{188, 188, 188})) << side;
    EXPECT_EQ(power->row(side / 2)[side / 2], (Rgba{186, 186, 186})) << side;
  }
}

TEST(ViewPainter, WeighsEveryPixelOfAnAreaAlike) {
  // One white pixel in a block of 4 x 4 gives a sixteenth of the light, wherever in the block it is.
  for (int at = 0; at < 16; ++at) {
    const ImagePtr source =
        picture(12, 12, [at](int x, int y) { return x == 4 + at % 4 && y == 4 + at / 4 ? white : black; });
    const ImagePtr canvas = painted(*source, 0, 3, 3);
    EXPECT_EQ(canvas->row(1)[1], (Rgba{71, 71, 71})) << at;  // the code of 1 / 16
    EXPECT_EQ(canvas->row(0)[0], black);
  }
}

TEST(ViewPainter, KeepsTheMeanLightAtUnevenRatios) {
  const ImagePtr source =
      picture(101, 77, [](int x, int y) { return (x / 3 + y / 2) % 3 == 0 ? white : black; });
  const ColorConverter colors = standard();
  const auto mean_light = [&colors](const SinglePlaneImage& image) {
    double sum = 0.0;
    for (int y = 0; y < image.height(); ++y) {
      for (int x = 0; x < image.width(); ++x) sum += colors.linear[image.row(y)[x].green];
    }
    return sum / (image.width() * image.height());
  };
  for (const auto& [width, height] : {std::pair{40, 30}, {67, 51}, {100, 76}, {10, 70}, {7, 5}, {1, 1}}) {
    EXPECT_NEAR(mean_light(*painted(*source, 0, width, height)), mean_light(*source), 0.006)
        << width << "x" << height;
  }
}

TEST(ViewPainter, EnlargesSmoothlyBetweenThePixelCentres) {
  const ImagePtr source = picture(2, 1, [](int x, int) { return x == 0 ? black : white; });
  const ImagePtr canvas = painted(*source, 0, 8, 4);
  const ColorConverter colors = standard();
  // Centres of the canvas lie at -0.375, -0.125, 0.125, ... source pixels; the edges repeat.
  const double expected[] = {0.0, 0.0, 0.125, 0.375, 0.625, 0.875, 1.0, 1.0};
  for (int x = 0; x < 8; ++x) {
    EXPECT_NEAR(colors.linear[canvas->row(3)[x].red], expected[x], 0.005) << x;
  }
}

TEST(ViewPainter, DoesNotLoseLightInAMillionSamples) {
  // Single precision gets two of these colours wrong at this size.
  const ImagePtr source = picture(1200, 1200, [](int, int) { return Rgba{200, 100, 50}; });
  EXPECT_EQ(painted(*source, 0, 1, 1)->row(0)[0], (Rgba{200, 100, 50}));
}

/// Shows a white picture left of a border and nothing right of it.
class BorderedView final : public View {
 public:
  explicit BorderedView(double border) : border_(border) {}
  [[nodiscard]] double width() const override { return 8.0; }
  [[nodiscard]] double height() const override { return 8.0; }
  void locate(const Row& row, std::span<ImagePosition> positions) const override {
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    for (std::size_t i = 0; i < positions.size(); ++i) {
      const double u = row.u_start + static_cast<double>(i) * row.u_step;
      positions[i] = u < border_ ? ImagePosition{static_cast<float>(u), static_cast<float>(row.v)}
                                 : ImagePosition{nan, nan};
    }
  }

 private:
  double border_;
};

TEST(ViewPainter, LetsTheCanvasShineThroughWhereThereIsNothingToShow) {
  const ImagePtr source = picture(8, 8, [](int, int) { return white; });
  const ImagePtr canvas = SinglePlaneImage::create({2, 2}, backdrop);
  ASSERT_TRUE(paint_view(BorderedView(5.4), *source, standard(), *canvas));
  EXPECT_EQ(canvas->row(0)[0], white);
  // Half of the right pixel's samples see white: half the light on top of half the backdrop's.
  EXPECT_NEAR(canvas->row(0)[1].red, 188, 2);
  EXPECT_LT(canvas->row(0)[1].red, 255);
  const ImagePtr left_only = SinglePlaneImage::create({2, 2}, backdrop);
  ASSERT_TRUE(paint_view(BorderedView(3.5), *source, standard(), *left_only));
  EXPECT_EQ(left_only->row(1)[1], backdrop);
}

TEST(ViewPainter, SaysWhenNothingIsVisible) {
  const ImagePtr source = picture(8, 8, [](int, int) { return white; });
  const ImagePtr canvas = SinglePlaneImage::create({3, 3}, backdrop);
  EXPECT_FALSE(paint_view(BorderedView(-10.0), *source, standard(), *canvas));
  for (int y = 0; y < 3; ++y) {
    for (int x = 0; x < 3; ++x) EXPECT_EQ(canvas->row(y)[x], backdrop);
  }
}

}  // namespace
}  // namespace veyrin::test
