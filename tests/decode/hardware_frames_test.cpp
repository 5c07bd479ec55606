// What happens to the frames of a hardware decoder.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tests/decode/clips.h"
#include "tests/decode/decoding.h"
#include "tests/decode/simulated_hardware.h"
#include "tests/support/captured_output.h"

namespace veyrin::test {
namespace {

/// Gives the eye all packets of the clip and decodes as far as it goes.
testing::AssertionResult pump_all(EyeDecoder& eye, AVFormatContext& clip) {
  for (PacketPtr& packet : read_packets(clip)) eye.queue_packet(std::move(packet));
  std::string error;
  capture_output();
  const bool pumped = eye.pump(error);
  captured_output();
  return pumped ? testing::AssertionSuccess() : testing::AssertionFailure() << error;
}

/// Decodes uncompressed pictures, whose decoder asks no format question, as stream 1 of a clip.
class HardwareFrames : public testing::Test {
 protected:
  EyeRun run(const std::string& format, bool keep_on_gpu) {
    const auto input = open_clip(folder_.make("a.nut", test_picture(frames) + test_picture(frames) +
                                                           "-map 0 -map 1 -c:v rawvideo -pix_fmt " + format));
    AVStream& stream = *input->streams[1];
    stream.codecpar->color_range = AVCOL_RANGE_MPEG;
    EyeRun run;
    capture_output();
    const auto eye =
        EyeDecoder::create(stream, DecoderPreference::hardware, nullptr, run.error, machine_.calls);
    run.succeeded = eye != nullptr;
    if (eye && keep_on_gpu) eye->keep_frames_on_gpu();
    if (eye) run = run_eye(*eye, read_packets(*input));
    printed_ = captured_output();
    return run;
  }

