#include "decode/eye_decoder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
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
  EyeDecoder eye;
  std::string error;
  capture_output();
  ASSERT_TRUE(eye.open(*input->streams[0], /*software_only=*/true, nullptr, error)) << error;
  const EyeRun run = run_eye(eye, read_packets(*input));

  EXPECT_EQ(captured_output(), "") << "software decoding is silent";
  ASSERT_TRUE(run.succeeded) << run.error;
  EXPECT_TRUE(eye.ended());
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

TEST(EyeDecoder, AcceptsSemiPlanarTenBitPictures) {
  const ClipFolder folder;
  const auto input = open_clip(folder.make("a.nut", test_picture(5) + "-c:v rawvideo -pix_fmt nv12"));
  // The container has no code for this format; every two rows of the clip read as one row of twice the depth.
  AVCodecParameters& parameters = *input->streams[0]->codecpar;
  parameters.codec_tag = 0;
  parameters.format = AV_PIX_FMT_P010LE;
  parameters.height /= 2;
  EyeDecoder eye;
  std::string error;
  ASSERT_TRUE(eye.open(*input->streams[0], /*software_only=*/true, nullptr, error)) << error;
  EXPECT_TRUE(eye.ten_bit());
  const EyeRun run = run_eye(eye, read_packets(*input));
  ASSERT_TRUE(run.succeeded) << run.error;
  EXPECT_EQ(run.formats, std::vector<int>(5, AV_PIX_FMT_P010LE));
}

class RefusedFormat : public testing::TestWithParam<const char*> {};

TEST_P(RefusedFormat, IsNamedInTheMessage) {
  const ClipFolder folder;
  const std::string format = GetParam();
  const auto clip = folder.make("a.nut", test_picture(2) + "-c:v rawvideo -pix_fmt " + format);
  const auto input = open_clip(clip);
  EyeDecoder eye;
  std::string error;
  ASSERT_TRUE(eye.open(*input->streams[0], /*software_only=*/true, nullptr, error)) << error;
  const EyeRun run = run_eye(eye, read_packets(*input));
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
  EyeDecoder eye;
  std::string error;
  ASSERT_TRUE(eye.open(*input->streams[0], /*software_only=*/true, nullptr, error)) << error;
  EXPECT_EQ(run_eye(eye, read_packets(*input)).error,
            "decoded pixel format is not supported by the YUV pipeline: yuv422p");
}

/// A small H.264 clip whose decoder holds frames back, opened in software.
class OpenedEye : public testing::Test {
 protected:
  void SetUp() override {
    clip_ = folder_.make("a.mp4", test_picture(frames) + "-c:v libx264 -bf 3 -pix_fmt yuv420p");
    input_ = open_clip(clip_);
    packets_ = read_packets(*input_);
    ASSERT_TRUE(eye_.open(*input_->streams[0], /*software_only=*/true, nullptr, error_)) << error_;
  }

  void queue(std::size_t index) { eye_.queue_packet(PacketPtr(av_packet_clone(packets_[index].get()))); }

  static constexpr int frames = 40;
  ClipFolder folder_;
  std::filesystem::path clip_;
  InputContextPtr input_;
  std::vector<PacketPtr> packets_;
  EyeDecoder eye_;
  std::string error_;
};

TEST_F(OpenedEye, KeepsPacketsWaitingWhileFourFramesAreQueued) {
  for (std::size_t index = 0; index < packets_.size(); ++index) {
    queue(index);
    ASSERT_TRUE(eye_.pump(error_)) << error_;
    EXPECT_LE(eye_.queued_frames(), 4U);
  }
  EXPECT_EQ(eye_.queued_frames(), 4U);
  const std::size_t waiting = eye_.queued_packets();
  EXPECT_GT(waiting, 0U);

  for (int calls = 0; calls < 3; ++calls) ASSERT_TRUE(eye_.pump(error_)) << error_;
  EXPECT_EQ(eye_.queued_frames(), 4U) << "a full queue takes nothing more";
  EXPECT_EQ(eye_.queued_packets(), waiting);

  eye_.take_frame();
  ASSERT_TRUE(eye_.pump(error_)) << error_;
  EXPECT_EQ(eye_.queued_frames(), 4U);
}

