#include "convert/packaged_software_encoder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <thread>

#include "common/platform/files.h"
#include "common/platform/program.h"
#include "media/ffmpeg.h"
#include "tests/support/awaited_file.h"
#include "tests/support/environment.h"
#include "tests/support/win32/process.h"

namespace veyrin::test {
namespace {

using namespace std::chrono_literals;
using platform::Handle;

/// The packaged encoder is a copy of the program for tests in a folder whose name has blanks and letters of
/// several alphabets.
class PackagedEncoderOnWindows : public testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directory(home_);
    std::filesystem::copy_file(platform::module_path().parent_path() / "packaged_encoder_for_tests.exe",
                               program_);
    request_.input = "in.mp4";
    request_.output = folder_ / "out.mp4";
    request_.size = {width, height};
  }

  /// What the program does in its probe, and later.
  void set_tasks(const std::string& probe, const std::string& encode) const {
    std::ofstream(home_ / "probe") << probe;
    std::ofstream(home_ / "encode") << encode;
  }

  std::string refusal(BitDepth depth) {
    return PackagedSoftwareEncoder::check_availability(depth, error_) ? "" : error_;
  }

  std::unique_ptr<PackagedSoftwareEncoder> create(const std::string& encode) {
    set_tasks("0", encode);
    return PackagedSoftwareEncoder::create(request_, error_);
  }

  [[nodiscard]] std::string written(const char* name) const { return test::file_text(home_ / name); }

  /// The process that has left its number.
  [[nodiscard]] Handle wait_for_process() const {
    return test::open_process(test::wait_for_text(home_ / "number"));
  }

  static constexpr int width = 40;
  static constexpr int height = 24;
  test::TemporaryFolder folder_;
  std::filesystem::path home_ = folder_ / "packaged \xc3\xa9 \xe8\xa7\x86\xe9\xa2\x91";
  std::filesystem::path program_ = home_ / "the encoder.exe";
  test::EnvironmentVariable setting_{"VEYRIN_FFMPEG_GPL", platform::path_to_utf8(program_)};
  SoftwareEncodeRequest request_;
  std::string error_;
};

void expect_terminated(const Handle& process) {
  ASSERT_TRUE(process.valid());
  EXPECT_TRUE(test::ends_within(process, 0));
  EXPECT_EQ(test::exit_code(process), 1U);
}

TEST_F(PackagedEncoderOnWindows, IsLookedForBesideTheConverterWithoutASetting) {
  for (const char* empty : {"", "absent"}) {
    test::set_variable("VEYRIN_FFMPEG_GPL", "");
    if (*empty != '\0') test::remove_variable("VEYRIN_FFMPEG_GPL");
    EXPECT_EQ(PackagedSoftwareEncoder::locate(), platform::module_path().parent_path() / "ffmpeg-gpl.exe");
  }
}

TEST_F(PackagedEncoderOnWindows, IsProbedInItsOwnFolder) {
  set_tasks("0", "1");
  EXPECT_EQ(refusal(BitDepth::ten), "");
  EXPECT_EQ(
      written("probe.arguments"),
      "-hide_banner\n-loglevel\nerror\n-f\nlavfi\n-i\ncolor=size=64x64:rate=1\n-frames:v\n1\n-c:v\nlibx265\n"
      "-pix_fmt\nyuv420p10le\n-f\nnull\n-\n");
}

TEST_F(PackagedEncoderOnWindows, IsRefusedUnlessItsProbeExitsWithZero) {
  // 259 is what Windows calls a process that still runs.
  for (const char* code : {"1", "255", "259", "-1"}) {
    set_tasks(code, "0");
    EXPECT_EQ(refusal(BitDepth::eight), "packaged GPL FFmpeg does not provide a working libx265 encoder")
        << code;
    EXPECT_EQ(refusal(BitDepth::ten), "packaged GPL FFmpeg does not provide a working 10-bit libx265 encoder")
        << code;
  }
  std::filesystem::remove(program_);
  EXPECT_EQ(refusal(BitDepth::eight), "packaged GPL FFmpeg executable not found (expected " +
                                          platform::path_to_utf8(program_) +
                                          "; VEYRIN_FFMPEG_GPL may override the location)");
}

TEST_F(PackagedEncoderOnWindows, IsTerminatedWhenItsProbeHangs) {
  set_tasks("stay", "0");
  Handle process;
  std::thread watcher([&] { process = wait_for_process(); });
  EXPECT_FALSE(probe_packaged_encoder(program_, BitDepth::eight, 2000ms));
  watcher.join();
  expect_terminated(process);
}

TEST_F(PackagedEncoderOnWindows, GetsTheSamplesOfEachFrameAndNothingElse) {
  for (const bool ten_bit : {false, true}) {
    request_.depth = ten_bit ? BitDepth::ten : BitDepth::eight;
    const auto encoder = create("copy");
    ASSERT_TRUE(encoder) << error_;
    const FramePtr frame =
        allocate_video_frame(ten_bit ? AV_PIX_FMT_P010LE : AV_PIX_FMT_YUV420P, {width, height});
    std::string expected;
    for (int plane = 0; plane < (ten_bit ? 2 : 3); ++plane) {
      const int row_bytes = ten_bit ? 2 * width : plane == 0 ? width : width / 2;
      ASSERT_GT(frame->linesize[plane], row_bytes) << "there is padding to leave out";
      for (int y = 0; y < (plane == 0 ? height : height / 2); ++y)
        for (int x = 0; x < frame->linesize[plane]; ++x) {
          // All values, those of line ends included.
          std::uint8_t& byte = frame->data[plane][y * frame->linesize[plane] + x];
          byte = static_cast<std::uint8_t>(x + 7 * y + 50 * plane);
          if (x < row_bytes) expected += static_cast<char>(byte);
        }
    }
    ASSERT_TRUE(encoder->write_frame(frame.get(), error_)) << error_;
    ASSERT_TRUE(encoder->finish(error_)) << error_;
    EXPECT_TRUE(written("frames") == expected) << ten_bit;
  }
}

TEST_F(PackagedEncoderOnWindows, ThatDiesFailsTheNextFrames) {
  const auto encoder = create("0");
  ASSERT_TRUE(encoder) << error_;
  const FramePtr frame = allocate_video_frame(AV_PIX_FMT_YUV420P, {width, height});
  while (encoder->write_frame(frame.get(), error_)) {
  }
  EXPECT_EQ(error_, "packaged GPL FFmpeg stopped while receiving video frames");
}

TEST_F(PackagedEncoderOnWindows, FailsWithItsExitCode) {
  for (const char* code : {"1", "259"}) {
    const auto encoder = create(code);
    ASSERT_TRUE(encoder) << error_;
    EXPECT_FALSE(encoder->finish(error_)) << code;
    EXPECT_EQ(error_, "packaged GPL FFmpeg software encoding failed");
  }
}

TEST_F(PackagedEncoderOnWindows, ThatDoesNotStartIsReportedWithTheSystemsNumber) {
  std::filesystem::remove(program_);
  EXPECT_FALSE(PackagedSoftwareEncoder::create(request_, error_));
  EXPECT_EQ(error_, "could not start packaged GPL FFmpeg (Windows error 2)");
}

TEST_F(PackagedEncoderOnWindows, IsTerminatedWithItsOwner) {
  auto encoder = create("stay");
  ASSERT_TRUE(encoder) << error_;
  const Handle process = wait_for_process();
  encoder.reset();
  expect_terminated(process);
}

}  // namespace
}  // namespace veyrin::test
