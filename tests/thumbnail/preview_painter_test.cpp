#include "thumbnail/preview_painter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>

#include "tests/thumbnail/test_picture.h"
#include "tests/thumbnail/workers.h"
#include "thumbnail/views.h"

namespace veyrin::test {
namespace {

constexpr Rgba backdrop{16, 18, 21};

/// A picture as it is.
class PlainView : public View {
 public:
  explicit PlainView(double width = 8.0, double height = 8.0) : width_(width), height_(height) {}
  [[nodiscard]] double width() const override { return width_; }
  [[nodiscard]] double height() const override { return height_; }
  void locate(const Row& row, std::span<ImagePosition> positions) const override {
    for (std::size_t i = 0; i < positions.size(); ++i) {
      positions[i] = position(row.u_start + static_cast<double>(i) * row.u_step, row.v);
    }
  }

 protected:
  [[nodiscard]] virtual ImagePosition position(double u, double v) const {
    return {static_cast<float>(u), static_cast<float>(v)};
  }

 private:
  double width_, height_;
};

/// Shows nothing right of a border.
class BorderedView final : public PlainView {
 public:
  explicit BorderedView(double border) : border_(border) {}

 private:
  [[nodiscard]] ImagePosition position(double u, double v) const override {
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    return u < border_ ? PlainView::position(u, v) : ImagePosition{nan, nan};
  }

  double border_;
};

TEST(ViewPainter, CopiesCodeByCodeWhereNothingIsScaled) {
  const ImagePtr source = picture(13, 7, [](int x, int y) {
    return Rgba{static_cast<std::uint8_t>(x * 19), static_cast<std::uint8_t>(y * 33),
                static_cast<std::uint8_t>(255 - x * y)};
  });
  const ImagePtr canvas = SinglePlaneImage::create({13, 7}, backdrop);
  ASSERT_TRUE(paint_view(PlainView(13, 7), *source, standard(), *canvas, workers()));
  for (int y = 0; y < 7; ++y) {
    for (int x = 0; x < 13; ++x) EXPECT_EQ(canvas->row(y)[x], source->row(y)[x]) << x << " " << y;
  }
}

TEST(ViewPainter, DoesNotLoseLightInAMillionSamples) {
  // Single precision gets two of these colours wrong at this size.
  const ImagePtr source = picture(1200, 1200, [](int, int) { return Rgba{200, 100, 50}; });
  const ImagePtr canvas = SinglePlaneImage::create({1, 1}, backdrop);
  ASSERT_TRUE(paint_view(PlainView(1200, 1200), *source, standard(), *canvas, workers()));
  EXPECT_EQ(canvas->row(0)[0], (Rgba{200, 100, 50}));
}

TEST(ViewPainter, LetsTheCanvasShineThroughWhereThereIsNothingToShow) {
  const ImagePtr source = picture(8, 8, [](int, int) { return white; });
  const ImagePtr canvas = SinglePlaneImage::create({2, 2}, backdrop);
  ASSERT_TRUE(paint_view(BorderedView(5.55), *source, standard(), *canvas, workers()));
  EXPECT_EQ(canvas->row(0)[0], white);
  // About half of the right pixel sees white: half the light on top of half the backdrop's.
  EXPECT_NEAR(canvas->row(0)[1].red, 188, 2);
  EXPECT_LT(canvas->row(0)[1].red, 255);
  const ImagePtr left_only = SinglePlaneImage::create({2, 2}, backdrop);
  ASSERT_TRUE(paint_view(BorderedView(3.5), *source, standard(), *left_only, workers()));
  EXPECT_EQ(left_only->row(1)[1], backdrop);
}

TEST(ViewPainter, SaysWhenNothingIsVisible) {
  const ImagePtr source = picture(8, 8, [](int, int) { return white; });
  const ImagePtr canvas = SinglePlaneImage::create({3, 3}, backdrop);
  EXPECT_FALSE(paint_view(BorderedView(-10.0), *source, standard(), *canvas, workers()));
  for (int y = 0; y < 3; ++y) {
    for (int x = 0; x < 3; ++x) EXPECT_EQ(canvas->row(y)[x], backdrop);
  }
}

}  // namespace
}  // namespace veyrin::test
