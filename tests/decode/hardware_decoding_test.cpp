// Setting up hardware decoding and giving way to software.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "decode/stereo_decoder.h"
#include "tests/decode/clips.h"
#include "tests/decode/decoding.h"
#include "tests/decode/simulated_hardware.h"
#include "tests/support/environment.h"
#include "tests/support/captured_output.h"

namespace veyrin::test {
namespace {


using test::EnvironmentVariable;

class HardwareDecoding : public testing::Test {
 protected:
  void SetUp() override {
    clip_ = folder_.make("a.mp4", test_picture(frames) + test_picture(frames) +
                                      "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -color_range tv");
    input_ = open_clip(clip_);
    packets_ = read_packets(*input_);
  }

  AVStream& stream(int index) { return *input_->streams[index]; }

  /// Opens stream 1 on the simulated machine and gives what was printed.
  std::string open_and_listen(EyeDecoder& eye, bool software_only = false) {
    capture_output();
    const bool opened = eye.open(stream(1), software_only, nullptr, error_);
    std::string printed = captured_output();
    EXPECT_TRUE(opened) << error_;
    return printed;
  }

  EyeRun run_and_listen(EyeDecoder& eye, std::string& printed) {
    capture_output();
    EyeRun run = run_eye(eye, packets_);
    printed = captured_output();
    return run;
  }

