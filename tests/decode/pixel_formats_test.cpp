#include "decode/pixel_formats.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/ffmpeg_owners.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace veyrin {
namespace {

const char* name_of(AVPixelFormat format) {
  const char* name = av_get_pix_fmt_name(format);
  return name != nullptr ? name : "none";
}

TEST(YuvPipelineFormat, IsOneOfFive) {
  std::vector<std::string> accepted;
  for (const AVPixFmtDescriptor* format = av_pix_fmt_desc_next(nullptr); format != nullptr;
       format = av_pix_fmt_desc_next(format)) {
    if (is_yuv_pipeline_format(av_pix_fmt_desc_get_id(format))) accepted.emplace_back(format->name);
  }
  EXPECT_EQ(accepted, (std::vector<std::string>{"yuv420p", "yuvj420p", "nv12", "yuv420p10le", "p010le"}));
  EXPECT_FALSE(is_yuv_pipeline_format(AV_PIX_FMT_NONE));
}

TEST(PixelFormatName, IsKnownForFormatsOnly) {
  EXPECT_STREQ(pixel_format_name(AV_PIX_FMT_YUV422P), "yuv422p");
  EXPECT_STREQ(pixel_format_name(AV_PIX_FMT_NONE), "unknown");
  EXPECT_STREQ(pixel_format_name(123456), "unknown");
}

struct DepthCase {
  const char* name;
  AVCodecID codec;
  int format;
  int bits_per_raw_sample;
  int profile;
  bool ten_bit;
};

std::ostream& operator<<(std::ostream& out, const DepthCase& depth) {
  return out << depth.name;
}

class StreamDepth : public testing::TestWithParam<DepthCase> {};

TEST_P(StreamDepth, IsReadFromFormatThenSampleSizeThenProfile) {
  const CodecParametersPtr parameters(avcodec_parameters_alloc());
  parameters->codec_type = AVMEDIA_TYPE_VIDEO;
  parameters->codec_id = GetParam().codec;
  parameters->format = GetParam().format;
  parameters->bits_per_raw_sample = GetParam().bits_per_raw_sample;
  parameters->profile = GetParam().profile;
  EXPECT_EQ(stream_is_ten_bit(*parameters), GetParam().ten_bit);
}

constexpr int any_profile = AV_PROFILE_UNKNOWN;
constexpr int no_format = AV_PIX_FMT_NONE;
INSTANTIATE_TEST_SUITE_P(
    Streams, StreamDepth,
    testing::Values(
        DepthCase{"Planar8", AV_CODEC_ID_H264, AV_PIX_FMT_YUV420P, 0, any_profile, false},
        DepthCase{"FullRange8", AV_CODEC_ID_H264, AV_PIX_FMT_YUVJ420P, 8, any_profile, false},
        DepthCase{"SemiPlanar8", AV_CODEC_ID_HEVC, AV_PIX_FMT_NV12, 0, any_profile, false},
        DepthCase{"Planar10", AV_CODEC_ID_HEVC, AV_PIX_FMT_YUV420P10LE, 0, any_profile, true},
        DepthCase{"SemiPlanar10", AV_CODEC_ID_HEVC, AV_PIX_FMT_P010LE, 0, any_profile, true},
        DepthCase{"Planar422At10", AV_CODEC_ID_PRORES, AV_PIX_FMT_YUV422P10LE, 0, any_profile, true},
        DepthCase{"Planar12", AV_CODEC_ID_HEVC, AV_PIX_FMT_YUV420P12LE, 12, any_profile, false},
        DepthCase{"FormatOverProfile", AV_CODEC_ID_HEVC, AV_PIX_FMT_YUV420P, 0, AV_PROFILE_HEVC_MAIN_10,
                  false},
        DepthCase{"FormatOverSampleSize", AV_CODEC_ID_HEVC, AV_PIX_FMT_YUV420P, 10, any_profile, false},
        DepthCase{"SampleSize10", AV_CODEC_ID_AV1, no_format, 10, any_profile, true},
        DepthCase{"SampleSize8OverProfile", AV_CODEC_ID_HEVC, no_format, 8, AV_PROFILE_HEVC_MAIN_10, false},
        DepthCase{"HevcMain10", AV_CODEC_ID_HEVC, no_format, 0, AV_PROFILE_HEVC_MAIN_10, true},
        DepthCase{"HevcMain", AV_CODEC_ID_HEVC, no_format, 0, AV_PROFILE_HEVC_MAIN, false},
        DepthCase{"HevcUnknownProfile", AV_CODEC_ID_HEVC, no_format, 0, any_profile, false},
        DepthCase{"H264High10", AV_CODEC_ID_H264, no_format, 0, AV_PROFILE_H264_HIGH_10, true},
        DepthCase{"H264High10Intra", AV_CODEC_ID_H264, no_format, 0, AV_PROFILE_H264_HIGH_10_INTRA, true},
        DepthCase{"H264High", AV_CODEC_ID_H264, no_format, 0, AV_PROFILE_H264_HIGH, false},
        // Profile numbers mean something only together with their codec.
        DepthCase{"OtherCodecWithMain10sNumber", AV_CODEC_ID_VP9, no_format, 0, AV_PROFILE_HEVC_MAIN_10,
                  false}),
    [](const auto& instance) { return instance.param.name; });

struct ChoiceCase {
  const char* encoder;
  SbsCodec codec;
  bool ten_bit;
  AVPixelFormat expected;
};

TEST(EncoderPixelFormat, IsTheFirstPreferredOneThatTheEncoderLists) {
  const std::vector<ChoiceCase> cases = {
      {"prores_ks", SbsCodec::prores, false, AV_PIX_FMT_YUV422P10LE},
      {"prores_ks", SbsCodec::prores, true, AV_PIX_FMT_YUV422P10LE},
      {"hevc_nvenc", SbsCodec::hevc, true, AV_PIX_FMT_P010LE},
      {"hevc_nvenc", SbsCodec::hevc, false, AV_PIX_FMT_YUV420P},
      {"h264_nvenc", SbsCodec::h264, false, AV_PIX_FMT_YUV420P},
      {"h264_nvenc", SbsCodec::h264, true, AV_PIX_FMT_YUV420P},
  };
  for (const ChoiceCase& choice : cases) {
    const AVCodec* encoder = avcodec_find_encoder_by_name(choice.encoder);
    ASSERT_NE(encoder, nullptr) << choice.encoder;
    EXPECT_STREQ(name_of(choose_pixel_format(*encoder, choice.codec, choice.ten_bit)),
                 name_of(choice.expected))
        << choice.encoder << " codec " << static_cast<int>(choice.codec) << " ten bit " << choice.ten_bit;
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
  EXPECT_STREQ(name_of(choose_pixel_format(*encoder, SbsCodec::h264, false)), name_of(first));
  EXPECT_STREQ(name_of(choose_pixel_format(*encoder, SbsCodec::hevc, true)), name_of(first));
}

TEST(EncoderPixelFormat, IsTheFirstPreferredOneWhenTheCodecListsNone) {
  // A decoder lists no formats, and a codec for sound refuses the question.
  for (const AVCodecID id : {AV_CODEC_ID_H264, AV_CODEC_ID_AAC}) {
    const AVCodec* codec = avcodec_find_decoder(id);
    ASSERT_NE(codec, nullptr);
    EXPECT_STREQ(name_of(choose_pixel_format(*codec, SbsCodec::prores, false)), "p210le");
    EXPECT_STREQ(name_of(choose_pixel_format(*codec, SbsCodec::hevc, true)), "p010le");
    EXPECT_STREQ(name_of(choose_pixel_format(*codec, SbsCodec::hevc, false)), "yuv420p");
    EXPECT_STREQ(name_of(choose_pixel_format(*codec, SbsCodec::h264, true)), "yuv420p");
  }
}

}  // namespace
}  // namespace veyrin
