// Eyes' views against the mean of many samples of the same footprints, in double precision.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "tests/thumbnail/test_picture.h"
#include "tests/thumbnail/workers.h"
#include "thumbnail/preview_painter.h"
#include "thumbnail/views.h"

namespace veyrin::test {
namespace {

constexpr int side = 480;
constexpr int samples_a_side = 24;

RawDualTrackCalibration calibration() {
  RawDualTrackCalibration result;
  result.valid = true;
  const double f = 0.36 * side;
  result.left_intrinsics = {CameraIntrinsics{CameraModel::kb4, side, side, f, 1.01 * f, 0.51 * side,
                                             0.49 * side, 0.02, -0.006, 0.001, -0.0002}};
  result.right_intrinsics = result.left_intrinsics;
  // Turns the view by three degrees around the optical axis.
  result.stereo_extrinsic.plus_x = {1.0F, 0.0F, 0.0F};
  result.stereo_extrinsic.y = {0.0F, 1.0F, 0.0F};
  result.stereo_extrinsic.position = {0.064F, 0.0034F, -0.0007F};
  return result;
}

/// The left eye's view by the definition: positions of the lens, and the picture's pixels as squares.
class Reference {
 public:
  Reference(const CameraIntrinsics& camera, const RectifiedGeometry& geometry, int canvas_side)
      : camera_(camera), geometry_(geometry), unit_(static_cast<double>(side) / canvas_side) {}

  [[nodiscard]] ImagePosition position(double x, double y) const {
    return source_position(camera_, geometry_.left_source_from_rectified, (x + 0.5) * unit_ - 0.5,
                           (y + 0.5) * unit_ - 0.5);
  }

  /// The least width of the pixel's footprint in any direction.
  [[nodiscard]] double least_width(int x, int y) const {
    const ImagePosition left = position(x - 0.5, y), right = position(x + 0.5, y);
    const ImagePosition above = position(x, y - 0.5), below = position(x, y + 0.5);
    const double a = right.x - left.x, b = below.x - above.x, c = right.y - left.y, d = below.y - above.y;
    return std::hypot(a + d, c - b) / 2.0 - std::hypot(a - d, c + b) / 2.0;
  }

  [[nodiscard]] LinearColor mean_light(const SinglePlaneImage& image, const ColorConverter& colors, int x,
                                       int y) const {
    double red = 0.0, green = 0.0, blue = 0.0;
    for (int i = 0; i < samples_a_side; ++i) {
      for (int j = 0; j < samples_a_side; ++j) {
        const ImagePosition at =
            position(x - 0.5 + (j + 0.5) / samples_a_side, y - 0.5 + (i + 0.5) / samples_a_side);
        const Rgba pixel = image.row(static_cast<int>(std::lround(at.y)))[std::lround(at.x)];
        red += colors.linear[pixel.red];
        green += colors.linear[pixel.green];
        blue += colors.linear[pixel.blue];
      }
    }
    constexpr double all = samples_a_side * samples_a_side;
    return {static_cast<float>(red / all), static_cast<float>(green / all), static_cast<float>(blue / all)};
  }

 private:
  const CameraIntrinsics& camera_;
  const RectifiedGeometry& geometry_;
  double unit_;
};

class EyeViewArea : public testing::TestWithParam<int> {};

TEST_P(EyeViewArea, IsTheMeanOverWhatAPixelCoversOfTheRecordedPicture) {
  const int canvas_side = GetParam();
  const RawDualTrackCalibration recording = calibration();
  RectifiedGeometry geometry;
  std::string error;
  ASSERT_TRUE(derive_rectified_geometry(recording, geometry, error)) << error;
  std::mt19937 random(3);
  const auto code = [&random] { return static_cast<std::uint8_t>(random() % 256); };
  const ImagePtr noise = picture(side, side, [&code](int, int) { return Rgba{code(), code(), code()}; });
  const ColorConverter colors = standard();
  const ImagePtr canvas = SinglePlaneImage::create({canvas_side, canvas_side}, {});
  const EyeView view(recording.left_intrinsics, geometry.left_source_from_rectified, geometry, {side, side});
  ASSERT_TRUE(paint_view(view, *noise, colors, *canvas, workers()));

  const Reference reference(recording.left_intrinsics, geometry, canvas_side);
  const DisplayColors display(colors);
  double sum = 0.0;
  int judged = 0;
  // A pixel in seven is enough.
  for (int index = 0; index < canvas_side * canvas_side; index += 7) {
    const int x = index % canvas_side, y = index / canvas_side;
    // Narrower footprints are widened on purpose: there the picture is enlarged.
    if (reference.least_width(x, y) < 1.0) continue;
    const Rgba expected = display.encoded(reference.mean_light(*noise, colors, x, y));
    const Rgba pixel = canvas->row(y)[x];
    for (const int difference :
         {pixel.red - expected.red, pixel.green - expected.green, pixel.blue - expected.blue}) {
      sum += difference * difference / 3.0;
    }
    ++judged;
  }
  ASSERT_GT(judged, 50);
  const double rms = std::sqrt(sum / judged);
  std::printf("ratio %.2f: %.2f codes on %d pixels\n", static_cast<double>(side) / canvas_side, rms, judged);
  EXPECT_LT(rms, 1.5);
}

INSTANTIATE_TEST_SUITE_P(Sides, EyeViewArea, testing::Values(421, 308, 160, 60, 24));

}  // namespace
}  // namespace veyrin::test