  static constexpr int frames = 8;
  ClipFolder folder_;
  std::filesystem::path clip_;
  InputContextPtr input_;
  std::vector<PacketPtr> packets_;
  SimulatedHardware machine_;
  std::string error_;
};

TEST_F(HardwareDecoding, SetsTheContextUpForADevice) {
  EyeDecoder eye(machine_.calls);
  EXPECT_EQ(open_and_listen(eye), "");
  EXPECT_TRUE(eye.hardware_active());
  EXPECT_EQ(machine_.devices_made, 1);
  EXPECT_NE(eye.context()->hw_device_ctx, nullptr);
  EXPECT_EQ(eye.context()->extra_hw_frames, 16);
  EXPECT_EQ(eye.context()->opaque, &eye);
}

TEST_F(HardwareDecoding, IsNotTriedForSoftwareOnly) {
  EyeDecoder eye(machine_.calls);
  EXPECT_EQ(open_and_listen(eye, /*software_only=*/true), "");
  EXPECT_FALSE(eye.hardware_active());
  EXPECT_EQ(machine_.devices_made, 0);
}

TEST_F(HardwareDecoding, IsSwitchedOffByExactlyOne) {
  const EnvironmentVariable disabled("VEYRIN_DISABLE_D3D11VA_DECODE", "1");
  StereoDecoder decoder(machine_.calls);
  capture_output();
  const bool opened = decoder.open(*input_, 0, 1, /*software_only=*/false, error_);
  EXPECT_EQ(captured_output(), "");
  ASSERT_TRUE(opened) << error_;
  EXPECT_FALSE(decoder.left().hardware_active());
  EXPECT_FALSE(decoder.right().hardware_active());
  EXPECT_EQ(machine_.devices_made, 0);
}

TEST_F(HardwareDecoding, StaysOnWithOtherValuesOfTheSwitch) {
  for (const char* value : {"", "0", "true", "01", "1 ", "yes"}) {
    SCOPED_TRACE(value);
    const EnvironmentVariable variable("VEYRIN_DISABLE_D3D11VA_DECODE", value);
    EyeDecoder eye(machine_.calls);
    open_and_listen(eye);
    EXPECT_TRUE(eye.hardware_active());
  }
}

TEST_F(HardwareDecoding, IsSkippedSilentlyWhenTheDecoderHasNone) {
  machine_.offered = false;
  EyeDecoder eye(machine_.calls);
  EXPECT_EQ(open_and_listen(eye), "");
  EXPECT_FALSE(eye.hardware_active());
  EXPECT_EQ(machine_.devices_made, 0);
  EXPECT_EQ(run_eye(eye, packets_).times.size(), static_cast<std::size_t>(frames));
}

TEST_F(HardwareDecoding, GivesWayToSoftwareWithANoticeWhenThereIsNoDevice) {
  machine_.device_status = AVERROR(ENODEV);
  EyeDecoder eye(machine_.calls);
  EXPECT_EQ(open_and_listen(eye),
            "  D3D11VA decoder unavailable for stream 1: No such device; using software decode\n");
  EXPECT_FALSE(eye.hardware_active());
  EXPECT_EQ(eye.context()->hw_device_ctx, nullptr);
  std::string printed;
  EXPECT_EQ(run_and_listen(eye, printed).times.size(), static_cast<std::size_t>(frames));
  EXPECT_EQ(printed, "");
}

TEST_F(HardwareDecoding, IsRetriedInSoftwareWhenTheDecoderDoesNotOpen) {
  machine_.hardware_open_status = AVERROR(ENOSYS);
  EyeDecoder eye(machine_.calls);
  EXPECT_EQ(
      open_and_listen(eye),
      "  hardware decoder could not open stream 1: Function not implemented; retrying software decode\n");
  EXPECT_FALSE(eye.hardware_active());
  ASSERT_EQ(machine_.devices_seen.size(), 2U);
  EXPECT_NE(machine_.devices_seen[0], nullptr);
  EXPECT_EQ(machine_.devices_seen[1], nullptr) << "the second try has no device";
  std::string printed;
  EXPECT_EQ(run_and_listen(eye, printed).times.size(), static_cast<std::size_t>(frames));
  EXPECT_EQ(printed, "");
}

TEST_F(HardwareDecoding, FailsWhenSoftwareDoesNotOpenEither) {
  machine_.calls.open = [](AVCodecContext* context, const AVCodec*) {
    return context->hw_device_ctx != nullptr ? AVERROR(ENOSYS) : AVERROR(ENOMEM);
  };
  EyeDecoder eye(machine_.calls);
  capture_output();
  const bool opened = eye.open(stream(1), /*software_only=*/false, nullptr, error_);
  EXPECT_EQ(
      captured_output(),
      "  hardware decoder could not open stream 1: Function not implemented; retrying software decode\n");
  EXPECT_FALSE(opened);
  EXPECT_EQ(error_, "could not open a video decoder: Cannot allocate memory");
}

TEST_F(HardwareDecoding, IsNotBlamedWhenSoftwareDoesNotOpen) {
  machine_.offered = false;
  machine_.calls.open = [](AVCodecContext*, const AVCodec*) { return AVERROR(ENOMEM); };
  EyeDecoder eye(machine_.calls);
  capture_output();
  const bool opened = eye.open(stream(1), /*software_only=*/false, nullptr, error_);
  EXPECT_EQ(captured_output(), "");
  EXPECT_FALSE(opened);
  EXPECT_EQ(error_, "could not open a video decoder: Cannot allocate memory");
}

TEST_F(HardwareDecoding, SharesTheLeftEyesDevice) {
  StereoDecoder decoder(machine_.calls);
  ASSERT_TRUE(decoder.open(*input_, 0, 1, /*software_only=*/false, error_)) << error_;
  EXPECT_EQ(machine_.devices_made, 1);
  const AVBufferRef* left = decoder.left().context()->hw_device_ctx;
  const AVBufferRef* right = decoder.right().context()->hw_device_ctx;
  ASSERT_NE(left, nullptr);
  ASSERT_NE(right, nullptr);
  EXPECT_EQ(left->data, right->data);
  EXPECT_NE(left, right) << "each eye holds a reference of its own";
}

TEST_F(HardwareDecoding, MakesADeviceForTheRightEyeWhenTheLeftOneFellBack) {
  machine_.opens_before_hardware_works = 1;
  StereoDecoder decoder(machine_.calls);
  capture_output();
  const bool opened = decoder.open(*input_, 0, 1, /*software_only=*/false, error_);
  EXPECT_EQ(
      captured_output(),
      "  hardware decoder could not open stream 0: Function not implemented; retrying software decode\n");
  ASSERT_TRUE(opened) << error_;
  EXPECT_FALSE(decoder.left().hardware_active());
  EXPECT_TRUE(decoder.right().hardware_active());
  EXPECT_EQ(machine_.devices_made, 2);
}

TEST_F(HardwareDecoding, NoticesThatTheStreamHasNoHardwareFormat) {
  EyeDecoder eye(machine_.calls);
  open_and_listen(eye);
  std::string printed;
  const EyeRun run = run_and_listen(eye, printed);
  ASSERT_TRUE(run.succeeded) << run.error;
  EXPECT_EQ(printed, "  D3D11VA pixel format unavailable for stream 1; using software decode\n");
  EXPECT_EQ(run.formats, std::vector<int>(frames, AV_PIX_FMT_YUV420P));
}

TEST_F(HardwareDecoding, GivesWayToADecoderWithAllThreads) {
  EyeDecoder software;
  open_and_listen(software, /*software_only=*/true);
  const std::vector<double> times = run_eye(software, packets_).times;
  EyeDecoder eye(machine_.calls);
  open_and_listen(eye);
  EXPECT_EQ(eye.context()->thread_count, 1) << "as long as the hardware may decode";
  std::string printed;
  const EyeRun run = run_and_listen(eye, printed);
  ASSERT_TRUE(run.succeeded) << run.error;
  EXPECT_FALSE(eye.hardware_active());
  EXPECT_EQ(eye.context()->hw_device_ctx, nullptr);
  EXPECT_EQ(eye.context()->thread_count, software.context()->thread_count);
  EXPECT_EQ(run.times, times);
}

TEST_F(HardwareDecoding, FailsWhenNoOtherDecoderOpens) {
  machine_.calls.open = [open = machine_.calls.open](AVCodecContext* context, const AVCodec* decoder) {
    return context->hw_device_ctx != nullptr ? open(context, decoder) : AVERROR(ENOMEM);
  };
  EyeDecoder eye(machine_.calls);
  open_and_listen(eye);
  std::string printed;
  const EyeRun run = run_and_listen(eye, printed);
  EXPECT_FALSE(run.succeeded);
  EXPECT_EQ(run.error, "could not open a video decoder: Cannot allocate memory");
}

}  // namespace
}  // namespace veyrin::test
