// The processor against OpenCV's Lanczos-4 remap of the same picture as floats, on a smooth map.
#include <gtest/gtest.h>

#include <cmath>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "processing/cpu_yuv_processor.h"
#include "tests/processing/make_processor.h"
#include "tests/processing/random_maps.h"
#include "tests/processing/sampling_kernels_fixture.h"
#include "tests/processing/yuv_frames.h"
#include "tests/rectification/stored_maps.h"

namespace veyrin::test {
namespace {

constexpr int size = 160;

/// OpenCV rounds a position exactly between two phases to the even one, the processor upwards; a tiny step
/// decides it for both, for luma and for chroma at half the position.
float between_no_phases(double position) {
  auto value = static_cast<float>(position);
  const auto is_tie = [](float phases) { return phases - std::floor(phases) == 0.5F; };
  while (is_tie(value * 32.0F) || is_tie(value * 16.0F)) value = std::nextafter(value, 0.0F);
  return value;
}

/// A magnified, turned and bent view whose neighbourhoods stay inside the source, chroma's included.
StoredMap bent_map(double turn) {
  StoredMap map{{size, size}, {}, {}};
  constexpr double centre = (size - 1) / 2.0;
  for (int y = 0; y < size; ++y)
    for (int x = 0; x < size; ++x) {
      const double u = (x - centre) / centre;
      const double v = (y - centre) / centre;
      const double shrink = 0.78 / std::sqrt(1.0 + 0.4 * (u * u + v * v));
      map.map_x.push_back(between_no_phases(centre + centre * shrink * (u - turn * v)));
      map.map_y.push_back(between_no_phases(centre + centre * shrink * (v + turn * u)));
    }
  return map;
}

cv::Mat channel_as_floats(const AVFrame& frame, Channel channel) {
  cv::Mat picture(channel_height(frame, channel), channel_width(frame, channel), CV_32FC1);
  for (int y = 0; y < picture.rows; ++y)
    for (int x = 0; x < picture.cols; ++x)
      picture.at<float>(y, x) = static_cast<float>(get_sample(frame, channel, x, y));
  return picture;
}

cv::Mat remapped(const AVFrame& source, const StoredMap& map, Channel channel) {
  const int divisor = channel == Channel::y ? 1 : 2;
  cv::Mat map_x(size / divisor, size / divisor, CV_32FC1);
  cv::Mat map_y = map_x.clone();
  for (int y = 0; y < map_x.rows; ++y)
    for (int x = 0; x < map_x.cols; ++x) {
      const std::size_t entry = static_cast<std::size_t>(divisor) *
                                (static_cast<std::size_t>(y) * size + static_cast<std::size_t>(x));
      map_x.at<float>(y, x) = map.map_x[entry] / static_cast<float>(divisor);
      map_y.at<float>(y, x) = map.map_y[entry] / static_cast<float>(divisor);
    }
  cv::Mat result;
  cv::setNumThreads(1);
  cv::remap(channel_as_floats(source, channel), result, map_x, map_y, cv::INTER_LANCZOS4,
            cv::BORDER_CONSTANT);
  return result;
}

class OpenCvAgreement : public ::testing::TestWithParam<std::tuple<AVPixelFormat, KernelChoice>> {};

TEST_P(OpenCvAgreement, EveryCodeIsOpenCvsFloatRounded) {
  const auto& [format, kernels] = GetParam();
  if (!kernel_set_runs_here(kernels)) GTEST_SKIP() << "this CPU does not run " << kernel_set_name(kernels);
  const StoredMaps maps{.left = bent_map(0.06), .right = bent_map(-0.03)};
  const FramePtr left = make_frame(format, size, size);
  const FramePtr right = make_frame(format, size, size);
  fill_random(*left, 21);
  fill_random(*right, 22);
  std::string error;
  const auto processor =
      make_processor(maps, {{size, size}, {size, size}, OutputLayout::full_sbs}, error, {kernels, 1});
  ASSERT_NE(processor, nullptr) << error;
  const FramePtr output = make_frame(format, 2 * size, size);
  ASSERT_TRUE(processor->process(left.get(), right.get(), output.get(), error)) << error;

  const double maximum = (1 << sample_bits(format)) - 1;
  double largest = 0.0;
  for (const Channel channel : {Channel::y, Channel::u, Channel::v}) {
    const cv::Mat eyes[] = {remapped(*left, maps.left, channel), remapped(*right, maps.right, channel)};
    for (int y = 0; y < channel_height(*output, channel); ++y)
      for (int x = 0; x < channel_width(*output, channel); ++x) {
        const double theirs = eyes[x / eyes[0].cols].at<float>(y, x % eyes[0].cols);
        const double clamped = std::min(std::max(theirs, 0.0), maximum);
        const double difference = std::abs(get_sample(*output, channel, x, y) - clamped);
        largest = std::max(largest, difference);
        // Half a code of rounding, and the float sums of both sides.
        ASSERT_LE(difference, 0.51) << "channel " << static_cast<int>(channel) << " at (" << x << ", " << y
                                    << ")";
      }
  }
  RecordProperty("largest_difference", std::to_string(largest));
}

INSTANTIATE_TEST_SUITE_P(FormatsAndKernels, OpenCvAgreement,
                         ::testing::Combine(::testing::Values(AV_PIX_FMT_YUV420P, AV_PIX_FMT_NV12,
                                                              AV_PIX_FMT_YUV420P10LE, AV_PIX_FMT_P010LE),
                                            ::testing::ValuesIn(all_kernel_sets)));

}  // namespace
}  // namespace veyrin::test
