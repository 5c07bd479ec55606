#include <gtest/gtest.h>

#include "processing/cpu_yuv_processor.h"
#include "rectification/rectification_maps.h"
#include "tests/processing/make_processor.h"
#include "tests/processing/yuv_frames.h"
#include "tests/rectification/stored_maps.h"
#include "tests/support/allocation_limit.h"

namespace veyrin::test {
namespace {

constexpr const char* invalid_maps = "invalid CPU YUV rectification maps";
constexpr const char* odd_sizes = "CPU YUV processing requires even dimensions";
constexpr const char* small_canvas = "CPU YUV canvas is smaller than the rectified image";
constexpr const char* unsupported = "CPU YUV processing received an unsupported pixel format";
constexpr const char* incompatible = "CPU YUV processing received incompatible frame dimensions";

std::string creation_error(const RectificationMaps& maps, const ProcessorGeometry& geometry) {
  std::string error;
  const auto processor = make_processor(maps, geometry, error);
  EXPECT_EQ(processor == nullptr, !error.empty());
  return error;
}

TEST(CpuYuvProcessorCreation, RefusesMapsThatAreMissingOrDiffer) {
  const ProcessorGeometry geometry{{20, 20}, {16, 12}, OutputLayout::full_sbs};
  EXPECT_EQ(creation_error(identity_maps({16, 12}), geometry), "");
  const struct {
    const char* name;
    void (*damage)(RectificationMaps&);
  } cases[] = {
      {"no left map", [](RectificationMaps& maps) { maps.left = {}; }},
      {"no right map", [](RectificationMaps& maps) { maps.right = {}; }},
      {"nothing to read", [](RectificationMaps& maps) { maps.right.read = nullptr; }},
      {"zero width", [](RectificationMaps& maps) { maps.left.size.width = 0; }},
      {"zero height", [](RectificationMaps& maps) { maps.right.size.height = 0; }},
      {"negative size", [](RectificationMaps& maps) { maps.left.size.width = maps.right.size.width = -16; }},
      {"other width",
       [](RectificationMaps& maps) {
         maps.right = identity_maps({14, 12}).left;
       }},
      {"other height",
       [](RectificationMaps& maps) {
         maps.right = identity_maps({16, 10}).left;
       }},
  };
  for (const auto& [name, damage] : cases) {
    RectificationMaps maps = identity_maps({16, 12});
    damage(maps);
    EXPECT_EQ(creation_error(maps, geometry), invalid_maps) << name;
  }
}

TEST(CpuYuvProcessorCreation, RefusesOddSizes) {
  const struct {
    Size map, source, box;
  } cases[] = {{{15, 12}, {20, 20}, {16, 12}}, {{16, 11}, {20, 20}, {16, 12}},
               {{16, 12}, {21, 20}, {16, 12}}, {{16, 12}, {20, 19}, {16, 12}},
               {{16, 12}, {20, 20}, {17, 12}}, {{16, 12}, {20, 20}, {16, 13}}};
  for (const auto& [map, source, box] : cases)
    for (const OutputLayout layout :
         {OutputLayout::mono_left, OutputLayout::full_sbs, OutputLayout::half_sbs})
      EXPECT_EQ(creation_error(identity_maps(map), {source, box, layout}), odd_sizes);
}

TEST(CpuYuvProcessorCreation, RefusesACanvasSmallerThanTheImage) {
  const RectificationMaps maps = identity_maps({16, 12});
  EXPECT_EQ(creation_error(maps, {{20, 20}, {14, 12}, OutputLayout::full_sbs}), small_canvas);
  EXPECT_EQ(creation_error(maps, {{20, 20}, {16, 10}, OutputLayout::full_sbs}), small_canvas);
}

TEST(CpuYuvProcessorCreation, ReportsTheFirstFailureInOrder) {
  RectificationMaps maps = identity_maps({15, 12});
  EXPECT_EQ(creation_error(maps, {{21, 20}, {13, 9}, OutputLayout::mono_left}), odd_sizes);
  maps.left.read = nullptr;
  EXPECT_EQ(creation_error(maps, {{21, 20}, {13, 9}, OutputLayout::mono_left}), invalid_maps);
}

class CpuYuvProcessorRules : public ::testing::Test {
 public:
  [[nodiscard]] std::string process_error(const AVFrame* left_eye, const AVFrame* right_eye,
                                          AVFrame* canvas) const {
    std::string error;
    const bool processed = processor->process(left_eye, right_eye, canvas, error);
    EXPECT_EQ(processed, error.empty());
    return error;
  }

