#include "convert/encoder_settings.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/convert/encoder_request.h"

extern "C" {
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

namespace veyrin::test {
namespace {

TEST(CanvasPixelFormat, IsTheEncodersExceptForProRes) {
  EXPECT_EQ(canvas_pixel_format(SbsCodec::hevc, AV_PIX_FMT_P010LE), AV_PIX_FMT_P010LE);
  EXPECT_EQ(canvas_pixel_format(SbsCodec::h264, AV_PIX_FMT_YUV420P), AV_PIX_FMT_YUV420P);
  EXPECT_EQ(canvas_pixel_format(SbsCodec::prores, AV_PIX_FMT_YUV422P10LE), AV_PIX_FMT_YUV420P10LE);
}

CodecContextPtr configured(const EncoderRequest& request) {
  CodecContextPtr context(avcodec_alloc_context3(nullptr));
  configure_encoder(request, AV_PIX_FMT_YUV420P, /*bit_rate=*/12345678, *context);
  return context;
}

TEST(ConfigureEncoder, PassesTheRequestOn) {
  EncoderRequest request = request_for(SbsCodec::hevc, BitDepth::eight);
  request.frame_rate = {30000, 1001};
  request.input_colors = {AVCOL_PRI_BT2020, AVCOL_TRC_BT709, AVCOL_SPC_BT470BG, AVCOL_RANGE_MPEG};
  const CodecContextPtr context = configured(request);
  EXPECT_EQ(context->width, 1280);
  EXPECT_EQ(context->height, 480);
  EXPECT_EQ(context->pix_fmt, AV_PIX_FMT_YUV420P);
  EXPECT_EQ(av_cmp_q(context->time_base, {1001, 30000}), 0);
  EXPECT_EQ(av_cmp_q(context->framerate, {30000, 1001}), 0);
  EXPECT_EQ(context->gop_size, 58);
  EXPECT_EQ(context->bit_rate, 12345678);
  EXPECT_EQ(context->color_primaries, AVCOL_PRI_BT2020);
  EXPECT_EQ(context->color_trc, AVCOL_TRC_BT709);
  EXPECT_EQ(context->colorspace, AVCOL_SPC_BT470BG);
  EXPECT_EQ(context->color_range, AVCOL_RANGE_MPEG);
  EXPECT_NE(context->flags & AV_CODEC_FLAG_FRAME_DURATION, 0);
}

TEST(ConfigureEncoder, NvencHasNoBFramesInShortGroups) {
  struct GroupCase {
    FrameRate rate;
    int gop_size;
    int b_frames;
  };
  const int own =
      CodecContextPtr(avcodec_alloc_context3(avcodec_find_encoder_by_name("hevc_nvenc")))->max_b_frames;
  ASSERT_LT(own, 0) << "the encoder's choice";
  // Groups of one picture are asked for as key pictures alone.
  for (const GroupCase& c :
       {GroupCase{{1, 2}, 0, 0}, GroupCase{{1, 1}, 2, 0}, GroupCase{{3, 2}, 2, 0}, GroupCase{{5, 2}, 4, 0},
        GroupCase{{3, 1}, 6, own}, GroupCase{{30, 1}, 60, own}}) {
    for (const char* name : {"hevc_nvenc", "h264_nvenc"}) {
      EncoderRequest request = request_for(SbsCodec::hevc, BitDepth::eight);
      request.frame_rate = c.rate;
      const CodecContextPtr context(avcodec_alloc_context3(avcodec_find_encoder_by_name(name)));
      configure_encoder(request, AV_PIX_FMT_YUV420P, /*bit_rate=*/1'000'000, *context);
      EXPECT_EQ(context->gop_size, c.gop_size) << name << ' ' << c.rate.num << '/' << c.rate.den;
      EXPECT_EQ(context->max_b_frames, c.b_frames) << name << ' ' << c.rate.num << '/' << c.rate.den;
    }
  }
}

TEST(ConfigureEncoder, OtherEncodersKeepGroupsOfOnePicture) {
  EncoderRequest request = request_for(SbsCodec::hevc, BitDepth::eight);
  request.frame_rate = {1, 2};
  EXPECT_EQ(configured(request)->gop_size, 1);
}

TEST(ConfigureEncoder, GlobalHeaderOnlyWhenTheContainerAsks) {
  EncoderRequest request = request_for(SbsCodec::hevc, BitDepth::eight);
  EXPECT_EQ(configured(request)->flags & AV_CODEC_FLAG_GLOBAL_HEADER, 0);
  request.global_header = true;
  EXPECT_NE(configured(request)->flags & AV_CODEC_FLAG_GLOBAL_HEADER, 0);
}

TEST(ConfigureEncoder, ProfileFollowsCodecAndDepth) {
  EXPECT_EQ(configured(request_for(SbsCodec::h264, BitDepth::eight))->profile, 100);
  EXPECT_EQ(configured(request_for(SbsCodec::h264, BitDepth::ten))->profile, 100);
  EXPECT_EQ(configured(request_for(SbsCodec::hevc, BitDepth::eight))->profile, 1);
  EXPECT_EQ(configured(request_for(SbsCodec::hevc, BitDepth::ten))->profile, 2);
  EXPECT_EQ(configured(request_for(SbsCodec::prores, BitDepth::ten))->profile, 2);
}

// The private options that encoders have, each with other values than those that are wanted.
struct PrivateOptions {
  const AVClass* type;
  int profile, tier, profile_tier;
};

constexpr int untouched = 99;

AVOption number_option(const char* name, std::size_t offset, const char* unit) {
  AVOption option{};
  option.name = name;
  option.offset = static_cast<int>(offset);
  option.type = AV_OPT_TYPE_INT;
  option.max = 100;
  option.unit = unit;
  return option;
}

AVOption named_value(const char* name, int value, const char* unit) {
  AVOption option{};
  option.name = name;
  option.type = AV_OPT_TYPE_CONST;
  option.default_val.i64 = value;
  option.unit = unit;
  return option;
}

// What `configure_encoder` sets in an encoder with the given options.
PrivateOptions private_options_after(const EncoderRequest& request, std::vector<AVOption> options) {
  options.push_back(AVOption{});
  AVClass type{};
  type.class_name = "encoder of the test";
  type.option = options.data();
  AVCodec codec{};
  codec.priv_class = &type;
  CodecContextPtr context(avcodec_alloc_context3(nullptr));
  PrivateOptions result{&type, untouched, untouched, untouched};
  context->codec = &codec;
  context->priv_data = &result;
  configure_encoder(request, AV_PIX_FMT_YUV420P, /*bit_rate=*/1, *context);
  context->codec = nullptr;
  context->priv_data = nullptr;
  return result;
}

TEST(ConfigureEncoder, HevcEncodersGetTheMainTierUnderEitherName) {
  const std::vector<AVOption> tier{number_option("tier", offsetof(PrivateOptions, tier), "tier"),
                                   named_value("main", 7, "tier")};
  const std::vector<AVOption> profile_tier{
      number_option("profile_tier", offsetof(PrivateOptions, profile_tier), "tier"),
      named_value("main", 7, "tier")};
  const EncoderRequest hevc = request_for(SbsCodec::hevc, BitDepth::eight);
  EXPECT_EQ(private_options_after(hevc, tier).tier, 7);
  EXPECT_EQ(private_options_after(hevc, profile_tier).profile_tier, 7);
  EXPECT_EQ(private_options_after(request_for(SbsCodec::h264, BitDepth::eight), tier).tier, untouched);
}

TEST(ConfigureEncoder, EncodersWithAProfileOptionGetItByName) {
  const std::vector<AVOption> profile{number_option("profile", offsetof(PrivateOptions, profile), "profile"),
                                      named_value("main", 1, "profile"), named_value("main10", 2, "profile"),
                                      named_value("high", 3, "profile"),
                                      named_value("standard", 4, "profile")};
  EXPECT_EQ(private_options_after(request_for(SbsCodec::hevc, BitDepth::eight), profile).profile, 1);
  EXPECT_EQ(private_options_after(request_for(SbsCodec::hevc, BitDepth::ten), profile).profile, 2);
  EXPECT_EQ(private_options_after(request_for(SbsCodec::h264, BitDepth::ten), profile).profile, 3);
  EXPECT_EQ(private_options_after(request_for(SbsCodec::prores, BitDepth::eight), profile).profile, 4);
}

TEST(ConfigureEncoder, AProfileThatTheEncoderCannotNameStaysAtItsDefault) {
  const std::vector<AVOption> profile{number_option("profile", offsetof(PrivateOptions, profile), "profile"),
                                      named_value("main", 1, "profile")};
  EXPECT_EQ(private_options_after(request_for(SbsCodec::hevc, BitDepth::ten), profile).profile, untouched);
  EXPECT_EQ(private_options_after(request_for(SbsCodec::hevc, BitDepth::ten), {}).profile, untouched);
}

const char* name_of(AVPixelFormat format) {
  const char* name = av_get_pix_fmt_name(format);
  return name != nullptr ? name : "none";
}

struct ChoiceCase {
  const char* encoder;
  SbsCodec codec;
  BitDepth depth;
  AVPixelFormat expected;
};

TEST(EncoderPixelFormat, IsTheFirstPreferredOneThatTheEncoderLists) {
  const std::vector<ChoiceCase> cases = {
      {"prores_ks", SbsCodec::prores, BitDepth::eight, AV_PIX_FMT_YUV422P10LE},
      {"prores_ks", SbsCodec::prores, BitDepth::ten, AV_PIX_FMT_YUV422P10LE},
      {"hevc_nvenc", SbsCodec::hevc, BitDepth::ten, AV_PIX_FMT_P010LE},
      {"hevc_nvenc", SbsCodec::hevc, BitDepth::eight, AV_PIX_FMT_YUV420P},
      {"h264_nvenc", SbsCodec::h264, BitDepth::eight, AV_PIX_FMT_YUV420P},
      {"h264_nvenc", SbsCodec::h264, BitDepth::ten, AV_PIX_FMT_YUV420P},
  };
  for (const ChoiceCase& choice : cases) {
    const AVCodec* encoder = avcodec_find_encoder_by_name(choice.encoder);
    ASSERT_NE(encoder, nullptr) << choice.encoder;
    EXPECT_STREQ(name_of(choose_pixel_format(*encoder, choice.codec, choice.depth)), name_of(choice.expected))
        << choice.encoder << " codec " << static_cast<int>(choice.codec) << " bits "
        << static_cast<int>(choice.depth);
  }
}

TEST(EncoderPixelFormat, IsTheEncodersFirstWhenNoneIsPreferred) {
  const AVCodec* encoder = avcodec_find_encoder_by_name("prores_ks");
  ASSERT_NE(encoder, nullptr);
  const void* list = nullptr;
  int count = 0;
  ASSERT_GE(avcodec_get_supported_config(nullptr, encoder, AV_CODEC_CONFIG_PIX_FORMAT, 0, &list, &count), 0);
  ASSERT_GT(count, 0);
  const AVPixelFormat first = *static_cast<const AVPixelFormat*>(list);
  EXPECT_STREQ(name_of(choose_pixel_format(*encoder, SbsCodec::h264, BitDepth::eight)), name_of(first));
  EXPECT_STREQ(name_of(choose_pixel_format(*encoder, SbsCodec::hevc, BitDepth::ten)), name_of(first));
}

TEST(EncoderPixelFormat, IsTheFirstPreferredOneWhenTheCodecListsNone) {
  // A decoder lists no formats, and a codec for sound refuses the question.
  for (const AVCodecID id : {AV_CODEC_ID_H264, AV_CODEC_ID_AAC}) {
    const AVCodec* codec = avcodec_find_decoder(id);
    ASSERT_NE(codec, nullptr);
    EXPECT_STREQ(name_of(choose_pixel_format(*codec, SbsCodec::prores, BitDepth::eight)), "p210le");
    EXPECT_STREQ(name_of(choose_pixel_format(*codec, SbsCodec::hevc, BitDepth::ten)), "p010le");
    EXPECT_STREQ(name_of(choose_pixel_format(*codec, SbsCodec::hevc, BitDepth::eight)), "yuv420p");
    EXPECT_STREQ(name_of(choose_pixel_format(*codec, SbsCodec::h264, BitDepth::ten)), "yuv420p");
  }
}

}  // namespace
}  // namespace veyrin::test
