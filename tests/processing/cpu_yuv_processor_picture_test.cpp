#include <gtest/gtest.h>

#include <limits>

#include "processing/cpu_yuv_processor.h"
#include "rectification/rectification_maps.h"
#include "tests/processing/make_processor.h"
#include "tests/processing/oracle.h"
#include "tests/processing/random_maps.h"
#include "tests/processing/yuv_frames.h"
#include "tests/rectification/stored_maps.h"

namespace veyrin::test {
namespace {

constexpr AVPixelFormat all_formats[] = {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_NV12,
                                         AV_PIX_FMT_YUV420P10LE, AV_PIX_FMT_P010LE};

FramePtr process(const RectificationMaps& maps, const ProcessorGeometry& geometry, const AVFrame& left,
                 const AVFrame& right, AVPixelFormat output_format, const ProcessorTuning& tuning = {}) {
  std::string error;
  const auto processor = make_processor(maps, geometry, error, tuning);
  EXPECT_NE(processor, nullptr) << error;
  const int width =
      geometry.layout == OutputLayout::full_sbs ? 2 * geometry.eye_box.width : geometry.eye_box.width;
  FramePtr output = make_frame(output_format, width, geometry.eye_box.height);
  fill_random(*output, 99);
  EXPECT_TRUE(processor->process(&left, &right, output.get(), error)) << error;
  return output;
}

/// All samples of a frame as stored.
std::vector<int> samples(const AVFrame& frame) {
  std::vector<int> values;
  for (const Channel channel : {Channel::y, Channel::u, Channel::v})
    for (int y = 0; y < channel_height(frame, channel); ++y)
      for (int x = 0; x < channel_width(frame, channel); ++x)
        values.push_back(get_stored(frame, channel, x, y));
  return values;
}

TEST(CpuYuvProcessorPicture, IdentityMapsCopySamplesExactlyInEveryFormatAndPlaceThemInTheBox) {
  constexpr int size = 24;
  constexpr int pad = 4;
  const ProcessorGeometry geometry{
      {size, size}, {size + 2 * pad + 2, size + 2 * pad}, OutputLayout::full_sbs};
  for (const AVPixelFormat input : all_formats)
    for (const AVPixelFormat output_format : all_formats) {
      if (sample_bits(input) != sample_bits(output_format)) continue;
      const FramePtr left = make_frame(input, size, size, 1);
      const FramePtr right = make_frame(input, size, size, 4);
      fill_random(*left, 1);
      fill_random(*right, 2);
      const FramePtr output = process(identity_maps({size, size}), geometry, *left, *right, output_format);
      for (const Channel channel : {Channel::y, Channel::u, Channel::v}) {
        const int divisor = channel == Channel::y ? 1 : 2;
        const int neutral = channel == Channel::y ? 0 : 1 << (sample_bits(input) - 1);
        for (int y = 0; y < channel_height(*output, channel); ++y)
          for (int x = 0; x < channel_width(*output, channel); ++x) {
            const int box_width = geometry.eye_box.width / divisor;
            const AVFrame& source = x < box_width ? *left : *right;
            const int column = x % box_width - pad / divisor;
            const int row = y - pad / divisor;
            const bool image = column >= 0 && column < size / divisor && row >= 0 && row < size / divisor;
            ASSERT_EQ(get_sample(*output, channel, x, y),
                      image ? get_sample(source, channel, column, row) : neutral)
                << "format " << input << " to " << output_format << ", channel " << static_cast<int>(channel)
                << " at (" << x << ", " << y << ")";
          }
      }
    }
}

TEST(CpuYuvProcessorPicture, HighAlignedOutputKeepsItsLowBitsClear) {
  const FramePtr source = make_frame(AV_PIX_FMT_YUV420P10LE, 16, 16);
  fill_constant(*source, 1023, 1, 700);
  const FramePtr output = process(identity_maps({16, 16}), {{16, 16}, {16, 16}, OutputLayout::mono_left},
                                  *source, *source, AV_PIX_FMT_P010LE);
  EXPECT_EQ(get_stored(*output, Channel::y, 5, 5), 1023 * 64);
  EXPECT_EQ(get_stored(*output, Channel::u, 5, 5), 64);
  EXPECT_EQ(get_stored(*output, Channel::v, 5, 5), 700 * 64);
}

TEST(CpuYuvProcessorPicture, PadHoldsZeroLumaAndTheSourceDepthsNeutralChroma) {
  const struct {
    AVPixelFormat input, output;
    int chroma;
  } cases[] = {{AV_PIX_FMT_NV12, AV_PIX_FMT_NV12, 128},
               {AV_PIX_FMT_NV12, AV_PIX_FMT_YUV420P10LE, 514},  // 128 of 255 in codes of 1023
               {AV_PIX_FMT_YUV420P, AV_PIX_FMT_P010LE, 514},
               {AV_PIX_FMT_P010LE, AV_PIX_FMT_YUV420P, 128},
               {AV_PIX_FMT_YUV420P10LE, AV_PIX_FMT_P010LE, 512}};
  for (const auto& [input, output_format, chroma] : cases)
    for (const OutputLayout layout :
         {OutputLayout::mono_left, OutputLayout::full_sbs, OutputLayout::half_sbs}) {
      const FramePtr source = make_frame(input, 16, 16);
      fill_constant(*source, 200, 60, 70);
      const FramePtr output =
          process(identity_maps({16, 16}), {{16, 16}, {32, 24}, layout}, *source, *source, output_format);
      // The corners and a place in the middle of each side of the left eye's box.
      const int box_width = layout == OutputLayout::half_sbs ? 16 : 32;
      for (const auto& [x, y] :
           {std::pair{0, 0}, std::pair{box_width - 1, 23}, std::pair{0, 12}, std::pair{box_width / 2, 0},
            std::pair{box_width - 1, 12}, std::pair{box_width / 2, 23}}) {
        EXPECT_EQ(get_sample(*output, Channel::y, x, y), 0);
        EXPECT_EQ(get_sample(*output, Channel::u, x / 2, y / 2), chroma);
        EXPECT_EQ(get_sample(*output, Channel::v, x / 2, y / 2), chroma);
      }
    }
}

TEST(CpuYuvProcessorPicture, BoxWiderByTwoHasNoPadOnTheLeft) {
  const FramePtr source = make_frame(AV_PIX_FMT_NV12, 16, 16);
  fill_constant(*source, 77, 60, 70);
  const FramePtr output = process(identity_maps({16, 16}), {{16, 16}, {18, 18}, OutputLayout::mono_right},
                                  *source, *source, AV_PIX_FMT_NV12);
  EXPECT_EQ(get_sample(*output, Channel::y, 0, 0), 77);
  EXPECT_EQ(get_sample(*output, Channel::y, 15, 15), 77);
  EXPECT_EQ(get_sample(*output, Channel::y, 16, 0), 0);
  EXPECT_EQ(get_sample(*output, Channel::y, 0, 16), 0);
  EXPECT_EQ(get_sample(*output, Channel::u, 7, 7), 60);
  EXPECT_EQ(get_sample(*output, Channel::u, 8, 0), 128);
}

TEST(CpuYuvProcessorPicture, HalfWidthTakesTheMeanOfNeighboursWithHalvesUp) {
  const FramePtr left = make_frame(AV_PIX_FMT_YUV420P, 16, 8);
  const FramePtr right = make_frame(AV_PIX_FMT_YUV420P, 16, 8);
  for (int y = 0; y < 8; ++y)
    for (int x = 0; x < 16; ++x) {
      set_sample(*left, Channel::y, x, y, 10 * x + y);
      set_sample(*right, Channel::y, x, y, 255 - 3 * x * x % 50 - y);
    }
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 8; ++x) {
      set_sample(*left, Channel::u, x, y, 20 + x);
      set_sample(*left, Channel::v, x, y, 100 - 5 * x);
      set_sample(*right, Channel::u, x, y, 7 * x);
      set_sample(*right, Channel::v, x, y, 200 + x);
    }
  const FramePtr output = process(identity_maps({16, 8}), {{16, 8}, {16, 8}, OutputLayout::half_sbs}, *left,
                                  *right, AV_PIX_FMT_YUV420P);
  for (const Channel channel : {Channel::y, Channel::u, Channel::v}) {
    const int span = channel_width(*output, channel) / 2;
    for (int y = 0; y < channel_height(*output, channel); ++y)
      for (int x = 0; x < 2 * span; ++x) {
        const AVFrame& source = x < span ? *left : *right;
        const int column = 2 * (x % span);
        const int sum = get_sample(source, channel, column, y) + get_sample(source, channel, column + 1, y);
        ASSERT_EQ(get_sample(*output, channel, x, y), (sum + 1) / 2) << "(" << x << ", " << y << ")";
      }
  }
}

TEST(CpuYuvProcessorPicture, MonoLayoutsUseOneEyeOnly) {
  const StoredMaps maps = random_maps({32, 24}, {30, 28}, 4);
  FramePtr eyes[2] = {make_frame(AV_PIX_FMT_NV12, 30, 28), make_frame(AV_PIX_FMT_NV12, 30, 28)};
  fill_random(*eyes[0], 1);
  fill_random(*eyes[1], 2);
  const FramePtr noise = make_frame(AV_PIX_FMT_NV12, 30, 28);
  fill_random(*noise, 3);
  StoredMaps only_left = maps;
  only_left.right = stored(identity_maps({32, 24}).right);
  StoredMaps only_right = maps;
  only_right.left = stored(identity_maps({32, 24}).left);

  const ProcessorGeometry left_only{{30, 28}, {32, 24}, OutputLayout::mono_left};
  EXPECT_EQ(samples(*process(maps, left_only, *eyes[0], *eyes[1], AV_PIX_FMT_NV12)),
            samples(*process(only_left, left_only, *eyes[0], *noise, AV_PIX_FMT_NV12)));
  const ProcessorGeometry right_only{{30, 28}, {32, 24}, OutputLayout::mono_right};
  EXPECT_EQ(samples(*process(maps, right_only, *eyes[0], *eyes[1], AV_PIX_FMT_NV12)),
            samples(*process(only_right, right_only, *noise, *eyes[1], AV_PIX_FMT_NV12)));
}

TEST(CpuYuvProcessorPicture, FullSideBySideIsTheTwoMonoPicturesNextToEachOther) {
  const StoredMaps maps = random_maps({32, 24}, {30, 28}, 5);
  const FramePtr left = make_frame(AV_PIX_FMT_P010LE, 30, 28);
  const FramePtr right = make_frame(AV_PIX_FMT_P010LE, 30, 28);
  fill_random(*left, 1);
  fill_random(*right, 2);
  const auto with_layout = [&](OutputLayout layout) {
    return process(maps, {{30, 28}, {40, 28}, layout}, *left, *right, AV_PIX_FMT_P010LE);
  };
  const FramePtr both = with_layout(OutputLayout::full_sbs);
  const FramePtr eyes[2] = {with_layout(OutputLayout::mono_left), with_layout(OutputLayout::mono_right)};
  for (const Channel channel : {Channel::y, Channel::u, Channel::v}) {
    const int span = channel_width(*eyes[0], channel);
    for (int y = 0; y < channel_height(*both, channel); ++y)
      for (int x = 0; x < 2 * span; ++x)
        ASSERT_EQ(get_stored(*both, channel, x, y), get_stored(*eyes[x / span], channel, x % span, y));
  }
}

TEST(CpuYuvProcessorPicture, UnusableMapEntriesGiveZeroLumaAndChromaAtTheTablesPosition) {
  const FramePtr source = make_frame(AV_PIX_FMT_YUV420P, 16, 16);
  fill_constant(*source, 200, 60, 70);
  for (const float value :
       {-1.0F, std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
        -std::numeric_limits<float>::infinity(), 1e30F, -1e30F}) {
    StoredMaps maps = stored(identity_maps({16, 16}));
    for (StoredMap* map : {&maps.left, &maps.right}) {
      map->map_x.assign(map->map_x.size(), value);
      map->map_y.assign(map->map_y.size(), value);
    }
    const ProcessorGeometry geometry{{16, 16}, {16, 16}, OutputLayout::mono_left};
    const FramePtr output = process(maps, geometry, *source, *source, AV_PIX_FMT_YUV420P);
    EXPECT_EQ(get_sample(*output, Channel::y, 3, 3), 0) << value;
    // An invalid entry lies half a chroma sample outside and still sees a little of the picture's corner; the
    // others see nothing.
    if (value != -1.0F) {
      EXPECT_EQ(get_sample(*output, Channel::u, 3, 3), 128) << value;
    }
    EXPECT_EQ(compare_with_oracle(maps, geometry, *source, *source, *output, 1e-3), "") << value;
  }
}

TEST(CpuYuvProcessorPicture, DegenerateMapsGiveAnEmptyPicture) {
  const FramePtr source = make_frame(AV_PIX_FMT_P010LE, 6, 4);  // smaller than the kernel
  fill_constant(*source, 1000, 100, 900);
  StoredMaps maps = stored(identity_maps({2, 2}));
  maps.left.map_x.assign(4, std::numeric_limits<float>::quiet_NaN());
  const FramePtr output =
      process(maps, {{6, 4}, {2, 2}, OutputLayout::mono_left}, *source, *source, AV_PIX_FMT_P010LE);
  EXPECT_EQ(samples(*output), (std::vector<int>{0, 0, 0, 0, 512 * 64, 512 * 64}));
}

TEST(CpuYuvProcessorPicture, AnyNumberOfWorkersGivesIdenticalBytes) {
  const StoredMaps maps = random_maps({70, 62}, {64, 60}, 6);
  for (const AVPixelFormat format : {AV_PIX_FMT_NV12, AV_PIX_FMT_YUV420P10LE}) {
    const FramePtr left = make_frame(format, 64, 60);
    const FramePtr right = make_frame(format, 64, 60);
    fill_random(*left, 1);
    fill_random(*right, 2);
    const ProcessorGeometry geometry{{64, 60}, {80, 70}, OutputLayout::half_sbs};
    const auto expected = samples(*process(maps, geometry, *left, *right, format, {.worker_count = 1}));
    for (const std::int32_t workers : {0, 2, 3, 7, 100})
      EXPECT_EQ(samples(*process(maps, geometry, *left, *right, format, {.worker_count = workers})), expected)
          << workers;
  }
}

TEST(CpuYuvProcessorPicture, ScalarAndFastKernelsDifferByAtMostOneCode) {
  const StoredMaps maps = random_maps({120, 80}, {110, 90}, 8);
  for (const AVPixelFormat format : all_formats) {
    const FramePtr left = make_frame(format, 110, 90);
    const FramePtr right = make_frame(format, 110, 90);
    fill_random(*left, 1);
    fill_random(*right, 2);
    const ProcessorGeometry geometry{{110, 90}, {120, 80}, OutputLayout::full_sbs};
    const FramePtr scalar =
        process(maps, geometry, *left, *right, format, {.kernels = KernelChoice::scalar_only});
    const FramePtr fast = process(maps, geometry, *left, *right, format);
    int different = 0;
    for (const Channel channel : {Channel::y, Channel::u, Channel::v})
      for (int y = 0; y < channel_height(*scalar, channel); ++y)
        for (int x = 0; x < channel_width(*scalar, channel); ++x) {
          const int difference = get_sample(*scalar, channel, x, y) - get_sample(*fast, channel, x, y);
          ASSERT_LE(std::abs(difference), 1);
          different += difference != 0 ? 1 : 0;
        }
    // Both are within float rounding of the exact sum, so hardly any sum falls between them.
    EXPECT_LE(different, 5) << "format " << format;
  }
}

TEST(CpuYuvProcessorPicture, RowsLongerThanOneChunkAreSeamless) {
  const StoredMaps maps = random_maps({2106, 4}, {300, 40}, 10);
  const FramePtr left = make_frame(AV_PIX_FMT_NV12, 300, 40);
  const FramePtr right = make_frame(AV_PIX_FMT_NV12, 300, 40);
  fill_random(*left, 1);
  fill_random(*right, 2);
  for (const OutputLayout layout : {OutputLayout::full_sbs, OutputLayout::half_sbs}) {
    const ProcessorGeometry geometry{{300, 40}, {2114, 8}, layout};
    const FramePtr output = process(maps, geometry, *left, *right, AV_PIX_FMT_NV12);
    EXPECT_EQ(compare_with_oracle(maps, geometry, *left, *right, *output, 1e-3), "");
  }
}

TEST(CpuYuvProcessorPicture, ConsecutiveFramesDoNotInfluenceEachOther) {
  const StoredMaps maps = random_maps({32, 24}, {30, 28}, 9);
  const ProcessorGeometry geometry{{30, 28}, {36, 28}, OutputLayout::full_sbs};
  std::string error;
  const auto processor = make_processor(maps, geometry, error);
  ASSERT_NE(processor, nullptr) << error;
  const AVPixelFormat sequence[] = {AV_PIX_FMT_NV12, AV_PIX_FMT_P010LE, AV_PIX_FMT_YUV420P, AV_PIX_FMT_NV12};
  std::uint32_t seed = 1;
  for (const AVPixelFormat format : sequence) {
    const FramePtr left = make_frame(format, 30, 28, static_cast<int>(seed) * 16);
    const FramePtr right = make_frame(format, 30, 28);
    fill_random(*left, seed++);
    fill_random(*right, seed++);
    const FramePtr output = make_frame(AV_PIX_FMT_YUV420P10LE, 72, 28);
    ASSERT_TRUE(processor->process(left.get(), right.get(), output.get(), error)) << error;
    EXPECT_EQ(samples(*output), samples(*process(maps, geometry, *left, *right, AV_PIX_FMT_YUV420P10LE)));
  }
}

}  // namespace
}  // namespace veyrin::test
