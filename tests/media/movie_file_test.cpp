#include "media/movie_file.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "media/recording_input.h"
#include "tests/support/temporary_folder.h"

namespace veyrin::test {
namespace {

struct ContainerCase {
  const char* output;
  AVCodecID codec;
  const char* container;
};

class Container : public testing::TestWithParam<ContainerCase> {};

TEST_P(Container, FollowsTheNameWhereItCanHoldTheCodec) {
  const AVOutputFormat* chosen = choose_container(GetParam().output, GetParam().codec);
  ASSERT_NE(chosen, nullptr);
  EXPECT_STREQ(chosen->name, GetParam().container);
}

INSTANTIATE_TEST_SUITE_P(OutputNames, Container,
                         testing::Values(ContainerCase{"a.mp4", AV_CODEC_ID_HEVC, "mp4"},
                                         ContainerCase{"a.mov", AV_CODEC_ID_HEVC, "mov"},
                                         ContainerCase{"a.mkv", AV_CODEC_ID_HEVC, "matroska"},
                                         ContainerCase{"a.mkv", AV_CODEC_ID_PRORES, "matroska"},
                                         ContainerCase{"a.mov", AV_CODEC_ID_PRORES, "mov"},
                                         ContainerCase{"a.mp4", AV_CODEC_ID_PRORES, "mov"},
                                         ContainerCase{"noextension", AV_CODEC_ID_H264, "mp4"},
                                         ContainerCase{"a.xyz", AV_CODEC_ID_PRORES, "mov"}));

constexpr MovieMessages messages{
    .create = {"create", /*with_reason=*/false},
    .add_video = "add video",
    .configure_video = {"configure video"},
    .add_copy = "add copy",
    .configure_copy = {"configure copy"},
    .open = {"open"},
    .write_header = {"header"},
    .finish = {"finish"},
};
constexpr FailureText write_failure{"write"};
constexpr InputMessages input_messages{.open = "open input", .read_streams = "read streams"};

/// A sample that the packets of one track were read back as, in seconds.
struct Sample {
  double pts, duration;
  std::string bytes;
  bool operator==(const Sample&) const = default;
};

class Movie : public testing::Test {
 protected:
  Movie() {
    av_log_set_level(AV_LOG_QUIET);
    picture_.reset(avcodec_parameters_alloc());
    picture_->codec_type = AVMEDIA_TYPE_VIDEO;
    picture_->codec_id = AV_CODEC_ID_PNG;
    picture_->width = 64;
    picture_->height = 32;
    sound_.reset(avcodec_parameters_alloc());
    sound_->codec_type = AVMEDIA_TYPE_AUDIO;
    sound_->codec_id = AV_CODEC_ID_PCM_S16BE;
    sound_->codec_tag = MKTAG('x', 'x', 'x', 'x');
    sound_->sample_rate = 48000;
    sound_->bits_per_coded_sample = 16;
    sound_->block_align = 2;
    av_channel_layout_default(&sound_->ch_layout, 1);
  }

  std::unique_ptr<MovieFile> create(const std::filesystem::path& output) {
    auto movie = MovieFile::create({output}, /*container=*/nullptr, messages, error_);
    EXPECT_NE(movie, nullptr) << error_;
    return movie;
  }

  static PacketPtr packet(const std::string& bytes, std::int64_t pts, std::int64_t duration) {
    PacketPtr packet(av_packet_alloc());
    EXPECT_EQ(av_new_packet(packet.get(), static_cast<int>(bytes.size())), 0);
    std::memcpy(packet->data, bytes.data(), bytes.size());
    packet->pts = packet->dts = pts;
    packet->duration = duration;
    packet->flags = AV_PKT_FLAG_KEY;
    return packet;
  }

  std::vector<Sample> samples_of(const std::filesystem::path& file, int stream) {
    std::vector<Sample> samples;
    const auto input = open_recording(file, {}, input_messages, error_);
    EXPECT_NE(input, nullptr) << error_;
    if (!input) return samples;
    const double second = av_q2d(input->streams[stream]->time_base);
    for (const PacketPtr read(av_packet_alloc()); av_read_frame(input.get(), read.get()) >= 0;
         av_packet_unref(read.get())) {
      if (read->stream_index != stream) continue;
      samples.push_back(
          {static_cast<double>(read->pts) * second, static_cast<double>(read->duration) * second,
           std::string(reinterpret_cast<const char*>(read->data), static_cast<std::size_t>(read->size))});
    }
    return samples;
  }