TEST_F(OpenedEye, GivesEveryFrameWhenAllPacketsCameBeforeTheFirstFrameWasTaken) {
  for (std::size_t index = 0; index < packets_.size(); ++index) queue(index);
  eye_.finish();
  std::vector<double> times;
  while (!eye_.ended()) {
    ASSERT_TRUE(eye_.pump(error_)) << error_;
    ASSERT_LE(eye_.queued_frames(), 4U);
    if (eye_.ended()) break;
    ASSERT_TRUE(eye_.has_frame()) << "after " << times.size() << " frames";
    times.push_back(eye_.take_frame().time_seconds);
  }
  EXPECT_EQ(times.size(), folder_.probe_times(clip_, 0).size());
}

TEST_F(OpenedEye, HasNotEndedWhileFramesWait) {
  queue(0);
  eye_.finish();
  ASSERT_TRUE(eye_.pump(error_)) << error_;
  EXPECT_TRUE(eye_.has_frame());
  EXPECT_FALSE(eye_.ended());
  eye_.take_frame();
  EXPECT_TRUE(eye_.ended());
}

TEST_F(OpenedEye, EndsWithoutFramesWhenNoPacketCame) {
  eye_.finish();
  ASSERT_TRUE(eye_.pump(error_)) << error_;
  EXPECT_TRUE(eye_.ended());
}

TEST_F(OpenedEye, TakesASecondFlush) {
  ASSERT_TRUE(eye_.send_packet(packets_[0].get(), error_)) << error_;
  ASSERT_TRUE(eye_.send_packet(nullptr, error_)) << error_;
  EXPECT_EQ(eye_.queued_frames(), 1U);
  EXPECT_TRUE(eye_.send_packet(nullptr, error_)) << error_;
  EXPECT_EQ(eye_.queued_frames(), 1U);
  eye_.take_frame();
  EXPECT_TRUE(eye_.ended());
  EXPECT_TRUE(eye_.send_packet(nullptr, error_)) << error_;
  EXPECT_TRUE(error_.empty());
}

TEST_F(OpenedEye, RefusesAPacketBehindTheFlush) {
  ASSERT_TRUE(eye_.send_packet(nullptr, error_)) << error_;
  EXPECT_FALSE(eye_.send_packet(packets_[0].get(), error_));
  EXPECT_EQ(error_, "could not submit a packet to the video decoder: End of file");
}

TEST_F(OpenedEye, GivesTimeZeroToFramesWithoutTimestamps) {
  for (const PacketPtr& packet : packets_) packet->pts = packet->dts = AV_NOPTS_VALUE;
  const EyeRun run = run_eye(eye_, packets_);
  ASSERT_TRUE(run.succeeded) << run.error;
  EXPECT_EQ(run.times, std::vector<double>(packets_.size(), 0.0));
}

TEST_F(OpenedEye, DecodesWithAsManyThreadsAsTheLibraryChooses) {
  // The library replaces "automatic" by its own count, which is 1 on a machine with one processor only.
  EXPECT_GT(eye_.context()->thread_count, std::thread::hardware_concurrency() > 1 ? 1 : 0);
  EXPECT_FALSE(eye_.hardware_active());
}

TEST_F(OpenedEye, KeepsFramesIntactAfterLaterOnesAreDecoded) {
  queue(0);
  ASSERT_TRUE(eye_.pump(error_)) << error_;
  for (std::size_t index = 1; index < packets_.size() && !eye_.has_frame(); ++index) {
    queue(index);
    ASSERT_TRUE(eye_.pump(error_)) << error_;
  }
  ASSERT_TRUE(eye_.has_frame());
  const DecodedFrame first = eye_.take_frame();
  const AVFrame& picture = *first.frame;
  std::vector<std::uint8_t> luma;
  for (int row = 0; row < picture.height; ++row) {
    const std::uint8_t* start = picture.data[0] + static_cast<std::ptrdiff_t>(row) * picture.linesize[0];
    luma.insert(luma.end(), start, start + picture.width);
  }
  (void)run_eye(eye_, packets_);
  for (int row = 0; row < picture.height; ++row) {
    ASSERT_EQ(std::memcmp(picture.data[0] + static_cast<std::ptrdiff_t>(row) * picture.linesize[0],
                          luma.data() + static_cast<std::ptrdiff_t>(row) * picture.width, picture.width),
              0)
        << "row " << row;
  }
}

