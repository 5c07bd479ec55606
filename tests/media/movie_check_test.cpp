#include "media/movie_check.h"

#include <gtest/gtest.h>

#include <array>

#include "tests/support/command.h"
#include "tests/support/temporary_folder.h"

namespace veyrin::test {
namespace {

/// A movie of 5 pictures with sound, made by another FFmpeg.
class MovieIndex : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    const TemporaryFolder folder;
    output_of(
        "ffmpeg -v error -f lavfi -i testsrc=size=64x64:rate=10:duration=0.5 -f lavfi -i "
        "sine=duration=0.5 -c:v libx264 -c:a aac -f mp4 " +
        test::quoted(folder / "a.mp4"));
    movie = file_text(folder / "a.mp4");
    ASSERT_NE(movie.find("stts"), std::string::npos);
  }

  MovieIndex() {
    std::ofstream(file_, std::ios::binary) << movie;
    video_->codec_type = AVMEDIA_TYPE_VIDEO;
    video_->codec_id = AV_CODEC_ID_H264;
    sound_->codec_type = AVMEDIA_TYPE_AUDIO;
    sound_->codec_id = AV_CODEC_ID_AAC;
  }

  int check(std::int64_t pictures, std::int64_t sounds) {
    const std::array tracks{TrackContent{video_.get(), pictures}, TrackContent{sound_.get(), sounds}};
    return check_movie_index(file_, tracks);
  }

  /// Renames every box of one kind, which hides it.
  void hide(const std::string& box) {
    std::string text = movie;
    for (auto at = text.find(box); at != std::string::npos; at = text.find(box)) text.replace(at, 4, "skip");
    std::ofstream(file_, std::ios::binary) << text;
  }

  static std::string movie;
  TemporaryFolder folder_;
  std::filesystem::path file_ = folder_ / "a.mp4";
  CodecParametersPtr video_{avcodec_parameters_alloc()};
  CodecParametersPtr sound_{avcodec_parameters_alloc()};
};

std::string MovieIndex::movie;

// ffprobe -count_packets says 5 and 24 of such a movie: 22050 samples and the encoder's delay in 1024s.
TEST_F(MovieIndex, NamesAllThatWasWritten) {
  EXPECT_EQ(check(5, 23), 0);
  EXPECT_EQ(count_pictures(file_), 5);
}

TEST_F(MovieIndex, OfOtherNumbersOrCodecsIsNotTheMovieThatWasWritten) {
  EXPECT_EQ(check(6, 23), AVERROR_INVALIDDATA);
  EXPECT_EQ(check(4, 23), AVERROR_INVALIDDATA);
  EXPECT_EQ(check(5, 24), AVERROR_INVALIDDATA);
  EXPECT_EQ(check(0, 23), AVERROR_INVALIDDATA) << "the sound is not the first track";
  sound_->codec_id = AV_CODEC_ID_AC3;
  EXPECT_EQ(check(5, 23), AVERROR_INVALIDDATA);
}

TEST_F(MovieIndex, HasNoPlaceForTracksWithoutPackets) {
  EXPECT_EQ(check(5, 0), 0);
}

TEST_F(MovieIndex, WithoutOneOfItsPartsIsNotWhole) {
  video_->extradata = static_cast<std::uint8_t*>(av_mallocz(1 + AV_INPUT_BUFFER_PADDING_SIZE));
  video_->extradata_size = 1;
  EXPECT_EQ(check(5, 23), 0);
  for (const char* box : {"stts", "stsz", "stco", "stsc", "avcC", "trak"}) {
    hide(box);
    EXPECT_LT(check(5, 23), 0) << box;
  }
  EXPECT_EQ(count_pictures(file_), 0) << "no track at all";
}

// MP4 calls MPEG sound of all layers the same.
TEST_F(MovieIndex, WithSoundOfMpegLayerTwoIsRight) {
  const std::filesystem::path file = folder_ / "mp2.mp4";
  output_of("ffmpeg -v error -f lavfi -i sine=duration=0.5:sample_rate=48000 -c:a mp2 -f mp4 " +
            test::quoted(file));
  sound_->codec_id = AV_CODEC_ID_MP2;
  const std::array tracks{TrackContent{sound_.get(), 21}};
  EXPECT_EQ(check_movie_index(file, tracks), 0);
}

TEST_F(MovieIndex, OfAFileThatIsNoMovieSaysNothing) {
  std::ofstream(folder_ / "text.mp4") << "text";
  EXPECT_EQ(count_pictures(folder_ / "text.mp4"), std::nullopt);
  EXPECT_EQ(count_pictures(folder_ / "missing.mp4"), std::nullopt);
  EXPECT_EQ(check_movie_index("/dev/null", {}), 0);
  EXPECT_EQ(check_movie_index(folder_ / "missing.mp4", {}), AVERROR(ENOENT)) << "it has gone meanwhile";
}

}  // namespace
}  // namespace veyrin::test
