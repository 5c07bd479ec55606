// FFmpeg and the program's probe with a simulated GPU that lacks capabilities or fails.
#include <gmock/gmock.h>

#include "decode/nvenc_probe.h"
#include "tests/simulated_nvenc/clips.h"
#include "tests/simulated_nvenc/driver_test.h"

namespace veyrin::test {
namespace {

using testing::HasSubstr;

using Options = std::vector<std::pair<std::string, std::string>>;

constexpr int moments = 6;

EncodeRequest spatial(AVPixelFormat format = AV_PIX_FMT_NV12, const Options& more = {}) {
  EncodeRequest request{.format = format,
                        .width = 128,
                        .height = 96,
                        .global_header = true,
                        .options = {{"profile", "mv"}},
                        .pictures = two_views(moments)};
  request.options.insert(request.options.end(), more.begin(), more.end());
  return request;
}

EncodeRequest single(const char* encoder, AVPixelFormat format = AV_PIX_FMT_NV12) {
  return {.encoder = encoder,
          .format = format,
          .width = 128,
          .height = 96,
          .global_header = false,
          .options = {},
          .pictures = one_view(moments)};
}

TEST_F(SimulatedDriver, WithoutFaultsOpensEverything) {
  EXPECT_EQ(encode(spatial()).open_result, 0);
  EXPECT_EQ(encode(spatial(AV_PIX_FMT_P010)).open_result, 0);
  EXPECT_EQ(encode(single("h264_nvenc")).open_result, 0);
  EXPECT_EQ(encode(single("hevc_nvenc", AV_PIX_FMT_P010)).open_result, 0);
  EXPECT_TRUE(probe_stereo_mv_hevc_support({8192, 8192}, BitDepth::ten));
}

TEST_F(SimulatedDriver, MayRefuseSessions) {
  set("OPEN_SESSION_STATUS", "10");
  EXPECT_LT(encode(spatial()).open_result, 0);
  EXPECT_LT(encode(single("h264_nvenc")).open_result, 0);
  EXPECT_FALSE(probe_stereo_mv_hevc_support({128, 96}, BitDepth::eight));
  EXPECT_THAT(log(), HasSubstr("refused to open a session"));
}

TEST_F(SimulatedDriver, MayLackTwoViews) {
  set("MV_HEVC", "0");
  EXPECT_LT(encode(spatial()).open_result, 0);
  EXPECT_EQ(encode(single("hevc_nvenc")).open_result, 0);
  EXPECT_FALSE(probe_stereo_mv_hevc_support({128, 96}, BitDepth::eight));
}

TEST_F(SimulatedDriver, MayLackTenBits) {
  set("TEN_BIT", "0");
  EXPECT_LT(encode(single("hevc_nvenc", AV_PIX_FMT_P010)).open_result, 0);
  EXPECT_LT(encode(spatial(AV_PIX_FMT_P010)).open_result, 0);
  EXPECT_EQ(encode(spatial()).open_result, 0);
  EXPECT_FALSE(probe_stereo_mv_hevc_support({128, 96}, BitDepth::ten));
  EXPECT_TRUE(probe_stereo_mv_hevc_support({128, 96}, BitDepth::eight));
}

TEST_F(SimulatedDriver, MayLackTenBitsForTwoViewsAlone) {
  set("MV_HEVC_TEN_BIT", "0");
  EXPECT_LT(encode(spatial(AV_PIX_FMT_P010)).open_result, 0);
  EXPECT_EQ(encode(spatial()).open_result, 0);
  EXPECT_EQ(encode(single("hevc_nvenc", AV_PIX_FMT_P010)).open_result, 0);
  EXPECT_THAT(log(), HasSubstr("refused this GPU does not encode two views in 10 bits"));
}

TEST_F(SimulatedDriver, MayHaveSmallPicturesOnly) {
  set("WIDTH_MAX", "127");
  EXPECT_LT(encode(spatial()).open_result, 0);
  EXPECT_LT(encode(single("h264_nvenc")).open_result, 0);
  EXPECT_FALSE(probe_stereo_mv_hevc_support({128, 96}, BitDepth::eight));
  set("WIDTH_MAX", "128");
  set("HEIGHT_MAX", "96");
  EXPECT_EQ(encode(spatial()).open_result, 0);
  set("HEIGHT_MAX", "95");
  EXPECT_LT(encode(spatial()).open_result, 0);
}

TEST_F(SimulatedDriver, MayLackACodec) {
  set("H264", "0");
  EXPECT_LT(encode(single("h264_nvenc")).open_result, 0);
  EXPECT_EQ(encode(single("hevc_nvenc")).open_result, 0);
  set("H264", "1");
  set("HEVC", "0");
  EXPECT_EQ(encode(single("h264_nvenc")).open_result, 0);
  EXPECT_LT(encode(single("hevc_nvenc")).open_result, 0);
  EXPECT_FALSE(probe_stereo_mv_hevc_support({128, 96}, BitDepth::eight));
}

TEST_F(SimulatedDriver, MayFailInTheMiddle) {
  set("FAILING_PICTURE", "7");
  const EncodeRun run = encode(spatial());
  EXPECT_EQ(run.open_result, 0);
  EXPECT_EQ(run.encode_result, AVERROR_UNKNOWN);
  EXPECT_LT(run.packets.size(), 2U * moments);
  EXPECT_THAT(log(), HasSubstr("refused the GPU was lost"));
}

TEST_F(SimulatedDriver, MayKeepTheLastView) {
  set("ODD_VIEWS", "1");
  const EncodeRun run = encode(spatial());
  EXPECT_EQ(run.encode_result, 0);
  EXPECT_EQ(run.packets.size(), 2U * moments - 1);
  EXPECT_EQ(run.packets.back()->pts, moments - 1);
}

TEST_F(SimulatedDriver, MayGiveTheViewsDifferentTimes) {
  set("VIEW_TIME_OFFSET", "3");
  set("B_FRAMES", "0");
  const EncodeRun run = encode(spatial());
  ASSERT_EQ(run.packets.size(), 2U * moments);
  EXPECT_EQ(run.packets[0]->pts, 0);
  EXPECT_EQ(run.packets[1]->pts, 3);
}

struct RefusalCase {
  const char* name;
  Options options;
  const char* reason;
};

std::ostream& operator<<(std::ostream& out, const RefusalCase& one) {
  return out << one.name;
}

class TwoViewsExclude : public SimulatedDriver, public testing::WithParamInterface<RefusalCase> {};

TEST_P(TwoViewsExclude, AnOption) {
  EXPECT_LT(encode(spatial(AV_PIX_FMT_NV12, GetParam().options)).open_result, 0);
  EXPECT_THAT(log(), HasSubstr(std::string("refused ") + GetParam().reason));
  // One view has no such limit.
  EncodeRequest one = single("hevc_nvenc");
  one.options = GetParam().options;
  EXPECT_EQ(encode(one).open_result, 0);
}

INSTANTIATE_TEST_SUITE_P(
    Options, TwoViewsExclude,
    testing::Values(
        RefusalCase{"Lookahead", {{"rc-lookahead", "8"}}, "two views and lookahead"},
        RefusalCase{"TwoPasses", {{"multipass", "fullres"}}, "two views and two passes"},
        RefusalCase{"TemporalFilter", {{"tf_level", "4"}, {"bf", "4"}}, "two views and a temporal filter"},
        RefusalCase{"SplitEncoding", {{"split_encode_mode", "2"}}, "two views and forced split encoding"},
        RefusalCase{"LowLatency", {{"tune", "ll"}}, "two views and another tuning"}),
    [](const auto& instance) { return instance.param.name; });

struct OrderCase {
  const char* name;
  std::vector<Send> pictures;
  const char* reason;
};

std::ostream& operator<<(std::ostream& out, const OrderCase& one) {
  return out << one.name;
}

class ViewOrder : public SimulatedDriver, public testing::WithParamInterface<OrderCase> {};

TEST_P(ViewOrder, ThatIsWrongIsRefused) {
  EncodeRequest request = spatial();
  request.pictures = GetParam().pictures;
  EXPECT_LT(encode(request).encode_result, 0);
  EXPECT_THAT(log(), HasSubstr(std::string("refused ") + GetParam().reason));
}

INSTANTIATE_TEST_SUITE_P(
    Mistakes, ViewOrder,
    testing::Values(OrderCase{"RightFirst", {{.view = 1}, {.view = 0}}, "view 1 came instead of view 0"},
                    OrderCase{"LeftTwice", {{.view = 0}, {.view = 0}}, "view 0 came instead of view 1"},
                    OrderCase{"RightTwice",
                              {{.view = 0}, {.view = 1}, {.view = 1, .pts = 1}},
                              "view 1 came instead of view 0"},
                    OrderCase{"DifferentTimes",
                              {{.view = 0, .pts = 0}, {.view = 1, .pts = 1}},
                              "the views of a pair have different time stamps"},
                    OrderCase{"RightMissing", {{.view = 0}}, "the stream ends between the views of a pair"}),
    [](const auto& instance) { return instance.param.name; });

}  // namespace
}  // namespace veyrin::test
