#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>

#include "tests/metadata/sample_document.h"
#include "tests/metadata/small_movie.h"
#include "tests/recordings/gpmf_sample.h"
#include "tests/recordings/movie_writer.h"
#include "tests/support/bytes_read.h"
#include "tests/support/temporary_folder.h"
#include "tests/thumbnail/preview_run.h"
#include "thumbnail/video_input.h"

namespace veyrin::test {
namespace {

/// An input of one video stream that is not backed by any file.
InputContextPtr input_of(AVCodecID codec) {
  InputContextPtr input(avformat_alloc_context());
  AVStream* stream = avformat_new_stream(input.get(), nullptr);
  stream->codecpar->codec_type = AVMEDIA_TYPE_VIDEO;
  stream->codecpar->codec_id = codec;
  return input;
}

TEST(FirstFrames, SayWhichStreamHasNoDecoder) {
  std::vector<FirstFrame> frames;
  std::string error;
  EXPECT_FALSE(decode_first_frames(*input_of(AV_CODEC_ID_NONE), {0}, frames, error));
  EXPECT_EQ(error, "No decoder found for thumbnail stream 0");
}

TEST(FirstFrames, SayWhyADecoderCannotBeOpened) {
  // This decoder asks for the picture's size and tables beforehand.
  std::vector<FirstFrame> frames;
  std::string error;
  EXPECT_FALSE(decode_first_frames(*input_of(AV_CODEC_ID_FFVHUFF), {0}, frames, error));
  EXPECT_EQ(error, "avcodec_open2 failed for stream 0: Invalid argument");
}

TEST(FirstFrames, OfAStreamThatNeedsHardwareAreNotSearchedThroughTheWholeFile) {
  recordings::MediaTrack track = av1_video_track(40);
  // Padding units make each sample a megabyte.
  for (recordings::MediaSample& sample : track.samples) {
    sample.data.insert(sample.data.end(), {0x7a, 0xbf, 0x84, 0x3d});
    sample.data.resize(sample.data.size() + 999'999);
  }
  const TemporaryFolder folder;
  const std::filesystem::path path = folder / "recording.mp4";
  std::string error;
  ASSERT_TRUE(recordings::write_movie(path, {track}, {}, error)) << error;
  const std::optional<std::uint64_t> before = bytes_read();
  EXPECT_FALSE(run_preview(path, folder / "preview.png", 64).written);
  const std::optional<std::uint64_t> after = bytes_read();
  if (!before || !after) GTEST_SKIP() << "this system does not count the bytes that a process reads";
  EXPECT_LT(*after - *before, 20'000'000U);
}

struct Layout {
  const char* name;
  recordings::MovieLayout movie;
};

class ReadAmount : public testing::TestWithParam<Layout> {};

TEST_P(ReadAmount, OfAPreviewStaysSmallWhateverTheLengthOfTheRecording) {
  // 100 frames of a megabyte in each eye.
  const recordings::MediaTrack video = megabyte_video_track(100);
  nlohmann::json document = complete_document();
  document["extrinsics"]["avcam1InAvcam0"] = {
      {"plus_x", {1, 0, 0}}, {"plus_z", {0, 0, 1}}, {"position", {0.064, 0, 0}}};
  const TemporaryFolder folder;
  const std::filesystem::path path = folder / "recording.mp4";
  std::string error;
  ASSERT_TRUE(recordings::write_movie(
      path, {video, video, data_track({recordings::gpmf_sample(document.dump())}, "Kaleth Timed Metadata")},
      GetParam().movie, error))
      << error;

  const std::optional<std::uint64_t> before = bytes_read();
  const PreviewRun run = run_preview(path, folder / "preview.png", 64);
  const std::optional<std::uint64_t> after = bytes_read();
  ASSERT_TRUE(run.written) << run.log;
  if (!before || !after) GTEST_SKIP() << "this system does not count the bytes that a process reads";
  std::printf("%s: %ju of %ju bytes read\n", GetParam().name, std::uintmax_t{*after - *before},
              std::filesystem::file_size(path));
  // FFmpeg looks at up to 5 MB of packets to know the streams; the two frames come on top.
  EXPECT_LT(*after - *before, 10'000'000U);
}

constexpr std::uint64_t hundred_gigabytes = 100'000'000'000;

INSTANTIATE_TEST_SUITE_P(Layouts, ReadAmount,
                         testing::Values(Layout{"interleaved", {.index_first = true}},
                                         Layout{"track_after_track", {.track_after_track = true}},
                                         Layout{"long", {.hole_bytes = hundred_gigabytes}}),
                         [](const auto& layout) { return std::string(layout.param.name); });

}  // namespace
}  // namespace veyrin::test
