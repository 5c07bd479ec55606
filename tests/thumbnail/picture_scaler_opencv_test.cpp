// Shrunk pictures against OpenCV's area filter, which works on linear light here as well.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <opencv2/imgproc.hpp>
#include <random>
#include <utility>

#include "tests/thumbnail/test_picture.h"
#include "tests/thumbnail/workers.h"
#include "thumbnail/picture_scaler.h"

namespace veyrin::test {
namespace {

ImagePtr noise(int width, int height) {
  std::mt19937 random(5);
  const auto code = [&random] { return static_cast<std::uint8_t>(random() % 256); };
  return picture(width, height, [&code](int, int) { return Rgba{code(), code(), code()}; });
}

cv::Mat light_of(const SinglePlaneImage& image, const ColorConverter& colors) {
  cv::Mat light(image.height(), image.width(), CV_32FC3);
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) {
      const Rgba pixel = image.row(y)[x];
      light.at<cv::Vec3f>(y, x) = {colors.linear[pixel.red], colors.linear[pixel.green],
                                   colors.linear[pixel.blue]};
    }
  }
  return light;
}

/// Root of the mean squared difference in codes.
double rms(const SinglePlaneImage& image, const cv::Mat& light, const DisplayColors& colors) {
  double sum = 0.0;
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) {
      const auto& expected_light = light.at<cv::Vec3f>(y, x);
      const Rgba expected = colors.encoded({expected_light[0], expected_light[1], expected_light[2]});
      const Rgba pixel = image.row(y)[x];
      for (const int difference :
           {pixel.red - expected.red, pixel.green - expected.green, pixel.blue - expected.blue}) {
        sum += difference * difference;
      }
    }
  }
  return std::sqrt(sum / (3.0 * image.width() * image.height()));
}

TEST(PictureScalerAndOpenCv, AgreeOnNoiseAtAnyRatioFromOneUp) {
  const ImagePtr source = noise(320, 200);
  for (const ColorTransfer transfer : {ColorTransfer::srgb, ColorTransfer::bt709}) {
    const ColorConverter colors = standard(transfer);
    const cv::Mat light = light_of(*source, colors);
    // Ratios of 1, 1.003, 1.14, 1.56, 1.99, 2, 2.5, 10, and different ones along the sides.
    for (const auto& [width, height] : {std::pair{320, 200},
                                        {319, 199},
                                        {281, 175},
                                        {205, 128},
                                        {161, 101},
                                        {160, 100},
                                        {128, 80},
                                        {32, 20},
                                        {300, 20},
                                        {1, 1}}) {
      const ImagePtr scaled = scaled_picture(*source, colors, {width, height}, workers());
      ASSERT_TRUE(scaled);
      cv::Mat expected;
      cv::resize(light, expected, {width, height}, 0.0, 0.0, cv::INTER_AREA);
      const double difference = rms(*scaled, expected, DisplayColors(colors));
      std::printf("%dx%d: %.3f codes\n", width, height, difference);
      EXPECT_LT(difference, 0.1) << width << "x" << height;
    }
  }
}

}  // namespace
}  // namespace veyrin::test
