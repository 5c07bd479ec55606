#include "convert/packaged_software_encoder.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <thread>
#include <vector>

#include "media/ffmpeg.h"
#include "tests/convert/fake_packaged_encoder.h"
#include "tests/support/awaited_file.h"
#include "tests/support/captured_output.h"

namespace veyrin::test {
namespace {

using namespace std::chrono_literals;
using test::file_text;

class PackagedEncoder : public testing::Test {
 protected:
  PackagedEncoder() {
    request_.input = "/recordings/in.mp4";
    request_.output = "/movies/out.mp4";
    request_.size = {64, 48};
    request_.bit_rate = 1000000;
  }

  std::unique_ptr<PackagedSoftwareEncoder> create(const std::string& encode) {
    fake_.write("exit 0", encode);
    return PackagedSoftwareEncoder::create(request_, error_);
  }

  std::string piped() { return file_text(fake_.file("frames")); }

  test::FakePackagedEncoder fake_;
  SoftwareEncodeRequest request_;
  std::string error_;
};

// A frame whose rows lie `padding` bytes apart; samples and padding differ everywhere.
FramePtr padded_frame(AVPixelFormat format, int width, int height, int padding) {
  FramePtr frame(av_frame_alloc());
  frame->format = format;
  frame->width = width;
  frame->height = height;
  const bool interleaved = format == AV_PIX_FMT_P010LE || format == AV_PIX_FMT_NV12;
  const int sample = format == AV_PIX_FMT_P010LE ? 2 : 1;
  for (int plane = 0; plane < (interleaved ? 2 : 3); ++plane) {
    const int row_samples = plane == 0 || interleaved ? width : width / 2;
    const int rows = plane == 0 ? height : (height + 1) / 2;
    frame->linesize[plane] = row_samples * sample + padding;
    const auto size = static_cast<std::size_t>(frame->linesize[plane]) * static_cast<std::size_t>(rows);
    frame->buf[plane] = av_buffer_alloc(size);
    frame->data[plane] = frame->buf[plane]->data;
    for (std::size_t i = 0; i < size; ++i)
      frame->data[plane][i] = static_cast<std::uint8_t>(i * 31 + plane * 101);
  }
  return frame;
}

// The plane's first rows without what lies between them.
std::string plane_bytes(const AVFrame& frame, int plane, int row_bytes, int rows) {
  std::string bytes;
  for (int y = 0; y < rows; ++y) {
    const std::uint8_t* row = frame.data[plane] + y * frame.linesize[plane];
    bytes.append(row, row + row_bytes);
  }
  return bytes;
}

TEST_F(PackagedEncoder, RunsWithTheArgumentsInTheProgramsFolder) {
  request_.input = std::filesystem::relative("/recordings/in.mp4");
  request_.output = "some folder/out.mp4";
  request_.has_audio = true;
  request_.range.start = 0.5;
  request_.range.duration = 2.0;
  const auto encoder = create(R"(printf '%s\n' "$@" > arguments; pwd > folder)");
  ASSERT_TRUE(encoder) << error_;
  EXPECT_TRUE(encoder->finish(error_)) << error_;
  const std::string here = std::filesystem::current_path();
  EXPECT_EQ(
      file_text(fake_.file("arguments")),
      "-hide_banner\n-loglevel\nwarning\n-f\nrawvideo\n-pixel_format\nyuv420p\n-video_size\n64x48\n"
      "-framerate\n30/1\n-i\npipe:0\n-ss\n0.500000\n-i\n" +
          (std::filesystem::current_path() / request_.input).string() +
          "\n-map\n0:v:0\n-map\n1:a:0?\n-c:v\nlibx265\n-profile:v\nmain\n-preset\nfaster\n-pix_fmt\nyuv420p\n"
          "-b:v\n1000000\n-tag:v\nhvc1\n-color_primaries\nbt709\n-color_trc\nbt709\n-colorspace\nbt709\n"
          "-color_range\ntv\n-x265-params\n"
          "high-tier=0:colorprim=bt709:transfer=bt709:colormatrix=bt709:range=limited\n-c:a\ncopy\n-t\n"
          "2.000000\n-movflags\n+faststart\n-n\n" +
          here + "/some folder/out.mp4\n");
  EXPECT_EQ(file_text(fake_.file("folder")), fake_.path().parent_path().string() + "\n");
}

TEST_F(PackagedEncoder, AStartFailureCarriesTheSystemsNumber) {
  std::filesystem::remove(fake_.path());
  EXPECT_FALSE(PackagedSoftwareEncoder::create(request_, error_));
  EXPECT_EQ(error_, "could not start packaged GPL FFmpeg (system error 2)");
}

TEST_F(PackagedEncoder, NoDescriptorForThePipeIsSaid) {
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit none{3, before.rlim_max};
  fake_.write("exit 0", "exit 0");
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  const auto encoder = PackagedSoftwareEncoder::create(request_, error_);
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_FALSE(encoder);
  EXPECT_EQ(error_, "could not create the software encoder pipe");
}

TEST_F(PackagedEncoder, PlanarFramesArriveWithoutTheirPadding) {
  const auto encoder = create("cat > frames");
  ASSERT_TRUE(encoder) << error_;
  std::string expected;
  for (const int padding : {0, 1, 64}) {
    const FramePtr frame = padded_frame(AV_PIX_FMT_YUV420P, 64, 48, padding);
    ASSERT_TRUE(encoder->write_frame(frame.get(), error_)) << error_;
    expected +=
        plane_bytes(*frame, 0, 64, 48) + plane_bytes(*frame, 1, 32, 24) + plane_bytes(*frame, 2, 32, 24);
  }
  ASSERT_TRUE(encoder->finish(error_));
  EXPECT_EQ(piped().size(), 3U * 64 * 48 * 3 / 2);
  EXPECT_TRUE(piped() == expected);
}

TEST_F(PackagedEncoder, SemiPlanarFramesArriveWithoutTheirPadding) {
  request_.depth = BitDepth::ten;
  const auto encoder = create("cat > frames");
  ASSERT_TRUE(encoder) << error_;
  const FramePtr frame = padded_frame(AV_PIX_FMT_P010LE, 64, 48, 10);
  ASSERT_TRUE(encoder->write_frame(frame.get(), error_)) << error_;
  ASSERT_TRUE(encoder->finish(error_));
  EXPECT_TRUE(piped() == plane_bytes(*frame, 0, 128, 48) + plane_bytes(*frame, 1, 128, 24));
}

TEST_F(PackagedEncoder, NegativeStridesAreFollowed) {
  const auto encoder = create("cat > frames");
  ASSERT_TRUE(encoder) << error_;
  const FramePtr frame = padded_frame(AV_PIX_FMT_YUV420P, 64, 48, 0);
  const std::string luma = plane_bytes(*frame, 0, 64, 48);
  frame->data[0] += 47 * 64;
  frame->linesize[0] = -64;
  ASSERT_TRUE(encoder->write_frame(frame.get(), error_)) << error_;
  ASSERT_TRUE(encoder->finish(error_));
  EXPECT_EQ(piped().substr(0, 64), luma.substr(47 * 64, 64));
  EXPECT_EQ(piped().substr(47 * 64, 64), luma.substr(0, 64));
}

TEST_F(PackagedEncoder, OddSizesAreHalvedDownwards) {
  request_.size = {63, 49};
  const auto encoder = create("cat > frames");
  ASSERT_TRUE(encoder) << error_;
  const FramePtr frame = padded_frame(AV_PIX_FMT_YUV420P, 63, 49, 5);
  ASSERT_TRUE(encoder->write_frame(frame.get(), error_)) << error_;
  const FramePtr ten_bit = padded_frame(AV_PIX_FMT_P010LE, 63, 49, 5);
  ASSERT_TRUE(encoder->write_frame(ten_bit.get(), error_)) << error_;
  ASSERT_TRUE(encoder->finish(error_));
  EXPECT_TRUE(piped() == plane_bytes(*frame, 0, 63, 49) + plane_bytes(*frame, 1, 31, 24) +
                             plane_bytes(*frame, 2, 31, 24) + plane_bytes(*ten_bit, 0, 126, 49) +
                             plane_bytes(*ten_bit, 1, 126, 24));
}

TEST_F(PackagedEncoder, OtherFormatsAreRefusedAndNothingIsWritten) {
  const auto encoder = create("cat > frames");
  ASSERT_TRUE(encoder) << error_;
  EXPECT_FALSE(encoder->write_frame(nullptr, error_));
  EXPECT_EQ(error_, "software encoder received an unsupported pixel format");
  for (const AVPixelFormat format : {AV_PIX_FMT_NV12, AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_YUV420P10LE,
                                     AV_PIX_FMT_YUV422P, AV_PIX_FMT_D3D11, AV_PIX_FMT_NONE}) {
    error_.clear();
    FramePtr frame = padded_frame(AV_PIX_FMT_YUV420P, 64, 48, 0);
    frame->format = format;
    EXPECT_FALSE(encoder->write_frame(frame.get(), error_));
    EXPECT_EQ(error_, "software encoder received an unsupported pixel format") << format;
  }
  ASSERT_TRUE(encoder->finish(error_));
  EXPECT_EQ(piped(), "");
}

TEST_F(PackagedEncoder, AMissingPlaneIsRefusedAndNothingIsWritten) {
  const auto encoder = create("cat > frames");
  ASSERT_TRUE(encoder) << error_;
  for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_P010LE}) {
    const int planes = format == AV_PIX_FMT_P010LE ? 2 : 3;
    for (int plane = 0; plane < planes; ++plane) {
      error_.clear();
      const FramePtr frame = padded_frame(format, 64, 48, 0);
      frame->data[plane] = nullptr;
      EXPECT_FALSE(encoder->write_frame(frame.get(), error_));
      EXPECT_EQ(error_, "software encoder received a frame with a missing plane") << plane;
    }
  }
  ASSERT_TRUE(encoder->finish(error_));
  EXPECT_EQ(piped(), "");
}

