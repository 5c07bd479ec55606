#include <gtest/gtest.h>

#include <tuple>

#include "processing/cpu_yuv_processor.h"
#include "tests/processing/make_processor.h"
#include "tests/processing/oracle.h"
#include "tests/processing/random_maps.h"
#include "tests/processing/sampling_kernels_fixture.h"
#include "tests/processing/yuv_frames.h"
#include "tests/rectification/stored_maps.h"

namespace veyrin::test {
namespace {

constexpr int all_formats[] = {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_NV12,
                               AV_PIX_FMT_YUV420P10LE, AV_PIX_FMT_P010LE};
constexpr OutputLayout all_layouts[] = {OutputLayout::mono_left, OutputLayout::mono_right,
                                        OutputLayout::full_sbs, OutputLayout::half_sbs};

// Float sums of 64 products of ten-bit samples stay within this of the exact sum.
constexpr double float_rounding = 1e-3;

using FormatsAndLayout = std::tuple<int, int, OutputLayout, KernelChoice>;

class CpuYuvProcessorFormats : public ::testing::TestWithParam<FormatsAndLayout> {};

TEST_P(CpuYuvProcessorFormats, MatchesTheDoublePrecisionOracle) {
  const auto& [input_format, output_format, layout, kernels] = GetParam();
  if (!kernel_set_runs_here(kernels)) GTEST_SKIP() << "this CPU does not run " << kernel_set_name(kernels);
  struct Sizes {
    Size source, rectified, box;
  };
  // Without pad, with uneven pads, with a chroma pad that is odd, and with an odd half eye box.
  for (const Sizes& size : {Sizes{{62, 40}, {46, 36}, {46, 36}}, Sizes{{48, 54}, {50, 30}, {64, 40}},
                            Sizes{{40, 40}, {34, 22}, {38, 26}}}) {
    const StoredMaps maps = random_maps(size.rectified, size.source, 7);
    const ProcessorGeometry geometry{size.source, size.box, layout};
    std::string error;
    const auto processor = make_processor(maps, geometry, error, {kernels, /*worker_count=*/2});
    ASSERT_NE(processor, nullptr) << error;

    const FramePtr left = make_frame(input_format, size.source.width, size.source.height, 3);
    const FramePtr right = make_frame(input_format, size.source.width, size.source.height, 7);
    fill_random(*left, 1);
    fill_random(*right, 2);
    const int canvas = layout == OutputLayout::full_sbs ? 2 * size.box.width : size.box.width;
    const FramePtr output = make_frame(output_format, canvas, size.box.height, 5);
    fill_random(*output, 3);
    ASSERT_TRUE(processor->process(left.get(), right.get(), output.get(), error)) << error;

    EXPECT_EQ(compare_with_oracle(maps, geometry, *left, *right, *output, float_rounding), "")
        << "box " << size.box.width << "x" << size.box.height;
    EXPECT_TRUE(guards_intact(*output));
  }
}

INSTANTIATE_TEST_SUITE_P(AllFormatsAndLayouts, CpuYuvProcessorFormats,
                         ::testing::Combine(::testing::ValuesIn(all_formats),
                                            ::testing::ValuesIn(all_formats),
                                            ::testing::ValuesIn(all_layouts),
                                            ::testing::ValuesIn(all_kernel_sets)));

}  // namespace
}  // namespace veyrin::test
