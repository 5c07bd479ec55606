// Setting up hardware decoding and giving way to software.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "decode/stereo_decoder.h"
#include "tests/decode/clips.h"
#include "tests/decode/decoding.h"
#include "tests/decode/simulated_hardware.h"
#include "tests/support/captured_output.h"
#include "tests/support/environment.h"

namespace veyrin::test {
namespace {

class HardwareDecoding : public testing::Test {
 protected:
  void SetUp() override {
    clip_ = folder_.make("a.mp4", test_picture(frames) + test_picture(frames) +
                                      "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -color_range tv");
    input_ = open_clip(clip_);
    packets_ = read_packets(*input_);
  }

  AVStream& stream(int index) { return *input_->streams[index]; }

  /// Opens stream 1 on the simulated machine and keeps what was printed.
  std::unique_ptr<EyeDecoder> open_and_listen(DecoderPreference preference = DecoderPreference::hardware) {
    capture_output();
    auto eye = EyeDecoder::create(stream(1), preference, nullptr, error_, machine_.calls);
    printed_ = captured_output();
    return eye;
  }

  /// Does the same with both streams.
  std::unique_ptr<StereoDecoder> open_both_and_listen() {
    capture_output();
    auto eyes = StereoDecoder::create(*input_, 0, 1, DecoderPreference::hardware, error_, machine_.calls);
    printed_ = captured_output();
    return eyes;
  }

  EyeRun run_and_listen(EyeDecoder& eye) {
    capture_output();
    EyeRun run = run_eye(eye, packets_);
    printed_ = captured_output();
    return run;
  }

