#include "thumbnail/picture_scaler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>

#include "tests/thumbnail/test_picture.h"
#include "tests/thumbnail/workers.h"

namespace veyrin::test {
namespace {

/// The whole picture in the given size after clockwise quarter turns.
ImagePtr painted(const SinglePlaneImage& source, int quarter_turns, int width, int height,
                 const ColorConverter& colors = standard()) {
  const Size unturned = quarter_turns % 2 != 0 ? Size{height, width} : Size{width, height};
  return turned_picture(*scaled_picture(source, colors, unturned, workers()), quarter_turns);
}

std::uint8_t grey_at(int x, int y) {
  return static_cast<std::uint8_t>((x * 37 + y * 91 + x * y) & 255);
}

TEST(ScaledAxis, CountsEverySourcePixelByTheFractionThatIsCovered) {
  for (const auto& [source, target] : {std::pair{5, 3}, {8, 7}, {1920, 1681}, {100, 64}, {7, 1}, {6, 6}}) {
    const ScaledAxis axis(source, target);
    const double length = static_cast<double>(source) / target;
    for (int pixel = 0; pixel < target; ++pixel) {
      const double begin = pixel * length, end = begin + length;
      double sum = 0.0;
      const auto [first, weights] = axis.taps(pixel);
      for (std::size_t i = 0; i < weights.size(); ++i) {
        const double left = first + static_cast<double>(i);
        const double inside = std::min(left + 1.0, end) - std::max(left, begin);
        ASSERT_NEAR(weights[i], inside / length, 1e-6) << pixel << " " << i;
        sum += weights[i];
      }
      ASSERT_NEAR(sum, 1.0, 1e-5) << source << " " << target << " " << pixel;
    }
  }
}

TEST(PictureScaler, CopiesCodeByCodeWhereNothingIsScaled) {
  const ImagePtr source = picture(13, 7, [](int x, int y) {
    return Rgba{grey_at(x, y), grey_at(y, x), static_cast<std::uint8_t>(255 - grey_at(x, y))};
  });
  const ImagePtr canvas = painted(*source, 0, 13, 7);
  for (int y = 0; y < 7; ++y) {
    for (int x = 0; x < 13; ++x) EXPECT_EQ(canvas->row(y)[x], source->row(y)[x]) << x << " " << y;
  }
}

TEST(PictureScaler, TurnsClockwise) {
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

TEST(PictureScaler, AveragesLightAndNotCodes) {
  const ImagePtr checker = picture(64, 64, [](int x, int y) { return (x + y) % 2 == 0 ? black : white; });
  // Half the light of white is code 188 of the sRGB curve and 186 of a power of 2.2.
  for (const int side : {32, 16, 8, 1}) {
    const ImagePtr srgb = painted(*checker, 0, side, side);
    const ImagePtr power = painted(*checker, 0, side, side, standard(ColorTransfer::bt709));
    EXPECT_EQ(srgb->row(side / 2)[side / 2], (Rgba{188, 188, 188})) << side;
    EXPECT_EQ(power->row(side / 2)[side / 2], (Rgba{186, 186, 186})) << side;
  }
}

TEST(PictureScaler, WeighsEveryPixelOfAnAreaAlike) {
  // One white pixel in a block of 4 x 4 gives a sixteenth of the light, wherever in the block it is.
  for (int at = 0; at < 16; ++at) {
    const ImagePtr source =
        picture(12, 12, [at](int x, int y) { return x == 4 + at % 4 && y == 4 + at / 4 ? white : black; });
    const ImagePtr canvas = painted(*source, 0, 3, 3);
    EXPECT_EQ(canvas->row(1)[1], (Rgba{71, 71, 71})) << at;  // the code of 1 / 16
    EXPECT_EQ(canvas->row(0)[0], black);
  }
}

TEST(PictureScaler, KeepsTheMeanLightAtUnevenRatios) {
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

TEST(PictureScaler, EnlargesSmoothlyBetweenThePixelCentres) {
  const ImagePtr source = picture(2, 1, [](int x, int) { return x == 0 ? black : white; });
  const ImagePtr canvas = painted(*source, 0, 8, 4);
  const ColorConverter colors = standard();
  // Centres of the canvas lie at -0.375, -0.125, 0.125, ... source pixels; the edges repeat.
  const double expected[] = {0.0, 0.0, 0.125, 0.375, 0.625, 0.875, 1.0, 1.0};
  for (int x = 0; x < 8; ++x) {
    EXPECT_NEAR(colors.linear[canvas->row(3)[x].red], expected[x], 0.005) << x;
  }
}

TEST(PictureScaler, DoesNotLoseLightInAMillionSamples) {
  // Single precision gets two of these colours wrong at this size.
  const ImagePtr source = picture(1200, 1200, [](int, int) { return Rgba{200, 100, 50}; });
  EXPECT_EQ(painted(*source, 0, 1, 1)->row(0)[0], (Rgba{200, 100, 50}));
}

TEST(PictureScaler, RefusesSizesBeyondMemory) {
  const ImagePtr source = picture(2, 2, [](int, int) { return white; });
  EXPECT_FALSE(scaled_picture(*source, standard(), {2'000'000'000, 2'000'000'000}, workers()));
  EXPECT_FALSE(scaled_picture(*source, standard(), {0, 5}, workers()));
}

}  // namespace
}  // namespace veyrin::test
