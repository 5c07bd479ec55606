#include "spatial/direct_spatial.h"
#include "tests/support/captured_output.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace veyrin::test {
namespace {

DirectSpatialRequest plain_request() {
  DirectSpatialRequest request;
  request.input = "clip.mp4";
  request.output = "out/clip.mov";
  request.geometry = {.left_width = 1920,
                      .right_width = 1920,
                      .left_focal_length = 960,
                      .right_focal_length = 960,
                      .translation = {0.064F, 0.0F, 0.0F}};
  request.eye = {1280, 960};
  request.frame_rate = {30000, 1001};
  return request;
}

SpatialWriterConfig planned(const DirectSpatialRequest& request, const ConversionOptions& options = {}) {
  SpatialWriterConfig config;
  std::string error;
  EXPECT_TRUE(plan_direct_spatial(request, options, config, error)) << error;
  EXPECT_EQ(error, "");
  return config;
}

TEST(CameraDistance, IsTheLengthOfTheTranslationInMillimetres) {
  struct DistanceCase {
    std::array<float, 3> translation;
    double millimetres;
  };
  for (const DistanceCase& c : {
           DistanceCase{{0.064F, 0.0F, 0.0F}, 64.0},
           DistanceCase{{-0.064F, 0.0F, 0.0F}, 64.0},
           DistanceCase{{0.03F, 0.04F, 0.0F}, 50.0},
           DistanceCase{{0.02F, -0.03F, 0.06F}, 70.0},
           DistanceCase{{0.0F, 0.0F, 0.0F}, 0.0},
       }) {
    EXPECT_NEAR(camera_distance_mm({.translation = c.translation}), c.millimetres, 1e-5);
  }
}

TEST(HorizontalFieldOfView, IsThatOfTheMeanEye) {
  struct ViewCase {
    int left_width, right_width;
    double left_focal_length, right_focal_length;
    double degrees;
  };
  for (const ViewCase& c : {
           ViewCase{1920, 1920, 960, 960, 90.0},
           ViewCase{960, 960, 480, 480, 90.0},
           ViewCase{2000, 1840, 1000, 920, 90.0},
           ViewCase{1001, 1000, 500.25, 500.25, 90.0},
           ViewCase{1000, 1000, 500 * std::sqrt(3.0), 500 * std::sqrt(3.0), 60.0},
           ViewCase{1000, 1000, 500 / std::sqrt(3.0), 500 / std::sqrt(3.0), 120.0},
           ViewCase{640, 640, 0, 0, 180.0},
       }) {
    const RectifiedStereoGeometry geometry{c.left_width, c.right_width, c.left_focal_length,
                                           c.right_focal_length};
    EXPECT_NEAR(horizontal_field_of_view_degrees(geometry), c.degrees, 1e-9)
        << c.left_width << ' ' << c.left_focal_length;
  }
}

TEST(DirectSpatialPlan, TakesEverythingOver) {
  AVCodecParameters sound{};
  AVStream audio{};
  audio.codecpar = &sound;
  audio.time_base = {1, 48000};
  DirectSpatialRequest request = plain_request();
  request.source_audio = &audio;
  ConversionOptions options;
  options.start = 1.5;
  options.duration = 2.5;

  const SpatialWriterConfig config = planned(request, options);
  EXPECT_EQ(config.companion_path, "clip.mp4");
  EXPECT_EQ(config.output_path, "out/clip.mov");
  EXPECT_EQ(config.width, 1280U);
  EXPECT_EQ(config.height, 960U);
  EXPECT_EQ(av_cmp_q(config.frame_rate, {30000, 1001}), 0);
  EXPECT_EQ(config.bit_rate, 55'000'000);
  EXPECT_NEAR(config.camera_distance_mm, 64.0, 1e-5);
  EXPECT_NEAR(config.horizontal_field_of_view_degrees, 90.0, 1e-9);
  EXPECT_EQ(config.start_seconds, 1.5);
  EXPECT_EQ(config.duration_seconds, 2.5);
  EXPECT_EQ(config.audio_parameters, &sound);
  EXPECT_EQ(av_cmp_q(config.audio_time_base, {1, 48000}), 0);
  EXPECT_FALSE(config.ten_bit);
}

TEST(DirectSpatialPlan, HasNoSoundWithoutASource) {
  EXPECT_EQ(planned(plain_request()).audio_parameters, nullptr);
}

struct DepthCase {
  bool hdr;
  std::int64_t bit_rate;
  ColorTags colors;
};

TEST(DirectSpatialPlan, DepthDecidesRateColorsAndFormat) {
  ConversionOptions options;
  options.sdr_bitrate = "2.5g";
  options.hdr_bitrate = "64k";
  for (const DepthCase& c :
       {DepthCase{
            false, 2'500'000'000, {AVCOL_PRI_BT709, AVCOL_TRC_BT709, AVCOL_SPC_BT709, AVCOL_RANGE_JPEG}},
        DepthCase{true,
                  64'000,
                  {AVCOL_PRI_BT2020, AVCOL_TRC_ARIB_STD_B67, AVCOL_SPC_BT2020_NCL, AVCOL_RANGE_JPEG}}}) {
    DirectSpatialRequest request = plain_request();
    request.geometry.hdr = c.hdr;
    const SpatialWriterConfig config = planned(request, options);
    EXPECT_EQ(config.bit_rate, c.bit_rate);
    EXPECT_EQ(config.ten_bit, c.hdr);
    EXPECT_EQ(config.colors, c.colors);
  }
}

TEST(DirectSpatialPlan, KeepsColorsThatAreSpecified) {
  DirectSpatialRequest request = plain_request();
  request.input_colors = {AVCOL_PRI_SMPTE170M, AVCOL_TRC_SMPTE170M, AVCOL_SPC_SMPTE170M, AVCOL_RANGE_MPEG};
  EXPECT_EQ(planned(request).colors, request.input_colors);
}

TEST(DirectSpatialPlan, LooksOnlyAtTheRateOfItsDepth) {
  ConversionOptions options;
  options.sdr_bitrate = "55MB";
  options.hdr_bitrate = "";
  DirectSpatialRequest request = plain_request();
  SpatialWriterConfig config;
  std::string error;
  EXPECT_FALSE(plan_direct_spatial(request, options, config, error));
  EXPECT_EQ(error, "invalid spatial bitrate: 55MB");
  request.geometry.hdr = true;
  EXPECT_FALSE(plan_direct_spatial(request, options, config, error));
  EXPECT_EQ(error, "spatial bitrate cannot be empty");
  options.hdr_bitrate = "1M";
  EXPECT_TRUE(plan_direct_spatial(request, options, config, error));
}

TEST(DirectSpatial, RefusedBitRateReportsNoGeometry) {
  ConversionOptions options;
  options.sdr_bitrate = "0";
  std::string error;
  capture_output();
  EXPECT_EQ(create_direct_spatial(plain_request(), options, error), nullptr);
  EXPECT_EQ(captured_output(), "");
  EXPECT_EQ(error, "spatial bitrate is out of range: 0");
}

TEST(DirectSpatial, ReportsItsGeometryBeforeTheEncoderIsOpened) {
  DirectSpatialRequest request = plain_request();
  // No encoder takes pictures without a size, so the outcome is the same on every machine.
  request.eye = {0, 0};
  std::string error;
  capture_output();
  EXPECT_EQ(create_direct_spatial(request, {}, error), nullptr);
  EXPECT_EQ(captured_output(),
            "Creating direct spatial output with cdist=64.000 mm, hfov=90.000 deg\n");
  EXPECT_NE(error, "");
}

}  // namespace
}  // namespace veyrin::test