  static constexpr int frames = 8;
  ClipFolder folder_;
  std::filesystem::path clip_;
  InputContextPtr input_;
  std::vector<PacketPtr> packets_;
  SimulatedHardware machine_;
  std::string error_;
  std::string printed_;
};

TEST_F(HardwareDecoding, SetsTheContextUpForADevice) {
  const auto eye = open_and_listen();
  ASSERT_TRUE(eye) << error_;
  EXPECT_EQ(printed_, "");
  EXPECT_EQ(machine_.devices_made, 1);
  EXPECT_NE(eye->hardware_device(), nullptr);
  ASSERT_EQ(machine_.contexts.size(), 1U);
  EXPECT_EQ(machine_.contexts[0]->hw_device_ctx, eye->hardware_device());
  EXPECT_EQ(machine_.contexts[0]->extra_hw_frames, 16);
  EXPECT_EQ(machine_.contexts[0]->opaque, eye.get());
}

TEST_F(HardwareDecoding, IsNotTriedForSoftwareOnly) {
  const auto eye = open_and_listen(DecoderPreference::software);
  ASSERT_TRUE(eye) << error_;
  EXPECT_EQ(printed_, "");
  EXPECT_EQ(eye->hardware_device(), nullptr);
  EXPECT_EQ(machine_.devices_made, 0);
}

TEST_F(HardwareDecoding, IsSwitchedOffByExactlyOne) {
  const EnvironmentVariable disabled("VEYRIN_DISABLE_D3D11VA_DECODE", "1");
  const auto eyes = open_both_and_listen();
  EXPECT_EQ(printed_, "");
  ASSERT_TRUE(eyes) << error_;
  EXPECT_EQ(eyes->left().hardware_device(), nullptr);
  EXPECT_EQ(eyes->right().hardware_device(), nullptr);
  EXPECT_EQ(machine_.devices_made, 0);
}

TEST_F(HardwareDecoding, StaysOnWithOtherValuesOfTheSwitch) {
  for (const char* value : {"", "0", "true", "01", "1 ", "yes"}) {
    SCOPED_TRACE(value);
    const EnvironmentVariable variable("VEYRIN_DISABLE_D3D11VA_DECODE", value);
    const auto eye = open_and_listen();
    ASSERT_TRUE(eye) << error_;
    EXPECT_NE(eye->hardware_device(), nullptr);
  }
}

TEST_F(HardwareDecoding, IsSkippedSilentlyWhenTheDecoderHasNone) {
  machine_.offered = false;
  const auto eye = open_and_listen();
  ASSERT_TRUE(eye) << error_;
  EXPECT_EQ(printed_, "");
  EXPECT_EQ(eye->hardware_device(), nullptr);
  EXPECT_EQ(machine_.devices_made, 0);
  EXPECT_EQ(run_eye(*eye, packets_).times.size(), static_cast<std::size_t>(frames));
}

TEST_F(HardwareDecoding, GivesWayToSoftwareWithANoticeWhenThereIsNoDevice) {
  machine_.device_status = AVERROR(ENODEV);
  const auto eye = open_and_listen();
  ASSERT_TRUE(eye) << error_;
  EXPECT_EQ(printed_, "  D3D11VA decoder unavailable for stream 1: No such device; using software decode\n");
  EXPECT_EQ(eye->hardware_device(), nullptr);
  EXPECT_EQ(run_and_listen(*eye).times.size(), static_cast<std::size_t>(frames));
  EXPECT_EQ(printed_, "");
}

TEST_F(HardwareDecoding, IsRetriedInSoftwareWhenTheDecoderDoesNotOpen) {
  machine_.hardware_open_status = AVERROR(ENOSYS);
  const auto eye = open_and_listen();
  ASSERT_TRUE(eye) << error_;
  EXPECT_EQ(
      printed_,
      "  hardware decoder could not open stream 1: Function not implemented; retrying software decode\n");
  EXPECT_EQ(eye->hardware_device(), nullptr);
  ASSERT_EQ(machine_.devices_seen.size(), 2U);
  EXPECT_NE(machine_.devices_seen[0], nullptr);
  EXPECT_EQ(machine_.devices_seen[1], nullptr) << "the second try has no device";
  EXPECT_EQ(run_and_listen(*eye).times.size(), static_cast<std::size_t>(frames));
  EXPECT_EQ(printed_, "");
}

TEST_F(HardwareDecoding, FailsWhenSoftwareDoesNotOpenEither) {
  machine_.calls.open = [](AVCodecContext* context, const AVCodec*) {
    return context->hw_device_ctx != nullptr ? AVERROR(ENOSYS) : AVERROR(ENOMEM);
  };
  EXPECT_FALSE(open_and_listen());
  EXPECT_EQ(
      printed_,
      "  hardware decoder could not open stream 1: Function not implemented; retrying software decode\n");
  EXPECT_EQ(error_, "could not open a video decoder: Cannot allocate memory");
}

TEST_F(HardwareDecoding, IsNotBlamedWhenSoftwareDoesNotOpen) {
  machine_.offered = false;
  machine_.calls.open = [](AVCodecContext*, const AVCodec*) { return AVERROR(ENOMEM); };
  EXPECT_FALSE(open_and_listen());
  EXPECT_EQ(printed_, "");
  EXPECT_EQ(error_, "could not open a video decoder: Cannot allocate memory");
}

TEST_F(HardwareDecoding, SharesTheLeftEyesDevice) {
  const auto eyes = open_both_and_listen();
  ASSERT_TRUE(eyes) << error_;
  EXPECT_EQ(machine_.devices_made, 1);
  const AVBufferRef* left = eyes->left().hardware_device();
  const AVBufferRef* right = eyes->right().hardware_device();
  ASSERT_NE(left, nullptr);
  ASSERT_NE(right, nullptr);
  EXPECT_EQ(left->data, right->data);
  EXPECT_NE(left, right) << "each eye holds a reference of its own";
}

TEST_F(HardwareDecoding, MakesADeviceForTheRightEyeWhenTheLeftOneFellBack) {
  machine_.opens_before_hardware_works = 1;
  const auto eyes = open_both_and_listen();
  EXPECT_EQ(
      printed_,
      "  hardware decoder could not open stream 0: Function not implemented; retrying software decode\n");
  ASSERT_TRUE(eyes) << error_;
  EXPECT_EQ(eyes->left().hardware_device(), nullptr);
  EXPECT_NE(eyes->right().hardware_device(), nullptr);
  EXPECT_EQ(machine_.devices_made, 2);
}

TEST_F(HardwareDecoding, NoticesThatTheStreamHasNoHardwareFormat) {
  const auto eye = open_and_listen();
  ASSERT_TRUE(eye) << error_;
  const EyeRun run = run_and_listen(*eye);
  ASSERT_TRUE(run.succeeded) << run.error;
  EXPECT_EQ(printed_, "  D3D11VA pixel format unavailable for stream 1; using software decode\n");
  EXPECT_EQ(run.formats, std::vector<int>(frames, AV_PIX_FMT_YUV420P));
}

TEST_F(HardwareDecoding, NoticesTheMissingFormatOnceHoweverOftenItIsAskedFor) {
  const auto eye = open_and_listen();
  ASSERT_TRUE(eye) << error_;
  AVCodecContext& context = *machine_.contexts.back();
  const std::vector<AVPixelFormat> offered{AV_PIX_FMT_YUV420P, AV_PIX_FMT_NONE};
  capture_output();
  for (int time = 0; time < 3; ++time)
    EXPECT_EQ(context.get_format(&context, offered.data()), AV_PIX_FMT_YUV420P);
  EXPECT_EQ(captured_output(), "  D3D11VA pixel format unavailable for stream 1; using software decode\n");
}

TEST_F(HardwareDecoding, KeepsADecoderWhoseHardwareWasAcceptedBefore) {
  const auto eye = open_and_listen();
  ASSERT_TRUE(eye) << error_;
  AVCodecContext& context = *machine_.contexts.back();
  const std::vector<AVPixelFormat> offered{AV_PIX_FMT_D3D11, AV_PIX_FMT_YUV420P, AV_PIX_FMT_NONE};
  EXPECT_EQ(context.get_format(&context, offered.data()), AV_PIX_FMT_D3D11);
  const EyeRun run = run_and_listen(*eye);
  ASSERT_TRUE(run.succeeded) << run.error;
  EXPECT_EQ(printed_, "  D3D11VA pixel format unavailable for stream 1; using software decode\n");
  EXPECT_NE(eye->hardware_device(), nullptr);
  EXPECT_EQ(machine_.contexts.size(), 1U) << "frames of the first decoder are on their way";
}

TEST_F(HardwareDecoding, GivesWayToADecoderWithAllThreads) {
  const auto software = open_and_listen(DecoderPreference::software);
  ASSERT_TRUE(software) << error_;
  const std::vector<double> times = run_eye(*software, packets_).times;
  const int software_threads = machine_.contexts.back()->thread_count;
  const auto eye = open_and_listen();
  ASSERT_TRUE(eye) << error_;
  EXPECT_EQ(machine_.contexts.back()->thread_count, 1) << "as long as the hardware may decode";
  const EyeRun run = run_and_listen(*eye);
  ASSERT_TRUE(run.succeeded) << run.error;
  EXPECT_EQ(eye->hardware_device(), nullptr);
  ASSERT_EQ(machine_.contexts.size(), 3U);
  EXPECT_EQ(machine_.contexts.back()->hw_device_ctx, nullptr);
  EXPECT_EQ(machine_.contexts.back()->thread_count, software_threads);
  EXPECT_EQ(run.times, times);
}

TEST_F(HardwareDecoding, FailsWhenNoOtherDecoderOpens) {
  machine_.calls.open = [open = machine_.calls.open](AVCodecContext* context, const AVCodec* decoder) {
    return context->hw_device_ctx != nullptr ? open(context, decoder) : AVERROR(ENOMEM);
  };
  const auto eye = open_and_listen();
  ASSERT_TRUE(eye) << error_;
  const EyeRun run = run_and_listen(*eye);
  EXPECT_FALSE(run.succeeded);
  EXPECT_EQ(run.error, "could not open a video decoder: Cannot allocate memory");
}

}  // namespace
}  // namespace veyrin::test
