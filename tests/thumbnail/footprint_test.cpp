// Light on footprints, against areas of clipped polygons in double precision.
#include "thumbnail/footprint.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

#include "tests/thumbnail/test_picture.h"

namespace veyrin::test {
namespace {

struct Point {
  double x, y;
};

using Polygon = std::vector<Point>;

Polygon corners_of(const Footprint& f) {
  const auto corner = [&f](double u, double v) {
    return Point{f.centre.x + u * f.along_u.x + v * f.along_v.x,
                 f.centre.y + u * f.along_u.y + v * f.along_v.y};
  };
  return {corner(-0.5, -0.5), corner(0.5, -0.5), corner(0.5, 0.5), corner(-0.5, 0.5)};
}

/// The part of a convex polygon where a linear function is not negative.
Polygon clipped(const Polygon& polygon, const std::function<double(Point)>& side) {
  Polygon kept;
  for (std::size_t i = 0; i < polygon.size(); ++i) {
    const Point a = polygon[i], b = polygon[(i + 1) % polygon.size()];
    const double at_a = side(a), at_b = side(b);
    if (at_a >= 0.0) kept.push_back(a);
    if ((at_a < 0.0) != (at_b < 0.0)) {
      const double t = at_a / (at_a - at_b);
      kept.push_back({a.x + t * (b.x - a.x), a.y + t * (b.y - a.y)});
    }
  }
  return kept;
}

double area(const Polygon& polygon) {
  double twice = 0.0;
  for (std::size_t i = 0; i < polygon.size(); ++i) {
    const Point a = polygon[i], b = polygon[(i + 1) % polygon.size()];
    twice += a.x * b.y - a.y * b.x;
  }
  return std::abs(twice) / 2.0;
}

/// Area of the polygon on the pixel, a square around a whole number.
double area_on_pixel(Polygon polygon, int x, int y) {
  polygon = clipped(polygon, [x](Point p) { return p.x - (x - 0.5); });
  polygon = clipped(polygon, [x](Point p) { return x + 0.5 - p.x; });
  polygon = clipped(polygon, [y](Point p) { return p.y - (y - 0.5); });
  return area(clipped(polygon, [y](Point p) { return y + 0.5 - p.y; }));
}

constexpr int width = 24, height = 17;

ImagePtr noise() {
  std::mt19937 random(7);
  return picture(width, height, [&random](int, int) {
    const auto code = [&random] { return static_cast<std::uint8_t>(random() % 256); };
    return Rgba{code(), code(), code()};
  });
}

FootprintLight expected_light(const SinglePlaneImage& image, const ColorConverter& colors,
                              const Footprint& footprint) {
  const Polygon polygon = corners_of(footprint);
  double red = 0.0, green = 0.0, blue = 0.0, sum = 0.0;
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) {
      const double inside = area_on_pixel(polygon, x, y);
      red += inside * colors.linear[image.row(y)[x].red];
      green += inside * colors.linear[image.row(y)[x].green];
      blue += inside * colors.linear[image.row(y)[x].blue];
      sum += inside;
    }
  }
  if (sum < 1e-9) return {};
  return {{static_cast<float>(red / sum), static_cast<float>(green / sum), static_cast<float>(blue / sum)},
          static_cast<float>(sum / area(polygon))};
}

TEST(Footprint, WeighsEveryPixelByTheExactAreaInside) {
  const ImagePtr image = noise();
  const ColorConverter colors = standard();
  FootprintReader reader(*image, colors);
  std::mt19937 random(11);
  std::uniform_real_distribution<float> place(-4.0F, 28.0F), size(1.0F, 9.0F), turn(-3.2F, 3.2F);
  int on_border = 0;
  for (int i = 0; i < 200; ++i) {
    // Sides at 60 to 120 degrees, both ways round: nothing here is narrow enough to be widened.
    const float angle = turn(random), between = (i % 2 == 0 ? 1.0F : -1.0F) * (1.57F + turn(random) / 6.0F);
    const float u = 1.3F * size(random), v = 1.3F * size(random);
    const Footprint footprint{{place(random), place(random)},
                              {u * std::cos(angle), u * std::sin(angle)},
                              {v * std::cos(angle + between), v * std::sin(angle + between)}};
    const FootprintLight light = reader.read(footprint);
    const FootprintLight expected = expected_light(*image, colors, footprint);
    SCOPED_TRACE(i);
    ASSERT_NEAR(light.share, expected.share, 2e-4);
    if (expected.share < 0.01F) continue;
    on_border += expected.share < 0.99F ? 1 : 0;
    ASSERT_NEAR(light.mean.red, expected.mean.red, 1e-3);
    ASSERT_NEAR(light.mean.green, expected.mean.green, 1e-3);
    ASSERT_NEAR(light.mean.blue, expected.mean.blue, 1e-3);
  }
  EXPECT_GT(on_border, 15);
}

