// The output of FFmpeg's encoders with the simulated driver, checked by decoding it.
#include <gmock/gmock.h>

#include <set>

#include "tests/simulated_nvenc/clips.h"
#include "tests/simulated_nvenc/driver_test.h"

namespace veyrin::test {
namespace {

constexpr double wrong = 25;  // dB; the PSNR against another picture is lower
constexpr int moments = 12;

EncodeRequest spatial(AVPixelFormat format) {
  return {.format = format,
          .global_header = true,
          .options = {{"profile", "mv"}, {"preset", "p4"}, {"tune", "hq"}, {"tier", "main"}, {"b", "4M"}},
          .pictures = two_views(moments)};
}

void expect_both_views(const EncodeRequest& request, const EncodeRun& run, int count) {
  ASSERT_EQ(run.open_result, 0);
  ASSERT_EQ(run.encode_result, 0);
  ASSERT_EQ(run.packets.size(), static_cast<std::size_t>(2 * count));
  const auto views = decode_views(run);
  for (const int view : {0, 1}) {
    const auto& frames = views.at(static_cast<std::size_t>(view));
    ASSERT_EQ(frames.size(), static_cast<std::size_t>(count));
    const double psnr = luma_psnr(request, view, frames);
    testing::Test::RecordProperty("psnr_of_view_" + std::to_string(view), std::to_string(psnr));
    EXPECT_GT(psnr, good_psnr) << "view " << view;
    EXPECT_LT(luma_psnr(request, 1 - view, frames), wrong) << "view " << view << " is the other one";
  }
}

struct TwoViewCase {
  const char* name;
  AVPixelFormat format;
  const char* b_frames;
  int width = 208;
  int height = 120;
};

std::ostream& operator<<(std::ostream& out, const TwoViewCase& one) {
  return out << one.name;
}

class TwoViews : public SimulatedDriver, public testing::WithParamInterface<TwoViewCase> {};

TEST_P(TwoViews, AreEncodedAndDecodeToWhatWasSent) {
  set("B_FRAMES", GetParam().b_frames);
  EncodeRequest request = spatial(GetParam().format);
  request.width = GetParam().width;
  request.height = GetParam().height;
  const EncodeRun run = encode(request);
  expect_both_views(request, run, moments);
  const auto views = decode_views(run);
  ASSERT_FALSE(views[1].empty());
  const auto decoded_format = static_cast<AVPixelFormat>(views[1].front()->format);
  EXPECT_EQ(decoded_format, GetParam().format == AV_PIX_FMT_P010 ? AV_PIX_FMT_YUV420P10 : AV_PIX_FMT_YUV420P);
  EXPECT_LE(run.headers.size(), 512U);
}

INSTANTIATE_TEST_SUITE_P(Formats, TwoViews,
                         testing::Values(TwoViewCase{"Nv12", AV_PIX_FMT_NV12, "0"},
                                         TwoViewCase{"Nv12With2BFrames", AV_PIX_FMT_NV12, "2"},
                                         TwoViewCase{"Nv12With3BFrames", AV_PIX_FMT_NV12, "3"},
                                         TwoViewCase{"Planar", AV_PIX_FMT_YUV420P, "0"},
                                         TwoViewCase{"P010", AV_PIX_FMT_P010, "0"},
                                         TwoViewCase{"P010With2BFrames", AV_PIX_FMT_P010, "2"},
                                         TwoViewCase{"OddBlocks", AV_PIX_FMT_NV12, "2", 130, 98}),
                         [](const auto& instance) { return instance.param.name; });

TEST_F(SimulatedDriver, KeepsTheViewsOfAMomentTogetherWithOneTimeStamp) {
  const EncodeRun run = encode(spatial(AV_PIX_FMT_NV12));
  ASSERT_EQ(run.packets.size(), 2U * moments);
  std::set<std::int64_t> times;
  for (std::size_t pair = 0; pair < run.packets.size(); pair += 2) {
    EXPECT_EQ(run.packets[pair]->pts, run.packets[pair + 1]->pts);
    times.insert(run.packets[pair]->pts);
  }
  EXPECT_EQ(times.size(), static_cast<std::size_t>(moments));
  EXPECT_NE(run.packets[0]->flags & AV_PKT_FLAG_KEY, 0);
  EXPECT_EQ(run.packets[2]->flags & AV_PKT_FLAG_KEY, 0);
  EXPECT_THAT(log(), testing::HasSubstr("views=2 depth=8 size=208x120 rate=30/1 gop=60 b_frames=2"));
}

TEST_F(SimulatedDriver, StartsAGroupWhereTheCallerAsks) {
  EncodeRequest request = spatial(AV_PIX_FMT_NV12);
  request.options.emplace_back("forced-idr", "1");
  for (Send& send : request.pictures) send.key = send.moment == 5;
  const EncodeRun run = encode(request);
  expect_both_views(request, run, moments);
  std::vector<std::int64_t> keys;
  for (std::size_t pair = 0; pair < run.packets.size(); pair += 2) {
    if ((run.packets[pair]->flags & AV_PKT_FLAG_KEY) != 0) keys.push_back(run.packets[pair]->pts);
  }
  EXPECT_EQ(keys, (std::vector<std::int64_t>{0, 5}));
}

TEST_F(SimulatedDriver, WritesHeadersInBandWithoutTheGlobalHeaderFlag) {
  EncodeRequest request = spatial(AV_PIX_FMT_NV12);
  request.global_header = false;
  const EncodeRun run = encode(request);
  EXPECT_TRUE(run.headers.empty());
  expect_both_views(request, run, moments);
}

TEST_F(SimulatedDriver, FollowsTheBitRate) {
  const auto size_at = [](const char* rate) {
    EncodeRequest request = spatial(AV_PIX_FMT_NV12);
    request.options.back().second = rate;
    return elementary_stream(encode(request)).size();
  };
  EXPECT_GT(size_at("4M"), 2 * size_at("400k"));
}

}  // namespace
}  // namespace veyrin::test
