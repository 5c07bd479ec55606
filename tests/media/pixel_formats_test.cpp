#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "media/ffmpeg.h"
#include "media/video_types.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace veyrin::test {
namespace {

TEST(YuvPipelineFormat, IsOneOfFive) {
  std::vector<std::string> accepted;
  for (const AVPixFmtDescriptor* format = av_pix_fmt_desc_next(nullptr); format != nullptr;
       format = av_pix_fmt_desc_next(format)) {
    if (describe_yuv_format(av_pix_fmt_desc_get_id(format))) accepted.emplace_back(format->name);
  }
  EXPECT_EQ(accepted, (std::vector<std::string>{"yuv420p", "yuvj420p", "nv12", "yuv420p10le", "p010le"}));
  EXPECT_FALSE(describe_yuv_format(AV_PIX_FMT_NONE).has_value());
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
  BitDepth depth;
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
  EXPECT_EQ(stream_bit_depth(*parameters), GetParam().depth);
}

constexpr int any_profile = AV_PROFILE_UNKNOWN;
constexpr int no_format = AV_PIX_FMT_NONE;
INSTANTIATE_TEST_SUITE_P(
    Streams, StreamDepth,
    testing::Values(
        DepthCase{"Planar8", AV_CODEC_ID_H264, AV_PIX_FMT_YUV420P, 0, any_profile, BitDepth::eight},
        DepthCase{"FullRange8", AV_CODEC_ID_H264, AV_PIX_FMT_YUVJ420P, 8, any_profile, BitDepth::eight},
        DepthCase{"SemiPlanar8", AV_CODEC_ID_HEVC, AV_PIX_FMT_NV12, 0, any_profile, BitDepth::eight},
        DepthCase{"Planar10", AV_CODEC_ID_HEVC, AV_PIX_FMT_YUV420P10LE, 0, any_profile, BitDepth::ten},
        DepthCase{"SemiPlanar10", AV_CODEC_ID_HEVC, AV_PIX_FMT_P010LE, 0, any_profile, BitDepth::ten},
        DepthCase{"Planar422At10", AV_CODEC_ID_PRORES, AV_PIX_FMT_YUV422P10LE, 0, any_profile, BitDepth::ten},
        DepthCase{"Planar12", AV_CODEC_ID_HEVC, AV_PIX_FMT_YUV420P12LE, 12, any_profile, BitDepth::eight},
        DepthCase{"FormatOverProfile", AV_CODEC_ID_HEVC, AV_PIX_FMT_YUV420P, 0, AV_PROFILE_HEVC_MAIN_10,
                  BitDepth::eight},
        DepthCase{"FormatOverSampleSize", AV_CODEC_ID_HEVC, AV_PIX_FMT_YUV420P, 10, any_profile,
                  BitDepth::eight},
        DepthCase{"SampleSize10", AV_CODEC_ID_AV1, no_format, 10, any_profile, BitDepth::ten},
        DepthCase{"SampleSize8OverProfile", AV_CODEC_ID_HEVC, no_format, 8, AV_PROFILE_HEVC_MAIN_10,
                  BitDepth::eight},
        DepthCase{"HevcMain10", AV_CODEC_ID_HEVC, no_format, 0, AV_PROFILE_HEVC_MAIN_10, BitDepth::ten},
        DepthCase{"HevcMain", AV_CODEC_ID_HEVC, no_format, 0, AV_PROFILE_HEVC_MAIN, BitDepth::eight},
        DepthCase{"HevcUnknownProfile", AV_CODEC_ID_HEVC, no_format, 0, any_profile, BitDepth::eight},
        DepthCase{"H264High10", AV_CODEC_ID_H264, no_format, 0, AV_PROFILE_H264_HIGH_10, BitDepth::ten},
        DepthCase{"H264High10Intra", AV_CODEC_ID_H264, no_format, 0, AV_PROFILE_H264_HIGH_10_INTRA,
                  BitDepth::ten},
        DepthCase{"H264High", AV_CODEC_ID_H264, no_format, 0, AV_PROFILE_H264_HIGH, BitDepth::eight},
        // Profile numbers mean something only together with their codec.
        DepthCase{"OtherCodecWithMain10sNumber", AV_CODEC_ID_VP9, no_format, 0, AV_PROFILE_HEVC_MAIN_10,
                  BitDepth::eight}),
    [](const auto& instance) { return instance.param.name; });

}  // namespace
}  // namespace veyrin::test