TEST(Footprint, OfOnePixelIsWhatInterpolationGives) {
  const ImagePtr image = noise();
  const ColorConverter colors = standard();
  FootprintReader reader(*image, colors);
  std::mt19937 random(13);
  std::uniform_real_distribution<float> place(1.0F, 15.0F);
  for (int i = 0; i < 100; ++i) {
    const ImagePosition centre{place(random), place(random)};
    const FootprintLight covered = reader.read({centre, {1.0001F, 0.0F}, {0.0F, 1.0001F}});
    const FootprintLight interpolated = reader.read({centre, {0.3F, 0.1F}, {-0.1F, 0.3F}});
    ASSERT_NEAR(covered.mean.red, interpolated.mean.red, 1e-3);
    ASSERT_NEAR(covered.mean.green, interpolated.mean.green, 1e-3);
    ASSERT_EQ(interpolated.share, 1.0F);
  }
}

TEST(Footprint, IsWidenedOnlyWhereItIsNarrow) {
  // Four pixels along a slope and a tenth of one across it.
  const float c = std::cos(0.5F), s = std::sin(0.5F);
  const auto wide = widened({{5.0F, 6.0F}, {4.0F * c, 4.0F * s}, {-0.1F * s, 0.1F * c}});
  ASSERT_TRUE(wide);
  EXPECT_EQ(wide->centre.x, 5.0F);
  EXPECT_NEAR(wide->along_u.x, 4.0F * c, 1e-5);
  EXPECT_NEAR(wide->along_u.y, 4.0F * s, 1e-5);
  EXPECT_NEAR(wide->along_v.x, -s, 1e-5);
  EXPECT_NEAR(wide->along_v.y, c, 1e-5);
  // A mirrored one stays mirrored.
  const auto mirrored = widened({{}, {2.0F, 0.0F}, {0.0F, -0.5F}});
  ASSERT_TRUE(mirrored);
  EXPECT_NEAR(mirrored->along_u.x, 2.0F, 1e-5);
  EXPECT_NEAR(mirrored->along_v.y, -1.0F, 1e-5);
  EXPECT_FALSE(widened({{}, {0.7F, 0.0F}, {0.0F, 0.9F}}));
}

TEST(Footprint, OfABrokenLensEndsSoonAndShowsNothing) {
  const ImagePtr image = noise();
  const ColorConverter colors = standard();
  FootprintReader reader(*image, colors);
  constexpr float nan = std::numeric_limits<float>::quiet_NaN();
  constexpr float infinite = std::numeric_limits<float>::infinity();
  for (const float bad : {nan, infinite, -infinite, 1e30F, -1e30F}) {
    EXPECT_EQ(reader.read({{bad, 3.0F}, {2.0F, 0.0F}, {0.0F, 2.0F}}).share, 0.0F);
    EXPECT_EQ(reader.read({{bad, bad}, {0.2F, 0.0F}, {0.0F, 0.2F}}).share, 0.0F);
  }
  for (const float huge : {1e3F, 1e18F}) {
    const auto wide = widened({{}, {huge, 0.0F}, {0.0F, huge}});
    ASSERT_TRUE(wide);
    EXPECT_NEAR(wide->along_u.x, 64.0F, 1e-3);
    EXPECT_GT(reader.read({{5.0F, 5.0F}, {huge, 0.0F}, {0.0F, huge}}).share, 0.0F);
  }
}

}  // namespace
}  // namespace veyrin::test
