#include <gtest/gtest.h>

#include "media/video_types.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace veyrin::test {
namespace {

constexpr AVPixelFormat accepted[] = {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_NV12,
                                      AV_PIX_FMT_YUV420P10LE, AV_PIX_FMT_P010LE};

TEST(YuvFormat, AgreesWithFFmpegsDescriptions) {
  for (const AVPixelFormat format : accepted) {
    const AVPixFmtDescriptor& description = *av_pix_fmt_desc_get(format);
    const auto described = describe_yuv_format(format);
    ASSERT_TRUE(described.has_value()) << description.name;
    EXPECT_EQ(static_cast<int>(described->depth), description.comp[0].depth) << description.name;
    EXPECT_EQ(described->shift, description.comp[0].shift) << description.name;
    EXPECT_EQ(described->bytes_per_sample(), description.comp[0].step) << description.name;
    EXPECT_EQ(described->interleaved_chroma, description.comp[1].plane == description.comp[2].plane)
        << description.name;
  }
}

TEST(YuvFormat, AcceptsNothingElse) {
  int count = 0;
  for (int format = -1; format < AV_PIX_FMT_NB; ++format)
    count += describe_yuv_format(format).has_value() ? 1 : 0;
  EXPECT_EQ(count, static_cast<int>(std::size(accepted)));
}

TEST(YuvFormat, FullRangeAndLimitedRangePlanarFormatsHoldTheSameSamples) {
  EXPECT_EQ(*describe_yuv_format(AV_PIX_FMT_YUV420P), *describe_yuv_format(AV_PIX_FMT_YUVJ420P));
  EXPECT_NE(*describe_yuv_format(AV_PIX_FMT_YUV420P), *describe_yuv_format(AV_PIX_FMT_NV12));
  EXPECT_NE(*describe_yuv_format(AV_PIX_FMT_YUV420P10LE), *describe_yuv_format(AV_PIX_FMT_P010LE));
}

TEST(YuvFormat, NeutralChromaIsTheMiddleOfTheDepth) {
  EXPECT_EQ(describe_yuv_format(AV_PIX_FMT_NV12)->neutral_chroma(), 128.0F);
  EXPECT_EQ(describe_yuv_format(AV_PIX_FMT_P010LE)->neutral_chroma(), 512.0F);
  EXPECT_EQ(describe_yuv_format(AV_PIX_FMT_NV12)->max_code(), 255.0F);
  EXPECT_EQ(describe_yuv_format(AV_PIX_FMT_P010LE)->max_code(), 1023.0F);
}

}  // namespace
}  // namespace veyrin::test