TEST_F(PackagedEncoder, AnEarlyDeathShowsAsAFailedWrite) {
  const auto encoder = create("head -c 1000 > /dev/null; exit 0");
  ASSERT_TRUE(encoder) << error_;
  const FramePtr frame = padded_frame(AV_PIX_FMT_YUV420P, 64, 48, 0);
  while (encoder->write_frame(frame.get(), error_)) {
  }
  EXPECT_EQ(error_, "packaged GPL FFmpeg stopped while receiving video frames");
}

TEST_F(PackagedEncoder, ASlowReaderHoldsTheWriterBack) {
  const auto encoder = create("while [ ! -e go ]; do sleep 0.01; done; cat > frames");
  ASSERT_TRUE(encoder) << error_;
  constexpr int frames = 1000;  // 4.4 MiB, four times the pipe
  const FramePtr frame = padded_frame(AV_PIX_FMT_YUV420P, 64, 48, 0);
  std::atomic<int> written{0};
  std::thread writer([&] {
    while (written < frames && encoder->write_frame(frame.get(), error_)) ++written;
  });
  std::this_thread::sleep_for(200ms);
  EXPECT_LT(written, frames / 2);
  std::ofstream(fake_.file("go")).close();
  writer.join();
  EXPECT_EQ(written, frames) << error_;
  ASSERT_TRUE(encoder->finish(error_)) << error_;
  EXPECT_EQ(std::filesystem::file_size(fake_.file("frames")), 64U * 48 * 3 / 2 * frames);
}