  std::string unused_error;
  std::unique_ptr<CpuYuvProcessor> processor =
      make_processor(identity_maps({16, 12}), {{20, 18}, {20, 14}, OutputLayout::full_sbs}, unused_error);
  FramePtr left = make_frame(AV_PIX_FMT_NV12, 20, 18);
  FramePtr right = make_frame(AV_PIX_FMT_NV12, 20, 18);
  FramePtr output = make_frame(AV_PIX_FMT_YUV420P, 40, 14);
};

TEST_F(CpuYuvProcessorRules, RefusesMissingFrames) {
  EXPECT_EQ(process_error(left.get(), right.get(), output.get()), "");
  EXPECT_EQ(process_error(nullptr, right.get(), output.get()), unsupported);
  EXPECT_EQ(process_error(left.get(), nullptr, output.get()), unsupported);
  EXPECT_EQ(process_error(left.get(), right.get(), nullptr), unsupported);
}

TEST_F(CpuYuvProcessorRules, RefusesInputsOfAnotherSizeThanTheSource) {
  for (const auto& [width, height] : {std::pair{18, 18}, std::pair{20, 16}, std::pair{22, 18}}) {
    const FramePtr other = make_frame(AV_PIX_FMT_NV12, width, height);
    EXPECT_EQ(process_error(other.get(), right.get(), output.get()), unsupported);
    EXPECT_EQ(process_error(left.get(), other.get(), output.get()), unsupported);
  }
}

TEST_F(CpuYuvProcessorRules, RefusesOtherFormats) {
  for (const int format :
       {static_cast<int>(AV_PIX_FMT_NONE), static_cast<int>(AV_PIX_FMT_YUV422P),
        static_cast<int>(AV_PIX_FMT_YUV420P12LE), static_cast<int>(AV_PIX_FMT_RGB24), 100000}) {
    const FramePtr other(av_frame_clone(left.get()));
    other->format = format;
    EXPECT_EQ(process_error(other.get(), right.get(), output.get()), unsupported) << format;
    EXPECT_EQ(process_error(left.get(), other.get(), output.get()), unsupported) << format;
    const FramePtr canvas(av_frame_clone(output.get()));
    canvas->format = format;
    EXPECT_EQ(process_error(left.get(), right.get(), canvas.get()), unsupported) << format;
  }
}

TEST_F(CpuYuvProcessorRules, RefusesInputsOfDifferentLayout) {
  for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_P010LE, AV_PIX_FMT_YUV420P10LE}) {
    const FramePtr other = make_frame(format, 20, 18);
    EXPECT_EQ(process_error(left.get(), other.get(), output.get()), incompatible);
    EXPECT_EQ(process_error(other.get(), right.get(), output.get()), incompatible);
  }
}

TEST_F(CpuYuvProcessorRules, AcceptsFullAndLimitedRangePlanarInputsTogether) {
  const FramePtr limited = make_frame(AV_PIX_FMT_YUV420P, 20, 18);
  const FramePtr full = make_frame(AV_PIX_FMT_YUVJ420P, 20, 18);
  EXPECT_EQ(process_error(limited.get(), full.get(), output.get()), "");
}

TEST_F(CpuYuvProcessorRules, RefusesAnOutputOfAnotherSizeThanTheCanvas) {
  for (const auto& [width, height] : {std::pair{20, 14}, std::pair{40, 12}, std::pair{40, 28}}) {
    const FramePtr other = make_frame(AV_PIX_FMT_YUV420P, width, height);
    EXPECT_EQ(process_error(left.get(), right.get(), other.get()), incompatible);
  }
}

TEST_F(CpuYuvProcessorRules, ReportsTheFormatBeforeTheSizeOfTheOutput) {
  const FramePtr planar = make_frame(AV_PIX_FMT_YUV420P, 20, 18);
  const FramePtr small = make_frame(AV_PIX_FMT_YUV420P, 20, 14);
  small->format = AV_PIX_FMT_YUV444P;
  EXPECT_EQ(process_error(left.get(), planar.get(), small.get()), unsupported);
}

TEST_F(CpuYuvProcessorRules, ReportsAnOutputThatCannotBeMadeWritable) {
  // Another holder forces a copy, for which FFmpeg gets no memory.
  const FramePtr held(av_frame_clone(output.get()));
  std::string error;
  {
    const AllocationLimit shortage(no_memory);
    error = process_error(left.get(), right.get(), output.get());
  }
  EXPECT_EQ(error, "could not make the CPU YUV encoder frame writable");
}

TEST_F(CpuYuvProcessorRules, LeavesAnotherHolderOfTheOutputUntouched) {
  const FramePtr held(av_frame_clone(output.get()));
  fill_constant(*left, 200, 90, 30);
  ASSERT_EQ(process_error(left.get(), right.get(), output.get()), "");
  EXPECT_NE(held->data[0], output->data[0]);
  EXPECT_EQ(get_sample(*held, Channel::y, 8, 8), 0);
  EXPECT_EQ(get_sample(*output, Channel::y, 8, 8), 200);
}

TEST_F(CpuYuvProcessorRules, TakesTheChromaLocationFromTheLeftInput) {
  left->chroma_location = AVCHROMA_LOC_TOPLEFT;
  right->chroma_location = AVCHROMA_LOC_CENTER;
  output->chroma_location = AVCHROMA_LOC_LEFT;
  ASSERT_EQ(process_error(left.get(), right.get(), output.get()), "");
  EXPECT_EQ(output->chroma_location, AVCHROMA_LOC_TOPLEFT);
}

}  // namespace
}  // namespace veyrin::test
