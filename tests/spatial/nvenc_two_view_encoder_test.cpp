#include "spatial/nvenc_two_view_encoder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "tests/spatial/fake_encoder.h"
#include "tests/support/allocation_limit.h"

namespace veyrin::test {
namespace {

using testing::ElementsAre;

SpatialWriterConfig plain_config() {
  SpatialWriterConfig config;
  config.eye = {640, 480};
  config.frame_rate = {30000, 1001};
  config.bit_rate = 55'000'000;
  config.camera_distance_mm = 64.0;
  config.horizontal_field_of_view_degrees = 90.0;
  config.colors = {AVCOL_PRI_BT709, AVCOL_TRC_IEC61966_2_1, AVCOL_SPC_SMPTE170M, AVCOL_RANGE_JPEG};
  return config;
}

CodecContextPtr opened(FakeEncoder& encoder, const SpatialWriterConfig& config) {
  std::string error;
  CodecContextPtr context = open_spatial_encoder(config, encoder.calls(), error);
  EXPECT_NE(context, nullptr) << error;
  EXPECT_EQ(error, "");
  return context;
}

TEST(SpatialEncoder, IsConfiguredBeforeItIsOpened) {
  FakeEncoder encoder;
  const CodecContextPtr context = opened(encoder, plain_config());
  EXPECT_THAT(encoder.asked_names, ElementsAre("hevc_nvenc"));
  EXPECT_EQ(encoder.opened, 1);
  EXPECT_TRUE(encoder.was_configured_at_open);
  EXPECT_EQ(context->width, 640);
  EXPECT_EQ(context->height, 480);
  EXPECT_EQ(context->pix_fmt, AV_PIX_FMT_NV12);
  EXPECT_EQ(context->framerate.num, 30000);
  EXPECT_EQ(context->framerate.den, 1001);
  EXPECT_EQ(context->time_base.num, 1001);
  EXPECT_EQ(context->time_base.den, 30000);
  EXPECT_EQ(context->gop_size, 58);
  EXPECT_EQ(context->bit_rate, 55'000'000);
  EXPECT_EQ(context->color_primaries, AVCOL_PRI_BT709);
  EXPECT_EQ(context->color_trc, AVCOL_TRC_IEC61966_2_1);
  EXPECT_EQ(context->colorspace, AVCOL_SPC_SMPTE170M);
  EXPECT_EQ(context->color_range, AVCOL_RANGE_JPEG);
  EXPECT_EQ(context->chroma_sample_location, AVCHROMA_LOC_LEFT);
  EXPECT_EQ(context->field_order, AV_FIELD_PROGRESSIVE);
  EXPECT_NE(context->flags & AV_CODEC_FLAG_GLOBAL_HEADER, 0);
  EXPECT_EQ(context->nb_decoded_side_data, 3);
}

TEST(SpatialEncoder, SetsItsPrivateOptionsInOrder) {
  FakeEncoder encoder;
  opened(encoder, plain_config());
  EXPECT_THAT(encoder.options, ElementsAre("profile=mv", "preset=p4", "tune=hq", "tier=main"));
}

TEST(SpatialEncoder, TenBitTakesP010) {
  SpatialWriterConfig config = plain_config();
  config.depth = BitDepth::ten;
  FakeEncoder encoder;
  EXPECT_EQ(opened(encoder, config)->pix_fmt, AV_PIX_FMT_P010LE);
}

TEST(SpatialEncoder, NoticeIsForTenBitsWithoutTheChangeOnly) {
  EXPECT_STREQ(two_view_depth_notice(BitDepth::ten, /*changed=*/false),
               "  two_view_10_bit: these FFmpeg libraries lack the change for two views in 10 bits; "
               "NVENC may refuse them");
  EXPECT_EQ(two_view_depth_notice(BitDepth::ten, /*changed=*/true), nullptr);
  EXPECT_EQ(two_view_depth_notice(BitDepth::eight, /*changed=*/false), nullptr);
  EXPECT_EQ(two_view_depth_notice(BitDepth::eight, /*changed=*/true), nullptr);
}

TEST(SpatialEncoder, SlowRatesHaveShortGroupsWithoutBFrames) {
  struct GroupCase {
    FrameRate rate;
    int gop_size;  // 0: key pictures alone, groups of one
  };
  for (const GroupCase& c :
       {GroupCase{{1, 2}, 0}, GroupCase{{1, 1}, 2}, GroupCase{{3, 2}, 2}, GroupCase{{2, 1}, 4}}) {
    SpatialWriterConfig config = plain_config();
    config.frame_rate = c.rate;
    FakeEncoder encoder;
    const CodecContextPtr context = opened(encoder, config);
    EXPECT_EQ(context->gop_size, c.gop_size) << c.rate.num << '/' << c.rate.den;
    EXPECT_EQ(context->max_b_frames, 0) << c.rate.num << '/' << c.rate.den;
    EXPECT_EQ(av_cmp_q(context->time_base, av_inv_q(c.rate)), 0);
  }
}

TEST(SpatialEncoder, OtherRatesLeaveTheBFramesToTheDriver) {
  FakeEncoder encoder;
  EXPECT_LT(opened(encoder, plain_config())->max_b_frames, 0);
}

TEST(SpatialEncoder, SequenceHeaderEndsWithTheReferenceDisplays) {
  FakeEncoder encoder;
  const CodecContextPtr context = opened(encoder, plain_config());
  const std::string header(reinterpret_cast<const char*>(context->extradata),
                           static_cast<std::size_t>(context->extradata_size));
  using namespace std::string_literals;
  EXPECT_EQ(header, encoder.headers + "\x00\x00\x00\x01\x4E\x01\xB0\x04\x04\x0D\x00\x20\x80"s);
}

TEST(SpatialEncoder, SequenceHeaderWithoutBothViewsIsRefused) {
  FakeEncoder encoder;
  encoder.headers = stream_of({two_view_sets()[0], two_view_sets()[1], two_view_sets()[2]});
  std::string error;
  EXPECT_EQ(open_spatial_encoder(plain_config(), encoder.calls(), error), nullptr);
  EXPECT_EQ(error,
            "NVENC produced an MV-HEVC sequence header without the sequence parameter set of the right view");
  encoder.headers = "";
  error.clear();
  EXPECT_EQ(open_spatial_encoder(plain_config(), encoder.calls(), error), nullptr);
  EXPECT_EQ(error, "NVENC produced an MV-HEVC sequence header without the video parameter set");
}

TEST(SpatialEncoder, OnlyProfileAndTierMustBeAccepted) {
  FakeEncoder encoder;
  encoder.option_results = {{"preset", AVERROR_OPTION_NOT_FOUND}, {"tune", AVERROR(EINVAL)}};
  opened(encoder, plain_config());
}

struct RefusalCase {
  const char* name;
  bool ten_bit;
  void (*prepare)(FakeEncoder&);
  const char* error;
  int opened;
};

TEST(SpatialEncoder, SaysWhatIsMissing) {
  for (const RefusalCase& c : {
           RefusalCase{"no encoder", false, [](FakeEncoder& e) { e.missing = true; },
                       "this FFmpeg build does not include the hevc_nvenc encoder needed for Windows MV-HEVC "
                       "output",
                       0},
           RefusalCase{"no profile", false,
                       [](FakeEncoder& e) {
                         e.option_results = {{"profile", AVERROR(EINVAL)}};
                       },
                       "FFmpeg hevc_nvenc does not expose MV-HEVC support: Invalid argument", 0},
           RefusalCase{"no tier", false,
                       [](FakeEncoder& e) {
                         e.option_results = {{"tier", AVERROR_OPTION_NOT_FOUND}};
                       },
                       "could not force Main-tier NVENC MV-HEVC: Option not found", 0},
           RefusalCase{
               "no driver", false, [](FakeEncoder& e) { e.open_result = AVERROR(ENOSYS); },
               "could not start NVENC MV-HEVC; this requires Video Codec SDK 13 and compatible NVIDIA "
               "hardware/drivers: Function not implemented",
               1},
           RefusalCase{"no driver for 10 bits", true,
                       [](FakeEncoder& e) { e.open_result = AVERROR_EXTERNAL; },
                       "could not start 10-bit NVENC MV-HEVC; this requires the FFmpeg Main10 MV-HEVC patch, "
                       "Video Codec SDK 13, and compatible NVIDIA hardware/drivers: Generic error in an "
                       "external library",
                       1},
       }) {
    FakeEncoder encoder;
    c.prepare(encoder);
    SpatialWriterConfig config = plain_config();
    config.depth = c.ten_bit ? BitDepth::ten : BitDepth::eight;
    std::string error;
    EXPECT_EQ(open_spatial_encoder(config, encoder.calls(), error), nullptr) << c.name;
    EXPECT_EQ(error, c.error);
    EXPECT_EQ(encoder.opened, c.opened) << c.name;
  }
}

TEST(SpatialEncoder, SaysWhatThereIsNoMemoryFor) {
  struct ShortageCase {
    bool before_context;
    const char* error;
  };
  for (const ShortageCase& c : {ShortageCase{true, "could not allocate the NVENC MV-HEVC encoder"},
                                ShortageCase{false, "could not extend MV-HEVC sequence-header metadata"}}) {
    FakeEncoder encoder;
    SpatialEncoderCalls calls = encoder.calls();
    std::optional<test::AllocationLimit> shortage;
    calls.find = [&](const char* name) {
      if (c.before_context) shortage.emplace(test::no_memory);
      return encoder.calls().find(name);
    };
    calls.open = [&](AVCodecContext* context) {
      const int result = encoder.calls().open(context);
      shortage.emplace(test::no_memory);
      return result;
    };
    std::string error;
    EXPECT_EQ(open_spatial_encoder(plain_config(), calls, error), nullptr);
    shortage.reset();
    EXPECT_EQ(error, c.error);
  }
}

// The library's own functions: an encoder of another kind stands in for an FFmpeg without two-view support.
TEST(SpatialEncoder, EncoderWithoutTheProfileIsNotOpened) {
  SpatialEncoderCalls calls = ffmpeg_spatial_encoder_calls();
  calls.find = [](const char* /*name*/) { return avcodec_find_encoder_by_name("prores_ks"); };
  std::string error;
  EXPECT_EQ(open_spatial_encoder(plain_config(), calls, error), nullptr);
  EXPECT_EQ(error, "FFmpeg hevc_nvenc does not expose MV-HEVC support: Invalid argument");
}

}  // namespace
}  // namespace veyrin::test