  TemporaryFolder folder_;
  CodecParametersPtr picture_;
  CodecParametersPtr sound_;
  std::string error_;
  Dictionary no_options_;
};

TEST_F(Movie, HasThePacketsOfItsTracksAtTheirTimes) {
  const auto file = folder_ / "a.mov";
  const auto movie = create(file);
  const auto video = movie->add_video_track(*picture_, {1, 25}, {25, 1}, error_);
  const auto audio = movie->add_audio_track(*sound_, {1, 48000}, error_);
  ASSERT_TRUE(video && audio) << error_;
  EXPECT_FALSE(movie->opened_file());
  EXPECT_FALSE(std::filesystem::exists(file)) << "nothing is opened before the header";
  ASSERT_TRUE(movie->write_header(no_options_, error_)) << error_;
  EXPECT_TRUE(movie->opened_file());
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(movie->write(*video, *packet("picture " + std::to_string(i), i, 0), write_failure, error_));
    ASSERT_TRUE(movie->write(*audio, *packet("ab", 1920 * i, 1), write_failure, error_)) << error_;
  }
  ASSERT_TRUE(movie->finish(error_)) << error_;
  EXPECT_EQ(
      samples_of(file, *video),
      (std::vector<Sample>{{0.0, 0.04, "picture 0"}, {0.04, 0.04, "picture 1"}, {0.08, 0.04, "picture 2"}}))
      << "an encoder's packet lasts one frame when it says nothing else";
  const auto sound = samples_of(file, *audio);
  ASSERT_FALSE(sound.empty());
  EXPECT_EQ(sound.front().pts, 0.0);
}

TEST_F(Movie, CopiesATrackWithAllThatItSays) {
  const auto source_file = folder_ / "source.mov";
  {
    const auto source = create(source_file);
    picture_->sample_aspect_ratio = {4, 3};
    const auto video = source->add_video_track(*picture_, {1, 25}, {25, 1}, error_);
    ASSERT_TRUE(video) << error_;
    av_dict_set(&source->stream(*video).metadata, "language", "fin", 0);

    ASSERT_TRUE(source->write_header(no_options_, error_)) << error_;
    for (int i = 0; i < 3; ++i)
      ASSERT_TRUE(source->write(*video, *packet("picture", i, 1), write_failure, error_)) << error_;
    ASSERT_TRUE(source->finish(error_)) << error_;
  }
  const auto input = open_recording(source_file, {}, input_messages, error_);
  ASSERT_NE(input, nullptr) << error_;
  const auto movie = create(folder_ / "copy.mov");
  const auto track = movie->add_copied_track(*input->streams[0], error_);
  ASSERT_TRUE(track) << error_;
  ASSERT_EQ(movie->copy_description(*input), 0);
  const AVStream& copy = movie->stream(*track);
  EXPECT_EQ(copy.codecpar->codec_tag, input->streams[0]->codecpar->codec_tag);
  EXPECT_EQ(av_cmp_q(copy.sample_aspect_ratio, {4, 3}), 0);
  EXPECT_EQ(av_cmp_q(copy.avg_frame_rate, {25, 1}), 0);
  EXPECT_STREQ(av_dict_get(copy.metadata, "language", nullptr, 0)->value, "fin");
  ASSERT_TRUE(movie->write_header(no_options_, error_)) << error_;
  for (const PacketPtr read(av_packet_alloc()); av_read_frame(input.get(), read.get()) >= 0;)
    ASSERT_TRUE(movie->write(*track, *read, write_failure, error_)) << error_;
  ASSERT_TRUE(movie->finish(error_)) << error_;
  EXPECT_EQ(samples_of(folder_ / "copy.mov", 0), samples_of(source_file, 0));
}

TEST_F(Movie, FailuresHaveTheWordsThatWereHandedOver) {
  EXPECT_EQ(MovieFile::create({folder_ / "noextension"}, nullptr, messages, error_), nullptr);
  EXPECT_EQ(error_, "create") << "asked to leave out the reason";
  MovieMessages with_reason = messages;
  with_reason.create.with_reason = true;
  EXPECT_EQ(MovieFile::create({folder_ / "noextension"}, nullptr, with_reason, error_), nullptr);
  EXPECT_EQ(error_, "create: Invalid argument");

  const auto missing = create(folder_ / "missing" / "a.mov");
  ASSERT_TRUE(missing->add_video_track(*picture_, {1, 25}, {25, 1}, error_));
  EXPECT_FALSE(missing->write_header(no_options_, error_));
  EXPECT_EQ(error_, "open: No such file or directory");
  EXPECT_FALSE(missing->opened_file());

  const auto unfit = create(folder_ / "a.mp4");
  picture_->codec_id = AV_CODEC_ID_GIF;
  ASSERT_TRUE(unfit->add_video_track(*picture_, {1, 25}, {25, 1}, error_));
  EXPECT_FALSE(unfit->write_header(no_options_, error_));
  EXPECT_EQ(error_.substr(0, 8), "header: ") << error_;
  EXPECT_TRUE(unfit->opened_file());
}

TEST_F(Movie, PacketsThatTheContainerRefusesAreAFailureOfTheirWrite) {
  const auto movie = create(folder_ / "a.mov");
  const auto video = movie->add_video_track(*picture_, {1, 25}, {25, 1}, error_);
  ASSERT_TRUE(video && movie->write_header(no_options_, error_)) << error_;
  ASSERT_TRUE(movie->write(*video, *packet("picture", 5, 1), write_failure, error_)) << error_;
  EXPECT_FALSE(movie->write(*video, *packet("picture", 3, 1), write_failure, error_));
  EXPECT_EQ(error_, "write: Invalid argument");
}

TEST_F(Movie, NewFileWithoutAPictureIsRemovedWhenItIsNotFinished) {
  const auto file = folder_ / "a.mov";
  auto movie = create(file);
  const auto video = movie->add_video_track(*picture_, {1, 25}, {25, 1}, error_);
  const auto audio = movie->add_audio_track(*sound_, {1, 48000}, error_);
  ASSERT_TRUE(video && audio && movie->write_header(no_options_, error_)) << error_;
  ASSERT_TRUE(movie->write(*audio, *packet("ab", 0, 1), write_failure, error_)) << error_;
  EXPECT_TRUE(std::filesystem::exists(file));
  movie.reset();
  EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(Movie, EmptyPacketsOfTheSourceAreNotMissed) {
  const auto file = folder_ / "a.mov";
  const auto movie = create(file);
  sound_->codec_id = AV_CODEC_ID_MP3;
  sound_->frame_size = 1152;
  const auto video = movie->add_video_track(*picture_, {1, 25}, {25, 1}, error_);
  const auto audio = movie->add_audio_track(*sound_, {1, 48000}, error_);
  ASSERT_TRUE(video && audio && movie->write_header(no_options_, error_)) << error_;
  ASSERT_TRUE(movie->write(*video, *packet("picture", 0, 1), write_failure, error_)) << error_;
  for (int i = 0; i < 3; ++i)
    ASSERT_TRUE(movie->write(*audio, *packet(i == 1 ? "" : "sound", 1152 * i, 1152), write_failure, error_));
  EXPECT_TRUE(movie->finish(error_)) << error_;
}

TEST_F(Movie, UnfinishedFileWithPicturesStays) {
  const auto file = folder_ / "a.mov";
  auto movie = create(file);
  const auto video = movie->add_video_track(*picture_, {1, 25}, {25, 1}, error_);
  ASSERT_TRUE(video && movie->write_header(no_options_, error_)) << error_;
  ASSERT_TRUE(movie->write(*video, *packet("picture", 0, 1), write_failure, error_)) << error_;
  movie.reset();
  EXPECT_TRUE(std::filesystem::exists(file));
}

TEST_F(Movie, ReplacesAnExistingFileOnlyWhenToldTo) {
  const auto file = folder_ / "a.mov";
  std::ofstream(file) << "precious";
  auto refused = create(file);
  ASSERT_TRUE(refused->add_video_track(*picture_, {1, 25}, {25, 1}, error_)) << error_;
  EXPECT_FALSE(refused->write_header(no_options_, error_));
  EXPECT_EQ(error_, "open: File exists");
  refused.reset();
  EXPECT_EQ(file_text(file), "precious");

  auto movie = MovieFile::create({file, platform::OutputFile::Opening::replace}, nullptr, messages, error_);
  ASSERT_TRUE(movie->add_video_track(*picture_, {1, 25}, {25, 1}, error_)) << error_;
  ASSERT_TRUE(movie->write_header(no_options_, error_)) << error_;
  movie.reset();
  EXPECT_TRUE(std::filesystem::exists(file)) << "it was not this movie that made it";
}

TEST_F(Movie, HevcTracksOfTheMp4FamilyKeepTheirParameterSetsInTheSampleEntry) {
  picture_->codec_id = AV_CODEC_ID_HEVC;
  const auto mov = create(folder_ / "a.mov");
  const auto video = mov->add_video_track(*picture_, {1, 25}, {25, 1}, error_);
  ASSERT_TRUE(video) << error_;
  EXPECT_EQ(mov->stream(*video).codecpar->codec_tag, MKTAG('h', 'v', 'c', '1'));
}

}  // namespace
}  // namespace veyrin::test