TEST(EyeDecoder, NamesTheStreamThatHasNoDecoder) {
  const ClipFolder folder;
  const auto input = open_clip(folder.make(
      "a.mp4", test_picture(2) + test_picture(2) + "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p"));
  input->streams[1]->codecpar->codec_id = AV_CODEC_ID_NONE;
  EyeDecoder eye;
  std::string error;
  EXPECT_FALSE(eye.open(*input->streams[1], /*software_only=*/true, nullptr, error));
  EXPECT_EQ(error, "no decoder is available for video stream 1");
}

TEST(EyeDecoder, ReportsADecoderThatRefusesTheStream) {
  const ClipFolder folder;
  const auto input = open_clip(folder.make("a.nut", test_picture(2) + "-c:v rawvideo -pix_fmt yuv420p"));
  AVCodecParameters& parameters = *input->streams[0]->codecpar;
  // A decoder without the headers that its packets rely on does not open.
  parameters.codec_id = AV_CODEC_ID_THEORA;
  parameters.codec_tag = 0;
  EyeDecoder eye;
  std::string error;
  EXPECT_FALSE(eye.open(*input->streams[0], /*software_only=*/true, nullptr, error));
  EXPECT_EQ(error.rfind("could not open a video decoder: ", 0), 0U) << error;
}

TEST(EyeDecoder, ReportsAPacketThatTheDecoderRefuses) {
  const ClipFolder folder;
  const auto input = open_clip(folder.make("a.avi", test_picture(3) + "-c:v mjpeg -pix_fmt yuvj420p"));
  auto packets = read_packets(*input);
  std::memset(packets[1]->data, 0xa5, static_cast<std::size_t>(packets[1]->size));
  EyeDecoder eye;
  std::string error;
  ASSERT_TRUE(eye.open(*input->streams[0], /*software_only=*/true, nullptr, error)) << error;
  const EyeRun run = run_eye(eye, packets);
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
  EyeDecoder eye;
  std::string error;
  ASSERT_TRUE(eye.open(*input->streams[0], /*software_only=*/true, nullptr, error)) << error;
  EXPECT_EQ(run_eye(eye, packets).error, "could not submit a packet to the video decoder: Invalid argument");
}

TEST(EyeDecoder, EndsWithOneMessageWhenEveryH264PacketIsNoise) {
  const ClipFolder folder;
  const auto input = open_clip(folder.make("a.mp4", test_picture(30) + "-c:v libx264 -pix_fmt yuv420p"));
  const auto packets = read_packets(*input);
  for (const PacketPtr& packet : packets)
    std::memset(packet->data, 0xa5, static_cast<std::size_t>(packet->size));
  EyeDecoder eye;
  std::string error;
  ASSERT_TRUE(eye.open(*input->streams[0], /*software_only=*/true, nullptr, error)) << error;
  const EyeRun run = run_eye(eye, packets);
  EXPECT_FALSE(run.succeeded);
  // With several decoder threads a packet's error may come out only when a frame is asked for.
  EXPECT_THAT(run.error,
              testing::AnyOf("could not submit a packet to the video decoder: Invalid data found when "
                             "processing input",
                             "video decoding failed: Invalid data found when processing input"));
}

TEST(EyeDecoder, NamesAStreamWithoutOpeningADecoder) {
  const ClipFolder folder;
  const auto input = open_clip(folder.make("a.mp4", test_picture(2) + "-c:v libx264 -pix_fmt yuv420p10le"));
  EyeDecoder eye;
  eye.set_stream(*input->streams[0]);
  EXPECT_EQ(&eye.stream(), input->streams[0]);
  EXPECT_EQ(eye.context(), nullptr);
  EXPECT_TRUE(eye.ten_bit());
  EXPECT_FALSE(eye.has_frame());
}

}  // namespace
}  // namespace veyrin::test