TEST_F(PackagedEncoder, FinishWaitsForTheChild) {
  const auto encoder = create("cat > /dev/null; sleep 0.2; touch done");
  ASSERT_TRUE(encoder) << error_;
  EXPECT_TRUE(encoder->finish(error_));
  EXPECT_TRUE(std::filesystem::exists(fake_.file("done")));
}

TEST_F(PackagedEncoder, FinishFailsOnAnyOtherEndThanZero) {
  for (const char* end : {"exit 1", "exit 69", "kill -9 $$"}) {
    const auto encoder = create(std::string("cat > /dev/null\n") + end);
    ASSERT_TRUE(encoder) << error_;
    for (int i = 0; i < 2; ++i) {
      error_.clear();
      EXPECT_FALSE(encoder->finish(error_)) << end;
      EXPECT_EQ(error_, "packaged GPL FFmpeg software encoding failed");
    }
  }
}

TEST_F(PackagedEncoder, FinishPassRunsOnceOnTheAbsoluteOutputOfASuccess) {
  std::vector<std::filesystem::path> outputs;
  request_.output = "out.mp4";
  request_.finish_pass = [&](const std::filesystem::path& output, std::string&) {
    outputs.push_back(output);
    return true;
  };
  auto encoder = create("cat > /dev/null");
  ASSERT_TRUE(encoder) << error_;
  EXPECT_TRUE(encoder->finish(error_));
  EXPECT_TRUE(encoder->finish(error_)) << "finished already";
  EXPECT_EQ(outputs, std::vector{std::filesystem::current_path() / "out.mp4"});

  encoder = create("cat > /dev/null; exit 1");
  ASSERT_TRUE(encoder) << error_;
  EXPECT_FALSE(encoder->finish(error_));
  EXPECT_EQ(outputs.size(), 1U) << "nothing is done to the output of a failure";
}

