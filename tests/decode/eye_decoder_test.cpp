#include "decode/eye_decoder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "tests/decode/clips.h"
#include "tests/decode/decoding.h"
#include "tests/support/captured_output.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace veyrin::test {
namespace {

struct ClipCase {
  const char* name;
  const char* file;
  const char* encoding;
  AVPixelFormat format;
};

std::ostream& operator<<(std::ostream& out, const ClipCase& clip) {
  return out << clip.name;
}

class AcceptedClip : public testing::TestWithParam<ClipCase> {};

TEST_P(AcceptedClip, GivesTheFramesAndTimesThatFfprobeLists) {
  const ClipFolder folder;
  const auto clip = folder.make(GetParam().file, test_picture(21) + GetParam().encoding);
  const auto expected = folder.probe_times(clip, 0);
  ASSERT_EQ(expected.size(), 21U);

  const auto input = open_clip(clip);
  capture_output();
  const auto eye = open_eye(*input->streams[0]);
  const EyeRun run = run_eye(*eye, read_packets(*input));

  EXPECT_EQ(captured_output(), "") << "software decoding is silent";
  ASSERT_TRUE(run.succeeded) << run.error;
  EXPECT_TRUE(eye->ended());
  ASSERT_EQ(run.times.size(), expected.size());
  for (std::size_t index = 0; index < expected.size(); ++index) {
    EXPECT_NEAR(run.times[index], expected[index], 1e-6) << "frame " << index;
    EXPECT_STREQ(av_get_pix_fmt_name(static_cast<AVPixelFormat>(run.formats[index])),
                 av_get_pix_fmt_name(GetParam().format));
  }
  EXPECT_LE(run.most_queued_frames, EyeDecoder::frame_queue_bound);
}

INSTANTIATE_TEST_SUITE_P(
    Formats, AcceptedClip,
    testing::Values(
        ClipCase{"H264WithBFrames", "a.mp4", "-c:v libx264 -bf 3 -pix_fmt yuv420p", AV_PIX_FMT_YUV420P},
        ClipCase{"H264WithoutBFrames", "a.mp4", "-c:v libx264 -bf 0 -pix_fmt yuv420p", AV_PIX_FMT_YUV420P},
        ClipCase{"H264FullRange", "a.mp4", "-c:v libx264 -pix_fmt yuvj420p", AV_PIX_FMT_YUVJ420P},
        ClipCase{"H264TenBit", "a.mp4", "-c:v libx264 -pix_fmt yuv420p10le", AV_PIX_FMT_YUV420P10LE},
        ClipCase{"Hevc", "a.mp4", "-c:v libx265 -x265-params log-level=none -pix_fmt yuv420p",
                 AV_PIX_FMT_YUV420P},
        ClipCase{"HevcTenBit", "a.mov", "-c:v libx265 -x265-params log-level=none -pix_fmt yuv420p10le",
                 AV_PIX_FMT_YUV420P10LE},
        ClipCase{
            "UnevenTimes", "a.mp4",
            "-vf settb=1/1000,setpts='N*40+mod(N*N\\,7)' -vsync passthrough -c:v libx264 -pix_fmt yuv420p",
            AV_PIX_FMT_YUV420P},
        ClipCase{"StartAfterZero", "a.mkv", "-vf setpts=PTS+7.5/TB -c:v libx264 -pix_fmt yuv420p",
                 AV_PIX_FMT_YUV420P},
        ClipCase{"SemiPlanar", "a.nut", "-c:v rawvideo -pix_fmt nv12", AV_PIX_FMT_NV12}),
    [](const auto& instance) { return instance.param.name; });

TEST(EyeDecoder, HandsOutFramesFromTheGivenTimeOn) {
  const ClipFolder folder;
  const auto clip = folder.make("a.mp4", test_picture(21) + "-c:v libx264 -bf 3 -pix_fmt yuv420p");
  const std::vector<double> times = folder.probe_times(clip, 0);
  for (const std::size_t first : {std::size_t{0}, std::size_t{1}, std::size_t{10}, times.size() - 1}) {
    const auto input = open_clip(clip);
    AVStream& stream = *input->streams[0];
    const auto eye = open_eye(stream);
    eye->use_frames_from(std::llround(times[first] / av_q2d(stream.time_base)));
    const EyeRun run = run_eye(*eye, read_packets(*input));
    ASSERT_TRUE(run.succeeded) << run.error;
    ASSERT_EQ(run.times.size(), times.size() - first);
    EXPECT_NEAR(run.times.front(), times[first], 1e-6);
    EXPECT_NEAR(run.times.back(), times.back(), 1e-6);
  }
}

TEST(EyeDecoder, AcceptsSemiPlanarTenBitPictures) {
  const ClipFolder folder;
  const auto input = open_clip(folder.make("a.nut", test_picture(5) + "-c:v rawvideo -pix_fmt nv12"));
  // The container has no code for this format; every two rows of the clip read as one row of twice the depth.
  AVCodecParameters& parameters = *input->streams[0]->codecpar;
  parameters.codec_tag = 0;
  parameters.format = AV_PIX_FMT_P010LE;
  parameters.height /= 2;
  const auto eye = open_eye(*input->streams[0]);
  EXPECT_EQ(eye->bit_depth(), BitDepth::ten);
  const EyeRun run = run_eye(*eye, read_packets(*input));
  ASSERT_TRUE(run.succeeded) << run.error;
  EXPECT_EQ(run.formats, std::vector<int>(5, AV_PIX_FMT_P010LE));
}

class RefusedFormat : public testing::TestWithParam<const char*> {};

TEST_P(RefusedFormat, IsNamedInTheMessage) {
  const ClipFolder folder;
  const std::string format = GetParam();
  const auto clip = folder.make("a.nut", test_picture(2) + "-c:v rawvideo -pix_fmt " + format);
  const auto input = open_clip(clip);
  const auto eye = open_eye(*input->streams[0]);
  const EyeRun run = run_eye(*eye, read_packets(*input));
  EXPECT_FALSE(run.succeeded);
  EXPECT_EQ(run.error, "decoded pixel format is not supported by the YUV pipeline: " + format);
  EXPECT_TRUE(run.times.empty());
}

INSTANTIATE_TEST_SUITE_P(Formats, RefusedFormat,
                         testing::Values("yuv422p", "yuv444p", "yuv422p10le", "yuv420p12le", "gray", "rgb24"),
                         [](const auto& instance) { return std::string(instance.param); });

TEST(EyeDecoder, RefusesAnH264StreamWithFullChromaRows) {
  const ClipFolder folder;
  const auto input = open_clip(folder.make("a.mp4", test_picture(3) + "-c:v libx264 -pix_fmt yuv422p"));
  const auto eye = open_eye(*input->streams[0]);
  EXPECT_EQ(run_eye(*eye, read_packets(*input)).error,
            "decoded pixel format is not supported by the YUV pipeline: yuv422p");
}

TEST(EyeDecoder, NamesTheStreamThatHasNoDecoder) {
  const ClipFolder folder;
  const auto input = open_clip(folder.make(
      "a.mp4", test_picture(2) + test_picture(2) + "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p"));
  input->streams[1]->codecpar->codec_id = AV_CODEC_ID_NONE;
  std::string error;
  EXPECT_FALSE(EyeDecoder::create(*input->streams[1], DecoderPreference::software, nullptr, error));
  EXPECT_EQ(error, "no decoder is available for video stream 1");
}

TEST(EyeDecoder, ReportsADecoderThatRefusesTheStream) {
  const ClipFolder folder;
  const auto input = open_clip(folder.make("a.nut", test_picture(2) + "-c:v rawvideo -pix_fmt yuv420p"));
  AVCodecParameters& parameters = *input->streams[0]->codecpar;
  // A decoder without the headers that its packets rely on does not open.
  parameters.codec_id = AV_CODEC_ID_THEORA;
  parameters.codec_tag = 0;
  std::string error;
  EXPECT_FALSE(EyeDecoder::create(*input->streams[0], DecoderPreference::software, nullptr, error));
  EXPECT_EQ(error.rfind("could not open a video decoder: ", 0), 0U) << error;
}

TEST(EyeDecoder, ReportsAPacketThatTheDecoderRefuses) {
  const ClipFolder folder;
  const auto input = open_clip(folder.make("a.avi", test_picture(3) + "-c:v mjpeg -pix_fmt yuvj420p"));
  auto packets = read_packets(*input);
  std::memset(packets[1]->data, 0xa5, static_cast<std::size_t>(packets[1]->size));
  const auto eye = open_eye(*input->streams[0]);
  const EyeRun run = run_eye(*eye, packets);
  EXPECT_FALSE(run.succeeded);
  EXPECT_EQ(run.error,
            "could not submit a packet to the video decoder: Invalid data found when processing input");
  EXPECT_EQ(run.times.size(), 1U) << "the frame before the bad packet";
}

TEST(EyeDecoder, ReportsAPacketThatIsTooShort) {
  const ClipFolder folder;
  const auto input = open_clip(folder.make("a.nut", test_picture(3) + "-c:v rawvideo -pix_fmt yuv420p"));
  auto packets = read_packets(*input);
  av_shrink_packet(packets[1].get(), 100);
  const auto eye = open_eye(*input->streams[0]);
  EXPECT_EQ(run_eye(*eye, packets).error, "could not submit a packet to the video decoder: Invalid argument");
}

TEST(EyeDecoder, EndsWithOneMessageWhenEveryH264PacketIsNoise) {
  const ClipFolder folder;
  const auto input = open_clip(folder.make("a.mp4", test_picture(30) + "-c:v libx264 -pix_fmt yuv420p"));
  const auto packets = read_packets(*input);
  for (const PacketPtr& packet : packets)
    std::memset(packet->data, 0xa5, static_cast<std::size_t>(packet->size));
  const auto eye = open_eye(*input->streams[0]);
  const EyeRun run = run_eye(*eye, packets);
  EXPECT_FALSE(run.succeeded);
  // With several decoder threads a packet's error may come out only when a frame is asked for.
  EXPECT_THAT(run.error,
              testing::AnyOf("could not submit a packet to the video decoder: Invalid data found when "
                             "processing input",
                             "video decoding failed: Invalid data found when processing input"));
}

TEST(EyeDecoder, KnowsItsStreamBeforeTheFirstPacket) {
  const ClipFolder folder;
  const auto input = open_clip(folder.make("a.mp4", test_picture(2) + "-c:v libx264 -pix_fmt yuv420p10le"));
  const auto eye = open_eye(*input->streams[0]);
  EXPECT_EQ(&eye->stream(), input->streams[0]);
  EXPECT_EQ(eye->size(), (Size{96, 64}));
  EXPECT_EQ(eye->bit_depth(), BitDepth::ten);
  EXPECT_FALSE(eye->has_frame());
}

}  // namespace
}  // namespace veyrin::test
