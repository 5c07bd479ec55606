#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <variant>

#include "convert/movie_outputs.h"
#include "tests/support/captured_output.h"
#include "tests/support/temporary_folder.h"

namespace veyrin::test {
namespace {

ConversionPlan plain_plan() {
  ConversionPlan plan;
  plan.files.input = "clip.mp4";
  plan.files.output = "out/clip.mov";
  plan.picture.eye_box = {1280, 960};
  plan.picture.rate = {30000, 1001};
  plan.movie = SpatialMoviePlan{.geometry = {.left_width = 1920,
                                             .right_width = 1920,
                                             .left_focal_length = 960,
                                             .right_focal_length = 960,
                                             .translation = {0.064F, 0.0F, 0.0F}},
                                .bitrate = "55M"};
  return plan;
}

SpatialWriterConfig config_of(const ConversionPlan& plan, const AVStream* audio = nullptr) {
  std::string error;
  const auto config = spatial_writer_config(plan, audio, error);
  EXPECT_TRUE(config.has_value()) << error;
  EXPECT_EQ(error, "");
  return config.value_or(SpatialWriterConfig{});
}

/// Opens a silent movie in a folder that is gone afterwards.
std::unique_ptr<MovieSink> open_movie(const ConversionPlan& plan, std::string& error) {
  const TemporaryFolder folder;
  const auto claim = OutputClaim::create(folder / "clip.mov", /*overwrite=*/false, error);
  return create_spatial_output(plan)->open_movie({/*audio=*/nullptr, *claim, BatchFiles()}, error);
}

TEST(SpatialWriterConfig, TakesEverythingOver) {
  AVCodecParameters sound{};
  AVStream audio{};
  audio.codecpar = &sound;
  audio.time_base = {1, 48000};
  ConversionPlan plan = plain_plan();
  plan.timing.range = {1.5, 2.5};

  const SpatialWriterConfig config = config_of(plan, &audio);
  EXPECT_EQ(config.companion_path, "clip.mp4");
  EXPECT_EQ(config.output_path, "out/clip.mov");
  EXPECT_EQ(config.eye, (Size{1280, 960}));
  EXPECT_EQ(av_cmp_q(config.frame_rate, {30000, 1001}), 0);
  EXPECT_EQ(config.bit_rate, 55'000'000);
  EXPECT_NEAR(config.camera_distance_mm, 64.0, 1e-5);
  EXPECT_NEAR(config.horizontal_field_of_view_degrees, 90.0, 1e-9);
  EXPECT_EQ(config.range.start, 1.5);
  EXPECT_EQ(config.range.duration, 2.5);
  EXPECT_EQ(config.audio_parameters, &sound);
  EXPECT_EQ(av_cmp_q(config.audio_time_base, {1, 48000}), 0);
  EXPECT_EQ(config.depth, BitDepth::eight);
}

TEST(SpatialWriterConfig, HasNoSoundWithoutASource) {
  EXPECT_EQ(config_of(plain_plan()).audio_parameters, nullptr);
}

TEST(SpatialWriterConfig, DepthDecidesColors) {
  ConversionPlan plan = plain_plan();
  EXPECT_EQ(config_of(plan).colors,
            (ColorTags{AVCOL_PRI_BT709, AVCOL_TRC_BT709, AVCOL_SPC_BT709, AVCOL_RANGE_JPEG}));
  plan.picture.depth = BitDepth::ten;
  EXPECT_EQ(config_of(plan).depth, BitDepth::ten);
  EXPECT_EQ(config_of(plan).colors,
            (ColorTags{AVCOL_PRI_BT2020, AVCOL_TRC_ARIB_STD_B67, AVCOL_SPC_BT2020_NCL, AVCOL_RANGE_JPEG}));
}

TEST(SpatialWriterConfig, KeepsColorsThatAreSpecified) {
  ConversionPlan plan = plain_plan();
  plan.picture.input_colors = {AVCOL_PRI_SMPTE170M, AVCOL_TRC_SMPTE170M, AVCOL_SPC_SMPTE170M,
                               AVCOL_RANGE_MPEG};
  EXPECT_EQ(config_of(plan).colors, plan.picture.input_colors);
}

TEST(SpatialWriterConfig, ReadsBitRatesAsSpatialMoviesDo) {
  struct RateCase {
    const char* text;
    std::int64_t rate;
    const char* error;
  };
  for (const RateCase& c : {RateCase{"2.5g", 2'500'000'000, ""}, RateCase{"64k", 64'000, ""},
                            RateCase{"55MB", 0, "invalid spatial bitrate: 55MB"},
                            RateCase{"", 0, "spatial bitrate cannot be empty"}}) {
    ConversionPlan plan = plain_plan();
    std::get<SpatialMoviePlan>(plan.movie).bitrate = c.text;
    std::string error;
    const auto config = spatial_writer_config(plan, /*audio=*/nullptr, error);
    EXPECT_EQ(config ? config->bit_rate : 0, c.rate) << c.text;
    EXPECT_EQ(error, c.error);
  }
}

TEST(SpatialOutput, RefusedBitRateReportsNoGeometry) {
  ConversionPlan plan = plain_plan();
  std::get<SpatialMoviePlan>(plan.movie).bitrate = "0";
  std::string error;
  capture_output();
  EXPECT_EQ(open_movie(plan, error), nullptr);
  EXPECT_EQ(captured_output(), "");
  EXPECT_EQ(error, "spatial bitrate is out of range: 0");
}

TEST(SpatialOutput, RefusesAGeometryThatNoPlayerCanUse) {
  constexpr double none = std::numeric_limits<double>::quiet_NaN();
  constexpr double endless = std::numeric_limits<double>::infinity();
  constexpr std::int32_t largest = std::numeric_limits<std::int32_t>::max();
  const std::string view = "could not derive a field of view between 0 and 180 degrees from the calibration";
  const std::string distance = "could not derive the distance of the lenses from the calibration";
  struct GeometryCase {
    std::int32_t width;
    double focal_length;
    float translation;
    const std::string& error;
  };
  for (const GeometryCase& c :
       {GeometryCase{1920, 0.0, 0.064F, view}, GeometryCase{1920, -960.0, 0.064F, view},
        GeometryCase{1920, none, 0.064F, view}, GeometryCase{1920, endless, 0.064F, view},
        GeometryCase{1920, 1e300, 0.064F, view}, GeometryCase{largest, 1.0, 0.064F, view},
        GeometryCase{1920, 3e8, 0.064F, view}, GeometryCase{0, 960.0, 0.064F, view},
        GeometryCase{1920, 960.0, static_cast<float>(endless), distance},
        GeometryCase{1920, 960.0, static_cast<float>(none), distance},
        GeometryCase{1920, 960.0, 1e30F, distance}}) {
    ConversionPlan plan = plain_plan();
    std::get<SpatialMoviePlan>(plan.movie).geometry = {.left_width = c.width,
                                                       .right_width = c.width,
                                                       .left_focal_length = c.focal_length,
                                                       .right_focal_length = c.focal_length,
                                                       .translation = {c.translation, 0.0F, 0.0F}};
    std::string error;
    capture_output();
    EXPECT_EQ(open_movie(plan, error), nullptr);
    EXPECT_EQ(captured_output(), "");
    EXPECT_EQ(error, c.error) << c.width << ' ' << c.focal_length << ' ' << c.translation;
  }
}

TEST(SpatialOutput, ReportsItsGeometryBeforeTheEncoderIsOpened) {
  ConversionPlan plan = plain_plan();
  // No encoder takes pictures this small, so the outcome is the same on every machine.
  plan.picture.eye_box = {2, 2};
  std::string error;
  capture_output();
  EXPECT_EQ(open_movie(plan, error), nullptr);
  EXPECT_EQ(captured_output(), "Creating direct spatial output with cdist=64.000 mm, hfov=90.000 deg\n");
  EXPECT_NE(error, "");
}

TEST(SpatialOutput, ShowsOneEyeOnEachOfTwoCanvases) {
  const auto output = create_spatial_output(plain_plan());
  EXPECT_EQ(output->layouts(), (std::vector{OutputLayout::mono_left, OutputLayout::mono_right}));
}

}  // namespace
}  // namespace veyrin::test
