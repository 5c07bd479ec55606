// The packaged encoder with the real FFmpeg program, judged by ffprobe and ffmpeg.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>

#include "convert/packaged_software_encoder.h"
#include "media/ffmpeg.h"
#include "tests/convert/fake_packaged_encoder.h"
#include "tests/support/captured_output.h"
#include "tests/support/command.h"
#include "tests/support/temporary_folder.h"

namespace veyrin::test {
namespace {

using test::output_of;

constexpr int width = 192;
constexpr int height = 128;
constexpr int frame_count = 12;

// The luma of the moving test picture in 10 bits: smooth, so that coding errors stay small.
int luma_at(int x, int y, int frame) {
  return 512 + static_cast<int>(std::lround(300.0 * std::sin(0.05 * (x + 3 * frame)) * std::cos(0.04 * y)));
}

int chroma_at(int x, int y, int frame, int channel) {
  return 512 + static_cast<int>(std::lround(150.0 * std::sin(0.03 * (channel == 0 ? x : y) + 0.1 * frame)));
}

FramePtr picture(bool ten_bit, int index) {
  FramePtr frame(av_frame_alloc());
  frame->format = ten_bit ? AV_PIX_FMT_P010LE : AV_PIX_FMT_YUV420P;
  frame->width = width;
  frame->height = height;
  if (av_frame_get_buffer(frame.get(), /*align=*/256) != 0) return nullptr;
  const auto put = [&](int plane, int x, int y, int value) {
    std::uint8_t* row = frame->data[plane] + y * frame->linesize[plane];
    const auto word = static_cast<std::uint16_t>(value << 6);
    if (ten_bit) {
      std::memcpy(row + 2 * x, &word, sizeof word);
    } else {
      row[x] = static_cast<std::uint8_t>(value >> 2);
    }
  };
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) put(0, x, y, luma_at(x, y, index));
  }
  for (int y = 0; y < height / 2; ++y) {
    for (int x = 0; x < width / 2; ++x) {
      put(1, ten_bit ? 2 * x : x, y, chroma_at(x, y, index, 0));
      put(ten_bit ? 1 : 2, ten_bit ? 2 * x + 1 : x, y, chroma_at(x, y, index, 1));
    }
  }
  return frame;
}

// Peak signal-to-noise ratio of decoded planar 10-bit frames against the test pictures, all planes together.
double psnr_of(const std::string& decoded) {
  constexpr std::size_t frame_samples = width * height * 3 / 2;
  double squares = 0.0;
  for (std::size_t i = 0; i < decoded.size() / 2; ++i) {
    std::uint16_t sample = 0;
    std::memcpy(&sample, decoded.data() + 2 * i, sizeof sample);
    const int frame = static_cast<int>(i / frame_samples);
    int position = static_cast<int>(i % frame_samples);
    int expected = 0;
    if (position < width * height) {
      expected = luma_at(position % width, position / width, frame);
    } else {
      position -= width * height;
      const int channel = position / (width * height / 4);
      position %= width * height / 4;
      expected = chroma_at(position % (width / 2), position / (width / 2), frame, channel);
    }
    squares += (sample - expected) * static_cast<double>(sample - expected);
  }
  const double mean = squares / (static_cast<double>(decoded.size()) / 2.0);
  return 10.0 * std::log10(1023.0 * 1023.0 / mean);
}

class PackagedEncode : public testing::Test {
 protected:
  PackagedEncode() {
    unsetenv("VEYRIN_FFMPEG_GPL");
    request_.input = folder_ / "recording.mp4";
    request_.output = folder_ / "my movie.mp4";
    request_.size = {width, height};
    request_.frame_rate = {24, 1};
    request_.bit_rate = 8000000;
  }

  bool encode() {
    const auto encoder = PackagedSoftwareEncoder::create(request_, error_);
    if (!encoder) return false;
    for (int i = 0; i < frame_count; ++i) {
      if (!encoder->write_frame(picture(request_.depth == BitDepth::ten, i).get(), error_)) return false;
    }
    return encoder->finish(error_);
  }

