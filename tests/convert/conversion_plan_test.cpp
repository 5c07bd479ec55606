#include "convert/conversion_plan.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <ostream>
#include <string>
#include <string_view>

extern "C" {
#include <libavformat/avformat.h>
}

namespace veyrin {

// In the type's own namespace, where GoogleTest looks for it.
static std::ostream& operator<<(std::ostream& out, Size size) {
  return out << size.width << "x" << size.height;
}

}  // namespace veyrin

namespace veyrin::test {
namespace {

TEST(RequestedEyeSize, TakesFromTheNativeSizeWhatIsLeftOpen) {
  ConversionOptions options;
  EXPECT_EQ(requested_eye_size(options, {1920, 1080}), (Size{1920, 1080}));
  options.eye_width = 640;
  EXPECT_EQ(requested_eye_size(options, {1920, 1080}), (Size{640, 1080}));
  options.eye_height = 480;
  EXPECT_EQ(requested_eye_size(options, {1920, 1080}), (Size{640, 480}));
  options.eye_width.reset();
  EXPECT_EQ(requested_eye_size(options, {1920, 1080}), (Size{1920, 480}));
}

struct CanvasCase {
  Size eye;
  Size padded_4x3;
  Size padded_16x9;
};

const CanvasCase canvas_cases[] = {
    {{1920, 1080}, {1920, 1440}, {1920, 1080}},
    {{1000, 1000}, {1336, 1002}, {1792, 1008}},
    {{1920, 1920}, {2560, 1920}, {3424, 1926}},
    {{3840, 3840}, {5120, 3840}, {6848, 3852}},
    {{640, 480}, {640, 480}, {864, 486}},
    {{641, 480}, {648, 486}, {864, 486}},  // a quarter of 641 rounds up to 161, which is odd
    {{640, 481}, {648, 486}, {864, 486}},
    {{16, 9}, {16, 12}, {32, 18}},  // a unit of 1 is odd
    {{4, 3}, {8, 6}, {32, 18}},
    {{1, 1}, {8, 6}, {32, 18}},
    {{8, 6}, {8, 6}, {32, 18}},
    {{9, 6}, {16, 12}, {32, 18}},  // 3 units would do but are odd
    {{1080, 1920}, {2560, 1920}, {3424, 1926}},
};

TEST(PaddedEyeSize, IsTheSmallestCanvasWithAnEvenUnit) {
  for (const CanvasCase& c : canvas_cases) {
    EXPECT_EQ(padded_eye_size(c.eye, AspectPadding::none), c.eye);
    EXPECT_EQ(padded_eye_size(c.eye, AspectPadding::ratio_4x3), c.padded_4x3) << c.eye;
    EXPECT_EQ(padded_eye_size(c.eye, AspectPadding::ratio_16x9), c.padded_16x9) << c.eye;
  }
}

TEST(PaddedEyeSize, StaysAtTheLargestIntegerInsteadOfWrappingRound) {
  constexpr std::int32_t largest = std::numeric_limits<std::int32_t>::max();
  EXPECT_EQ(padded_eye_size({largest, 1}, AspectPadding::ratio_4x3), (Size{largest, 1610612736}));
  EXPECT_EQ(padded_eye_size({1, largest}, AspectPadding::ratio_16x9), (Size{largest, largest}));
}

/// The smallest even unit by trying them all.
Size smallest_canvas(Size eye, int ratio_width, int ratio_height) {
  int unit = 2;
  while (ratio_width * unit < eye.width || ratio_height * unit < eye.height) unit += 2;
  return {ratio_width * unit, ratio_height * unit};
}

TEST(PaddedEyeSize, AgreesWithASearchOverAllUnits) {
  for (int width = 1; width <= 130; ++width) {
    for (int height = 1; height <= 130; ++height) {
      const Size eye{width, height};
      ASSERT_EQ(padded_eye_size(eye, AspectPadding::ratio_4x3), smallest_canvas(eye, 4, 3)) << eye;
      ASSERT_EQ(padded_eye_size(eye, AspectPadding::ratio_16x9), smallest_canvas(eye, 16, 9)) << eye;
    }
  }
}

struct PlannedCase {
  OutputFormat format;
  SbsMode mode;
  AspectPadding padding;
  Size eye;
  Size movie;
};

TEST(PlannedMovieSize, IsTheCanvasOfEveryFormatPackingAndPadding) {
  using enum AspectPadding;
  for (const PlannedCase& c : {
           PlannedCase{OutputFormat::sbs, SbsMode::full, ratio_4x3, {1920, 1080}, {3840, 1440}},
           PlannedCase{OutputFormat::sbs, SbsMode::half, ratio_4x3, {1920, 1080}, {1920, 1440}},
           PlannedCase{OutputFormat::mono, SbsMode::full, ratio_4x3, {1920, 1080}, {1920, 1440}},
           PlannedCase{OutputFormat::mono, SbsMode::half, none, {1920, 1080}, {1920, 1080}},
           PlannedCase{OutputFormat::spatial, SbsMode::full, none, {1920, 1080}, {1920, 1080}},
           PlannedCase{OutputFormat::spatial, SbsMode::full, ratio_16x9, {1000, 1000}, {1792, 1008}},
           PlannedCase{OutputFormat::sbs, SbsMode::full, none, {641, 479}, {1282, 479}},
           PlannedCase{OutputFormat::sbs, SbsMode::full, ratio_16x9, {1000, 1000}, {3584, 1008}},
       }) {
    ConversionOptions options;
    options.output_format = c.format;
    options.sbs_mode = c.mode;
    options.sbs_aspect_ratio_padding = c.padding;
    const Size movie = planned_movie_size(options, c.eye);
    EXPECT_EQ(movie, c.movie) << static_cast<int>(c.format) << " " << movie.width << "x" << movie.height;
  }
}

TEST(PlannedMovieSize, StaysAtTheLargestIntegerInsteadOfWrappingRound) {
  constexpr std::int32_t largest = std::numeric_limits<std::int32_t>::max();
  EXPECT_EQ(planned_movie_size({}, {largest, 1}), (Size{largest, 1}));
}

class Plan : public testing::Test {
 protected:
  Plan() {
    job_.input = "clips/clip.mp4";
    job_.output = "out/clip.mp4";
    CameraIntrinsics& left = metadata_.raw_calibration.left_intrinsics;
    CameraIntrinsics& right = metadata_.raw_calibration.right_intrinsics;
    left.width = right.width = 1920;
    left.height = right.height = 1080;
    left.fx = right.fx = 960.0;
    metadata_.raw_calibration.stereo_extrinsic.position = {0.064F, 0.0F, 0.0F};
    metadata_.duration_seconds = 20.0;
    facts_.rate = {30000, 1001};
  }