  static constexpr int frames = 6;
  ClipFolder folder_;
  SimulatedHardware machine_;
  std::string printed_;
};

TEST_F(HardwareFrames, AreDownloadedAndReportedOnce) {
  machine_.frame_format = AV_PIX_FMT_D3D11;
  machine_.downloaded_format = AV_PIX_FMT_NV12;
  const EyeRun run = this->run("yuv420p", /*keep_on_gpu=*/false);
  ASSERT_TRUE(run.succeeded) << run.error;
  EXPECT_EQ(printed_, "  decoder: D3D11VA hardware (rawvideo, stream 1, downloaded nv12, range 1)\n");
  EXPECT_EQ(run.formats, std::vector<int>(frames, AV_PIX_FMT_NV12));
  ASSERT_EQ(run.times.size(), 6U);
  for (std::size_t index = 0; index < run.times.size(); ++index) {
    EXPECT_NEAR(run.times[index], static_cast<double>(index) / 30.0, 1e-6)
        << "a downloaded frame keeps its time";
  }
}

// The size of a hardware frame still counts the columns and rows that are cropped on the left and at the top.
TEST_F(HardwareFrames, AreCroppedOnTheLeftAndAtTheTopInMemory) {
  for (const AVPixelFormat format : {AV_PIX_FMT_D3D11, AV_PIX_FMT_VIDEOTOOLBOX}) {
    machine_.frame_format = format;
    machine_.calls.receive = [receive = machine_.calls.receive](AVCodecContext* context, AVFrame* frame) {
      const int status = receive(context, frame);
      frame->crop_left = 6;
      frame->crop_top = 2;
      return status;
    };
    // Each sample tells its place.
    const auto transfer = [](AVFrame* target, const AVFrame* source) {
      const int status = transfer_picture(target, source, AV_PIX_FMT_NV12, 0);
      if (status < 0) return status;
      for (int plane = 0; plane < 2; ++plane)
        for (int y = 0; y < target->height >> plane; ++y)
          for (int x = 0; x < target->width; ++x)
            target->data[plane][y * target->linesize[plane] + x] = static_cast<std::uint8_t>(16 * y + x);
      return av_frame_copy_props(target, source);
    };
    machine_.calls.download = transfer;
    machine_.calls.map = transfer;
    const auto input = open_clip(folder_.make("a.nut", test_picture(1) + "-c:v rawvideo -pix_fmt yuv420p"));
    const auto eye = open_eye(*input->streams[0], DecoderPreference::hardware, machine_.calls);
    ASSERT_TRUE(pump_all(*eye, *input));
    const DecodedFrame decoded = eye->take_frame();
    const AVFrame& frame = *decoded.frame;
    EXPECT_EQ(frame.width, eye->size().width - 6);
    EXPECT_EQ(frame.height, eye->size().height - 2);
    EXPECT_EQ(frame.crop_left, 0U);
    EXPECT_EQ(frame.crop_top, 0U);
    EXPECT_EQ(frame.data[0][0], 16 * 2 + 6);
    EXPECT_EQ(frame.data[1][0], 16 * 1 + 6);
  }
}

TEST_F(HardwareFrames, KeepTheirOwnPicturesWhileSeveralWait) {
  for (const AVPixelFormat format : {AV_PIX_FMT_D3D11, AV_PIX_FMT_VIDEOTOOLBOX}) {
    machine_.frame_format = format;
    machine_.transfers = 0;
    const auto input =
        open_clip(folder_.make("a.nut", test_picture(frames) + "-c:v rawvideo -pix_fmt yuv420p"));
    const auto eye = open_eye(*input->streams[0], DecoderPreference::hardware, machine_.calls);
    ASSERT_TRUE(pump_all(*eye, *input));
    ASSERT_EQ(eye->queued_frames(), 4U);
    for (int mark = 1; mark <= 4; ++mark) EXPECT_EQ(eye->take_frame().frame->data[0][0], mark);
  }
}

TEST_F(HardwareFrames, StayOnTheGpuWhenAskedTo) {
  machine_.frame_format = AV_PIX_FMT_D3D11;
  const EyeRun run = this->run("yuv420p", /*keep_on_gpu=*/true);
  ASSERT_TRUE(run.succeeded) << run.error;
  EXPECT_EQ(printed_, "  decoder: D3D11VA hardware (rawvideo, stream 1, GPU-resident nv12, range 1)\n");
  EXPECT_EQ(run.formats, std::vector<int>(frames, AV_PIX_FMT_D3D11));
  EXPECT_LE(run.most_queued_frames, EyeDecoder::frame_queue_bound);
}

TEST_F(HardwareFrames, OfATenBitStreamAreReportedAsSuch) {
  machine_.frame_format = AV_PIX_FMT_D3D11;
  const EyeRun run = this->run("yuv420p10le", /*keep_on_gpu=*/true);
  ASSERT_TRUE(run.succeeded) << run.error;
  EXPECT_EQ(printed_, "  decoder: D3D11VA hardware (rawvideo, stream 1, GPU-resident p010le, range 1)\n");
}

TEST_F(HardwareFrames, OfVideoToolboxAreMapped) {
  machine_.frame_format = AV_PIX_FMT_VIDEOTOOLBOX;
  machine_.downloaded_format = AV_PIX_FMT_P010LE;
  // What stays on the GPU are D3D11 frames only.
  const EyeRun run = this->run("yuv420p10le", /*keep_on_gpu=*/true);
  ASSERT_TRUE(run.succeeded) << run.error;
  EXPECT_EQ(printed_, "  decoder: VideoToolbox hardware (rawvideo, stream 1, mapped p010le, range 1)\n");
  EXPECT_EQ(run.formats, std::vector<int>(frames, AV_PIX_FMT_P010LE));
}

TEST_F(HardwareFrames, ThatComeOutOfSoftwareAreNotReported) {
  const EyeRun run = this->run("yuv420p", /*keep_on_gpu=*/true);
  ASSERT_TRUE(run.succeeded) << run.error;
  EXPECT_EQ(printed_, "");
  EXPECT_EQ(run.formats, std::vector<int>(frames, AV_PIX_FMT_YUV420P));
}

TEST_F(HardwareFrames, InAFormatThatTheProcessorsDoNotReadAreRefusedAfterTheDownload) {
  machine_.frame_format = AV_PIX_FMT_D3D11;
  machine_.downloaded_format = AV_PIX_FMT_Y210LE;
  const EyeRun run = this->run("yuv420p", /*keep_on_gpu=*/false);
  EXPECT_EQ(printed_, "  decoder: D3D11VA hardware (rawvideo, stream 1, downloaded y210le, range 1)\n");
  EXPECT_EQ(run.error, "decoded pixel format is not supported by the YUV pipeline: y210le");
}

TEST_F(HardwareFrames, ThatCannotBeReadAreAFailure) {
  struct Case {
    AVPixelFormat format;
    int download_status;
    int map_status;
    const char* error;
  };
  const std::vector<Case> cases = {
      {AV_PIX_FMT_D3D11, AVERROR(EIO), 0, "could not download a D3D11VA frame: Input/output error"},
      {AV_PIX_FMT_VIDEOTOOLBOX, 0, AVERROR(EINVAL), "could not map a VideoToolbox frame: Invalid argument"},
  };
  for (const Case& broken : cases) {
    SCOPED_TRACE(broken.error);
    machine_.frame_format = broken.format;
    machine_.download_status = broken.download_status;
    machine_.map_status = broken.map_status;
    const EyeRun run = this->run("yuv420p", /*keep_on_gpu=*/false);
    EXPECT_FALSE(run.succeeded);
    EXPECT_EQ(run.error, broken.error);
    EXPECT_EQ(printed_, "");
  }
}

TEST_F(HardwareFrames, ThatTheDecoderFailsToGiveAreAFailure) {
  machine_.calls.receive = [](AVCodecContext*, AVFrame*) { return AVERROR_EXTERNAL; };
  const EyeRun run = this->run("yuv420p", /*keep_on_gpu=*/false);
  EXPECT_FALSE(run.succeeded);
  EXPECT_EQ(run.error, "video decoding failed: Generic error in an external library");
}

TEST_F(HardwareFrames, MayStayAwayAfterTheFlushWithoutHoldingTheCallerUp) {
  machine_.calls.receive = [](AVCodecContext*, AVFrame*) { return AVERROR(EAGAIN); };
  const auto input = open_clip(folder_.make("a.nut", test_picture(1) + "-c:v rawvideo -pix_fmt yuv420p"));
  const auto eye = open_eye(*input->streams[0], DecoderPreference::hardware, machine_.calls);
  eye->finish();
  std::string error;
  EXPECT_TRUE(eye->pump(error)) << error;
  EXPECT_FALSE(eye->has_frame());
}

TEST(HardwareFormat, IsTakenWhereverItStandsInTheList) {
  struct Case {
    std::vector<AVPixelFormat> offered;
    AVPixelFormat expected;
  };
  const std::vector<Case> cases = {
      {{AV_PIX_FMT_D3D11, AV_PIX_FMT_YUV420P, AV_PIX_FMT_NONE}, AV_PIX_FMT_D3D11},
      {{AV_PIX_FMT_D3D11VA_VLD, AV_PIX_FMT_D3D11, AV_PIX_FMT_YUV420P, AV_PIX_FMT_NONE}, AV_PIX_FMT_D3D11},
      {{AV_PIX_FMT_YUV420P, AV_PIX_FMT_D3D11, AV_PIX_FMT_NONE}, AV_PIX_FMT_D3D11},
      {{AV_PIX_FMT_YUV420P10LE, AV_PIX_FMT_NONE}, AV_PIX_FMT_YUV420P10LE},
      {{AV_PIX_FMT_D3D11VA_VLD, AV_PIX_FMT_YUV420P, AV_PIX_FMT_NONE}, AV_PIX_FMT_D3D11VA_VLD},
      {{AV_PIX_FMT_NV12, AV_PIX_FMT_NONE, AV_PIX_FMT_D3D11}, AV_PIX_FMT_NV12},
      {{AV_PIX_FMT_NONE}, AV_PIX_FMT_NONE},
  };
  for (std::size_t index = 0; index < cases.size(); ++index) {
    EXPECT_EQ(preferred_decoder_format(cases[index].offered.data()), cases[index].expected)
        << "case " << index;
  }
}

TEST(HardwareCalls, KnowThatADecoderHasNoHardware) {
  const AVCodec* decoder = avcodec_find_decoder(AV_CODEC_ID_RAWVIDEO);
  ASSERT_NE(decoder, nullptr);
  EXPECT_FALSE(ffmpeg_decoder_calls().offers_d3d11va(*decoder));
}

}  // namespace
}  // namespace veyrin::test
