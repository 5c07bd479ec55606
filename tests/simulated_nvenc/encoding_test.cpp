// What FFmpeg's encoders give with the simulated driver, judged by decoding it.
#include <gmock/gmock.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>

#include "tests/simulated_nvenc/clips.h"
#include "tests/simulated_nvenc/driver_test.h"
#include "tests/support/command.h"

namespace veyrin::test {
namespace {

constexpr double good = 38;   // dB; what an encoder has to reach here
constexpr double wrong = 25;  // dB; what another picture stays below
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
    EXPECT_GT(psnr, good) << "view " << view;
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

struct OneViewCase {
  const char* name;
  const char* encoder;
  AVPixelFormat format;
  const char* demuxer;
  bool in_band;
};

std::ostream& operator<<(std::ostream& out, const OneViewCase& one) {
  return out << one.name;
}

class OneView : public SimulatedDriver, public testing::WithParamInterface<OneViewCase> {};

/// The luma of the stream as the command-line program decodes it, against what was sent.
double decoded_psnr(const std::filesystem::path& stream, const OneViewCase& one,
                    const EncodeRequest& request) {
  const bool ten_bit = request.format == AV_PIX_FMT_P010;
  const std::string raw =
      output_of("ffmpeg -v error -xerror -f " + std::string(one.demuxer) + " -i " + quoted(stream) +
                " -f rawvideo -pix_fmt " + (ten_bit ? "yuv420p10le" : "yuv420p") + " -");
  const std::size_t row = static_cast<std::size_t>(request.width) * (ten_bit ? 2 : 1);
  const std::size_t frame_size = row * static_cast<std::size_t>(request.height) * 3 / 2;
  if (raw.size() != frame_size * moments) return 0;
  std::vector<FramePtr> frames;
  for (int moment = 0; moment < moments; ++moment) {
    FramePtr frame(av_frame_alloc());
    frame->format = ten_bit ? AV_PIX_FMT_YUV420P10 : AV_PIX_FMT_YUV420P;
    frame->width = request.width;
    frame->height = request.height;
    if (av_frame_get_buffer(frame.get(), 0) < 0) return 0;
    const char* from = raw.data() + frame_size * static_cast<std::size_t>(moment);
    for (int y = 0; y < request.height; ++y) {
      std::memcpy(frame->data[0] + static_cast<std::ptrdiff_t>(y) * frame->linesize[0],
                  from + static_cast<std::size_t>(y) * row, row);
    }
    frames.push_back(std::move(frame));
  }
  return luma_psnr(request, 0, frames);
}

TEST_P(OneView, IsDecodedByTheCommandLineProgram) {
  const EncodeRequest request{.encoder = GetParam().encoder,
                              .format = GetParam().format,
                              .global_header = !GetParam().in_band,
                              .options = {{"b", "4M"}},
                              .pictures = one_view(moments)};
  const EncodeRun run = encode(request);
  ASSERT_EQ(run.open_result, 0);
  ASSERT_EQ(run.encode_result, 0);
  ASSERT_EQ(run.packets.size(), static_cast<std::size_t>(moments));
  EXPECT_EQ(run.headers.empty(), GetParam().in_band);
  std::ofstream(folder_ / "stream", std::ios::binary) << elementary_stream(run);
  const double psnr = decoded_psnr(folder_ / "stream", GetParam(), request);
  RecordProperty("psnr", std::to_string(psnr));
  EXPECT_GT(psnr, good);
}

INSTANTIATE_TEST_SUITE_P(
    Codecs, OneView,
    testing::Values(OneViewCase{"H264", "h264_nvenc", AV_PIX_FMT_NV12, "h264", false},
                    OneViewCase{"H264Planar", "h264_nvenc", AV_PIX_FMT_YUV420P, "h264", false},
                    OneViewCase{"H264InBand", "h264_nvenc", AV_PIX_FMT_NV12, "h264", true},
                    OneViewCase{"Hevc", "hevc_nvenc", AV_PIX_FMT_NV12, "hevc", false},
                    OneViewCase{"HevcInBand", "hevc_nvenc", AV_PIX_FMT_NV12, "hevc", true},
                    OneViewCase{"Hevc10", "hevc_nvenc", AV_PIX_FMT_P010, "hevc", false}),
    [](const auto& instance) { return instance.param.name; });

TEST_F(SimulatedDriver, WritesProfileAndColors) {
  const auto probed = [&](const char* encoder, AVPixelFormat format, const char* profile) {
    const EncodeRequest request{.encoder = encoder,
                                .format = format,
                                .global_header = true,
                                .options = {{"profile", profile},
                                            {"color_primaries", "bt2020"},
                                            {"color_trc", "arib-std-b67"},
                                            {"colorspace", "bt2020nc"},
                                            {"color_range", "pc"}},
                                .pictures = one_view(2)};
    std::ofstream(folder_ / "stream", std::ios::binary) << elementary_stream(encode(request));
    return output_of(
        "ffprobe -v error -of csv=p=0 -show_entries "
        "stream=codec_name,profile,color_range,color_space,color_transfer,color_primaries " +
        quoted(folder_ / "stream"));
  };
  EXPECT_EQ(probed("h264_nvenc", AV_PIX_FMT_NV12, "high"), "h264,High,pc,bt2020nc,arib-std-b67,bt2020\n");
  EXPECT_EQ(probed("hevc_nvenc", AV_PIX_FMT_NV12, "main"), "hevc,Main,pc,bt2020nc,arib-std-b67,bt2020\n");
  EXPECT_EQ(probed("hevc_nvenc", AV_PIX_FMT_P010, "main10"),
            "hevc,Main 10,pc,bt2020nc,arib-std-b67,bt2020\n");
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
