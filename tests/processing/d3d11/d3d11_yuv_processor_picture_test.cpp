// The pictures of the GPU processor beside those of the CPU processor and the exact values.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <tuple>

#include "processing/cpu_yuv_processor.h"
#include "processing/d3d11/d3d11_yuv_processor.h"
#include "tests/processing/d3d11/gpu_frames.h"
#include "tests/processing/make_processor.h"
#include "tests/processing/oracle.h"
#include "tests/processing/random_maps.h"

namespace veyrin::test {
namespace {

constexpr int slices = 4;

struct Sizes {
  Size source, rectified, box;
};

/// How far the codes of two frames are apart, over all channels.
struct CodeDifference {
  int largest = 0;
  long differing = 0;
  long samples = 0;

  void add(const AVFrame& first, const AVFrame& second) {
    for (const Channel channel : {Channel::y, Channel::u, Channel::v})
      for (int y = 0; y < channel_height(first, channel); ++y)
        for (int x = 0; x < channel_width(first, channel); ++x) {
          const int apart = std::abs(get_sample(first, channel, x, y) - get_sample(second, channel, x, y));
          largest = std::max(largest, apart);
          differing += apart != 0 ? 1 : 0;
          ++samples;
        }
  }
};

/// How far a luma sample is from the exact value beyond the rounding of its format, in codes.
double worst_luma(const StoredMaps& maps, const ProcessorGeometry& geometry, const AVFrame& left,
                  const AVFrame& right, const AVFrame& output) {
  // Ten-bit codes have six further bits below them.
  const double codes_per_step = output.format == AV_PIX_FMT_P010LE ? 1.0 / 64.0 : 1.0;
  const double highest = output.format == AV_PIX_FMT_P010LE ? 65535.0 / 64.0 : 255.0;
  double worst = 0.0;
  for (int y = 0; y < output.height; ++y)
    for (int x = 0; x < output.width; ++x) {
      const double exact = oracle_value(maps, geometry, left, right, output, Channel::y, x, y);
      const double written = get_stored(output, Channel::y, x, y) * codes_per_step;
      // Sums above the highest code keep the bits below it.
      if (exact >= std::floor(highest) && written >= exact) continue;
      worst = std::max(worst, std::abs(exact - written) - codes_per_step / 2.0);
    }
  return worst;
}

using FormatAndLayout = std::tuple<int, OutputLayout>;

const char* format_name(int format) {
  return format == AV_PIX_FMT_NV12 ? "NV12" : "P010";
}

const char* layout_name(OutputLayout layout) {
  switch (layout) {
    case OutputLayout::mono_left:
      return "MonoLeft";
    case OutputLayout::mono_right:
      return "MonoRight";
    case OutputLayout::full_sbs:
      return "FullSbs";
    case OutputLayout::half_sbs:
      break;
  }
  return "HalfSbs";
}

class D3D11YuvProcessorPicture : public ::testing::TestWithParam<FormatAndLayout> {
 protected:
  void SetUp() override {
    device_ = make_gpu_device();
    ASSERT_NE(device_, nullptr) << "no D3D11 adapter";
  }

  BufferRefPtr device_;
};

TEST_P(D3D11YuvProcessorPicture, IsThatOfTheCpuProcessor) {
  const auto& [format, layout] = GetParam();
  CodeDifference difference;
  // Without pad; with uneven pads; pads whose squeezed edge falls between two chroma samples; an odd half eye
  // box; one sample more than whole groups of threads; larger than any group.
  for (const Sizes& size : {Sizes{{62, 40}, {46, 36}, {46, 36}}, Sizes{{48, 54}, {50, 30}, {64, 40}},
                            Sizes{{40, 40}, {34, 22}, {38, 26}}, Sizes{{64, 64}, {32, 32}, {34, 34}},
                            Sizes{{320, 240}, {300, 200}, {328, 222}}}) {
    SCOPED_TRACE(::testing::Message() << "box " << size.box.width << "x" << size.box.height);
    const StoredMaps maps = random_maps(size.rectified, size.source, 7);
    const ProcessorGeometry geometry{size.source, size.box, layout};
    std::string error;
    const auto gpu =
        D3D11YuvProcessor::create(device_.get(), *make_tables(maps, geometry.source), geometry,
                                  format == AV_PIX_FMT_P010LE ? BitDepth::ten : BitDepth::eight, error);
    ASSERT_NE(gpu, nullptr) << error;
    const auto cpu = make_processor(maps, geometry, error, {KernelChoice::scalar_only, 2});
    ASSERT_NE(cpu, nullptr) << error;

    const FramePtr left = make_frame(format, size.source.width, size.source.height);
    const FramePtr right = make_frame(format, size.source.width, size.source.height);
    fill_random(*left, 1);
    fill_random(*right, 2);
    // Both eyes' decoders have an array of their own, with surfaces that are rounded up.
    const int surface_width = (size.source.width + 127) / 128 * 128;
    const int surface_height = (size.source.height + 127) / 128 * 128;
    DecoderSurfaces left_surfaces(device_.get(), format, surface_width, surface_height, slices);
    DecoderSurfaces right_surfaces(device_.get(), format, surface_width, surface_height, slices);
    const FramePtr busy = left_surfaces.upload(*right);
    const FramePtr gpu_left = left_surfaces.upload(*left);
    const FramePtr gpu_right = right_surfaces.upload(*right);
    EXPECT_NE(slice_of(*busy), slice_of(*gpu_left));
    EXPECT_NE(slice_of(*gpu_left), slice_of(*gpu_right)) << "one of the eyes lies in a slice other than 0";

    const FramePtr canvas = take_surface(gpu->encoder_frames());
    ASSERT_TRUE(gpu->process(gpu_left.get(), gpu_right.get(), canvas.get(), error)) << error;
    const FramePtr gpu_picture = download(*canvas);
    const FramePtr cpu_picture = make_frame(format, canvas->width, canvas->height);
    ASSERT_TRUE(cpu->process(left.get(), right.get(), cpu_picture.get(), error)) << error;
    CodeDifference here;
    here.add(*gpu_picture, *cpu_picture);
    EXPECT_LE(here.largest, 1);
    difference.add(*gpu_picture, *cpu_picture);

    // Half of the sample range is half a code away from the neutral code, which shows beyond the source's
    // edge, and the bits below a ten-bit code are written too, so that a code is rounded down.
    constexpr double half_code_of_a_sum = 0.6;
    EXPECT_EQ(compare_with_oracle(maps, geometry, *left, *right, *gpu_picture, half_code_of_a_sum), "");
    EXPECT_LE(worst_luma(maps, geometry, *left, *right, *gpu_picture), 1e-2);
  }
  std::printf("  %s %s: GPU and CPU at most %d code(s) apart, %ld of %ld samples differ\n",
              format_name(format), layout_name(layout), difference.largest, difference.differing,
              difference.samples);
  RecordProperty("max_code_difference", difference.largest);
}

INSTANTIATE_TEST_SUITE_P(
    AllFormatsAndLayouts, D3D11YuvProcessorPicture,
    ::testing::Combine(::testing::Values(AV_PIX_FMT_NV12, AV_PIX_FMT_P010LE),
                       ::testing::Values(OutputLayout::mono_left, OutputLayout::mono_right,
                                         OutputLayout::full_sbs, OutputLayout::half_sbs)),
    [](const auto& instance) {
      return std::string(format_name(std::get<0>(instance.param))) + layout_name(std::get<1>(instance.param));
    });

}  // namespace
}  // namespace veyrin::test