TEST_F(PackagedEncoder, AFailedFinishPassFailsTheEncode) {
  request_.finish_pass = [](const std::filesystem::path&, std::string& error) {
    error = "the pass failed";
    return false;
  };
  const auto encoder = create("cat > /dev/null");
  ASSERT_TRUE(encoder) << error_;
  EXPECT_FALSE(encoder->finish(error_));
  EXPECT_EQ(error_, "the pass failed");
}

TEST_F(PackagedEncoder, DestructionLeavesNoProcessBehind) {
  auto encoder = create(std::string(test::leave_pid) + "exec sleep 100");
  ASSERT_TRUE(encoder) << error_;
  const pid_t process = std::stoi(test::wait_for_text(fake_.file("pid")));
  EXPECT_TRUE(test::process_exists(process));
  encoder.reset();
  EXPECT_FALSE(test::process_exists(process));
}

// This program adopts the orphan, so that the way it ended can be seen.
TEST_F(PackagedEncoder, AKilledConverterTakesTheChildWithIt) {
  ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
  const pid_t converter = fork();
  if (converter == 0) {
    const auto encoder = create(std::string(test::leave_pid) + "exec sleep 100");
    pause();
    _exit(0);
  }
  const pid_t orphan = std::stoi(test::wait_for_text(fake_.file("pid")));
  kill(converter, SIGKILL);
  int status = 0;
  ASSERT_EQ(waitpid(converter, &status, 0), converter);
  ASSERT_EQ(waitpid(orphan, &status, 0), orphan);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << status;
  prctl(PR_SET_CHILD_SUBREAPER, 0);
}

TEST_F(PackagedEncoder, TheChildsWarningsAppearOnTheConvertersConsole) {
  capture_output();
  capture_errors();
  const auto encoder = create("cat > /dev/null; echo progress; echo warning >&2");
  const bool finished = encoder && encoder->finish(error_);
  EXPECT_EQ(captured_output(), "progress\n");
  EXPECT_EQ(captured_errors(), "warning\n");
  EXPECT_TRUE(finished) << error_;
}

}  // namespace
}  // namespace veyrin::test