  // A recording with a tone of two seconds.
  void make_recording() {
    output_of(
        "ffmpeg -nostdin -v error -f lavfi -i color=size=64x64:rate=24:d=2 -f lavfi -i sine=440:d=2 -c:v "
        "libx264 "
        "-c:a aac -shortest '" +
        request_.input.string() + "'");
  }

  std::string probed(const std::string& entries, const std::string& more = "") {
    return output_of("ffprobe -v error " + more + " -show_entries " + entries + " -of default=nk=0:nw=1 '" +
                     request_.output.string() + "'");
  }

  std::string audio_packets(const std::filesystem::path& movie) {
    return output_of("ffmpeg -nostdin -v error -i '" + movie.string() +
                     "' -map 0:a -c copy -f framemd5 - | grep -v '^#'");
  }

  std::string decoded() {
    return output_of("ffmpeg -nostdin -v error -i '" + request_.output.string() +
                     "' -map 0:v -pix_fmt yuv420p10le -f rawvideo -");
  }

  test::TemporaryFolder folder_;
  SoftwareEncodeRequest request_;
  std::string error_;
};

TEST_F(PackagedEncode, ThisMachinesProgramWorksInBothDepths) {
  EXPECT_TRUE(PackagedSoftwareEncoder::check_availability(BitDepth::eight, error_)) << error_;
  EXPECT_TRUE(PackagedSoftwareEncoder::check_availability(BitDepth::ten, error_)) << error_;
}

TEST_F(PackagedEncode, EightBitMovieIsAsPlannedAndShowsThePictures) {
  ASSERT_TRUE(encode()) << error_;
  EXPECT_EQ(
      probed("stream=codec_name,profile,codec_tag_string,width,height,pix_fmt,color_range,color_space,"
             "color_transfer,color_primaries,r_frame_rate,avg_frame_rate,nb_frames"),
      "codec_name=hevc\nprofile=Main\ncodec_tag_string=hvc1\nwidth=192\nheight=128\npix_fmt=yuv420p\n"
      "color_range=tv\ncolor_space=bt709\ncolor_transfer=bt709\ncolor_primaries=bt709\nr_frame_rate=24/1\n"
      "avg_frame_rate=24/1\nnb_frames=12\n");
  const std::string frames = decoded();
  ASSERT_EQ(frames.size(), frame_count * width * height * 3U);
  const double psnr = psnr_of(frames);
  RecordProperty("psnr", std::to_string(psnr));
  EXPECT_GT(psnr, 45.0) << "rounding to 8 bits alone gives about 55 dB";
}

TEST_F(PackagedEncode, TenBitMovieIsAsPlannedAndShowsThePictures) {
  request_.depth = BitDepth::ten;
  request_.frame_rate = {30000, 1001};
  request_.colors.primaries = AVCOL_PRI_BT2020;
  request_.colors.transfer = AVCOL_TRC_ARIB_STD_B67;
  request_.colors.matrix = AVCOL_SPC_BT2020_NCL;
  request_.colors.range = AVCOL_RANGE_JPEG;
  ASSERT_TRUE(encode()) << error_;
  EXPECT_EQ(
      probed("stream=codec_name,profile,codec_tag_string,width,height,pix_fmt,color_range,color_space,"
             "color_transfer,color_primaries,r_frame_rate,nb_frames"),
      "codec_name=hevc\nprofile=Main 10\ncodec_tag_string=hvc1\nwidth=192\nheight=128\npix_fmt=yuv420p10le\n"
      "color_range=pc\ncolor_space=bt2020nc\ncolor_transfer=arib-std-b67\ncolor_primaries=bt2020\n"
      "r_frame_rate=30000/1001\nnb_frames=12\n");
  const std::string frames = decoded();
  ASSERT_EQ(frames.size(), frame_count * width * height * 3U);
  const double psnr = psnr_of(frames);
  RecordProperty("psnr", std::to_string(psnr));
  EXPECT_GT(psnr, 45.0);
}