  [[nodiscard]] ConversionPlan made() const {
    return make_conversion_plan(job_, metadata_, options_, facts_);
  }
  [[nodiscard]] CanvasMoviePlan canvas_movie() const { return std::get<CanvasMoviePlan>(made().movie); }

  ConversionJob job_;
  RecordingMetadata metadata_;
  ConversionOptions options_;
  InputFacts facts_;
};

TEST_F(Plan, TakesFilesAndWishesOver) {
  options_.overwrite = options_.software = true;
  facts_.has_audio = true;
  const ConversionPlan plan = made();
  EXPECT_EQ(plan.files.input, "clips/clip.mp4");
  EXPECT_EQ(plan.files.output, "out/clip.mp4");
  EXPECT_TRUE(plan.files.overwrite);
  EXPECT_TRUE(plan.files.has_audio);
  EXPECT_TRUE(plan.software);
}

TEST_F(Plan, SettlesSizesDepthAndColors) {
  options_.eye_width = 1280;
  options_.sbs_aspect_ratio_padding = AspectPadding::ratio_4x3;
  facts_.depth = BitDepth::ten;
  facts_.colors.primaries = AVCOL_PRI_SMPTE432;
  const PicturePlan picture = made().picture;
  EXPECT_EQ(picture.eye, (Size{1280, 1080}));
  EXPECT_EQ(picture.eye_box, (Size{1440, 1080}));
  EXPECT_EQ(picture.depth, BitDepth::ten);
  EXPECT_EQ(picture.input_colors, facts_.colors);
}

TEST_F(Plan, WritesAtTheRecordingsRateUnlessAnotherIsWanted) {
  EXPECT_EQ(av_cmp_q(made().timing.output_rate, {30000, 1001}), 0);
  options_.output_fps = 23.976;
  const ConversionPlan plan = made();
  EXPECT_EQ(av_cmp_q(plan.timing.output_rate, {2997, 125}), 0);
  EXPECT_EQ(av_cmp_q(plan.picture.rate, plan.timing.output_rate), 0);
  EXPECT_EQ(av_cmp_q(plan.timing.input_rate, {30000, 1001}), 0);
}

TEST_F(Plan, KnowsHowMuchOfTheRecordingIsWanted) {
  options_.start = 15.0;
  options_.duration = 10.0;
  const TimingPlan timing = made().timing;
  EXPECT_EQ(timing.range.start, 15.0);
  EXPECT_EQ(timing.range.duration, 10.0);
  EXPECT_DOUBLE_EQ(timing.span_seconds, 5.0);
}

TEST_F(Plan, TheDepthChoosesTheBitrate) {
  options_.sdr_bitrate = "1M";
  options_.hdr_bitrate = "2M";
  EXPECT_EQ(canvas_movie().bitrate, "1M");
  options_.output_format = OutputFormat::spatial;
  EXPECT_EQ(std::get<SpatialMoviePlan>(made().movie).bitrate, "1M");
  facts_.depth = BitDepth::ten;
  EXPECT_EQ(std::get<SpatialMoviePlan>(made().movie).bitrate, "2M");
  options_.output_format = OutputFormat::sbs;
  EXPECT_EQ(canvas_movie().bitrate, "2M");
}

TEST_F(Plan, LayoutFollowsFormatModeAndEye) {
  EXPECT_EQ(canvas_movie().layout, OutputLayout::full_sbs);
  options_.sbs_mode = SbsMode::half;
  EXPECT_EQ(canvas_movie().layout, OutputLayout::half_sbs);
  options_.output_format = OutputFormat::mono;
  EXPECT_EQ(canvas_movie().layout, OutputLayout::mono_right) << "the default eye";
  options_.mono_eye = MonoEye::left;
  EXPECT_EQ(canvas_movie().layout, OutputLayout::mono_left);
}

TEST_F(Plan, ContainerIsTheNamesWhereItHoldsTheCodec) {
  EXPECT_STREQ(canvas_movie().container->name, "mp4");
  job_.output = "out/clip.mov";
  EXPECT_STREQ(canvas_movie().container->name, "mov");
  job_.output = "out/clip.unknown";
  EXPECT_STREQ(canvas_movie().container->name, "mp4");
  options_.sbs_codec = SbsCodec::prores;
  EXPECT_STREQ(canvas_movie().container->name, "mov");
}

TEST_F(Plan, OnlySideBySideMoviesAreDescribedAsStereo) {
  struct StereoCase {
    SpatialMetadataKind kind;
    bool st3d, sei;
  };
  for (const StereoCase& c :
       {StereoCase{SpatialMetadataKind::st3d, true, false}, StereoCase{SpatialMetadataKind::sei, false, true},
        StereoCase{SpatialMetadataKind::both, true, true}}) {
    options_.sbs_spatial_metadata = c.kind;
    options_.output_format = OutputFormat::sbs;
    EXPECT_EQ(canvas_movie().st3d, c.st3d);
    EXPECT_EQ(canvas_movie().frame_packing_sei, c.sei);
    options_.output_format = OutputFormat::mono;
    EXPECT_FALSE(canvas_movie().st3d);
    EXPECT_FALSE(canvas_movie().frame_packing_sei);
  }
}

TEST_F(Plan, SpatialMoviesKnowTheirCameras) {
  options_.output_format = OutputFormat::spatial;
  options_.eye_width = 640;
  const auto geometry = std::get<SpatialMoviePlan>(made().movie).geometry;
  EXPECT_EQ(geometry.left_width, 1920) << "of the recording, whatever size is written";
  EXPECT_EQ(geometry.right_width, 1920);
  EXPECT_EQ(geometry.left_focal_length, 960.0);
  EXPECT_EQ(geometry.right_focal_length, 960.0);
  EXPECT_EQ(geometry.translation, (std::array<float, 3>{0.064F, 0.0F, 0.0F}));
}

}  // namespace
}  // namespace veyrin::test