TEST_F(PackagedEncode, TheIndexStandsBeforeTheMedia) {
  ASSERT_TRUE(encode()) << error_;
  const std::string bytes = test::file_text(request_.output);
  EXPECT_LT(bytes.find("moov"), bytes.find("mdat"));
}

TEST_F(PackagedEncode, AudioOfTheRecordingIsCopied) {
  make_recording();
  request_.has_audio = true;
  ASSERT_TRUE(encode()) << error_;
  EXPECT_EQ(probed("stream=codec_name"), "codec_name=hevc\ncodec_name=aac\n");
  EXPECT_EQ(audio_packets(request_.output), audio_packets(request_.input));
}

TEST_F(PackagedEncode, TrimmedAudioHasTheTrimmedLength) {
  make_recording();
  request_.has_audio = true;
  request_.range.start = 1.0;
  request_.range.duration = 0.5;
  ASSERT_TRUE(encode()) << error_;
  EXPECT_EQ(probed("stream=nb_frames", "-select_streams v"), "nb_frames=12\n");
  const double seconds = std::stod(probed("stream=duration", "-select_streams a").substr(9));
  EXPECT_NEAR(seconds, 0.5, 0.05);
}

TEST_F(PackagedEncode, ARecordingThatTurnsOutSilentIsNoFailure) {
  output_of("ffmpeg -nostdin -v error -f lavfi -i color=size=64x64:rate=24:d=1 -c:v libx264 '" +
            request_.input.string() + "'");
  request_.has_audio = true;
  ASSERT_TRUE(encode()) << error_;
  EXPECT_EQ(probed("stream=codec_name"), "codec_name=hevc\n");
}

TEST_F(PackagedEncode, AnExistingOutputIsReplacedOnlyWhenAsked) {
  std::ofstream(request_.output) << "precious";
  capture_errors();
  EXPECT_FALSE(encode());
  captured_errors();
  EXPECT_TRUE(error_ == "packaged GPL FFmpeg software encoding failed" ||
              error_ == "packaged GPL FFmpeg stopped while receiving video frames")
      << error_;
  EXPECT_EQ(test::file_text(request_.output), "precious");
  request_.overwrite = true;
  EXPECT_TRUE(encode()) << error_;
  EXPECT_EQ(probed("stream=codec_name"), "codec_name=hevc\n");
}

// A limit on file sizes stands in for a full disk; sizes around the whole file's fail in different steps of
// writing.
TEST_F(PackagedEncode, ADiskThatFillsUpIsAFailure) {
  ASSERT_TRUE(encode()) << error_;
  const auto whole_blocks = std::filesystem::file_size(request_.output) / 512;
  request_.overwrite = true;
  const test::FakePackagedEncoder limited;
  for (const auto blocks : {std::uintmax_t{0}, std::uintmax_t{2}, whole_blocks / 2, whole_blocks}) {
    error_.clear();
    limited.write("exit 0", "trap '' XFSZ; ulimit -f " + std::to_string(blocks) + "; exec ffmpeg \"$@\"");
    capture_errors();
    EXPECT_FALSE(encode()) << blocks << " of " << whole_blocks << " blocks";
    captured_errors();
    EXPECT_TRUE(error_ == "packaged GPL FFmpeg software encoding failed" ||
                error_ == "packaged GPL FFmpeg stopped while receiving video frames")
        << error_;
  }
}

TEST_F(PackagedEncode, AnOutputFolderThatIsMissingFails) {
  request_.output = folder_ / "absent" / "movie.mp4";
  capture_errors();
  EXPECT_FALSE(encode());
  EXPECT_NE(captured_errors(), "") << "the child says why";
}

}  // namespace
}  // namespace veyrin::test
